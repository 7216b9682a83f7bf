#pragma once

#include <Cartolith/Core/Topology/BoundaryInternal.h>

#include <QString>

#include <optional>

namespace Cartolith::Core::Topology::Internal {

/// One of the two shapes of a question: as it stands, with what is found out about it on the way; or
/// prepared.
class Operand {
public:
    /// The shape must live as long as this, or until prepare(); the scratch memory, which may be null, as
    /// long as this.
    Operand(const Shapes::GisShape& shape, double tolerance, Boundary::Scratch* scratch)
        : m_shape(&shape), m_tolerance(tolerance), m_scratch(scratch) {}
    Q_DISABLE_COPY_MOVE(Operand)

    /// Finds out everything now. After that this may be used by several threads, and the shape is not needed
    /// any more unless it is of a derived class, which has to be asked.
    void prepare();

    double tolerance() const noexcept { return m_tolerance; }
    Shapes::GisShapeType type() const { return m_type ? *m_type : m_shape->shapeType(); }
    bool isEmpty() const { return m_empty ? *m_empty : m_shape->isEmpty(); }
    const Shapes::GisExtent& extent() const;
    const Boundary& boundary() const;

    /// False only if some vertex of `other` is certainly not contained. Looks at no more than the extent and
    /// the other's vertices.
    bool mayContainAll(const Operand& other) const;

    /// The vertices that are not empty, in order; from the shape if nothing is ready yet.
    class Vertices {
    public:
        explicit Vertices(const Operand& operand);
        /// False at the end.
        bool next(Position& position);

    private:
        const QList<QList<Shapes::GisShapePoint>>* m_parts;
        const Boundary* m_boundary;
        qsizetype m_part = 0;
        qsizetype m_vertex = 0;
    };

private:
    const Shapes::GisShape* m_shape;
    double m_tolerance;
    Boundary::Scratch* m_scratch;
    std::optional<Shapes::GisShapeType> m_type;
    std::optional<bool> m_empty;
    mutable std::optional<Shapes::GisExtent> m_extent;
    mutable std::optional<Boundary> m_boundary;
};

/// An operand for one question, with its scratch memory.
class Passing {
public:
    Passing(const Shapes::GisShape& shape, double tolerance) : m_operand(shape, tolerance, &m_scratch) {}
    Q_DISABLE_COPY_MOVE(Passing)
    operator const Operand&() const noexcept { return m_operand; }

private:
    Boundary::Scratch m_scratch; // not initialised
    Operand m_operand;
};

/// The answers about one pair of shapes. What several of them need is found out once, the cheap before the
/// dear. All may throw Stopped, and what a derived class throws from contains().
class Relation {
public:
    /// Both of the same tolerance, and all three must live as long as this.
    Relation(const Operand& a, const Operand& b, Work& work) : m_a(a), m_b(b), m_work(work) {}
    Q_DISABLE_COPY_MOVE(Relation)

    bool boundariesMeet();
    bool boundariesMeetProperly();
    bool aInB() { return allIn(m_a, m_b, m_aInB); }
    bool bInA() { return allIn(m_b, m_a, m_bInA); }
    bool aInsideB() { return anyInside(m_a, m_b, m_aInsideB); }
    bool bInsideA() { return anyInside(m_b, m_a, m_bInsideA); }

    bool disjoint();
    bool equal();
    bool cross() { return !disjoint() && boundariesMeetProperly(); }
    bool touch();
    bool within() { return isWithin(&Relation::aInB); }
    bool contains() { return isWithin(&Relation::bInA); }
    bool overlap();
    QString pattern();

private:
    bool apart();
    bool allIn(const Operand& inner, const Operand& outer, std::optional<bool>& answer);
    bool anyInside(const Operand& inner, const Operand& outer, std::optional<bool>& answer);
    bool isWithin(bool (Relation::*contained)()) {
        return !m_a.isEmpty() && !m_b.isEmpty() && (this->*contained)() && !equal();
    }

    const Operand& m_a;
    const Operand& m_b;
    Work& m_work;
    std::optional<bool> m_apart;
    std::optional<bool> m_equal;
    std::optional<bool> m_meet;
    std::optional<bool> m_meetProperly;
    std::optional<bool> m_aInB;
    std::optional<bool> m_bInA;
    std::optional<bool> m_aInsideB;
    std::optional<bool> m_bInsideA;
};

} // namespace Cartolith::Core::Topology::Internal
