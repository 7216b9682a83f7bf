#pragma once

#include <QList>
#include <QPointF>
#include <QSizeF>

namespace Cartolith::Map::Labels {

enum class LabelOutcome : int {
    Placed = 0,
    NothingToPlace = 1, ///< no text, no geometry, or a number that is not finite or beyond 1e12 pixels
    OutsideView = 2,    ///< none of its places is wholly within the frame
    DoesNotFit = 3,     ///< the line is too short or too bent, the area too small
    Obstructed = 4,     ///< every place crosses an obstacle that weighs more
    NoRoom = 5,         ///< other labels, not smaller ones, are in every place that is left
};

/// A straight piece of a label: all of it, or one cluster of letters on a curve.
struct LabelBox {
    QPointF center; ///< pixel of the view
    QSizeF size;
    double rotation = 0.0; ///< degrees, clockwise
};

/// Where a label is, or why it is nowhere.
struct LabelPlace {
    qsizetype label = 0; ///< as it was added, from 0
    int repeat =
        0; ///< of a line that is labelled several times, from its beginning; those out of view are left out
    LabelOutcome outcome = LabelOutcome::Placed;
    /// Which of all the places that it could have, numbered without regard to the view; below 0 when not
    /// placed.
    qint64 candidate = -1;
    /// A label that is in the way of its best place; below 0 when that is not the reason.
    qsizetype blockedBy = -1;
    /// Its boxes in LabelPlaces::boxes: one, or one for each cluster in the order of the text.
    qsizetype firstBox = 0;
    qsizetype boxCount = 0;
};

struct LabelPlaces {
    QList<LabelPlace> places; ///< in the order of labels and repeats
    QList<LabelBox> boxes;

    qsizetype placed() const {
        qsizetype count = 0;
        for (const LabelPlace& place : places) {
            count += place.outcome == LabelOutcome::Placed ? 1 : 0;
        }
        return count;
    }
};

} // namespace Cartolith::Map::Labels
