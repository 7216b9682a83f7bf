#pragma once

#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <QString>

#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <utility>
#include <vector>

/// Made pairs of polygons that are hard to overlay.
namespace pairs {

using Cartolith::Core::Shapes::GisShapePoint;
using Cartolith::Core::Shapes::GisShapePolygon;
using Polygons = std::vector<std::unique_ptr<GisShapePolygon>>;
using Ring = QList<GisShapePoint>;

struct DataSet {
    QString name;
    Polygons polygons;
    std::vector<std::pair<std::size_t, std::size_t>> pairs;

    void add(std::unique_ptr<GisShapePolygon> a, std::unique_ptr<GisShapePolygon> b) {
        pairs.emplace_back(polygons.size(), polygons.size() + 1);
        polygons.push_back(std::move(a));
        polygons.push_back(std::move(b));
    }
};

class Random {
public:
    explicit Random(std::mt19937_64& random) : m_random(random) {}
    double between(double low, double high) { return std::uniform_real_distribution<double>(low, high)(m_random); }
    int whole(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_random); }

private:
    std::mt19937_64& m_random;
};

inline std::unique_ptr<GisShapePolygon> polygonOf(std::initializer_list<Ring> rings) {
    auto polygon = std::make_unique<GisShapePolygon>();
    for (Ring ring : rings) {
        ring.append(GisShapePoint(ring.first()));
        polygon->parts().append(ring);
    }
    return polygon;
}

inline GisShapePoint along(const GisShapePoint& a, const GisShapePoint& b, double share) {
    return {a.x() + share * (b.x() - a.x()), a.y() + share * (b.y() - a.y())};
}

/// A star-shaped ring with radii from `inner` to the whole of the given one, counterclockwise.
inline Ring star(double x, double y, double radius, double inner, int corners, Random& random) {
    Ring ring;
    for (int k = 0; k < corners; ++k) {
        const double r = radius * random.between(inner, 1.0);
        const double angle = k * 2.0 * M_PI / corners;
        ring.append(GisShapePoint(x + r * std::cos(angle), y + r * std::sin(angle)));
    }
    return ring;
}

/// A parcel of 5 to 200 m on an edge from p to q: a side on it, inside or outside; a corner on it; astride;
/// at its first vertex.
inline std::unique_ptr<GisShapePolygon> parcelOn(const GisShapePoint& p, const GisShapePoint& q, int kind,
                                                 Random& random) {
    const double length = std::hypot(q.x() - p.x(), q.y() - p.y());
    const double ux = (q.x() - p.x()) / length;
    const double uy = (q.y() - p.y()) / length;
    const auto size = [&random] { return 5.0 * std::pow(40.0, random.between(0.0, 1.0)); };
    const double width = std::min(size(), 0.9 * length);
    const double depth = size();
    const double share = kind == 4 ? 0.0 : random.between(0.0, 1.0 - width / length);
    const GisShapePoint first = along(p, q, share);
    const GisShapePoint second = along(p, q, share + width / length);
    const auto off = [ux, uy](const GisShapePoint& from, double to, double aside) {
        return GisShapePoint(from.x() + to * ux - aside * uy, from.y() + to * uy + aside * ux);
    };
    const double side = random.whole(0, 1) == 0 ? depth : -depth;
    switch (kind) {
    case 1:
        return polygonOf({{off(first, 0, -depth / 2), off(second, 0, -depth / 2), off(second, 0, depth / 2),
                           off(first, 0, depth / 2)}});
    case 2: return polygonOf({{first, off(first, width, side / 2), off(first, 0, side), off(first, -width, side / 2)}});
    case 3: return polygonOf({star(first.x(), first.y(), width, 0.5, 7, random)});
    default: return polygonOf({{first, second, off(second, 0, side), off(first, 0, side)}});
    }
}

