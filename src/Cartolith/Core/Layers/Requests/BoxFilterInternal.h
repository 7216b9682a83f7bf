#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Layers::Internal {

/// A spatial filter for OGR that lets pass what GisLayerVector::query() finds, and maybe a little more.
///
/// With a rectangle, drivers ask their index for boxes that meet it, and then let GEOS look whether the
/// geometries themselves meet it. This one says yes to that.
class BoxFilter : public OGRMultiPoint {
public:
    explicit BoxFilter(const Shapes::GisExtent& extent) {
        // Drivers write it into statements with few decimals, and keep boxes as floats.
        const double size = std::max({std::abs(extent.xMin()), std::abs(extent.yMin()),
                                      std::abs(extent.xMax()), std::abs(extent.yMax())});
        const double margin = size * 1e-12 + 1e-11;
        const OGRPoint least(extent.xMin() - margin, extent.yMin() - margin);
        const OGRPoint greatest(extent.xMax() + margin, extent.yMax() + margin);
        addGeometry(&least);
        addGeometry(&greatest);
    }

    BoxFilter* clone() const override { return new BoxFilter(*this); }
    OGRBoolean Intersects(const OGRGeometry* /*geometry*/) const override { return TRUE; }
    // What is not known to GEOS is asked itself.
    GEOSGeom exportToGEOS(GEOSContextHandle_t /*context*/) const override { return nullptr; }
};

} // namespace Cartolith::Core::Layers::Internal
