#pragma once

#include <QColor>
#include <QImage>

#include <cstdint>
#include <new>

/// QImage says that there was no memory by being null, also after it was asked for pixels of its own.
namespace Cartolith::Map::Internal {

/// The picture, unless it is null where it should not be. \throws std::bad_alloc
inline QImage orNoMemory(QImage picture, QSize size) {
    if (picture.isNull() && !size.isEmpty()) {
        throw std::bad_alloc();
    }
    return picture;
}

/// Premultiplied ARGB, of one colour. \throws std::bad_alloc
inline QImage emptyPicture(QSize size, QColor color) {
    QImage picture = orNoMemory(QImage(size, QImage::Format_ARGB32_Premultiplied), size);
    picture.fill(color);
    return picture;
}

/// The pixels of a picture that is not null, no longer shared with others. \throws std::bad_alloc
inline std::uint32_t* ownPixels(QImage& picture) {
    auto* const bits = reinterpret_cast<std::uint32_t*>(picture.bits());
    if (bits == nullptr) {
        throw std::bad_alloc();
    }
    return bits;
}

} // namespace Cartolith::Map::Internal
