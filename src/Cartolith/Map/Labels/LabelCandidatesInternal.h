#pragma once

#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/Labels/LabelSettings.h>

#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <cmath>
#include <span>
#include <utility>
#include <vector>

/// What a label could be placed at. Everything is in pixels from the map's origin (MapView::fromOrigin()), so
/// that it does not depend on where the view is.
namespace Cartolith::Map::Labels::Internal {

/// A rectangle, turned by an angle (clockwise, y downwards).
struct Box {
    double x, y;
    double halfWidth, halfHeight;
    double cosine = 1.0, sine = 0.0;

    double reachX() const { return halfWidth * std::abs(cosine) + halfHeight * std::abs(sine); }
    double reachY() const { return halfWidth * std::abs(sine) + halfHeight * std::abs(cosine); }
    QPointF axis() const { return {cosine, sine}; }
};

/// Whether they share more than their edges. By separating axes.
bool overlap(const Box& a, const Box& b);
/// Whether the segment comes into the box, grown by a distance to all sides.
bool crosses(const Box& box, QPointF a, QPointF b, double distance);

struct Candidate {
    qint64 number; ///< of all that the label has, in or out of view
    int firstBox;  ///< in Candidates::boxes
    int boxCount;
    double crossed = 0.0; ///< weight of the obstacles below it; NaN as long as nobody asked
};

struct Candidates {
    std::vector<Box> boxes;
    std::vector<Candidate> list; ///< of one label after the other, best first
    QSizeF margin{0.0, 0.0};     ///< by which the boxes of the present label are larger than its text
    Map::Internal::Watch watch;  ///< asked from one candidate to the next

    std::span<const Box> boxesOf(const Candidate& candidate) const {
        return {boxes.data() + candidate.firstBox, static_cast<std::size_t>(candidate.boxCount)};
    }
    /// Takes the boxes from `firstBox` on as one more candidate, unless one of them reaches out of the frame;
    /// then they are removed. Whether it was taken.
    bool close(qint64 number, std::size_t firstBox, const QRectF& frame);
};

/// Of a text: its width, or those of its clusters, and its height.
struct Text {
    std::span<const double> advances;
    double width;
    double height;
};

/// Whether it is possible at all to place such a text so; candidates outside of the frame are left out.
enum class Found { Some, OutsideView, DoesNotFit };

Found addPointCandidates(Candidates& candidates, const LabelSettings& settings, QSizeF size, QPointF place,
                         double clearance, const QRectF& frame);

/// A line that can be walked along.
class Path {
public:
    explicit Path(const std::vector<QPointF>& points);
    double length() const { return m_lengths.empty() ? 0.0 : m_lengths.back(); }
    QPointF at(double along) const;
    /// The stretches inside of a rectangle, by distance from the beginning, in order.
    std::vector<std::pair<double, double>> inside(const QRectF& frame) const;

private:
    std::vector<QPointF> m_points;
    std::vector<double> m_lengths;
};

/// How many times a line is labelled, and where each one may be.
struct Repeats {
    Repeats(double length, double textWidth, double repeatDistance);
    qint64 count = 0; ///< 0 when the line is too short
    double slot = 0.0;
    double freedom = 0.0; ///< to both sides of the slot's middle
};

/// A line with what is known of it before candidates are looked for.
struct LabelledLine {
    LabelledLine(const Path& linePath, const LabelSettings& settings, double textWidth, const QRectF& frame);
    const Path& path;
    Repeats repeats;
    std::vector<std::pair<double, double>> inView; ///< where the middle of a label could be
    /// The repeats that could be in view, in order.
    std::vector<qint64> repeatsInView() const;
};

/// Those of one repeat.
Found addLineCandidates(Candidates& candidates, const LabelSettings& settings, const Text& text,
                        const LabelledLine& line, qint64 repeat, const QRectF& frame);
/// The boxes of a text with its middle there; false, and none, where the path is too bent for it.
bool addBoxesAlong(Candidates& candidates, const LabelSettings& settings, const Text& text, const Path& path,
                   double middle);

/// Rings in pixels from the origin, each with the index of its first vertex; one more for the end.
struct Rings {
    std::vector<QPointF> points;
    std::vector<std::size_t> starts;
    /// Whether all of the box is inside.
    bool hold(const Box& box) const;
};

Found addAreaCandidates(Candidates& candidates, const LabelSettings& settings, const Text& text,
                        const Rings& rings, const QRectF& frame);

} // namespace Cartolith::Map::Labels::Internal
