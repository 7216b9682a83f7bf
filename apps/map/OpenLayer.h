#pragma once

#include <QString>

#include <memory>

class StepLog;

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisLayer;
class GisLayerGdalRaster;
class GisLayerOgrVector;
class GisLayerVector;
} // namespace Layers
} // namespace Cartolith::Core

/// A FILE as it may be shown: a connection to a database without its password.
QString shown(const QString& file);
/// Whether it is a connection, which programs read from and do not write to.
bool isConnection(const QString& file);

/// Opens the layer with a progress bar on the terminal. \throws std::runtime_error as the layer's open() does
void openWithProgress(Cartolith::Core::Layers::GisLayerOgrVector& layer);

/// A vector layer on the command line.
struct LayerSource {
    QString file;
    QString layer; ///< empty means the first
    /// What --assume-crs says; may be null.
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> assumed = nullptr;
};

/// The part of a help text about --assume-crs, a line each.
QString assumeSystemHelp();
/// Gives a layer whose file does not say its coordinate system the one that is assumed, if there is one.
/// \throws UsageError when one is assumed of a file that says its own
void assumeSystem(Cartolith::Core::Layers::GisLayer& layer, const QString& file,
                  std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> assumed);
/// \throws std::runtime_error naming the file and --assume-crs when its coordinate system is null
void requireSystem(const Cartolith::Core::CoordinateSystems::CoordinateSystem* system, const QString& file);

/// Reads a layer and takes it into the coordinate system, unless that is null or its own.
/// \throws std::runtime_error when it cannot be read or transformed
std::unique_ptr<Cartolith::Core::Layers::GisLayerVector>
openIn(const std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem>& system,
       const LayerSource& from, StepLog& log);
/// Whether to read the source as a raster: it is one, and holds no vector layers. False when GDAL knows it as
/// neither; opening it says why.
bool isRasterFile(const QString& path);

/// "177 shapes (Polygon), 10 fields, 2 without a usable geometry".
QString summary(const Cartolith::Core::Layers::GisLayerOgrVector& layer);

/// "111 x 111 pixels, 1 band (Int16)".
QString summary(const Cartolith::Core::Layers::GisLayerGdalRaster& layer);

/// "Polygon", "mixed", ...
QString kindName(const Cartolith::Core::Layers::GisLayerVector& layer);
