#pragma once

#include <Cartolith/Map/Labels/LabelPainter.h>
#include <Cartolith/Map/Labels/LabelPlaces.h>
#include <Cartolith/Map/MapView.h>

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace Cartolith::Core::Layers {
class GisLayerStyle;
}

namespace Cartolith::Map::Labels {

class LabelTexts;

/// All labels of a map, as the styles of its features ask for them: features in, places out, to be drawn by a
/// LabelPainter or as vectors.
///
/// Features are given with geometry in map units, x and y in turn, and are numbered from 0 in the order in
/// which they come. They are obstacles, too, to the labels of others: points as their symbols, lines with
/// their widths, areas with their outlines, and with what is inside where they are filled. Lines of one style
/// and text that meet end to end are labelled as one; the label has the greatest of their priorities.
/// Multi-part areas have one label.
///
/// Give all features of a layer, also those out of view: only then labels stay where they are when the map is
/// panned. Those cost little: their texts are not looked at. Features without a text are obstacles only; so
/// are those of a style whose font is lower than a pixel. Work is n log n in vertices. One object is used by
/// one thread at a time.
class CARTOLITH_MAP_EXPORT StyledLabels {
public:
    /// The texts must outlive this object. NaN for a scale shows all.
    StyledLabels(const MapView& view, double scaleDenominator, LabelTexts& texts);
    ~StyledLabels();
    StyledLabels(const StyledLabels&) = delete;
    StyledLabels& operator=(const StyledLabels&) = delete;

    /// Its number, for the features of that style; below 0 when it shows no labels at this scale. Features
    /// given with such a number are counted, and nothing else.
    int addStyle(const Core::Layers::GisLayerStyle& style);

    /// The priority is the value of the style's field for it; NaN when there is none.
    void addPoint(int style, const QString& text, double priority, QPointF place);
    /// A line of one part or several: `partEnds` are the numbers of vertices up to the end of each.
    void addLine(int style, const QString& text, double priority, std::span<const double> coordinates,
                 std::span<const qsizetype> partEnds);
    /// Rings one after the other; a ring in an odd number of others is a hole.
    void addArea(int style, const QString& text, double priority, std::span<const double> coordinates,
                 std::span<const qsizetype> ringEnds);

    /// Labels that have a place in that of the last picture keep it if they can: of the same features, in the
    /// same order.
    void setPrevious(const LabelPlaces& previous);
    /// As LabelPlacer's.
    /// @{
    void addClosedBox(const QRectF& pixels);
    void setBudget(qint64 steps);
    void setWatch(std::function<void()> watch);
    /// @}

    /// Places everything that was added; then nothing more may be. Once for each object.
    void place();

    const LabelPlaces& places() const;
    /// The feature of a label: its own, or the first of those that were merged.
    qsizetype featureOf(qsizetype label) const;
    /// Those that have a place, good as long as this object.
    std::vector<PlacedLabel> placedLabels() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Labels
