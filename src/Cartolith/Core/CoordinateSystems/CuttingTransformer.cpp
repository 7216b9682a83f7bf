#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>
#include <Cartolith/Core/CoordinateSystems/GeographicRingsInternal.h>
#include <Cartolith/Core/CoordinateSystems/SystemPairInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::CoordinateSystems {

using Common::Internal::GdalErrorCapture;
using Internal::DomainCut;
using Internal::MapDomain;
using Internal::Vertex;
using Place = MapDomain::Place;
using Node = DomainCut::Node;
using Ring = std::vector<Vertex>;

namespace {

constexpr double radians = std::numbers::pi / 180.0;
constexpr int mostHalvings = 12;

struct Box {
    double xMin = HUGE_VAL;
    double yMin = HUGE_VAL;
    double xMax = -HUGE_VAL;
    double yMax = -HUGE_VAL;

    void add(double x, double y) {
        xMin = std::min(xMin, x);
        yMin = std::min(yMin, y);
        xMax = std::max(xMax, x);
        yMax = std::max(yMax, y);
    }
    bool holds(double x, double y) const { return x >= xMin && x <= xMax && y >= yMin && y <= yMax; }
};

void check(std::span<const double> coordinates, std::span<const qsizetype> ends) {
    qsizetype before = 0;
    for (const qsizetype end : ends) {
        if (end < before) {
            throw std::invalid_argument("The ends of parts fall.");
        }
        before = end;
    }
    if (static_cast<std::size_t>(before) * 2 != coordinates.size()) {
        throw std::invalid_argument("The ends of parts do not fit the coordinates.");
    }
}

double distanceToSegment(const Vertex& p, const Vertex& a, const Vertex& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double square = dx * dx + dy * dy;
    const double t =
        square > 0.0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / square, 0.0, 1.0) : 0.0;
    return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

} // namespace

class CuttingTransformer::Private {
public:
    Private(const CoordinateSystem& source, const CoordinateSystem& target)
        : m_pair(source, target), m_domain(MapDomain::of(m_pair.target())) {}

    double tolerance = 0.0;
    Box finer; // nowhere
    double finerTolerance = 0.0;

    void points(std::span<const double> coordinates, std::span<const qsizetype> ends, CutParts& result);
    void paths(std::span<const double> coordinates, std::span<const qsizetype> ends, bool areRings,
               CutParts& result);

private:
    enum class Lying {
        Beyond,  ///< maybe
        Inside,  ///< surely
        FarFrom, ///< and far from the end of the map
    };
    Lying lyingOf(std::span<const double> coordinates) const;
    void transformAll(std::span<const double> coordinates);
    bool isLinear() const { return m_pair.areDegreesShared() && m_domain.isUpright(); }
    std::optional<Place> placeOf(const Vertex& source) const;
    Place inward(Place place, double degrees) const;

    void whole(std::span<const double> coordinates, std::span<const qsizetype> ends, bool areRings,
               CutParts& result);
    void cut(std::span<const double> coordinates, std::span<const qsizetype> ends, bool areRings,
             CutParts& result);
    std::vector<Ring> sourcePaths(std::span<const double> coordinates, std::span<const qsizetype> ends,
                                  bool areRings, CutParts& result) const;
    bool isInside(const std::vector<Ring>& rings, const Box& box, const Place& place) const;

    std::optional<Vertex> imageOf(const Node& node) const;
    Node between(const Node& a, const Node& b) const;
    double lengthOf(const Node& from, const Node& to) const;
    double toleranceOf(const Vertex& a, const Vertex& b) const;
    std::optional<double> deviationOf(const Node& from, const Node& to, const Vertex& a,
                                      const Vertex& b) const;
    bool isNear(const Node& from, const Node& to, const Vertex& a, const Vertex& b, int halvings,
                double most) const;
    void refine(const Node& from, const Node& to, const Vertex& a, const Vertex& b, int depth,
                CutParts& result);
    void write(std::span<const Node> path, bool isRing, CutParts& result);
    void writeEnd(bool isRing, CutParts& result, bool keepsRepeats = false);

