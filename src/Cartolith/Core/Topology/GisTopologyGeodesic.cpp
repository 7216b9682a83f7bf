#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>

#include <algorithm>
#include <cmath>
#include <geodesic.h>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Topology {

using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::Internal::Ring;

namespace {

constexpr double quarterTurn = 90.0;
constexpr double wholeTurn = 360.0;

/// The parts of a shape, rings closed, as longitudes and latitudes on an ellipsoid. Those of a projected
/// shape go on beyond 180 degrees where it does, so that a way once round a pole ends a turn from where it
/// began.
class ShapeOnEllipsoid {
public:
    ShapeOnEllipsoid(const GisShape& shape, const CoordinateSystem& system) {
        const Common::Internal::GdalErrorCapture capture;
        OGRSpatialReference reference;
        if (!CoordinateSystems::Internal::toSpatialReference(system, reference)) {
            throw std::runtime_error(QStringLiteral("Unable to initialize CRS '%1' (EPSG:%2) with GDAL/PROJ.")
                                         .arg(system.name())
                                         .arg(system.epsgCode())
                                         .toStdString());
        }
        const double flattening = reference.GetInvFlattening();
        geod_init(&m_ellipsoid, reference.GetSemiMajor(), flattening == 0.0 ? 0.0 : 1.0 / flattening);
        const Internal::SegmentList boundary(shape);
        for (const Internal::SegmentPart& part : boundary.parts()) {
            m_isFinite =
                m_isFinite && std::all_of(part.vertices.begin(), part.vertices.end(), Internal::isFinite);
            m_planar.append(part.vertices);
        }
        m_parts = m_planar;
        m_isProjected = reference.IsProjected() != 0;
        if (m_isFinite) {
            const double degreesPerUnit = reference.GetAngularUnits() * 180.0 / std::numbers::pi;
            if (m_isProjected) {
                toGeographic(system, reference, degreesPerUnit);
            } else {
                for (Ring& part : m_parts) {
                    toDegrees(part, degreesPerUnit);
                }
            }
        }
    }

    bool isFinite() const { return m_isFinite; }

    double length() const {
        Internal::CompensatedSum sum;
        for (const Ring& part : m_parts) {
            sum.add(measure(part).length);
        }
        return sum.value();
    }

    double area() const {
        Internal::CompensatedSum sum;
        // On the plane: there a hole is not a turn away from its shell.
        const QList<int> depths = Shapes::Internal::nestingDepths(m_planar);
        for (qsizetype i = 0; i < m_parts.size(); ++i) {
            const double area = areaOf(m_parts[i], m_planar[i]);
            sum.add(depths[i] % 2 == 0 ? area : -area);
        }
        return sum.value() < 0.0 ? 0.0 : sum.value();
    }

private:
    struct Measures {
        double length = 0.0;
        double area = 0.0; ///< between the way and the equator, with a sign
    };
    Measures measure(const Ring& part) const {
        Internal::CompensatedSum length;
        Internal::CompensatedSum area;
        for (qsizetype i = 1; i < part.size(); ++i) {
            const GisShapePoint& a = part[i - 1];
            const GisShapePoint& b = part[i];
            // Beyond half a turn the shortest way would be another one.
            const double quarters =
                m_isProjected ? 1.0 : std::max(1.0, std::ceil(std::fabs(b.x() - a.x()) / quarterTurn));
            if (!(quarters < 1e6)) {
                return {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN()};
            }
            const int pieces = static_cast<int>(quarters);
            double longitude = a.x();
            double latitude = a.y();
            for (int piece = 1; piece <= pieces; ++piece) {
                const double t = piece / quarters;
                const double nextLongitude = piece == pieces ? b.x() : a.x() + t * (b.x() - a.x());
                const double nextLatitude = piece == pieces ? b.y() : a.y() + t * (b.y() - a.y());
                double way = 0.0;
                double below = 0.0;
                geod_geninverse(&m_ellipsoid, latitude, longitude, nextLatitude, nextLongitude, &way, nullptr,
                                nullptr, nullptr, nullptr, nullptr, &below);
                length.add(way);
                area.add(below);
                longitude = nextLongitude;
                latitude = nextLatitude;
            }
        }
        return {length.value(), area.value()};
    }

