#pragma once

#include <Cartolith/Map/Labels/LabelPainter.h>

#include <QList>
#include <QPainterPath>

class QPainter;

class QPainter;

/// Labels for outputs that keep text as text and outlines as outlines.
namespace Cartolith::Map::Labels {

/// A straight piece of a label as text: all of it, or one cluster on a curve.
struct LabelRun {
    /// Of a cluster, with zero width joiners where its neighbours join it, so that it keeps its form alone.
    QString text;
    QPointF start;         ///< left end of the baseline, pixel of the view
    double rotation = 0.0; ///< degrees, clockwise, about the start
    double width = 0.0;
};

/// From left to right; none unless the boxes are those of the text: one, or one for each cluster.
CARTOLITH_MAP_EXPORT QList<LabelRun> labelRuns(const LabelText& text, std::span<const LabelBox> boxes);

/// The outlines of all letters, in pixels of the view, to be filled by the winding rule; a halo is a line of
/// twice its width along them, with round joins.
CARTOLITH_MAP_EXPORT QPainterPath labelOutline(const LabelText& text, std::span<const LabelBox> boxes);

/// Draws as LabelPainter does, through a painter, whose units are pixels of the view: halos as lines, letters
/// as glyphs of the font, which a PDF keeps as text. For one thread, as the painter.
CARTOLITH_MAP_EXPORT void drawLabels(QPainter& painter, std::span<const PlacedLabel> labels);

} // namespace Cartolith::Map::Labels
