#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerRaster.h>
#include <Cartolith/Core/Layers/GisRasterBand.h>

#include <QList>

#include <functional>
#include <map>
#include <utility>

namespace Cartolith::Core::Shapes {
class GisShapePoint;
}

namespace Cartolith::Core::Layers {

namespace Internal {
class RasterSource;
}

/// A raster layer of a file that GDAL opens: GeoTIFF, VRT, PNG, JPEG, ASCII grids, ...
///
/// open() reads what the file says of itself; pixels are read as pictures ask for them, from overviews where
/// the file has them, and only what falls into the picture: memory depends on the size of the picture and
/// not on that of the raster (besides GDAL's own cache of blocks). Nothing is ever written, not even the
/// statistics that GDAL likes to keep in a file beside the raster.
///
/// A raster without a transform of its own lies with its upper left corner at 0, 0, one map unit a pixel.
/// (So does one that is tied to the map by ground control points only.) Of complex numbers, the real part
/// counts. A pixel has no value where it holds its band's no-data number, NaN or an infinity, or where a
/// mask or an alpha band says so; in Rgb, where one of the three bands has none.
class CARTOLITH_CORE_EXPORT GisLayerGdalRaster : public GisLayerRaster {
public:
    /// Gets the fraction done; returns false to cancel.
    using ProgressCallback = std::function<bool(double fraction)>;

    /// Nothing is read before open().
    explicit GisLayerGdalRaster(const QString& path);
    ~GisLayerGdalRaster() override;

    /// A raster of a driver that needs a licence (Licensing/LicensedDrivers.h), also as the source of a
    /// virtual one, is refused without it, and the error says what to do.
    ///
    /// The file stays open until close(). What an open layer held before is replaced; the name and the style
    /// stay. Returns true or throws, never false: \throws std::runtime_error with the path and the reason
    /// (GDAL's own message where it gives one) when it cannot be read, has no band, has blocks of more than
    /// half a gigabyte, or a transform that puts all pixels on one line; the layer is then as it was before
    bool open() override;
    void close() override;

    /// Valid until the next open() or close().
    const Providers::GisLayerProvider* layerProvider() const override;
    Providers::GisLayerProvider* layerProvider() override;

    /// In the file's order; none while the layer is closed.
    const QList<Defs::GisRasterBand>& bands() const noexcept { return m_bands; }

    /// Values of a band (counted from 1), ascending: all of them up to a million pixels, else those of an
    /// overview, or else of 64 windows spread over the raster, so that this takes a moment on any raster.
    /// Read once and kept. None while the layer is closed.
    /// \throws std::invalid_argument for a band that is not there; std::runtime_error when reading fails
    QList<double> sampleValues(int band);
    /// The statistics of sampleValues(). \throws as sampleValues() does
    Defs::GisRasterStatistics statistics(int band);

    /// The values of a band that get the ends of the scale, as the style stands; 0, 0 when it stretches
    /// nothing or there are no values. \throws as sampleValues() does
    std::pair<double, double> stretchBounds(int band);

    /// What the pixel at a place holds: a value for each band, NaN where the band has none. The place is in
    /// units of `system`, or of the layer's own when that is null. Empty beside the raster (its edges belong
    /// to it), for a place that has no coordinates in the layer's system, and while the layer is closed.
    /// Reads the one block that the pixel is in.
    /// \throws std::runtime_error when the source cannot be read, the two systems cannot be converted, or the
    /// layer does not know its own and another one is given
    QList<double> valuesAt(const Shapes::GisShapePoint& place,
                           const CoordinateSystems::CoordinateSystem* system = nullptr) const;

    /// Called while a picture is read; an empty function switches it off. An exception from it ends the
    /// reading and is passed on.
    void setProgressCallback(ProgressCallback callback);

protected:
    QImage readImageCore(const Shapes::GisExtent& extent, const QSize& size,
                         const CoordinateSystems::CoordinateSystem* system) override;

private:
    void requireBand(int band) const;

    QString m_path;
    std::shared_ptr<Internal::RasterSource> m_source; ///< shared with a read that is under way
    std::unique_ptr<Providers::GisLayerProvider> m_provider;
    QList<Defs::GisRasterBand> m_bands;
    std::map<int, QList<double>> m_samples;
    ProgressCallback m_progress;
};

} // namespace Cartolith::Core::Layers
