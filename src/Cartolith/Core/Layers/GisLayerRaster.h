#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Layers/GisRasterWorldTransform.h>
#include <Cartolith/Core/Symbology/GisRasterStyle.h>

#include <QImage>
#include <QSize>

namespace Cartolith::Core::Layers {

/// The base of grid layers: width x height pixels, laid on the map by an affine transform, with an extent
/// kept ready and a style to draw them with. Not editable; where pixels come from is a subclass's business.
class CARTOLITH_CORE_EXPORT GisLayerRaster : public GisLayer {
public:
    Shapes::GisExtent extent() const override;

protected:
    /// What readImage() does once the request makes sense: the extent is finite and has an area, both sides
    /// of the size are from 1 to largestImageSide, the layer is open.
    virtual QImage readImageCore(const Shapes::GisExtent& extent, const QSize& size,
                                 const CoordinateSystems::CoordinateSystem* system) = 0;

public:
    /// No picture of more pixels on a side is read.
    static constexpr int largestImageSide = 16384;

    /// Pixels; 0 when there are none.
    int width() const noexcept { return m_width; }
    int height() const noexcept { return m_height; }
    const Defs::GisRasterWorldTransform& worldTransform() const noexcept { return m_worldTransform; }

    /// A negative value is stored as 0. Computes the extent anew.
    void setRasterSize(int width, int height);
    /// Computes the extent anew.
    void setWorldTransform(const Defs::GisRasterWorldTransform& transform);
    /// Sets the extent alone, unchecked, until the size or the transform changes.
    void setRasterExtent(const Shapes::GisExtent& extent);
    /// The box around the outer corners of the corner pixels, half a pixel beyond their centres; empty for a
    /// raster without pixels.
    Shapes::GisExtent calculateExtent() const;

    /// The extent in another system: the box around a mesh of points of the raster, as far as they have a
    /// value there; empty when none has. The layer's own extent when the two systems are the same.
    /// \throws std::runtime_error when the layer does not know its system, or the two cannot be converted
    Shapes::GisExtent extentIn(const CoordinateSystems::CoordinateSystem& system) const;

    const Symbology::GisRasterStyle& rasterStyle() const noexcept { return m_rasterStyle; }
    /// Advances the content revision, too, unless the style is the same.
    void setRasterStyle(const Symbology::GisRasterStyle& style);

    /// The pixels of a map extent as a picture of that size, drawn with rasterStyle(): north (greater y) up,
    /// the extent stretched to the size, whatever their proportions. What the raster does not cover, or has
    /// no value for, is transparent; so a window larger than the raster, or beside it, is no error.
    ///
    /// The extent is in units of `system`, or of the layer's own when that is null. A null image when the
    /// layer is closed or its transform has no area, when the extent is empty, not finite or without an area,
    /// when a side of the size is below 1, and when reading was cancelled.
    /// \throws std::invalid_argument for a side beyond largestImageSide, and for a style that names a band
    /// the raster does not have; std::runtime_error when the source cannot be read, or the layer does not
    /// know its own system and another one is asked for
    QImage readImage(const Shapes::GisExtent& extent, const QSize& size,
                     const CoordinateSystems::CoordinateSystem* system = nullptr);

protected:
    explicit GisLayerRaster(const QString& name);
    /// Its own system, or std::runtime_error.
    const CoordinateSystems::CoordinateSystem& knownSystem() const;

private:
    void place(int width, int height, const Defs::GisRasterWorldTransform& transform);

    int m_width = 0;
    int m_height = 0;
    Defs::GisRasterWorldTransform m_worldTransform;
    Shapes::GisExtent m_extent;
    Symbology::GisRasterStyle m_rasterStyle;
};

} // namespace Cartolith::Core::Layers
