#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <cmath>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Topology {

using Common::Internal::GeometryPtr;
using Shapes::GisShape;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

void checkArguments(double distance, const GisBufferStyle& style) {
    if (!std::isfinite(distance)) {
        throw std::invalid_argument("GisTopology::Buffer distance must be finite.");
    }
    if (style.quadrantSegments < 1 || style.quadrantSegments > 1000) {
        throw std::invalid_argument("GisTopology::Buffer quadrantSegments must be 1 to 1000.");
    }
    if (!(style.mitreLimit >= 1.0)) {
        throw std::invalid_argument("GisTopology::Buffer mitreLimit must be at least 1.");
    }
}

/// Null when GEOS fails.
GeometryPtr geosBuffer(const OGRGeometry& geometry, double distance, const GisBufferStyle& style,
                       bool oneSided) {
    const Internal::GeosContext context;
    GEOSContextHandle_t geos = context.handle();
    const auto destroyParameters = [geos](GEOSBufferParams* p) { GEOSBufferParams_destroy_r(geos, p); };
    const std::unique_ptr<GEOSBufferParams, decltype(destroyParameters)> parameters(
        GEOSBufferParams_create_r(geos), destroyParameters);
    const auto destroyGeometry = [geos](GEOSGeometry* g) { GEOSGeom_destroy_r(geos, g); };
    const std::unique_ptr<GEOSGeometry, decltype(destroyGeometry)> input(geometry.exportToGEOS(geos),
                                                                         destroyGeometry);
    if (parameters == nullptr || input == nullptr) {
        return nullptr;
    }
    GEOSBufferParams_setEndCapStyle_r(geos, parameters.get(), static_cast<int>(style.cap));
    GEOSBufferParams_setJoinStyle_r(geos, parameters.get(), static_cast<int>(style.join));
    GEOSBufferParams_setMitreLimit_r(geos, parameters.get(), style.mitreLimit);
    GEOSBufferParams_setQuadrantSegments_r(geos, parameters.get(), style.quadrantSegments);
    GEOSBufferParams_setSingleSided_r(geos, parameters.get(), oneSided ? 1 : 0);
    const std::unique_ptr<GEOSGeometry, decltype(destroyGeometry)> buffer(
        GEOSBufferWithParams_r(geos, input.get(), parameters.get(), distance), destroyGeometry);
    return buffer == nullptr ? nullptr : GeometryPtr(OGRGeometryFactory::createFromGEOS(geos, buffer.get()));
}

std::unique_ptr<GisShape> bufferOf(const GisShape& shape, double distance, const GisBufferStyle& style,
                                   const GisTopology& topology) {
    auto result = std::make_unique<GisShapePolygon>();
    shape.copyAttributesTo(*result);
    const bool isLine = dynamic_cast<const GisShapePolyline*>(&shape) != nullptr;
    const bool isOneSided = isLine && style.side != GisBufferSide::Both;
    const bool isPolygon = dynamic_cast<const GisShapePolygon*>(&shape) != nullptr;
    if (!isPolygon && (distance == 0.0 || (distance < 0.0 && !isOneSided))) {
        return result;
    }
    if (isPolygon &&
        distance == 0.0) { // GEOS fills holes that touch their shell, and loses what a ring crosses
        const std::unique_ptr<GisShape> sound =
            Internal::fixedShape(*Internal::finiteCopy(shape), topology, "GisTopology::Buffer failed: ")
                .shape;
        result->parts() = std::as_const(static_cast<GisShapePolygon&>(*sound)).parts();
        return result;
    }
    const auto geometry = Serialization::Ogr::Internal::geometryOf(*Internal::finiteCopy(shape));
    if (geometry == nullptr || geometry->IsEmpty() != 0) {
        return result;
    }
    Common::Internal::GdalErrorCapture capture;
    const Internal::GeosInterrupt interrupt(topology);
    // GEOS has the left side at positive distances.
    GeometryPtr buffer =
        geosBuffer(*geometry, isOneSided && style.side == GisBufferSide::Right ? -distance : distance, style,
                   isOneSided);
    interrupt.check();
    if (buffer == nullptr) {
        throw std::runtime_error("GisTopology::Buffer failed: " + capture.message().toStdString());
    }
    if (buffer->IsEmpty() != 0) {
        return result;
    }
    auto polygons = Serialization::Ogr::Internal::shapesOf(std::move(buffer));
    if (!polygons.problem.isEmpty()) {
        throw std::runtime_error("GisTopology::Buffer failed: " + polygons.problem.toStdString());
    }
    for (auto& polygon : polygons.shapes) {
        if (auto* const parts = Internal::mutablePartsOf(*polygon)) {
            result->parts() = std::move(*parts);
        }
    }
    return result;
}

} // namespace

std::unique_ptr<GisShape> GisTopology::Buffer(const GisShape& shape, double distance,
                                              const GisBufferStyle& style) const {
    checkArguments(distance, style);
    if (!reportBusy(0, 1)) {
        return nullptr;
    }
    return Internal::unlessStopped([&] { return bufferOf(shape, distance, style, *this); });
}

} // namespace Cartolith::Core::Topology