/// Each on an edge that is not parallel to an axis; either may be the first of the pair.
inline DataSet parcels(const QString& name, Polygons counties, std::size_t count, std::mt19937_64& engine) {
    const int last = static_cast<int>(counties.size()) - 1;
    DataSet data{name, std::move(counties), {}};
    Random random(engine);
    while (data.pairs.size() < count) {
        const auto county = static_cast<std::size_t>(random.whole(0, last));
        const QList<Ring>& rings = data.polygons[county]->parts();
        const Ring& ring = rings[random.whole(0, static_cast<int>(rings.size()) - 1)];
        const qsizetype edge = random.whole(1, static_cast<int>(ring.size()) - 1);
        const GisShapePoint& p = ring[edge - 1];
        const GisShapePoint& q = ring[edge];
        if (p.x() == q.x() || p.y() == q.y()) {
            continue;
        }
        const std::size_t parcel = data.polygons.size();
        data.polygons.push_back(parcelOn(p, q, static_cast<int>(data.pairs.size() % 5), random));
        const bool isFirst = random.whole(0, 1) == 0;
        data.pairs.emplace_back(isFirst ? parcel : county, isFirst ? county : parcel);
    }
    return data;
}

/// Small polygons that touch, nearly coincide or lie in each other, as suites of test cases have them: on an
/// integer grid, or turned, and at sizes from 1e-3 to 1e9.
inline DataSet closePairs(const QString& name, std::size_t count, std::mt19937_64& engine) {
    DataSet data{name, {}, {}};
    Random random(engine);
    while (data.pairs.size() < count) {
        const double scale = std::pow(10.0, random.whole(-3, 7));
        const double turn = random.whole(0, 1) == 0 ? 0.0 : random.between(0.0, 2.0 * M_PI);
        const double shift = random.whole(0, 2) == 0 ? 10.0 * scale : 0.0;
        const auto placed = [=](double x, double y) {
            return turn == 0.0 ? GisShapePoint(shift + scale * x, scale * y)
                               : GisShapePoint(shift + scale * (x * std::cos(turn) - y * std::sin(turn)),
                                               scale * (x * std::sin(turn) + y * std::cos(turn)));
        };
        Ring a;
        for (const GisShapePoint& vertex : star(0, 0, 100, 0.4, random.whole(3, 12), random)) {
            a.append(placed(std::round(vertex.x()), std::round(vertex.y())));
        }
        const qsizetype at = random.whole(0, static_cast<int>(a.size()) - 1);
        const GisShapePoint& p = a[at];
        const GisShapePoint& q = a[(at + 1) % a.size()];
        Ring b;
        switch (data.pairs.size() % 7) {
        case 0: // a corner on an edge
            b = {along(p, q, random.between(0, 1)), placed(random.whole(-90, 90), random.whole(-90, 90)),
                 placed(random.whole(-90, 90), random.whole(-90, 90))};
            break;
        case 1: // a side on an edge
            b = {along(p, q, random.between(0, 0.5)), along(p, q, random.between(0.5, 1)),
                 placed(random.whole(-120, 120), random.whole(-120, 120))};
            break;
        case 2:   // nearly the same
        case 3: { // the same but for one corner
            const double noise = scale * std::pow(10.0, random.whole(-15, -2));
            for (const GisShapePoint& vertex : a) {
                b.append(GisShapePoint(vertex.x() + noise * random.between(-1, 1),
                                       vertex.y() + noise * random.between(-1, 1)));
            }
            if (data.pairs.size() % 7 == 3) {
                const GisShapePoint moved = b.first();
                b = a;
                b.first() = moved;
            }
            break;
        }
        case 4: // inside, down to a speck
            b = star(p.x() / 4 + shift * 3 / 4, p.y() / 4, scale * std::pow(10.0, random.between(-4, 1.5)), 0.5, 5,
                     random);
            break;
        case 5: // from the middle to an edge, two corners on it, along() rounded
            b = {placed(0, 0), along(p, q, random.between(0, 0.4)), along(p, q, random.between(0.6, 1))};
            break;
        default: { // a needle along an edge
            const GisShapePoint middle = along(p, q, 0.5);
            const double aside = random.between(-1e-5, 1e-5);
            b = {along(p, q, -0.25),
                 GisShapePoint(middle.x() - aside * (q.y() - p.y()), middle.y() + aside * (q.x() - p.x())),
                 along(p, q, 1.25)};
        }
        }
        auto first = polygonOf({a});
        auto second = polygonOf({b});
        if (random.whole(0, 1) == 0) {
            std::swap(first, second);
        }
        data.add(std::move(first), std::move(second));
    }
    return data;
}

} // namespace pairs
