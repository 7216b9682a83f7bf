#pragma once

class QImage;
class QSize;
class QString;

namespace Cartolith::Map {
struct MapDrawing;
namespace Output {
struct VectorOptions;
struct VectorReport;
} // namespace Output
} // namespace Cartolith::Map

/// The pictures that this program writes; the ending of the name tells the format.
namespace MarkedPicture {

/// \throws UsageError when the name is empty, or its ending names no format that can be written
void checkName(const QString& command, const QString& path);

/// With the mark of an unlicensed program where there is no licence. \throws std::runtime_error
void save(QImage image, const QString& path);

/// Likewise, as vectors, on a sheet of whole pixels.
Cartolith::Map::Output::VectorReport save(const Cartolith::Map::MapDrawing& drawing, const QString& path,
                                          Cartolith::Map::Output::VectorOptions options, const QSize& sheet);

} // namespace MarkedPicture
