#include <Cartolith/Map/Output/DeviceInternal.h>
#include <Cartolith/Map/Output/PngEncoderInternal.h>

#include <QtEndian>

#include <array>
#include <cstdlib>
#include <new>

namespace Cartolith::Map::Output::Internal {

namespace {

const QRgb* pixelsOf(const QImage& image, int row) {
    return reinterpret_cast<const QRgb*>(image.constScanLine(row)); // NOLINT(*-reinterpret-cast): Qt's own
}

void appendNumber(QByteArray& bytes, quint32 value) {
    std::array<char, 4> big;
    qToBigEndian(value, big.data());
    bytes.append(big.data(), static_cast<qsizetype>(big.size()));
}

/// Whether neighbours that differ differ little, as in shaded heights and photographs (7 of 765, measured).
/// Along the outlines of drawn lines and areas they differ a lot (80).
bool isSmooth(const QImage& image) {
    constexpr int rows = 64;
    constexpr qint64 little = 32;
    qint64 changes = 0;
    qint64 sum = 0;
    for (int y = 0; y < image.height(); y += 1 + image.height() / rows) {
        const QRgb* pixels = pixelsOf(image, y);
        for (int x = 1; x < image.width(); ++x) {
            const QRgb a = pixels[x - 1];
            const QRgb b = pixels[x];
            changes += a != b ? 1 : 0;
            sum +=
                std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b));
        }
    }
    return sum < little * changes;
}

/// How far bytes are from 0, as differences of a smooth picture are.
std::size_t remainder(const std::vector<unsigned char>& bytes) {
    std::size_t sum = 0;
    for (const unsigned char byte : bytes) {
        sum += static_cast<std::size_t>(byte < 128 ? byte : 256 - byte);
    }
    return sum;
}

/// What a pixel of such a picture means: not premultiplied, with its opacity.
class Pixels {
public:
    explicit Pixels(const QImage& image)
        : m_isPremultiplied(image.format() == QImage::Format_ARGB32_Premultiplied),
          m_always(image.hasAlphaChannel() ? 0 : 0xFF000000U) {}

    /// Equal for equal pixels, and quick.
    QRgb key(QRgb pixel) const { return pixel | m_always; }
    QRgb colour(QRgb pixel) const {
        const QRgb value = key(pixel);
        return m_isPremultiplied && qAlpha(value) < 255 ? qUnpremultiply(value) : value;
    }

private:
    bool m_isPremultiplied;
    QRgb m_always;
};

} // namespace

/// The colours of a picture in the order in which they come, as long as they are no more than 256.
class PngEncoder::Palette {
public:
    explicit Palette(const QImage& image) : m_pixels(image), m_mayBeTransparent(image.hasAlphaChannel()) {
        for (int y = 0; y < image.height() && !(m_isFull && m_isTransparent); ++y) {
            const QRgb* pixels = pixelsOf(image, y);
            for (int x = 0; x < image.width(); ++x) {
                if ((x == 0 || pixels[x] != pixels[x - 1]) && !note(m_pixels.key(pixels[x]))) {
                    break;
                }
            }
        }
    }

    bool isEnough() const { return !m_isFull; }
    bool isTransparent() const { return m_isTransparent; }

    unsigned char indexOf(QRgb pixel) const { return m_indexes[slotOf(m_pixels.key(pixel))]; }

    QByteArray colours() const {
        QByteArray bytes;
        for (const QRgb colour : m_colours) {
            const QRgb plain = m_pixels.colour(colour);
            bytes.append(static_cast<char>(qRed(plain)));
            bytes.append(static_cast<char>(qGreen(plain)));
            bytes.append(static_cast<char>(qBlue(plain)));
        }
        return bytes;
    }
    QByteArray opacities() const {
        QByteArray bytes;
        for (const QRgb colour : m_colours) {
            bytes.append(static_cast<char>(qAlpha(colour)));
        }
        return bytes;
    }

private:
    static constexpr std::size_t places = 1024;
    static constexpr std::size_t most = 256;

    /// Where the colour is, or where it would be.
    std::size_t slotOf(QRgb colour) const {
        std::size_t slot = (colour * 0x9E3779B1U) >> 22U;
        while (m_used[slot] && m_keys[slot] != colour) {
            slot = (slot + 1) % places;
        }
        return slot;
    }
    /// False when nothing more can be learnt.
    bool note(QRgb colour) {
        m_isTransparent = m_isTransparent || qAlpha(colour) < 255;
        if (m_isFull) {
            return !m_isTransparent;
        }
        const std::size_t slot = slotOf(colour);
        if (m_used[slot]) {
            return true;
        }
        if (m_colours.size() == most) {
            m_isFull = true;
            return !m_isTransparent && m_mayBeTransparent;
        }
        m_used[slot] = true;
        m_keys[slot] = colour;
        m_indexes[slot] = static_cast<unsigned char>(m_colours.size());
        m_colours.push_back(colour);
        return true;
    }

    Pixels m_pixels;
    bool m_mayBeTransparent;
    bool m_isTransparent = false;
    bool m_isFull = false;
    std::array<bool, places> m_used{};
    std::array<QRgb, places> m_keys{};
    std::array<unsigned char, places> m_indexes{};
    std::vector<QRgb> m_colours;
};

PngEncoder::PngEncoder(QIODevice& device, int level) : m_device(device), m_output(std::size_t{1} << 16U) {
    if (deflateInit(&m_stream, std::clamp(level, 1, 9)) != Z_OK) {
        throw std::bad_alloc();
    }
    m_stream.next_out = m_output.data();
    m_stream.avail_out = static_cast<uInt>(m_output.size());
}

PngEncoder::~PngEncoder() {
    deflateEnd(&m_stream);
}

