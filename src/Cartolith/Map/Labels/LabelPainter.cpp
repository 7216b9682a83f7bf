#include <Cartolith/Map/Drawing/PictureMemoryInternal.h>
#include <Cartolith/Map/Labels/GlyphPicturesInternal.h>
#include <Cartolith/Map/Labels/LabelGeometryInternal.h>
#include <Cartolith/Map/Labels/LabelPainter.h>
#include <Cartolith/Map/Raster/BlendInternal.h>

#include <QImage>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

namespace Cartolith::Map::Labels {

namespace {

enum class Layer { Halo, Letters };

/// The greatest share of what overlaps, or the sum of what touches.
void join(std::uint8_t* to, const std::uint8_t* from, int count, Layer layer) {
    if (layer == Layer::Halo) {
        for (int i = 0; i < count; ++i) {
            to[i] = std::max(to[i], from[i]);
        }
    } else {
        for (int i = 0; i < count; ++i) {
            const int sum = to[i] + from[i];
            to[i] = static_cast<std::uint8_t>(std::min(sum, 255));
        }
    }
}

void blendRow(QRgb* to, const std::uint8_t* shares, int count, QRgb color) {
    for (int i = 0; i < count; ++i) {
        if (shares[i] != 0) {
            Raster::Internal::blendOver(to[i], Raster::Internal::scaled(color, shares[i]));
        }
    }
}

} // namespace

class LabelPainter::Private {
public:
    explicit Private(qsizetype budget) : pictures(budget) {}

    struct Stamp {
        Internal::GlyphKey key;
        QPoint pixel;
    };

    /// Letters in a level box, from their pictures.
    void stampLevel(const PlacedLabel& label, Layer layer, double halo, QRgb color, QImage& picture,
                    QPoint corner) {
        const LabelText& text = *label.text;
        stamps.clear();
        QRect box;
        const bool isOne = label.boxes.size() == 1;
        std::size_t number = 0;
        for (const LabelCluster& cluster : text.clusters()) {
            const Internal::ClusterPlace place = isOne ? Internal::placeOf(text, cluster, label.boxes[0])
                                                       : Internal::placeOf(text, label.boxes[number]);
            ++number;
            for (const LabelGlyph& glyph : text.glyphsOf(cluster)) {
                // Quarters of pixels, from where the baseline's pixel begins.
                constexpr double quarters = 4.0;
                const auto x = static_cast<qint64>(std::floor((place.start.x() + glyph.x) * quarters + 0.5));
                const auto y = static_cast<qint64>(std::floor(place.start.y() + 0.5)) * 4 +
                               static_cast<qint64>(std::floor(glyph.y * quarters + 0.5));
                Internal::GlyphKey key{glyph.outline, text.font().size, halo, static_cast<int>(x & 3),
                                       static_cast<int>(y & 3)};
                const QPoint pixel(static_cast<int>(x >> 2), static_cast<int>(y >> 2));
                box |= pictures.picture(key).box.translated(pixel);
                stamps.push_back({std::move(key), pixel});
            }
        }
        box &= picture.rect().translated(corner);
        if (box.isEmpty()) {
            return;
        }
        const auto stride = static_cast<std::size_t>(box.width());
        shares.assign(stride * static_cast<std::size_t>(box.height()), 0);
        for (const Stamp& stamp : stamps) {
            const Internal::GlyphPicture& glyph = pictures.picture(stamp.key);
            const QRect at = glyph.box.translated(stamp.pixel);
            const QRect cut = at & box;
            for (int row = cut.top(); row <= cut.bottom() && !cut.isEmpty(); ++row) {
                join(shares.data() + static_cast<std::size_t>(row - box.top()) * stride +
                         (cut.left() - box.left()),
                     glyph.shares.data() +
                         static_cast<std::size_t>(row - at.top()) * static_cast<std::size_t>(at.width()) +
                         (cut.left() - at.left()),
                     cut.width(), layer);
            }
        }
        for (int row = 0; row < box.height(); ++row) {
            blendRow(reinterpret_cast<QRgb*>(picture.scanLine(row + box.top() - corner.y())) +
                         (box.left() - corner.x()),
                     shares.data() + static_cast<std::size_t>(row) * stride, box.width(), color);
        }
    }

