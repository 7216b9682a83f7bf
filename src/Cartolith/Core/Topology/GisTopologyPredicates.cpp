#include <Cartolith/Core/Topology/GisTopology.h>

#include <algorithm>

namespace Cartolith::Core::Topology {

using Shapes::GisShape;

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
    return a.isEmpty() || b.isEmpty() || !a.extent().intersects(b.extent()) ||
           (!BoundariesIntersect(a, b, m_tolerance, false) && !ShapeWithin(a, b, m_tolerance) &&
            !ShapeWithin(b, a, m_tolerance));
}

bool GisTopology::Intersect(const GisShape& a, const GisShape& b) const {
    return !Disjoint(a, b);
}

bool GisTopology::Cross(const GisShape& a, const GisShape& b) const {
    return !Disjoint(a, b) && BoundariesIntersect(a, b, m_tolerance, true);
}

bool GisTopology::Equality(const GisShape& a, const GisShape& b) const {
    return SameGeometry(a, b, m_tolerance);
}

bool GisTopology::Touch(const GisShape& a, const GisShape& b) const {
    return !Disjoint(a, b) && !Equality(a, b) && BoundariesIntersect(a, b, m_tolerance, false) &&
           !HasInteriorPointInOther(a, b, m_tolerance) && !HasInteriorPointInOther(b, a, m_tolerance) &&
           !ShapeWithin(a, b, m_tolerance) && !ShapeWithin(b, a, m_tolerance);
}

bool GisTopology::Within(const GisShape& a, const GisShape& b) const {
    return !a.isEmpty() && !b.isEmpty() && !Equality(a, b) && ShapeWithin(a, b, m_tolerance);
}

bool GisTopology::Contains(const GisShape& a, const GisShape& b) const {
    return Within(b, a);
}

bool GisTopology::Overlap(const GisShape& a, const GisShape& b) const {
    return !Disjoint(a, b) && !Equality(a, b) && !Within(a, b) && !Within(b, a) &&
           a.shapeType() == b.shapeType();
}

QString GisTopology::Relate(const GisShape& a, const GisShape& b) const {
    if (Equality(a, b)) {
        return QStringLiteral("T*F**FF*");
    }
    if (Disjoint(a, b)) {
        return QStringLiteral("FF*FF****");
    }
    if (Touch(a, b)) {
        return QStringLiteral("F***T****");
    }
    if (Cross(a, b)) {
        return QStringLiteral("T*T******");
    }
    if (Within(a, b)) {
        return QStringLiteral("T*F**F***");
    }
    if (Contains(a, b)) {
        return QStringLiteral("T*****FF*");
    }
    if (Overlap(a, b)) {
        return QStringLiteral("T*T***T**");
    }
    return QStringLiteral("T********");
}

bool GisTopology::Relate(const GisShape& a, const GisShape& b, const QString& pattern) const {
    return RelationMatches(Relate(a, b), pattern);
}

} // namespace Cartolith::Core::Topology
