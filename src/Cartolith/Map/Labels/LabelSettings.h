#pragma once

#include <QPointF>
#include <QSizeF>

namespace Cartolith::Map::Labels {

/// How one label wants to be placed. The defaults are those of a layer's style.
struct LabelSettings {
    /// Higher ones get their places first; of the same priority, those with the greater value (a field, say
    /// the inhabitants; NaN is least); of the same value, those that were added first.
    int priority = 0;
    double priorityValue = 0.0;
    /// May lie on other labels where it has no place without.
    bool allowOverlap = false;
    /// Whether obstacles matter to it.
    bool avoidObstacles = true;
    /// An obstacle that weighs more is never crossed; of the places that cross others, those are taken that
    /// cross the least weight. Weights beyond 1e100 count as that.
    double weight = 1.0;
    /// Places that are tried, 1 to 16; what is beyond counts as the nearest of these. Of a line, for each
    /// repeat.
    int maxCandidates = 9;
    /// Pixels along and across the text that stay free of other labels, to each side.
    QSizeF margin{0.0, 0.0};
    /// Pixels to the right and downwards from where it would be; for lines along and across them.
    QPointF offset;
    /// Degrees, clockwise, about the point; of point labels.
    double rotation = 0.0;
    /// Of lines, in pixels: at least so far from one repeat to the next; 0 places one label.
    double repeatDistance = 0.0;
    /// Lines: the letters follow the line. Otherwise the text stays straight, where the line is.
    bool isCurved = true;
    /// Areas: a text that does not fit is centred on the area's inside and reaches over its outline.
    bool mayReachOut = false;
};

} // namespace Cartolith::Map::Labels
