#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/RelationInternal.h>

#include <algorithm>

namespace Cartolith::Core::Topology {

using Internal::Relation;
using Shapes::GisShape;

namespace {

// What `question` says about the pair; false or the null string if the busy callback stops it.
template <typename Question>
auto answerTo(Question question, const GisTopology& topology, const GisShape& a, const GisShape& b) {
    const Internal::Passing operandA(a, topology.Tolerance());
    const Internal::Passing operandB(b, topology.Tolerance());
    Internal::Work work(&topology);
    Relation relation(operandA, operandB, work);
    return Internal::unlessStopped([&] { return question(relation); });
}

} // namespace

bool GisTopology::RelationMatches(const QString& matrix, const QString& pattern) {
    const qsizetype n = std::min(matrix.size(), pattern.size());
    for (qsizetype i = 0; i < n; ++i) {
        const QChar wanted = pattern[i];
        const bool matches = wanted == u'*' || (wanted == u'T' ? matrix[i] != u'F' : matrix[i] == wanted);
        if (!matches) {
            return false;
        }
    }
    return true;
}

bool GisTopology::Disjoint(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return relation.disjoint(); }, *this, a, b);
}

bool GisTopology::Intersect(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return !relation.disjoint(); }, *this, a, b);
}

bool GisTopology::Cross(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return relation.cross(); }, *this, a, b);
}

bool GisTopology::Equality(const GisShape& a, const GisShape& b) const {
    return SameGeometry(a, b, m_tolerance);
}

bool GisTopology::Touch(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return relation.touch(); }, *this, a, b);
}

bool GisTopology::Within(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return relation.within(); }, *this, a, b);
}

bool GisTopology::Contains(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return relation.contains(); }, *this, a, b);
}

bool GisTopology::Overlap(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return relation.overlap(); }, *this, a, b);
}

QString GisTopology::Relate(const GisShape& a, const GisShape& b) const {
    return answerTo([](Relation& relation) { return relation.pattern(); }, *this, a, b);
}

bool GisTopology::Relate(const GisShape& a, const GisShape& b, const QString& pattern) const {
    const QString matrix = Relate(a, b);
    return !matrix.isEmpty() && RelationMatches(matrix, pattern);
}

} // namespace Cartolith::Core::Topology