    /// Letters in turned boxes, from their outlines.
    void drawTurned(const PlacedLabel& label, Layer layer, double halo, QRgb color, QImage& picture,
                    QPoint corner) {
        const double tolerance = layer == Layer::Halo ? Internal::haloTolerance : Internal::letterTolerance;
        std::size_t count = 0;
        Internal::forEachGlyph(*label.text, label.boxes,
                               [&](const Internal::GlyphOutline& outline, const QTransform& toView) {
                                   QTransform toPicture = toView;
                                   toPicture *= QTransform::fromTranslate(-corner.x(), -corner.y());
                                   Internal::flatten(outline, toPicture, tolerance, contours, count);
                               });
        const auto blend = [&](int row, int first, std::uint8_t* rowShares, int length) {
            blendRow(reinterpret_cast<QRgb*>(picture.scanLine(row)) + first, rowShares, length, color);
        };
        if (layer == Layer::Halo) {
            if (!mask || maskSize != picture.size()) {
                mask.emplace(picture.width(), picture.height());
                maskSize = picture.size();
            }
            Internal::addHalo(*mask, contours, count, halo);
            mask->end([&](int row, int first, std::uint8_t* rowShares, int length) {
                blend(row, first, rowShares, length);
                std::fill_n(rowShares, length, std::uint8_t{0});
            });
            return;
        }
        const QRectF box = Internal::boundsOf(contours, count);
        Raster::Internal::Coverage coverage(picture.width(), picture.height(),
                                            Raster::Internal::Inside::NotZero);
        if (count > 0 && coverage.begin(box.left(), box.top(), box.right(), box.bottom())) {
            for (std::size_t ring = 0; ring < count; ++ring) {
                coverage.add(contours[ring], 1.0F);
            }
            coverage.end(blend);
        }
    }

    void draw(const PlacedLabel& label, Layer layer, QImage& picture, QPoint corner) {
        constexpr double widest = 100.0;
        const double halo = layer == Layer::Letters ? 0.0 : std::min(label.look.haloWidth, widest);
        if (label.text == nullptr || !Internal::isDrawable(*label.text, label.boxes) ||
            (layer == Layer::Halo && !(halo > 0.0))) {
            return;
        }
        const QRgb color =
            qPremultiply((layer == Layer::Halo ? label.look.haloColor : label.look.color).rgba());
        const bool isLevel = std::all_of(label.boxes.begin(), label.boxes.end(),
                                         [](const LabelBox& box) { return box.rotation == 0.0; });
        if (isLevel) {
            stampLevel(label, layer, halo, color, picture, corner);
        } else {
            drawTurned(label, layer, halo, color, picture, corner);
        }
    }

    Internal::GlyphPictures pictures;
    std::vector<Stamp> stamps;
    std::vector<std::uint8_t> shares;
    Internal::Contours contours;
    std::optional<Raster::Internal::StrokeMask> mask;
    QSize maskSize;
};

LabelPainter::LabelPainter(qsizetype budget) : d(std::make_unique<Private>(budget)) {}
LabelPainter::~LabelPainter() = default;

void LabelPainter::draw(QImage& picture, std::span<const PlacedLabel> labels, QPoint corner,
                        const std::function<void()>& watch) {
    if (picture.format() != QImage::Format_ARGB32_Premultiplied) {
        throw std::invalid_argument("labels are drawn on premultiplied pictures only");
    }
    if (!labels.empty()) {
        Map::Internal::ownPixels(picture);
    }
    for (const Layer layer : {Layer::Halo, Layer::Letters}) {
        for (const PlacedLabel& label : labels) {
            if (watch) {
                watch();
            }
            d->draw(label, layer, picture, corner);
        }
    }
}

qsizetype LabelPainter::bytes() const {
    return d->pictures.bytes();
}

} // namespace Cartolith::Map::Labels
