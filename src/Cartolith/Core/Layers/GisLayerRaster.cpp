#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerRaster.h>
#include <Cartolith/Core/Layers/SameExtentInternal.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Cartolith::Core::Layers {

using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using Shapes::GisExtent;

GisLayerRaster::GisLayerRaster(const QString& name) : GisLayer(name) {}

GisExtent GisLayerRaster::extent() const {
    return m_extent;
}

void GisLayerRaster::setRasterSize(int width, int height) {
    place(std::max(width, 0), std::max(height, 0), m_worldTransform);
}

void GisLayerRaster::setWorldTransform(const Defs::GisRasterWorldTransform& transform) {
    place(m_width, m_height, transform);
}

void GisLayerRaster::place(int width, int height, const Defs::GisRasterWorldTransform& transform) {
    const bool isOther = width != m_width || height != m_height || !(transform == m_worldTransform);
    m_width = width;
    m_height = height;
    m_worldTransform = transform;
    const ChangeGroup group(*this);
    setRasterExtent(calculateExtent());
    if (isOther) {
        noteChange(GisLayerChange::Extent);
    }
}

void GisLayerRaster::setRasterExtent(const GisExtent& extent) {
    const bool isOther = !Internal::isSameExtent(extent, m_extent);
    m_extent = extent;
    if (isOther) {
        noteChange(GisLayerChange::Extent);
    }
}

GisExtent GisLayerRaster::calculateExtent() const {
    if (m_width < 1 || m_height < 1) {
        return {};
    }
    const double right = m_width - 0.5;
    const double bottom = m_height - 0.5;
    GisExtent box;
    for (const QPointF& corner :
         {m_worldTransform.toMap(-0.5, -0.5), m_worldTransform.toMap(right, -0.5),
          m_worldTransform.toMap(-0.5, bottom), m_worldTransform.toMap(right, bottom)}) {
        box = box.expand({corner.x(), corner.y(), corner.x(), corner.y()});
    }
    return box;
}

const CoordinateSystem& GisLayerRaster::knownSystem() const {
    if (coordinateSystem() == nullptr) {
        throw std::runtime_error(
            QStringLiteral("'%1' does not say its coordinate system, so it cannot be drawn in another")
                .arg(name())
                .toStdString());
    }
    return *coordinateSystem();
}

GisExtent GisLayerRaster::extentIn(const CoordinateSystem& system) const {
    const CoordinateSystem& own = knownSystem();
    if (CoordinateSystemFactory::areEquivalent(own, system)) {
        return m_extent;
    }
    const CoordinateSystems::CoordinateTransformer transformer(own, system);
    constexpr int mesh = 40;
    GisExtent box;
    for (int i = 0; i <= mesh; ++i) {
        for (int j = 0; j <= mesh; ++j) {
            const QPointF place = m_worldTransform.toMap(static_cast<double>(m_width) * i / mesh - 0.5,
                                                         static_cast<double>(m_height) * j / mesh - 0.5);
            try {
                const auto there = transformer.transform({place.x(), place.y()});
                box = box.expand({there.x(), there.y(), there.x(), there.y()});
            } catch (const std::runtime_error&) {
                continue; // no value there
            }
        }
    }
    return box;
}

void GisLayerRaster::setRasterStyle(const Symbology::GisRasterStyle& style) {
    if (style == m_rasterStyle) {
        return;
    }
    const ChangeGroup group(*this);
    m_rasterStyle = style;
    markLookChanged();
    markContentDirty();
}

QImage GisLayerRaster::readImage(const GisExtent& extent, const QSize& size, const CoordinateSystem* system) {
    if (size.width() > largestImageSide || size.height() > largestImageSide) {
        throw std::invalid_argument("A raster picture has at most 16384 pixels on a side.");
    }
    const auto isLength = [](double side) { return std::isfinite(side) && side > 0.0; }; // NaN when empty
    if (!isOpen() || !isLength(extent.width()) || !isLength(extent.height()) || size.isEmpty() ||
        !m_worldTransform.inverted()) {
        return {};
    }
    const bool isOwn =
        system == nullptr || (coordinateSystem() != nullptr &&
                              CoordinateSystemFactory::areEquivalent(*coordinateSystem(), *system));
    return readImageCore(extent, size, isOwn ? nullptr : system);
}

} // namespace Cartolith::Core::Layers
