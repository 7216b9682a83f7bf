#pragma once

#include <QByteArrayView>
#include <QImage>

#include <vector>
#include <zlib.h>

class QIODevice;

namespace Cartolith::Map::Output::Internal {

/// PNG (ISO/IEC 15948) of one picture: a palette where 256 colours are enough, else RGB or RGBA. Needs memory
/// for a few rows. Drawn maps are not filtered: deflate finds their few colours and long runs by itself, and
/// nothing after a filter. Rows of smooth pictures get the filter (left or above) that leaves less.
class PngEncoder {
public:
    /// The level is one of zlib's, from 1 to 9; others count as the nearest.
    PngEncoder(QIODevice& device, int level);
    ~PngEncoder();
    PngEncoder(const PngEncoder&) = delete;
    PngEncoder& operator=(const PngEncoder&) = delete;

    /// Once. \throws std::runtime_error when the device does not take it, std::bad_alloc
    void write(const QImage& image, double dotsPerInch);

private:
    class Palette;

    void header(const QImage& image, const Palette& palette, double dotsPerInch);
    void chunk(const char* type, QByteArrayView content);
    void compress(const unsigned char* bytes, std::size_t count, int flush);
    void paletteRows(const QImage& image, const Palette& palette);
    void colourRows(const QImage& image, bool withAlpha);

    QIODevice& m_device;
    z_stream m_stream{};
    std::vector<unsigned char> m_output;
};

} // namespace Cartolith::Map::Output::Internal
