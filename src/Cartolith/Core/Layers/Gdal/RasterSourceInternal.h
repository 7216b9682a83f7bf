#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/GisRasterBand.h>
#include <Cartolith/Core/Layers/GisRasterWorldTransform.h>

#include <QColor>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Core::Layers::Internal {

/// A part of a raster, in pixels from the raster's corner, to be read as so many cells.
struct RasterWindow {
    double left = 0.0;
    double top = 0.0;
    double width = 0.0;
    double height = 0.0;
    int columns = 0;
    int rows = 0;

    std::size_t cells() const { return static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows); }
};

/// A raster data source, open for reading. Every failure is a std::runtime_error that names the source and
/// carries GDAL's own reason.
class RasterSource {
public:
    explicit RasterSource(const QString& path);

    QString driverName() const;
    int width() const { return m_dataset->GetRasterXSize(); }
    int height() const { return m_dataset->GetRasterYSize(); }
    QList<Defs::GisRasterBand> bands() const;
    Defs::GisRasterWorldTransform worldTransform() const;
    /// Null when there is none that we know how to use.
    std::shared_ptr<CoordinateSystems::CoordinateSystem> coordinateSystem() const;
    /// Empty without a colour table.
    std::vector<QRgb> palette(int band) const;

    enum class Pick { Nearest, Average };
    /// Gets the fraction done of one reading; returns false to cancel.
    using Progress = std::function<bool(double fraction)>;

    /// The values of a band, row after row; NaN where it has none, its mask aside. A window that is read
    /// Nearest may reach beyond the raster by half a cell. Empty when cancelled.
    std::vector<double> read(int band, const RasterWindow& window, Pick pick, const Progress& progress) const;
    /// What the mask or alpha band says, 0 to 255; empty when the band has none.
    std::vector<quint8> readMask(int band, const RasterWindow& window) const;
    /// See GisLayerGdalRaster::sampleValues(). In no order.
    QList<double> sample(int band) const;
    /// Whether that is all of them.
    bool isSampledWhole() const;

private:
    [[noreturn]] void fail(const QString& reason) const;
    GDALRasterBand& at(int band) const { return *m_dataset->GetRasterBand(band); }
    bool readCells(GDALRasterBand& band, const RasterWindow& window, GDALRIOResampleAlg algorithm,
                   GDALDataType type, void* cells, const Progress& progress) const;

    QString m_path;
    Common::Internal::DatasetPtr m_dataset;
};

} // namespace Cartolith::Core::Layers::Internal
