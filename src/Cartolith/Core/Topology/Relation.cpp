#include <Cartolith/Core/Topology/BoundaryJoinInternal.h>
#include <Cartolith/Core/Topology/RelationInternal.h>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisExtent;

void Operand::prepare() {
    m_type = m_shape->shapeType();
    m_empty = m_shape->isEmpty();
    if (boundary().custom() == nullptr) {
        m_shape = nullptr;
    }
}

const GisExtent& Operand::extent() const {
    if (!m_extent) {
        m_extent = m_shape->extent();
    }
    return *m_extent;
}

const Boundary& Operand::boundary() const {
    if (!m_boundary) {
        m_boundary.emplace(*m_shape, extent(), m_tolerance, m_scratch);
    }
    return *m_boundary;
}

bool Operand::mayContainAll(const Operand& other) const {
    const std::optional<Box> around =
        m_boundary ? m_boundary->reach() : reach(*m_shape, extent(), m_tolerance);
    if (!around) {
        return true;
    }
    Vertices vertices(other);
    Position position{};
    while (vertices.next(position)) {
        if (isRegularPosition(position) && !around->holds(position)) {
            return false;
        }
    }
    return true;
}

Operand::Vertices::Vertices(const Operand& operand)
    : m_parts(operand.m_boundary ? nullptr : partsOf(*operand.m_shape)),
      m_boundary(m_parts != nullptr ? nullptr : &operand.boundary()) {}

bool Operand::Vertices::next(Position& position) {
    const qsizetype parts = m_parts != nullptr ? m_parts->size() : m_boundary->partCount();
    while (m_part < parts) {
        const qsizetype size =
            m_parts != nullptr ? m_parts->at(m_part).size() : m_boundary->part(m_part).size;
        if (m_vertex == size) {
            ++m_part;
            m_vertex = 0;
            continue;
        }
        position = m_parts != nullptr ? positionOf(m_parts->at(m_part).at(m_vertex))
                                      : m_boundary->vertex(m_boundary->part(m_part).begin + m_vertex);
        ++m_vertex;
        if (!std::isnan(position.x) && !std::isnan(position.y)) {
            return true;
        }
    }
    return false;
}

bool Relation::boundariesMeet() {
    if (!m_meet) {
        m_meet = (m_meetProperly && *m_meetProperly) ||
                 Internal::boundariesMeet(m_a.boundary(), m_b.boundary(), false, m_work);
    }
    return *m_meet;
}

bool Relation::boundariesMeetProperly() {
    if (!m_meetProperly) {
        m_meetProperly =
            (!m_meet || *m_meet) && Internal::boundariesMeet(m_a.boundary(), m_b.boundary(), true, m_work);
    }
    return *m_meetProperly;
}

bool Relation::allIn(const Operand& inner, const Operand& outer, std::optional<bool>& answer) {
    if (!answer) {
        answer = outer.mayContainAll(inner) && outer.boundary().containsAll(inner.boundary(), m_work);
    }
    return *answer;
}

bool Relation::anyInside(const Operand& inner, const Operand& outer, std::optional<bool>& answer) {
    if (!answer) {
        answer = outer.boundary().hasInside(inner.boundary(), m_work);
    }
    return *answer;
}

bool Relation::apart() {
    if (!m_apart) {
        m_apart = m_a.isEmpty() || m_b.isEmpty() || !m_a.extent().intersects(m_b.extent());
    }
    return *m_apart;
}

bool Relation::disjoint() {
    return apart() || (!boundariesMeet() && !aInB() && !bInA());
}

bool Relation::equal() {
    if (!m_equal) {
        m_equal = m_a.type() == m_b.type();
        Operand::Vertices verticesA(m_a);
        Operand::Vertices verticesB(m_b);
        while (*m_equal) {
            Position a{};
            Position b{};
            const bool more = verticesA.next(a);
            m_equal = verticesB.next(b) == more && (!more || samePoint(a, b, m_a.tolerance()));
            if (!more) {
                break;
            }
        }
    }
    return *m_equal;
}

bool Relation::touch() {
    return !apart() && !equal() && boundariesMeet() && !aInB() && !bInA() && !aInsideB() && !bInsideA();
}

bool Relation::overlap() {
    // Neither is empty where they are not disjoint, and neither is within the other where they are equal.
    return m_a.type() == m_b.type() && !apart() && !equal() && !aInB() && !bInA() && boundariesMeet();
}

QString Relation::pattern() {
    if (equal()) {
        return QStringLiteral("T*F**FF*");
    }
    if (disjoint()) {
        return QStringLiteral("FF*FF****");
    }
    if (touch()) {
        return QStringLiteral("F***T****");
    }
    if (cross()) {
        return QStringLiteral("T*T******");
    }
    if (within()) {
        return QStringLiteral("T*F**F***");
    }
    if (contains()) {
        return QStringLiteral("T*****FF*");
    }
    if (overlap()) {
        return QStringLiteral("T*T***T**");
    }
    return QStringLiteral("T********");
}

} // namespace Cartolith::Core::Topology::Internal
