#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Labels/LabelPlaces.h>
#include <Cartolith/Map/Labels/LabelSettings.h>
#include <Cartolith/Map/MapView.h>

#include <QRectF>
#include <QSizeF>

#include <functional>
#include <memory>
#include <span>

namespace Cartolith::Map::Labels {

/// Finds places for the labels of a map: numbers in, places out; nothing is painted and no font is asked.
///
/// Labels are placed by priority, each at the first of its candidates that is free: wholly within the frame,
/// on no other label (unless it may), across no stronger obstacle. Then those that found no room get it where
/// labels in their way have another place to go, or are smaller. So no label is left out for one of less
/// priority in its way. After Christensen, Marks and Shieber, "An empirical study of algorithms for
/// point-feature label placement" (1995): the greedy algorithm, and local exchange instead of annealing.
///
/// Candidates are anchored to the map: a view that was panned has the same ones. Given the places of the last
/// picture (setPrevious()), labels keep theirs as long as these are in view and nothing greater comes into
/// them. The same input gives the same places, on every machine.
///
/// Coordinates are map units, x and y in turn; sizes are pixels of the view's device. What is not finite is
/// no error: such a label is not placed and says so; nor is one lower or narrower than a tenth of a pixel.
/// Work and memory grow with the vertices and the candidates in view; the exchange begins nothing more after
/// `budget` steps. One object is used by one thread at a time.
class CARTOLITH_MAP_EXPORT LabelPlacer {
public:
    explicit LabelPlacer(const MapView& view);
    ~LabelPlacer();
    LabelPlacer(const LabelPlacer&) = delete;
    LabelPlacer& operator=(const LabelPlacer&) = delete;

    /// Beside a point: right above, right below, left above, left below, right, left, above, below; then the
    /// same ones further away. `clearance` is how far the text stays from the point. Returns the label's
    /// number.
    qsizetype addPoint(const LabelSettings& settings, QSizeF size, QPointF place, double clearance);

    /// Along a line, read from left to right. `advances` are the widths of the text's clusters (letters that
    /// are drawn together), which follow the line one by one; with one advance, the text is straight. The
    /// label's height is `height`; the middle of the text is on the line, but for the offset.
    qsizetype addLine(const LabelSettings& settings, double height, std::span<const double> advances,
                      std::span<const double> line);

    /// Inside an area: horizontal where that fits, else along the area's spine. Rings are one after the
    /// other, `ringEnds` are the numbers of vertices up to the end of each; a ring in an odd number of others
    /// is a hole.
    qsizetype addArea(const LabelSettings& settings, double height, std::span<const double> advances,
                      std::span<const double> rings, std::span<const qsizetype> ringEnds);

    /// A symbol, in pixels around a point. The obstacle of a label's own feature (`ownLabel`) is none to it.
    void addObstacle(QPointF place, QSizeF size, double weight, qsizetype ownLabel = -1);
    /// A line that is so many pixels wide.
    void addLineObstacle(std::span<const double> line, double width, double weight, qsizetype ownLabel = -1);

    /// An area and its outline, which is so many pixels wide; a ring in an odd number of others is a hole.
    void addAreaObstacle(std::span<const double> rings, std::span<const qsizetype> ringEnds, double width,
                         double weight, qsizetype ownLabel = -1);
    /// A part of the frame that something lies on which is no part of the map, say its legend: no label comes
    /// there, whatever its settings. In pixels of the view.
    void addClosedBox(const QRectF& pixels);

    /// Labels that have a place in this keep it if they can. Labels are the same when their numbers are; what
    /// the numbers mean is the host's.
    void setPrevious(const LabelPlaces& previous);

    /// A function that is called every few milliseconds of work, and may throw to end it; the object is then
    /// no good but to be destroyed. None by default.
    void setWatch(std::function<void()> watch);

    /// How much work goes into labels that found no room at first, in candidates looked at.
    void setBudget(qint64 steps);

    LabelPlaces place() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Labels
