#pragma once

#include <Cartolith/Map/Export.h>

#include <functional>

class QIODevice;
class QString;

namespace Cartolith::Map::Output {

/// Files that are whole or not there. Any content goes through here: a picture, SVG, a PDF by QPdfWriter.
class CARTOLITH_MAP_EXPORT OutputFile {
public:
    OutputFile() = delete;

    /// Finds out whether a file can be written there, before the work is done whose result it is to hold.
    /// Leaves nothing behind. What is no plain file (a folder, a device, a pipe) is refused, here and in
    /// write(). \throws std::runtime_error "'...' could not be written: ..."
    static void requireWritable(const QString& path);

    /// Written beside its name first and put in place when it is complete: other programs, and whoever starts
    /// this one again after it was killed, find the old file or the new one. What `content` throws is passed
    /// on, and the old file stays.
    /// \throws std::runtime_error "'...' could not be written: ..." when the disk fails at any time
    static void write(const QString& path, const std::function<void(QIODevice&)>& content);
};

} // namespace Cartolith::Map::Output