    Internal::SystemPair m_pair;
    MapDomain m_domain;
    std::vector<double> m_x;
    std::vector<double> m_y;
    std::size_t m_start = 0; // of the part that is being written
    bool m_isRing = false;
    bool m_isFar = false;
};

std::optional<Place> CuttingTransformer::Private::placeOf(const Vertex& source) const {
    const auto degrees = m_pair.toDegrees(source);
    return degrees ? std::optional(m_domain.toChart(degrees->x, degrees->y)) : std::nullopt;
}

Place CuttingTransformer::Private::inward(Place place, double degrees) const {
    if (m_domain.isCap()) {
        return {place.u, std::max(place.v, m_domain.vMin() + degrees)};
    }
    return {std::clamp(place.u, m_domain.uMin() + degrees, m_domain.uMax() - degrees),
            std::clamp(place.v, m_domain.vMin() + degrees, m_domain.vMax() - degrees)};
}

/// By the box of the coordinates alone.
CuttingTransformer::Private::Lying
CuttingTransformer::Private::lyingOf(std::span<const double> coordinates) const {
    Box box;
    bool areFinite = true;
    for (std::size_t i = 0; i < coordinates.size(); i += 2) {
        areFinite = areFinite && std::isfinite(coordinates[i]) && std::isfinite(coordinates[i + 1]);
        box.add(coordinates[i], coordinates[i + 1]);
    }
    if (!areFinite || coordinates.empty()) {
        return Lying::Beyond;
    }
    const auto lying = [this](double longitude, double latitude, double radius) {
        if (!m_domain.surelyHolds(longitude, latitude, radius)) {
            return Lying::Beyond;
        }
        const bool isFar = m_domain.isUpright() || m_domain.surelyHolds(longitude, latitude, radius + 10.0);
        return isFar ? Lying::FarFrom : Lying::Inside;
    };
    if (m_pair.isSourceInDegrees()) {
        if (m_domain.isUpright()) {
            const double slack = m_pair.areDegreesShared() ? 0.0 : 0.01; // for a shift of the datum
            const Place least = m_domain.toChart(box.xMin, box.yMin);
            const Place most = m_domain.toChart(box.xMax, box.yMax);
            const bool isIn = least.u - slack >= m_domain.uMin() && most.u + slack <= m_domain.uMax() &&
                              least.v - slack >= m_domain.vMin() && most.v + slack <= m_domain.vMax();
            const bool isPlain = box.xMin >= -180.0 && box.xMax <= 180.0 && most.u - least.u <= 350.0;
            return isIn && isPlain ? Lying::FarFrom : Lying::Beyond;
        }
        const double width = box.xMax - box.xMin;
        const double height = box.yMax - box.yMin;
        const bool isSmall = width < 170.0 && box.yMin >= -90.0 && box.yMax <= 90.0;
        return isSmall ? lying((box.xMin + box.xMax) / 2, (box.yMin + box.yMax) / 2,
                               0.01 + std::hypot(width, height) / 2)
                       : Lying::Beyond;
    }
    // A mesh of the box lies in a cap around its middle.
    constexpr std::size_t mesh = 4;
    std::array<Vertex, (mesh + 1) * (mesh + 1)> places;
    for (std::size_t i = 0; i < places.size(); ++i) {
        const std::size_t down = i / (mesh + 1);
        const auto row = static_cast<double>(down) / mesh;
        const auto column = static_cast<double>(i % (mesh + 1)) / mesh;
        const auto place = m_pair.toDegrees(
            {box.xMin + (box.xMax - box.xMin) * column, box.yMin + (box.yMax - box.yMin) * row});
        if (!place) {
            return Lying::Beyond;
        }
        places[i] = *place;
    }
    const Vertex middle = places[places.size() / 2];
    double radius = 0.0;
    for (const Vertex& place : places) {
        const double cosine = std::sin(place.y * radians) * std::sin(middle.y * radians) +
                              std::cos(place.y * radians) * std::cos(middle.y * radians) *
                                  std::cos((place.x - middle.x) * radians);
        radius = std::max(radius, std::acos(std::clamp(cosine, -1.0, 1.0)) / radians);
    }
    return radius < 60.0 ? lying(middle.x, middle.y, 0.01 + 1.3 * radius) : Lying::Beyond;
}

