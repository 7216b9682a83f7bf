#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;
using Shapes::Internal::Ring;

namespace {

struct KindTexts {
    const char* problem;
    const char* remedy;
};

/// In the order of the enumeration.
constexpr std::array<KindTexts, 11> kindTexts{{
    {"A coordinate is not a number.", "A vertex that is not a number was removed."},
    {"A coordinate is infinite.", "An infinite vertex was removed."},
    {"There are too few vertices.", "A part with too few vertices was removed."},
    {"The ring is not closed.", "The ring was closed."},
    {"The vertex repeats the one before.", "A repeated vertex was removed."},
    {"The boundary turns back on itself.", "A spike was removed."},
    {"The ring meets itself.", "A ring that meets itself was taken apart."},
    {"The ring crosses another.", "Rings that cross were combined."},
    {"The ring is wound as a hole and lies in no other.", "The ring was reversed."},
    {"The ring lies in another and is wound as a shell.", "The ring was reversed."},
    {"The area is not valid.", "The area was made valid."},
}};

struct Vertex {
    GisShapePoint point;
    int index;
};

/// The vertices that are finite and not those before them.
std::vector<Vertex> soundVertices(const QList<GisShapePoint>& part, int number, ProblemList& problems) {
    std::vector<Vertex> kept;
    for (int i = 0; i < part.size(); ++i) {
        const GisShapePoint& vertex = part[i];
        if (vertex.isEmpty()) {
            problems.add(GisShapeProblemKind::NotANumber, {}, number, i);
        } else if (!isFinite(vertex)) {
            problems.add(GisShapeProblemKind::Infinite, vertex, number, i);
        } else if (!kept.empty() && isSamePlace(kept.back().point, vertex)) {
            problems.add(GisShapeProblemKind::RepeatedVertex, vertex, number, i);
        } else {
            kept.push_back({vertex, i});
        }
    }
    return kept;
}

void complainOfTooFew(const std::vector<Vertex>& kept, int part, ProblemList& problems) {
    problems.add(GisShapeProblemKind::TooFewVertices, kept.empty() ? GisShapePoint() : kept.front().point,
                 part, -1);
}

/// True when the way from a over b to c goes back on itself.
bool isSpike(const GisShapePoint& a, const GisShapePoint& b, const GisShapePoint& c) {
    if (orientation(a, b, c) != 0) {
        return false;
    }
    // On one line, the signs of the differences say which way, without rounding.
    return (b.x() > a.x() && c.x() < b.x()) || (b.x() < a.x() && c.x() > b.x()) ||
           (b.y() > a.y() && c.y() < b.y()) || (b.y() < a.y() && c.y() > b.y());
}

/// Of a ring without its closing vertex. What remains has three vertices or more, none of them the tip of a
/// spike, or is empty.
std::vector<Vertex> withoutSpikes(const std::vector<Vertex>& ring, int part, ProblemList& problems) {
    std::vector<Vertex> kept;
    const auto complain = [&](const Vertex& tip) {
        problems.add(GisShapeProblemKind::Spike, tip.point, part, tip.index);
    };
    for (const Vertex& vertex : ring) {
        while (kept.size() > 1 && isSpike(kept[kept.size() - 2].point, kept.back().point, vertex.point)) {
            complain(kept.back());
            kept.pop_back();
        }
        if (kept.empty() || !isSamePlace(kept.back().point, vertex.point)) {
            kept.push_back(vertex);
        }
    }
    auto first = kept.begin();
    for (bool isDone = false; !isDone && kept.end() - first > 2;) {
        isDone = true;
        if (isSamePlace(first->point, kept.back().point)) {
            kept.pop_back();
            isDone = false;
        } else if (isSpike(kept[kept.size() - 2].point, kept.back().point, first->point)) {
            complain(kept.back());
            kept.pop_back();
            isDone = false;
        } else if (isSpike(kept.back().point, first->point, std::next(first)->point)) {
            complain(*first);
            ++first;
            isDone = false;
        }
    }
    kept.erase(kept.begin(), first);
    return kept;
}

} // namespace

void ProblemList::add(GisShapeProblemKind kind, const GisShapePoint& place, int part, int vertex,
                      const QString& detail) {
    const auto index = static_cast<std::size_t>(kind);
    if (!isFull(kind)) {
        ++m_counts[index];
        m_problems.append({kind, GisShapePoint(place.x(), place.y()), part, vertex,
                           detail.isEmpty() ? QString::fromLatin1(kindTexts[index].problem) : detail});
    }
}

QString remedyOf(GisShapeProblemKind kind) {
    return QString::fromLatin1(kindTexts[static_cast<std::size_t>(kind)].remedy);
}

Ring cleanLine(const QList<GisShapePoint>& line, int part, ProblemList& problems) {
    const std::vector<Vertex> kept = soundVertices(line, part, problems);
    Ring clean;
    if (kept.size() < 2) {
        complainOfTooFew(kept, part, problems);
        return clean;
    }
    for (const Vertex& vertex : kept) {
        clean.append(vertex.point);
    }
    return clean;
}

Ring cleanRing(const QList<GisShapePoint>& ring, int part, ProblemList& problems) {
    std::vector<Vertex> kept = soundVertices(ring, part, problems);
    Ring clean;
    if (kept.size() > 1 && isSamePlace(kept.front().point, kept.back().point)) {
        kept.pop_back();
    } else if (kept.size() > 2) {
        problems.add(GisShapeProblemKind::OpenRing, kept.back().point, part, kept.back().index);
    }
    kept = withoutSpikes(kept, part, problems);
    if (kept.size() < 3) {
        complainOfTooFew(kept, part, problems);
        return clean;
    }
    for (const Vertex& vertex : kept) {
        clean.append(vertex.point);
    }
    clean.append(kept.front().point);
    return clean;
}

void windByNesting(QList<Ring>& rings, const QList<Shapes::Internal::RingNest>& nests,
                   const QList<int>& partOf, ProblemList& problems) {
    double largest = 0.0;
    bool shellsAreLeft = true; // counterclockwise
    std::vector<double> areas;
    for (qsizetype i = 0; i < rings.size(); ++i) {
        areas.push_back(signedArea(rings[i]));
        if (std::fabs(areas.back()) > largest) {
            largest = std::fabs(areas.back());
            shellsAreLeft = (areas.back() > 0.0) == (nests[i].depth % 2 == 0);
        }
    }
    for (qsizetype i = 0; i < rings.size(); ++i) {
        const double area = areas[static_cast<std::size_t>(i)];
        const bool isHole = nests[i].depth % 2 == 1;
        if (area != 0.0 && (area > 0.0) != (shellsAreLeft != isHole)) {
            problems.add(isHole ? GisShapeProblemKind::NestedShells : GisShapeProblemKind::HoleOutside,
                         rings[i].constFirst(), partOf[i], -1);
            std::reverse(rings[i].begin(), rings[i].end());
        }
    }
}

} // namespace Cartolith::Core::Topology::Internal
