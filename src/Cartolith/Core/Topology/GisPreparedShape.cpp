#include <Cartolith/Core/Topology/GisPreparedShape.h>
#include <Cartolith/Core/Topology/RelationInternal.h>

namespace Cartolith::Core::Topology {

using Internal::Relation;
using Shapes::GisShape;
using Shapes::GisShapePoint;

class GisPreparedShape::Data {
public:
    Data(const GisShape& shape, const GisTopology& settings)
        : topology(settings), operand(shape, settings.Tolerance(), nullptr) {
        operand.prepare();
    }

    template <typename Question>
    auto answerTo(Question question, const GisShape& b) const {
        const Internal::Passing operandB(b, topology.Tolerance());
        Internal::Work work(&topology);
        Relation relation(operand, operandB, work);
        return Internal::unlessStopped([&] { return question(relation); });
    }

    GisTopology topology;
    Internal::Operand operand;
};

GisPreparedShape::GisPreparedShape(const GisShape& shape, const GisTopology& topology)
    : m_data(std::make_unique<const Data>(shape, topology)) {}

GisPreparedShape::GisPreparedShape(GisPreparedShape&& other) noexcept = default;
GisPreparedShape& GisPreparedShape::operator=(GisPreparedShape&& other) noexcept = default;
GisPreparedShape::~GisPreparedShape() = default;

double GisPreparedShape::Tolerance() const noexcept {
    return m_data->topology.Tolerance();
}

bool GisPreparedShape::ContainsPoint(const GisShapePoint& p) const {
    Internal::Work work(nullptr);
    return m_data->operand.boundary().contains(Internal::positionOf(p), work);
}

bool GisPreparedShape::PointOnBoundary(const GisShapePoint& p) const {
    Internal::Work work(nullptr);
    return m_data->operand.boundary().holds(Internal::positionOf(p), work);
}

bool GisPreparedShape::Disjoint(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.disjoint(); }, b);
}

bool GisPreparedShape::Intersect(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return !relation.disjoint(); }, b);
}

bool GisPreparedShape::Cross(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.cross(); }, b);
}

bool GisPreparedShape::Equality(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.equal(); }, b);
}

bool GisPreparedShape::Touch(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.touch(); }, b);
}

bool GisPreparedShape::Within(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.within(); }, b);
}

bool GisPreparedShape::Contains(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.contains(); }, b);
}

bool GisPreparedShape::Overlap(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.overlap(); }, b);
}

QString GisPreparedShape::Relate(const GisShape& b) const {
    return m_data->answerTo([](Relation& relation) { return relation.pattern(); }, b);
}

bool GisPreparedShape::Relate(const GisShape& b, const QString& pattern) const {
    const QString matrix = Relate(b);
    return !matrix.isEmpty() && GisTopology::RelationMatches(matrix, pattern);
}

} // namespace Cartolith::Core::Topology