/// Into m_x and m_y, without a cut.
void CuttingTransformer::Private::transformAll(std::span<const double> coordinates) {
    const std::size_t count = coordinates.size() / 2;
    m_x.resize(count);
    m_y.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        m_x[i] = coordinates[2 * i];
        m_y[i] = coordinates[2 * i + 1];
    }
    m_pair.toTarget(m_x, m_y);
}

// Points

void CuttingTransformer::Private::points(std::span<const double> coordinates, std::span<const qsizetype> ends,
                                         CutParts& result) {
    const bool areInside = lyingOf(coordinates) != Lying::Beyond;
    transformAll(coordinates);
    std::size_t i = 0;
    for (const qsizetype end : ends) {
        for (; i < static_cast<std::size_t>(end); ++i) {
            Vertex image{m_x[i], m_y[i]};
            bool isThere = std::isfinite(image.x);
            if (isThere && !areInside) {
                Node node;
                node.source = {coordinates[2 * i], coordinates[2 * i + 1]};
                const auto place = placeOf(node.source);
                isThere = place.has_value();
                if (isThere) {
                    node.place = *place;
                    if (!m_domain.isCap() && std::abs(node.place.u) > 180.0) {
                        node.place.u = std::remainder(node.place.u, 360.0);
                    }
                    isThere = node.place.v >= m_domain.vMin() && node.place.v <= m_domain.vMax() &&
                              (m_domain.isCap() ||
                               (node.place.u >= m_domain.uMin() && node.place.u <= m_domain.uMax()));
                    image = isThere ? imageOf(node).value_or(image) : image;
                }
            }
            if (isThere) {
                result.coordinates.insert(result.coordinates.end(), {image.x, image.y});
            } else {
                ++result.dropped;
            }
        }
        result.ends.push_back(static_cast<qsizetype>(result.coordinates.size() / 2));
    }
}

// Paths

void CuttingTransformer::Private::paths(std::span<const double> coordinates, std::span<const qsizetype> ends,
                                        bool areRings, CutParts& result) {
    const Lying lying = lyingOf(coordinates);
    m_isFar = lying == Lying::FarFrom;
    m_isRing = areRings;
    if (lying == Lying::Beyond) {
        cut(coordinates, ends, areRings, result);
    } else {
        whole(coordinates, ends, areRings, result);
    }
}

void CuttingTransformer::Private::whole(std::span<const double> coordinates, std::span<const qsizetype> ends,
                                        bool areRings, CutParts& result) {
    transformAll(coordinates);
    std::size_t at = 0;
    for (const qsizetype end : ends) {
        std::optional<std::size_t> first; // that has an image
        m_start = result.coordinates.size();
        Node before;
        Vertex last;
        bool hasLast = false;
        const auto go = [&](std::size_t i) {
            const Vertex image{m_x[i], m_y[i]};
            if (!std::isfinite(image.x)) {
                hasLast = hasLast && areRings;
                if (!areRings) {
                    writeEnd(false, result, true);
                }
                return false;
            }
            Node node;
            node.source = {coordinates[2 * i], coordinates[2 * i + 1]};
            if (hasLast) {
                refine(before, node, last, image, 0, result);
            }
            result.coordinates.insert(result.coordinates.end(), {image.x, image.y});
            before = node;
            last = image;
            hasLast = true;
            return true;
        };
        for (; at < static_cast<std::size_t>(end); ++at) {
            if (!go(at)) {
                ++result.dropped;
            } else if (!first) {
                first = at;
            }
        }
        if (areRings && first &&
            (coordinates[2 * *first] != before.source.x || coordinates[2 * *first + 1] != before.source.y)) {
            go(*first);
        }
        writeEnd(areRings, result, true);
    }
}

