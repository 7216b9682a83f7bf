#include <Cartolith/Map/Labels/GlyphPicturesInternal.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Cartolith::Map::Labels::Internal {

void addHalo(Raster::Internal::StrokeMask& mask, const Contours& contours, std::size_t count, double radius) {
    // What is nearer to the last than that moves the halo's edge by less than half of it.
    const double nearer = std::min(0.5, radius * 0.15);
    for (std::size_t ring = 0; ring < count; ++ring) {
        const auto& points = contours[ring];
        QPointF from = points.back();
        for (std::size_t i = 0; i < points.size(); ++i) {
            const QPointF way = points[i] - from;
            if (i + 1 == points.size() || std::abs(way.x()) > nearer || std::abs(way.y()) > nearer) {
                mask.addCapsule(from, points[i], radius);
                from = points[i];
            }
        }
    }
}

QRectF boundsOf(const Contours& contours, std::size_t count) {
    QRectF box;
    bool isFirst = true;
    for (std::size_t ring = 0; ring < count; ++ring) {
        for (const QPointF& p : contours[ring]) {
            box = isFirst ? QRectF(p, p)
                          : QRectF(QPointF(std::min(box.left(), p.x()), std::min(box.top(), p.y())),
                                   QPointF(std::max(box.right(), p.x()), std::max(box.bottom(), p.y())));
            isFirst = false;
        }
    }
    return box;
}

const GlyphPicture& GlyphPictures::picture(const GlyphKey& key) {
    const auto known = m_pictures.constFind(key);
    if (known != m_pictures.cend()) {
        return *known;
    }
    const GlyphPicture drawn = draw(key);
    const std::size_t taken = sizeof(GlyphKey) + sizeof(GlyphPicture) + drawn.shares.size();
    const auto bytes = static_cast<qsizetype>(taken);
    if (m_bytes + bytes > m_budget) {
        m_pictures.clear();
        m_bytes = 0;
    }
    m_bytes += bytes;
    return *m_pictures.insert(key, drawn);
}

GlyphPicture GlyphPictures::draw(const GlyphKey& key) {
    constexpr double quarter = 0.25;
    const double scale = key.size / outlineEm;
    std::size_t count = 0;
    flatten(*key.outline, QTransform(scale, 0.0, 0.0, scale, key.quarterX * quarter, key.quarterY * quarter),
            key.halo > 0.0 ? haloTolerance : letterTolerance, m_contours, count);
    GlyphPicture picture;
    if (count == 0) {
        return picture;
    }
    const double margin = key.halo + 1.0;
    picture.box = boundsOf(m_contours, count).adjusted(-margin, -margin, margin, margin).toAlignedRect();
    const int width = picture.box.width();
    const int height = picture.box.height();
    picture.shares.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (std::size_t ring = 0; ring < count; ++ring) {
        for (QPointF& p : m_contours[ring]) {
            p -= picture.box.topLeft();
        }
    }
    const auto keep = [&](int row, int first, std::uint8_t* shares, int length) {
        std::memcpy(picture.shares.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                        first,
                    shares, static_cast<std::size_t>(length));
    };
    if (key.halo > 0.0) {
        Raster::Internal::StrokeMask mask(width, height);
        addHalo(mask, m_contours, count, key.halo);
        mask.end(keep);
    } else {
        Raster::Internal::Coverage coverage(width, height, Raster::Internal::Inside::NotZero);
        if (coverage.begin(0.0, 0.0, width, height)) {
            for (std::size_t ring = 0; ring < count; ++ring) {
                coverage.add(m_contours[ring], 1.0F);
            }
            coverage.end(keep);
        }
    }
    return picture;
}

} // namespace Cartolith::Map::Labels::Internal
