#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Gdal/RasterPlacesInternal.h>

#include <gdal_alg.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

using CoordinateSystems::CoordinateSystem;

void RasterPlaces::ApproximationDestroy::operator()(void* approximation) const {
    GDALDestroyApproxTransformer(approximation);
}

RasterPlaces::RasterPlaces(const Shapes::GisExtent& extent, const QSize& size,
                           const Defs::GisRasterWorldTransform& transform, const CoordinateSystem* picture,
                           const CoordinateSystem* raster)
    : m_extent(extent), m_step(extent.width() / size.width(), extent.height() / size.height()),
      m_inverse(transform.inverted().value()),
      m_isAligned(picture == nullptr && transform.yPerColumn == 0.0 && transform.xPerRow == 0.0) {
    if (picture == nullptr || raster == nullptr) {
        return;
    }
    const Common::Internal::EpsgCodesAsGiven codes;
    OGRSpatialReference from;
    OGRSpatialReference to;
    if (CoordinateSystems::Internal::toSpatialReference(*picture, from) &&
        CoordinateSystems::Internal::toSpatialReference(*raster, to)) {
        m_toRaster.reset(OGRCreateCoordinateTransformation(&from, &to));
        m_back.reset(OGRCreateCoordinateTransformation(&to, &from));
    }
    if (m_toRaster == nullptr || m_back == nullptr) {
        throw std::runtime_error(
            QStringLiteral("GDAL/PROJ could not create transformation from '%1' to '%2'.")
                .arg(raster->name(), picture->name())
                .toStdString());
    }
    const double pixel = std::sqrt(
        std::abs(transform.xPerColumn * transform.yPerRow - transform.xPerRow * transform.yPerColumn));
    constexpr double allowed = 0.125; // of a pixel
    m_approximation.reset(GDALCreateApproxTransformer(&RasterPlaces::transform, this, allowed * pixel));
}

int RasterPlaces::transform(void* self, int /*backwards*/, int count, double* x, double* y, double* z,
                            int* success) {
    const auto& places = *static_cast<const RasterPlaces*>(self);
    // GDAL brings the longitude of a Web Mercator point into range one turn at a time; no place is so far.
    constexpr double farthest = 1e11;
    std::vector<double> backX(x, x + count);
    std::vector<double> backY(y, y + count);
    const std::vector<double> fromX = backX;
    const std::vector<double> fromY = backY;
    for (int i = 0; i < count; ++i) {
        if (!(std::abs(x[i]) <= farthest)) {
            x[i] = y[i] = std::numeric_limits<double>::infinity();
        }
    }
    places.m_toRaster->Transform(count, x, y, z, success);
    // Beyond the edge of the world, PROJ may answer with places of the other side: going back tells.
    std::vector<int> backSuccess(static_cast<std::size_t>(count), 0);
    std::copy(x, x + count, backX.begin());
    std::copy(y, y + count, backY.begin());
    places.m_back->Transform(count, backX.data(), backY.data(), nullptr, backSuccess.data());
    constexpr double rounding = 1e-6; // the other side is a turn away
    for (std::size_t i = 0; i < backSuccess.size(); ++i) {
        const double slack = rounding * (std::abs(fromX[i]) + std::abs(fromY[i]));
        const bool comesBack = std::abs(backX[i] - fromX[i]) <= places.m_step.width() + slack &&
                               std::abs(backY[i] - fromY[i]) <= places.m_step.height() + slack;
        const bool found = success[i] != 0 && backSuccess[i] != 0 && comesBack;
        success[i] = found ? 1 : 0;
    }
    return TRUE;
}

void RasterPlaces::find(int x, int y, int count, double* columns, double* rows) const {
    for (int i = 0; i < count; ++i) {
        columns[i] = mapX(x + i);
        rows[i] = mapY(y);
    }
    if (m_approximation != nullptr) {
        const auto size = static_cast<std::size_t>(count);
        m_z.assign(size, 0.0);
        m_success.assign(size, 0);
        GDALApproxTransform(m_approximation.get(), FALSE, count, columns, rows, m_z.data(), m_success.data());
        for (std::size_t i = 0; i < size; ++i) {
            if (m_success[i] == 0) {
                columns[i] = std::numeric_limits<double>::quiet_NaN();
            }
        }
    }
    for (int i = 0; i < count; ++i) {
        const QPointF centre = m_inverse.toMap(columns[i], rows[i]);
        columns[i] = centre.x() + 0.5;
        rows[i] = centre.y() + 0.5;
    }
}

} // namespace Cartolith::Core::Layers::Internal