std::vector<Ring> CuttingTransformer::Private::sourcePaths(std::span<const double> coordinates,
                                                           std::span<const qsizetype> ends, bool areRings,
                                                           CutParts& result) const {
    std::vector<Ring> paths;
    std::size_t at = 0;
    for (const qsizetype end : ends) {
        Ring path;
        const auto finish = [&] {
            if (areRings && path.size() > 2 &&
                (path.front().x != path.back().x || path.front().y != path.back().y)) {
                path.push_back(path.front());
            }
            if (m_pair.isSourceInDegrees()) {
                Internal::goShortWay(path);
            }
            if (m_pair.isSourceInDegrees() && areRings) {
                Internal::closeOverPole(path);
            }
            if (path.size() >= (areRings ? 4U : 2U)) {
                paths.push_back(std::exchange(path, {}));
            }
            path.clear();
        };
        for (; at < static_cast<std::size_t>(end); ++at) {
            const Vertex vertex{coordinates[2 * at], coordinates[2 * at + 1]};
            if (m_pair.toDegrees(vertex)) {
                path.push_back(vertex);
                continue;
            }
            ++result.dropped;
            if (!areRings) {
                finish();
            }
        }
        finish();
    }
    return paths;
}

bool CuttingTransformer::Private::isInside(const std::vector<Ring>& rings, const Box& box,
                                           const Place& place) const {
    const Place near = inward(place, 1e-7);
    const Place degrees = m_domain.fromChart(near);
    std::optional<Vertex> source = m_pair.toSource({degrees.u, degrees.v});
    if (!source) {
        return false;
    }
    if (!m_pair.isSourceInDegrees()) {
        return box.holds(source->x, source->y) && Internal::isInOdd(rings, *source);
    }
    const double first = source->x + 360.0 * std::ceil((box.xMin - source->x) / 360.0);
    for (double x = first; x <= box.xMax; x += 360.0) {
        if (box.holds(x, source->y) && Internal::isInOdd(rings, {x, source->y})) {
            return true;
        }
    }
    return false;
}

void CuttingTransformer::Private::cut(std::span<const double> coordinates, std::span<const qsizetype> ends,
                                      bool areRings, CutParts& result) {
    const std::vector<Ring> paths = sourcePaths(coordinates, ends, areRings, result);
    Box box;
    for (const Ring& path : paths) {
        for (const Vertex& vertex : path) {
            box.add(vertex.x, vertex.y);
        }
    }
    const double stepsPerUnit = m_pair.sourceUnit() / 220'000.0; // every two degrees
    DomainCut cut(m_domain, isLinear(), stepsPerUnit, [this](const Vertex& v) { return placeOf(v); });
    const auto seam = m_domain.seam();
    const bool isAround = areRings && m_pair.isSourceInDegrees() &&
                          std::abs(box.xMax - box.xMin - 360.0) <= 2.0 * Internal::seamCloseness &&
                          !(seam && std::abs(std::remainder(*seam - box.xMin, 360.0)) < MapDomain::closeness);
    const std::vector<Ring> joined = isAround ? Internal::joinedAcross(box.xMin, paths) : std::vector<Ring>();
    for (const Ring& path : isAround ? joined : paths) {
        cut.add(path, areRings);
    }
    if (!areRings) {
        const std::vector<DomainCut::Path> lines = cut.takeLines();
        for (const DomainCut::Path& line : lines) {
            write(line, false, result);
        }
        result.isCut = cut.isCrossed() || lines.size() < paths.size();
        return;
    }
    const auto isIn = [&](const Place& place) { return isInside(paths, box, place); };
    result.isCut = cut.isCrossed() || cut.isEmpty();
    // Rings that follow the boundary of a linear chart hold it already, unless these edges were taken away.
    const bool mayHoldAll = !cut.isCrossed() && (cut.isEmpty() || !isLinear() || isAround);
    const bool holdsAll = mayHoldAll && isIn(m_domain.placeAt(0.37 * m_domain.perimeter()));
    for (const DomainCut::Path& ring : cut.takeRings(isIn)) {
        write(ring, true, result);
    }
    if (holdsAll) {
        result.isCut = true;
        write(cut.wholeBoundary(), true, result);
    }
}

