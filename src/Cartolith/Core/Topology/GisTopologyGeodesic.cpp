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

namespace Cartolith::Core::Topology {

using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::Internal::Ring;

namespace {

/// The parts of a shape, rings closed, as longitudes and latitudes on an ellipsoid.
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
            m_parts.append(part.vertices);
        }
        if (m_isFinite && reference.IsProjected() != 0) {
            toGeographic(system, reference);
        }
        toDegrees(reference.GetAngularUnits() * 180.0 / std::numbers::pi);
    }

    bool isFinite() const { return m_isFinite; }
    const QList<Ring>& parts() const { return m_parts; }

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
            const double quarters = std::max(1.0, std::ceil(std::fabs(b.x() - a.x()) / 90.0));
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

private:
    void toGeographic(const CoordinateSystem& system, const OGRSpatialReference& reference) {
        const std::unique_ptr<OGRSpatialReference> geographic(reference.CloneGeogCS());
        const auto target =
            geographic == nullptr ? nullptr : CoordinateSystemFactory::fromSpatialReference(*geographic);
        if (target == nullptr) {
            throw std::runtime_error("GisTopology needs a system with an ellipsoid.");
        }
        const CoordinateTransformer transformer(system, *target);
        for (Ring& part : m_parts) {
            part = transformer.transformPoints(part);
        }
    }

    void toDegrees(double degreesPerUnit) {
        if (std::fabs(degreesPerUnit - 1.0) > 1e-12) {
            for (Ring& part : m_parts) {
                for (GisShapePoint& vertex : part) {
                    vertex = GisShapePoint(vertex.x() * degreesPerUnit, vertex.y() * degreesPerUnit);
                }
            }
        }
    }

    geod_geodesic m_ellipsoid{};
    QList<Ring> m_parts;
    bool m_isFinite = true;
};

} // namespace

double GisTopology::GeodesicLength(const GisShape& shape, const CoordinateSystem& system) {
    const ShapeOnEllipsoid onEllipsoid(shape, system);
    if (!onEllipsoid.isFinite()) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    Internal::CompensatedSum sum;
    for (const Ring& part : onEllipsoid.parts()) {
        sum.add(onEllipsoid.measure(part).length);
    }
    return sum.value();
}

double GisTopology::GeodesicArea(const GisShape& shape, const CoordinateSystem& system) {
    const ShapeOnEllipsoid onEllipsoid(shape, system);
    if (dynamic_cast<const GisShapePolygon*>(&shape) == nullptr) {
        return 0.0;
    }
    if (!onEllipsoid.isFinite()) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    Internal::CompensatedSum sum;
    const QList<Ring>& rings = onEllipsoid.parts();
    const QList<int> depths = Shapes::Internal::nestingDepths(rings);
    for (qsizetype i = 0; i < rings.size(); ++i) {
        const double area = std::fabs(onEllipsoid.measure(rings[i]).area);
        sum.add(depths[i] % 2 == 0 ? area : -area);
    }
    return std::max(0.0, sum.value());
}

} // namespace Cartolith::Core::Topology
