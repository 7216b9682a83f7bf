#pragma once

#include <Cartolith/Map/Export.h>

#include <QByteArray>

class QImage;
class QIODevice;
class QString;

namespace Cartolith::Map::Output {

struct PictureOptions {
    /// PNG, from 1 (quick) to 9 (small): with 6, maps take up to twice as long and get up to a quarter
    /// smaller. Values outside count as the nearest.
    int compression = 2;
    /// JPEG and WebP, from 0 to 100.
    int quality = 90;
    /// Pixels in 25.4 mm, for programs that print; not written when it is not greater than 0. WebP has no
    /// place for it.
    double dotsPerInch = 96.0;
};

/// Pictures as PNG, JPEG, WebP and whatever else QImageWriter has a plugin for. Formats are the endings of
/// file names, in lower case: "png", "jpg".
///
/// PNG is written by an encoder of our own, because Qt's tries five filters on each row, as photographs
/// need: here up to 256 colours become a palette, and what is drawn is not filtered. The same picture
/// gives the same bytes. Transparent pixels become white in JPEG, which has none.
class CARTOLITH_MAP_EXPORT PictureFile {
public:
    PictureFile() = delete;

    /// What the ending of the name says; empty when there is none.
    static QByteArray formatOf(const QString& path);

    /// \throws std::runtime_error "no picture format is known for '...'", and which package WebP needs
    static void requireFormat(const QString& path);

    /// The ending of the name tells the format. See OutputFile::write().
    /// \throws std::runtime_error as requireFormat() does, "the picture is empty", or "'...' could not be
    /// written: ..."
    static void save(const QImage& image, const QString& path,
                     const PictureOptions& options = PictureOptions());

    /// \throws std::runtime_error for a format that is not there, an empty picture, and what the device says
    static void write(const QImage& image, QIODevice& device, const QByteArray& format,
                      const PictureOptions& options = PictureOptions());

    static QByteArray encoded(const QImage& image, const QByteArray& format,
                              const PictureOptions& options = PictureOptions());
};

} // namespace Cartolith::Map::Output
