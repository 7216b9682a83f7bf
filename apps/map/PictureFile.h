#pragma once

class QImage;
class QString;

/// Pictures on disk; the ending of the name tells the format.
namespace PictureFile {

/// \throws UsageError when the name is empty, or its ending names no format that can be written
void checkName(const QString& command, const QString& path);

/// Written beside its name first and put in place when it is complete; with the mark of an unlicensed program
/// where there is no licence. \throws std::runtime_error
void save(QImage image, const QString& path);

} // namespace PictureFile