// Images

std::optional<Vertex> CuttingTransformer::Private::imageOf(const Node& node) const {
    if (m_pair.isTargetInDegrees()) {
        return Vertex{node.place.u, node.place.v};
    }
    if (std::isfinite(node.boundary)) {
        const Place degrees = m_domain.fromChart(
            inward(node.alongBoundary ? m_domain.placeAt(node.boundary) : node.place, MapDomain::closeness));
        return m_pair.fromDegrees({degrees.u, degrees.v});
    }
    Vertex source = node.source;
    if (m_pair.isSourceInDegrees() && std::abs(source.x) > 180.0) {
        source.x = std::remainder(source.x, 360.0);
    }
    return m_pair.toTarget(source);
}

Node CuttingTransformer::Private::between(const Node& a, const Node& b) const {
    Node middle;
    if (b.alongBoundary && std::isfinite(a.boundary) && std::isfinite(b.boundary)) {
        middle.boundary = a.boundary + std::remainder(b.boundary - a.boundary, m_domain.perimeter()) / 2;
        middle.place = m_domain.placeAt(middle.boundary);
        middle.alongBoundary = true;
        return middle;
    }
    middle.source = {(a.source.x + b.source.x) / 2, (a.source.y + b.source.y) / 2};
    middle.place = {(a.place.u + b.place.u) / 2, (a.place.v + b.place.v) / 2};
    const bool isAtBoundary = std::isfinite(a.boundary) || std::isfinite(b.boundary);
    if ((m_pair.isTargetInDegrees() || isAtBoundary) && !isLinear()) {
        const double u = middle.place.u;
        middle.place = placeOf(middle.source).value_or(middle.place);
        middle.place.u = u + std::remainder(middle.place.u - u, 360.0);
        if (m_domain.isOnBoundary(middle.place)) { // an edge that passes a pole may lie there for a part
            middle.boundary = m_domain.boundaryAt(middle.place);
        }
    }
    return middle;
}

/// The length of an edge in metres, about: as a source is wide, or a boundary long.
double CuttingTransformer::Private::lengthOf(const Node& from, const Node& to) const {
    if (to.alongBoundary) {
        constexpr double metresInDegree = 111'320.0;
        return std::abs(std::remainder(to.boundary - from.boundary, m_domain.perimeter())) * metresInDegree;
    }
    return std::hypot(to.source.x - from.source.x, to.source.y - from.source.y) * m_pair.sourceUnit();
}

/// Where the straight line is so far from the finer part that its image cannot come into it either, as long
/// as that is near the line: what holds for all.
double CuttingTransformer::Private::toleranceOf(const Vertex& a, const Vertex& b) const {
    if (finer.xMin > finer.xMax) {
        return tolerance;
    }
    const bool isBeside =
        std::max(a.x, b.x) < finer.xMin - tolerance || std::min(a.x, b.x) > finer.xMax + tolerance ||
        std::max(a.y, b.y) < finer.yMin - tolerance || std::min(a.y, b.y) > finer.yMax + tolerance;
    return isBeside ? tolerance : finerTolerance;
}

