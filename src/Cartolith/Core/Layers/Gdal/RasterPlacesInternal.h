#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/GisRasterWorldTransform.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QSize>

#include <vector>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Core::Layers::Internal {

/// Where the centres of a picture's pixels lie in a raster: columns and rows from the raster's *corner*, so
/// that pixel i is from i to i + 1. Any affine transform, and a change of coordinate system when both are
/// given; that is right to an eighth of a raster pixel.
class RasterPlaces {
public:
    /// The transform can be inverted. \throws std::runtime_error when the systems cannot be converted
    RasterPlaces(const Shapes::GisExtent& extent, const QSize& size,
                 const Defs::GisRasterWorldTransform& transform,
                 const CoordinateSystems::CoordinateSystem* picture,
                 const CoordinateSystems::CoordinateSystem* raster);

    /// Rows of the picture lie along rows of the raster.
    bool isAligned() const { return m_isAligned; }

    /// The places of so many pixels of a row of the picture; NaN where there is none.
    void find(int x, int y, int count, double* columns, double* rows) const;
    /// Those that find() gives, where isAligned(): all of a column of pixels lie in one column, and of a row
    /// in one row, unless a place is beyond all numbers, which is NaN there.
    double columnOf(int x) const { return m_inverse.toMap(mapX(x), 0.0).x() + 0.5; }
    double rowOf(int y) const { return m_inverse.toMap(0.0, mapY(y)).y() + 0.5; }

private:
    static int transform(void* self, int backwards, int count, double* x, double* y, double* z, int* success);

    double mapX(int x) const { return m_extent.xMin() + (x + 0.5) * m_step.width(); }
    double mapY(int y) const { return m_extent.yMax() - (y + 0.5) * m_step.height(); }

    struct ApproximationDestroy {
        void operator()(void* approximation) const;
    };

    Shapes::GisExtent m_extent;
    QSizeF m_step; ///< of a picture's pixel, map units
    Defs::GisRasterWorldTransform m_inverse;
    bool m_isAligned;
    Common::Internal::TransformationPtr m_toRaster; ///< null when both systems are the same
    Common::Internal::TransformationPtr m_back;
    std::unique_ptr<void, ApproximationDestroy> m_approximation;
    mutable std::vector<double> m_z;
    mutable std::vector<int> m_success;
};

} // namespace Cartolith::Core::Layers::Internal