void PngEncoder::write(const QImage& image, double dotsPerInch) {
    const auto format = image.format();
    const bool isPlain = format == QImage::Format_RGB32 || format == QImage::Format_ARGB32 ||
                         format == QImage::Format_ARGB32_Premultiplied;
    const QImage picture = isPlain ? image : image.convertToFormat(QImage::Format_ARGB32);
    if (picture.isNull()) {
        throw std::bad_alloc();
    }
    const Palette palette(picture);
    header(picture, palette, dotsPerInch);
    if (palette.isEnough()) {
        paletteRows(picture, palette);
    } else {
        colourRows(picture, palette.isTransparent());
    }
    compress(nullptr, 0, Z_FINISH);
    chunk("IEND", {});
}

void PngEncoder::header(const QImage& image, const Palette& palette, double dotsPerInch) {
    writeAll(m_device, QByteArrayView("\x89PNG\r\n\x1a\n", 8));
    const char colourType = palette.isEnough() ? 3 : palette.isTransparent() ? 6 : 2;
    QByteArray description;
    appendNumber(description, static_cast<quint32>(image.width()));
    appendNumber(description, static_cast<quint32>(image.height()));
    description.append('\x08').append(colourType).append(3, '\0'); // bits, no interlacing
    chunk("IHDR", description);
    if (dotsPerInch > 0) {
        const auto dotsPerMeter = static_cast<quint32>(std::lround(std::min(dotsPerInch, 1e6) / 0.0254));
        QByteArray density;
        appendNumber(density, dotsPerMeter);
        appendNumber(density, dotsPerMeter);
        chunk("pHYs", density.append('\x01'));
    }
    if (palette.isEnough()) {
        chunk("PLTE", palette.colours());
        if (palette.isTransparent()) {
            chunk("tRNS", palette.opacities());
        }
    }
}

void PngEncoder::chunk(const char* type, QByteArrayView content) {
    QByteArray start;
    appendNumber(start, static_cast<quint32>(content.size()));
    start.append(type, 4);
    const auto checksum = [](uLong before, QByteArrayView bytes) {
        return crc32_z(before, reinterpret_cast<const Bytef*>(bytes.data()), // NOLINT(*-reinterpret-cast)
                       static_cast<z_size_t>(bytes.size()));
    };
    uLong sum = checksum(0, QByteArrayView(start).sliced(4));
    if (!content.isEmpty()) {
        sum = checksum(sum, content);
    }
    QByteArray end;
    appendNumber(end, static_cast<quint32>(sum));
    writeAll(m_device, start);
    writeAll(m_device, content);
    writeAll(m_device, end);
}

void PngEncoder::compress(const unsigned char* bytes, std::size_t count, int flush) {
    m_stream.next_in = const_cast<Bytef*>(bytes); // NOLINT(*-const-cast): zlib only reads
    m_stream.avail_in = static_cast<uInt>(count);
    int state = Z_OK;
    do {
        state = deflate(&m_stream, flush);
        if (m_stream.avail_out == 0 || flush == Z_FINISH) {
            const auto size = static_cast<qsizetype>(m_output.size() - m_stream.avail_out);
            chunk("IDAT", QByteArrayView(m_output.data(), size));
            m_stream.next_out = m_output.data();
            m_stream.avail_out = static_cast<uInt>(m_output.size());
        }
    } while (m_stream.avail_in > 0 || (flush == Z_FINISH && state != Z_STREAM_END));
}

void PngEncoder::paletteRows(const QImage& image, const Palette& palette) {
    std::vector<unsigned char> row(static_cast<std::size_t>(image.width()) + 1);
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* pixels = pixelsOf(image, y);
        for (int x = 0; x < image.width(); ++x) {
            const auto place = static_cast<std::size_t>(x) + 1;
            row[place] = x > 0 && pixels[x] == pixels[x - 1] ? row[place - 1] : palette.indexOf(pixels[x]);
        }
        compress(row.data(), row.size(), Z_NO_FLUSH);
    }
}

void PngEncoder::colourRows(const QImage& image, bool withAlpha) {
    const Pixels meaning(image);
    const bool filters = isSmooth(image);
    const std::size_t step = withAlpha ? 4 : 3;
    const std::size_t size = static_cast<std::size_t>(image.width()) * step;
    std::vector<unsigned char> row(size);
    std::vector<unsigned char> above(size);
    std::vector<unsigned char> left(size);
    std::vector<unsigned char> up(size);
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* pixels = pixelsOf(image, y);
        std::size_t place = 0;
        for (int x = 0; x < image.width(); ++x, place += step) {
            const QRgb colour = meaning.colour(pixels[x]);
            row[place] = static_cast<unsigned char>(qRed(colour));
            row[place + 1] = static_cast<unsigned char>(qGreen(colour));
            row[place + 2] = static_cast<unsigned char>(qBlue(colour));
            if (withAlpha) {
                row[place + 3] = static_cast<unsigned char>(qAlpha(colour));
            }
        }
        unsigned char filter = 0;
        const std::vector<unsigned char>* filtered = &row;
        if (filters) {
            for (std::size_t i = 0; i < size; ++i) {
                left[i] = static_cast<unsigned char>(row[i] - (i < step ? 0 : row[i - step]));
                up[i] = static_cast<unsigned char>(row[i] - above[i]);
            }
            const bool isLeft = remainder(left) < remainder(up);
            filter = isLeft ? 1 : 2;
            filtered = isLeft ? &left : &up;
        }
        compress(&filter, 1, Z_NO_FLUSH);
        compress(filtered->data(), filtered->size(), Z_NO_FLUSH);
        row.swap(above);
    }
}

} // namespace Cartolith::Map::Output::Internal
