#pragma once

class QImage;
class QString;

/// The pictures that this program writes; the ending of the name tells the format.
namespace MarkedPicture {

/// \throws UsageError when the name is empty, or its ending names no format that can be written
void checkName(const QString& command, const QString& path);

/// With the mark of an unlicensed program where there is no licence. \throws std::runtime_error
void save(QImage image, const QString& path);

} // namespace MarkedPicture
