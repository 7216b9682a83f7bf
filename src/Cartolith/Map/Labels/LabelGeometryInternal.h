#pragma once

#include <Cartolith/Map/Labels/GlyphOutlineInternal.h>
#include <Cartolith/Map/Labels/LabelPlaces.h>
#include <Cartolith/Map/Labels/LabelText.h>

#include <QTransform>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>

/// Where the letters of a text are, from the boxes that it was given.
namespace Cartolith::Map::Labels::Internal {

/// The left end of a cluster on the baseline, and how it is turned.
struct ClusterPlace {
    QPointF start; ///< pixel of the view
    double rotation = 0.0;
    double cosine = 1.0, sine = 0.0;

    QPointF at(double along, double down) const {
        return start + QPointF(along * cosine - down * sine, along * sine + down * cosine);
    }
};

/// Of what is in the box from its left end to its right one.
inline ClusterPlace placeOf(const LabelText& text, const LabelBox& box) {
    ClusterPlace place{box.center, box.rotation};
    if (box.rotation != 0.0) {
        const double radians = box.rotation * std::numbers::pi / 180.0;
        place.cosine = std::cos(radians);
        place.sine = std::sin(radians);
    }
    place.start = place.at(-box.size.width() * 0.5, text.ascent() - box.size.height() * 0.5);
    return place;
}

/// Of one cluster, in a box for all of the text.
inline ClusterPlace placeOf(const LabelText& text, const LabelCluster& cluster, const LabelBox& box) {
    ClusterPlace place = placeOf(text, box);
    place.start = place.at(cluster.left, 0.0);
    return place;
}

/// Whether the boxes are those of the text, at numbers that pixels can have.
inline bool isDrawable(const LabelText& text, std::span<const LabelBox> boxes) {
    constexpr double farthest = 1e8;
    return !text.isEmpty() && (boxes.size() == 1 || boxes.size() == text.clusters().size()) &&
           std::all_of(boxes.begin(), boxes.end(), [](const LabelBox& box) {
               return std::abs(box.center.x()) < farthest && std::abs(box.center.y()) < farthest &&
                      std::isfinite(box.rotation);
           });
}

/// Calls function(outline, toView) with each letter.
template <typename Function>
void forEachGlyph(const LabelText& text, std::span<const LabelBox> boxes, Function function) {
    const double scale = text.font().size / outlineEm;
    const std::span<const LabelCluster> clusters = text.clusters();
    for (std::size_t i = 0; i < clusters.size(); ++i) {
        const ClusterPlace place =
            boxes.size() == 1 ? placeOf(text, clusters[i], boxes[0]) : placeOf(text, boxes[i]);
        for (const LabelGlyph& glyph : text.glyphsOf(clusters[i])) {
            const QPointF origin = place.at(glyph.x, glyph.y);
            function(*glyph.outline, QTransform(place.cosine * scale, place.sine * scale, -place.sine * scale,
                                                place.cosine * scale, origin.x(), origin.y()));
        }
    }
}

} // namespace Cartolith::Map::Labels::Internal
