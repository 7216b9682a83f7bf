#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::CoordinateSystems {

using Common::Internal::GdalErrorCapture;
using Shapes::GisShape;
using Shapes::GisShapePoint;

class CoordinateTransformer::Private {
public:
    OGRSpatialReference source;
    OGRSpatialReference target;
    Common::Internal::TransformationPtr transformation;

    /// Transforms in place; throws when one point has no value in the target.
    void run(std::vector<double>& x, std::vector<double>& y) const {
        // GDAL brings the longitude of a Web Mercator point into range by subtracting one turn at a time,
        // which for a value like 1e300 never ends. No system has a coordinate of this size.
        constexpr double farthest = 1e11;
        if (std::any_of(x.begin(), x.end(), [](double value) { return std::abs(value) > farthest; })) {
            fail();
        }
        const GdalErrorCapture capture;
        std::vector<double> z(x.size(), 0.0);
        // GDAL counts in int: longer lists go in pieces.
        constexpr std::size_t most = std::size_t{1} << 24U;
        for (std::size_t start = 0; start < x.size(); start += most) {
            const int count = static_cast<int>(std::min(most, x.size() - start));
            if (!transformation->Transform(count, &x[start], &y[start], &z[start], nullptr)) {
                fail();
            }
        }
        const auto isInfinite = [](double value) { return std::isinf(value); };
        if (std::any_of(x.begin(), x.end(), isInfinite) || std::any_of(y.begin(), y.end(), isInfinite)) {
            fail(); // PROJ's mark of a point without a value
        }
    }

private:
    [[noreturn]] static void fail() {
        throw std::runtime_error("GDAL/PROJ coordinate transformation failed.");
    }
};

namespace {

void initialize(const CoordinateSystem& system, OGRSpatialReference& target) {
    if (!Internal::toSpatialReference(system, target)) {
        throw std::runtime_error(QStringLiteral("Unable to initialize CRS '%1' (EPSG:%2) with GDAL/PROJ.")
                                     .arg(system.name(), QString::number(system.epsgCode()))
                                     .toStdString());
    }
}

template <typename Lists, typename Visit>
void forEachVertex(Lists& parts, Visit visit) {
    for (auto& part : parts) {
        for (auto& vertex : part) {
            visit(vertex);
        }
    }
}

} // namespace

CoordinateTransformer::CoordinateTransformer(const CoordinateSystem& source, const CoordinateSystem& target)
    : d(std::make_unique<Private>()) {
    const GdalErrorCapture capture;
    const Common::Internal::EpsgCodesAsGiven codes;
    initialize(source, d->source);
    initialize(target, d->target);
    d->transformation.reset(OGRCreateCoordinateTransformation(&d->source, &d->target));
    if (d->transformation == nullptr) {
        throw std::runtime_error(
            QStringLiteral("GDAL/PROJ could not create transformation from '%1' to '%2'.")
                .arg(source.name(), target.name())
                .toStdString());
    }
}

CoordinateTransformer::~CoordinateTransformer() = default;

GisShapePoint CoordinateTransformer::transform(const GisShapePoint& point) const {
    std::vector<double> x{point.x()};
    std::vector<double> y{point.y()};
    d->run(x, y);
    return {x[0], y[0]};
}

QList<GisShapePoint> CoordinateTransformer::transformPoints(const QList<GisShapePoint>& points) const {
    std::vector<double> x;
    std::vector<double> y;
    x.reserve(static_cast<std::size_t>(points.size()));
    y.reserve(static_cast<std::size_t>(points.size()));
    for (const GisShapePoint& point : points) {
        x.push_back(point.x());
        y.push_back(point.y());
    }
    d->run(x, y);
    QList<GisShapePoint> result;
    result.reserve(points.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        result.emplaceBack(x[i], y[i]);
    }
    return result;
}

std::unique_ptr<GisShape> CoordinateTransformer::transformShape(const GisShape& shape) const {
    std::unique_ptr<GisShape> copy = shape.clone();
    if (auto* point = dynamic_cast<GisShapePoint*>(copy.get())) {
        if (!point->isEmpty()) {
            const GisShapePoint moved = transform(*point);
            point->setX(moved.x());
            point->setY(moved.y());
        }
        return copy;
    }
    auto* const line = dynamic_cast<Shapes::GisShapePolyline*>(copy.get());
    auto* const polygon = dynamic_cast<Shapes::GisShapePolygon*>(copy.get());
    if (line == nullptr && polygon == nullptr) {
        throw std::invalid_argument("Only points, polylines and polygons can be transformed.");
    }
    QList<QList<GisShapePoint>>& parts = line != nullptr ? line->parts() : polygon->parts();
    std::vector<double> x;
    std::vector<double> y;
    forEachVertex(std::as_const(parts), [&](const GisShapePoint& vertex) {
        x.push_back(vertex.x());
        y.push_back(vertex.y());
    });
    d->run(x, y);
    std::size_t i = 0;
    forEachVertex(parts, [&](GisShapePoint& vertex) {
        vertex.setX(x[i]);
        vertex.setY(y[i]);
        ++i;
    });
    return copy;
}

} // namespace Cartolith::Core::CoordinateSystems