/// How far the image of an edge is from the straight line at the most; none when that is farther than the
/// tolerance.
std::optional<double> CuttingTransformer::Private::deviationOf(const Node& from, const Node& to,
                                                               const Vertex& a, const Vertex& b) const {
    if (m_pair.isTargetInDegrees() && (isLinear() || to.alongBoundary)) {
        return 0.0;
    }
    // The sagitta of a short one is of the order of its length on the map by that on the ground, over eight
    // radii of the earth.
    constexpr double quarterOfRadius = 1.6e6;
    const double most = toleranceOf(a, b);
    const double length = std::hypot(b.x - a.x, b.y - a.y);
    const double ground = lengthOf(from, to);
    const bool isShort = m_isFar && ground < 500'000.0;
    const double sagitta = m_isFar ? length * ground / quarterOfRadius : HUGE_VAL;
    if ((isShort && length <= most) || sagitta <= most) {
        return isShort ? std::min(length, sagitta) : sagitta;
    }
    const double wanted = std::log2(ground / 500'000.0); // -infinity of two vertices in one place
    // Near a pole and the map's end, the image of a short one may be long, and bent both ways.
    const int least = m_isFar ? 0 : 2;
    const int halvings =
        std::max(least, wanted > 0.0 ? static_cast<int>(std::ceil(std::min(wanted, 6.0))) : 0);
    return std::isinf(most) || isNear(from, to, a, b, halvings, most) ? std::optional(most) : std::nullopt;
}

/// Whether the middle of the edge is near the line, and the middles of its halves, ...
bool CuttingTransformer::Private::isNear(const Node& from, const Node& to, const Vertex& a, const Vertex& b,
                                         int halvings, double most) const {
    const Node middle = between(from, to);
    const std::optional<Vertex> image = imageOf(middle);
    if (!image) {
        return true; // nothing to go by
    }
    return distanceToSegment(*image, a, b) <= most &&
           (halvings == 0 ||
            (isNear(from, middle, a, b, halvings - 1, most) && isNear(middle, to, a, b, halvings - 1, most)));
}

/// Puts in what is between the two ends, which are written by the caller.
void CuttingTransformer::Private::refine(const Node& from, const Node& to, const Vertex& a, const Vertex& b,
                                         int depth, CutParts& result) {
    const std::optional<double> deviation = deviationOf(from, to, a, b);
    if (deviation || depth == mostHalvings) {
        result.deviation = std::max(result.deviation, deviation.value_or(std::hypot(b.x - a.x, b.y - a.y)));
        return;
    }
    const Node middle = between(from, to);
    const std::optional<Vertex> image = imageOf(middle);
    if (!image) {
        return;
    }
    refine(from, middle, a, *image, depth + 1, result);
    result.coordinates.insert(result.coordinates.end(), {image->x, image->y});
    refine(middle, to, *image, b, depth + 1, result);
}

void CuttingTransformer::Private::write(std::span<const Node> path, bool isRing, CutParts& result) {
    m_start = result.coordinates.size();
    const Node* before = nullptr;
    Vertex last;
    const auto go = [&](const Node& node) {
        const std::optional<Vertex> image = imageOf(node);
        if (!image) {
            result.dropped += std::isfinite(node.boundary) ? 0 : 1;
            if (!isRing) {
                writeEnd(false, result);
                before = nullptr;
            }
            return;
        }
        if (before != nullptr) {
            refine(*before, node, last, *image, 0, result);
        }
        result.coordinates.insert(result.coordinates.end(), {image->x, image->y});
        before = &node;
        last = *image;
    };
    for (const Node& node : path) {
        go(node);
    }
    writeEnd(isRing, result);
}

/// Leaves out what repeats the vertex before, unless it is to be kept, and parts of which too little is left.
void CuttingTransformer::Private::writeEnd(bool isRing, CutParts& result, bool keepsRepeats) {
    const std::size_t start = m_start;
    std::vector<double>& all = result.coordinates;
    std::size_t kept = start;
    std::size_t repeats = 0;
    for (std::size_t i = start; i < all.size(); i += 2) {
        const bool isRepeat = kept > start && all[i] == all[kept - 2] && all[i + 1] == all[kept - 1];
        repeats += isRepeat && isRing ? 2 : 0;
        if (keepsRepeats || !isRepeat) {
            all[kept] = all[i];
            all[kept + 1] = all[i + 1];
            kept += 2;
        }
    }
    if (isRing && !keepsRepeats && kept > start) { // a turn on, the image may differ by a rounding
        all[kept - 2] = all[start];
        all[kept - 1] = all[start + 1];
    }
    const std::size_t least = (isRing ? 8 : 4) + (keepsRepeats ? repeats : 0);
    all.resize(kept - start >= least ? kept : start);
    if (all.size() > start) {
        result.ends.push_back(static_cast<qsizetype>(all.size() / 2));
    }
    m_start = all.size();
}

// The class

CuttingTransformer::CuttingTransformer(const CoordinateSystem& source, const CoordinateSystem& target,
                                       double tolerance) {
    const GdalErrorCapture capture;
    d = std::make_unique<Private>(source, target);
    setTolerance(tolerance);
}

CuttingTransformer::~CuttingTransformer() = default;

double CuttingTransformer::tolerance() const noexcept {
    return d->tolerance;
}

void CuttingTransformer::setTolerance(double tolerance) {
    if (!(tolerance > 0.0)) {
        throw std::invalid_argument("The tolerance has to be greater than 0.");
    }
    d->tolerance = tolerance;
}

void CuttingTransformer::setFinerWithin(const Shapes::GisExtent& extent, double tolerance) {
    if (!(tolerance > 0.0)) {
        throw std::invalid_argument("The tolerance has to be greater than 0.");
    }
    d->finer = {};
    d->finerTolerance = tolerance;
    if (!extent.isEmpty()) {
        d->finer.add(extent.xMin(), extent.yMin());
        d->finer.add(extent.xMax(), extent.yMax());
    }
}

void CuttingTransformer::points(std::span<const double> coordinates, std::span<const qsizetype> ends,
                                CutParts& result) {
    check(coordinates, ends);
    const GdalErrorCapture capture;
    result.clear();
    d->points(coordinates, ends, result);
}

void CuttingTransformer::lines(std::span<const double> coordinates, std::span<const qsizetype> ends,
                               CutParts& result) {
    check(coordinates, ends);
    const GdalErrorCapture capture;
    result.clear();
    d->paths(coordinates, ends, false, result);
}

void CuttingTransformer::rings(std::span<const double> coordinates, std::span<const qsizetype> ends,
                               CutParts& result) {
    check(coordinates, ends);
    const GdalErrorCapture capture;
    result.clear();
    d->paths(coordinates, ends, true, result);
}

std::unique_ptr<Shapes::GisShape> CuttingTransformer::transformShape(const Shapes::GisShape& shape) {
    std::unique_ptr<Shapes::GisShape> copy = shape.clone();
    CutParts result;
    if (auto* const point = dynamic_cast<Shapes::GisShapePoint*>(copy.get())) {
        const std::array<double, 2> place{point->x(), point->y()};
        const std::array<qsizetype, 1> end{1};
        points(place, end, result);
        if (result.coordinates.empty()) {
            return nullptr;
        }
        point->setX(result.coordinates[0]);
        point->setY(result.coordinates[1]);
        return copy;
    }
    auto* const line = dynamic_cast<Shapes::GisShapePolyline*>(copy.get());
    auto* const polygon = dynamic_cast<Shapes::GisShapePolygon*>(copy.get());
    if (line == nullptr && polygon == nullptr) {
        throw std::invalid_argument("Only points, polylines and polygons can be transformed.");
    }
    QList<QList<Shapes::GisShapePoint>>& parts = line != nullptr ? line->parts() : polygon->parts();
    std::vector<double> coordinates;
    std::vector<qsizetype> ends;
    for (const QList<Shapes::GisShapePoint>& part : std::as_const(parts)) {
        for (const Shapes::GisShapePoint& vertex : part) {
            coordinates.insert(coordinates.end(), {vertex.x(), vertex.y()});
        }
        ends.push_back(static_cast<qsizetype>(coordinates.size() / 2));
    }
    if (line != nullptr) {
        lines(coordinates, ends, result);
    } else {
        rings(coordinates, ends, result);
    }
    parts.clear();
    qsizetype at = 0;
    for (const qsizetype end : result.ends) {
        QList<Shapes::GisShapePoint> part;
        part.reserve(end - at);
        for (; at < end; ++at) {
            const auto i = static_cast<std::size_t>(at) * 2;
            part.emplaceBack(result.coordinates[i], result.coordinates[i + 1]);
        }
        parts.append(std::move(part));
    }
    return parts.isEmpty() ? nullptr : std::move(copy);
}

} // namespace Cartolith::Core::CoordinateSystems
