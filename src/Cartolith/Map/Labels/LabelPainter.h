#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Labels/LabelPlaces.h>
#include <Cartolith/Map/Labels/LabelText.h>

#include <QColor>
#include <QPoint>

#include <functional>
#include <memory>
#include <span>

class QImage;

namespace Cartolith::Map::Labels {

/// What a text looks like, beside its font.
struct LabelLook {
    QColor color = Qt::black;
    QColor haloColor = Qt::white;
    /// How far the halo reaches beyond the letters, in pixels of the device; up to 100. What is not greater
    /// than 0 is no halo.
    double haloWidth = 0.0;
};

/// A text where LabelPlacer has put it: in one box, or each cluster in one of its own, in that order.
struct PlacedLabel {
    const LabelText* text = nullptr; ///< must live as long as the call that it is given to
    LabelLook look;
    std::span<const LabelBox> boxes;
};

/// Draws labels on pictures. First all halos, then all letters, so that no halo hides a neighbour's letters.
///
/// Level letters come from pictures that are kept: one for each letter, size, halo and quarter of a pixel
/// from left to right; their baseline is on a whole pixel. Turned ones are drawn anew from their outlines.
/// Letters of a label are joined without seams, where Arabic ones touch, too.
///
/// The same calls give the same bytes, and the part of a picture that has a corner at whole pixels is the cut
/// of the whole. One object is used by one thread at a time, on whichever; texts may be shared.
class CARTOLITH_MAP_EXPORT LabelPainter {
public:
    /// Keeps pictures of about so many bytes; when there are more, it begins anew.
    explicit LabelPainter(qsizetype budget = qsizetype{8} << 20);
    ~LabelPainter();
    LabelPainter(const LabelPainter&) = delete;
    LabelPainter& operator=(const LabelPainter&) = delete;

    /// Over what the picture holds. `corner` is the pixel of the view that its first one is. The function is
    /// called before each label, and may throw to end it. \throws std::invalid_argument unless the picture is
    /// ARGB32_Premultiplied; std::bad_alloc
    void draw(QImage& picture, std::span<const PlacedLabel> labels, QPoint corner = {},
              const std::function<void()>& watch = {});

    /// Of the pictures that it keeps.
    qsizetype bytes() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Labels