    double areaOf(const Ring& ring, const Ring& planar) const {
        const double below = measure(ring).area;
        const double turns = m_isProjected && !ring.isEmpty()
                                 ? std::round((ring.last().x() - ring.first().x()) / wholeTurn)
                                 : 0.0;
        if (std::fabs(turns) != 1.0) {
            return std::fabs(below);
        }
        // What lies between the way and the equator is not what it goes round, which is left of a ring that
        // runs anticlockwise on the plane.
        const double hemisphere = 2.0 * std::numbers::pi * m_ellipsoid.c2;
        const bool isNorthInside = (Internal::signedArea(planar) > 0.0) == (turns > 0.0);
        return std::fabs(isNorthInside ? hemisphere - turns * below : hemisphere + turns * below);
    }

    void toGeographic(const CoordinateSystem& system, const OGRSpatialReference& reference,
                      double degreesPerUnit) {
        const std::unique_ptr<OGRSpatialReference> geographic(reference.CloneGeogCS());
        const auto target =
            geographic == nullptr ? nullptr : CoordinateSystemFactory::fromSpatialReference(*geographic);
        if (target == nullptr) {
            throw std::runtime_error("GisTopology needs a system with an ellipsoid.");
        }
        const CoordinateTransformer transformer(system, *target);
        const double radius = reference.GetSemiMajor() / reference.GetLinearUnits();
        for (qsizetype i = 0; i < m_parts.size(); ++i) {
            const Ring& planar = m_planar[i];
            Ring ends = transformer.transformPoints(planar);
            toDegrees(ends, degreesPerUnit);
            Ring& way = m_parts[i];
            way.clear();
            for (qsizetype k = 0; k < ends.size(); ++k) {
                if (k > 0) {
                    goAlong(way, planar[k - 1], planar[k], ends[k], transformer, degreesPerUnit, radius);
                }
                goOn(way, ends[k]);
            }
        }
    }

    /// Where a segment turns by more than a quarter, points along it, as it lies on the plane, say which way.
    static void goAlong(Ring& way, const GisShapePoint& from, const GisShapePoint& to,
                        const GisShapePoint& end, const CoordinateTransformer& transformer,
                        double degreesPerUnit, double radius) {
        const bool isLong = std::hypot(to.x() - from.x(), to.y() - from.y()) > radius;
        if (!isLong && std::fabs(std::remainder(end.x() - way.last().x(), wholeTurn)) <= quarterTurn) {
            return;
        }
        constexpr int pieces = 9;
        Ring between;
        for (int piece = 1; piece < pieces; ++piece) {
            const double t = static_cast<double>(piece) / pieces;
            between.append(
                GisShapePoint(from.x() + t * (to.x() - from.x()), from.y() + t * (to.y() - from.y())));
        }
        between = transformer.transformPoints(between);
        toDegrees(between, degreesPerUnit);
        Ring longer{way.last()};
        for (const GisShapePoint& point : std::as_const(between)) {
            goOn(longer, point);
        }
        const double step = std::remainder(end.x() - longer.last().x(), wholeTurn);
        if (std::fabs(longer.last().x() + step - way.last().x()) > quarterTurn) {
            way.append(longer.mid(1));
        }
    }

    static void goOn(Ring& way, const GisShapePoint& point) {
        const double x = way.isEmpty()
                             ? point.x()
                             : way.last().x() + std::remainder(point.x() - way.last().x(), wholeTurn);
        way.append(GisShapePoint(x, point.y()));
    }

    static void toDegrees(Ring& part, double degreesPerUnit) {
        if (std::fabs(degreesPerUnit - 1.0) > 1e-12) {
            for (GisShapePoint& vertex : part) {
                vertex = GisShapePoint(vertex.x() * degreesPerUnit, vertex.y() * degreesPerUnit);
            }
        }
    }

    geod_geodesic m_ellipsoid{};
    QList<Ring> m_planar; ///< as they were given
    QList<Ring> m_parts;
    bool m_isFinite = true;
    bool m_isProjected = false;
};

} // namespace

double GisTopology::GeodesicLength(const GisShape& shape, const CoordinateSystem& system) {
    const ShapeOnEllipsoid onEllipsoid(shape, system);
    if (!onEllipsoid.isFinite()) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    return onEllipsoid.length();
}

double GisTopology::GeodesicArea(const GisShape& shape, const CoordinateSystem& system) {
    const ShapeOnEllipsoid onEllipsoid(shape, system);
    if (dynamic_cast<const GisShapePolygon*>(&shape) == nullptr) {
        return 0.0;
    }
    if (!onEllipsoid.isFinite()) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    return onEllipsoid.area();
}

} // namespace Cartolith::Core::Topology
