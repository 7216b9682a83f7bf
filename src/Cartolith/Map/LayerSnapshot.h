#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapView.h>

#include <QImage>
#include <QList>
#include <QString>

#include <memory>
#include <span>
#include <vector>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisLayer;
}
} // namespace Cartolith::Core

namespace Cartolith::Map {

/// What a drawing needs of a layer, as it was at one moment, in units of the map: shapes as flat arrays, a
/// style for each, the texts of labels; of a raster, the picture of a view. LayerSnapshotBuilder makes it.
///
/// Immutable and implicitly shared: a copy is a pointer, copies may be used by several threads while the
/// layer is edited or gone.
class CARTOLITH_MAP_EXPORT LayerSnapshot {
public:
    enum class Kind : quint8 { Point, Line, Area };

    /// Of nothing.
    LayerSnapshot();

    /// Whether a picture of the layer as it is now would be drawn from this: same layer, content, look and
    /// coordinate systems; where the snapshot is one of a view, the same view; where edges were bent for the
    /// map's system, a view in which their pieces do not show. A renderer that was changed in its place looks
    /// the same from here until GisLayer::markLookChanged() is called.
    bool isOf(const Core::Layers::GisLayer& layer, const MapView& view,
              const std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>& mapSystem) const;

    /// Whether both are copies of one.
    friend bool operator==(const LayerSnapshot& a, const LayerSnapshot& b) { return a.m_data == b.m_data; }

    const QString& layerName() const { return m_data->layerName; }
    /// Of everything in it, in map units; empty when there is nothing.
    const Core::Shapes::GisExtent& extent() const { return m_data->extent; }
    /// Shapes that have no place in the map's coordinate system.
    qint64 leftOutCount() const { return m_data->leftOut; }
    /// Whether it is of what a view shows, not of the whole layer.
    bool isOfView() const { return m_data->isOfView; }
    qint64 bytes() const;

    /// \name Shapes
    /// By position, in drawing order.
    /// @{
    qsizetype count() const { return static_cast<qsizetype>(m_data->features.size()) - 1; }
    Kind kind(qsizetype i) const { return feature(i).kind; }
    /// The source's, where the layer has one; else the shape's. Of a shape that is not in its layer's source
    /// yet, the shape's with a minus.
    qint64 id(qsizetype i) const { return feature(i).id; }
    /// x and y in turn, of this and the shapes that follow it up to `end`.
    std::span<const double> coordinates(qsizetype i, qsizetype end) const {
        return std::span(m_data->coordinates)
            .subspan(feature(i).firstVertex * 2, (feature(end).firstVertex - feature(i).firstVertex) * 2);
    }
    std::span<const double> coordinates(qsizetype i) const { return coordinates(i, i + 1); }
    /// The numbers of vertices up to the end of each part.
    std::span<const qsizetype> partEnds(qsizetype i) const {
        return std::span(m_data->partEnds)
            .subspan(feature(i).firstPart, feature(i + 1).firstPart - feature(i).firstPart);
    }
    /// Around all vertices; left greater than right where none is a place.
    struct Box {
        double left, bottom, right, top;
    };
    Box box(qsizetype i) const;
    /// Whether the shape's box and the extent have a place in common.
    bool meets(qsizetype i, const Core::Shapes::GisExtent& extent) const;
    /// @}

    /// \name Looks
    /// @{
    /// Each once.
    const QList<Core::Layers::GisLayerStyle>& styles() const { return m_data->styles; }
    qsizetype styleNumber(qsizetype i) const { return feature(i).style; }
    const Core::Layers::GisLayerStyle& style(qsizetype i) const { return styles().at(feature(i).style); }
    bool hasLabels() const { return !m_data->labelTexts.empty(); }
    /// Empty where the style shows none, or the feature has none.
    QString labelText(qsizetype i) const {
        return hasLabels() ? m_data->labelTexts[static_cast<std::size_t>(i)] : QString();
    }
    /// Of the style's field for priorities; NaN where that has no number.
    double labelPriority(qsizetype i) const;
    /// @}

    /// Of a raster; null for others. North up, over pictureExtent().
    const QImage& picture() const { return m_data->picture; }
    const Core::Shapes::GisExtent& pictureExtent() const { return m_data->extent; }

private:
    friend class LayerSnapshotBuilder;

    struct Feature {
        qint64 id = 0;
        std::size_t firstVertex = 0;
        std::size_t firstPart = 0;
        qint32 style = 0;
        Kind kind = Kind::Point;
    };
    struct Data {
        QString layerName;
        std::vector<Feature> features{{}}; // and one behind the last
        std::vector<double> coordinates;
        std::vector<qsizetype> partEnds;
        std::vector<Box> boxes; // none where all are points
        QList<Core::Layers::GisLayerStyle> styles;
        std::vector<QString> labelTexts;     // none, or one for each
        std::vector<double> labelPriorities; // likewise
        QImage picture;
        Core::Shapes::GisExtent extent;
        qint64 leftOut = 0;

        // What it was made of.
        quint64 layer = 0; // its number
        quint64 revision = 0;
        quint64 look = 0;
        std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> layerSystem;
        std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> mapSystem;
        bool isOfView = false;
        MapView view;
        double tolerance = 0.0; // of bent edges, in map units: how far the worst is off
        // Where it is finer.
        Core::Shapes::GisExtent surroundings;
        double toleranceThere = 0.0;
    };

    explicit LayerSnapshot(std::shared_ptr<const Data> data) : m_data(std::move(data)) {}
    const Feature& feature(qsizetype i) const { return m_data->features[static_cast<std::size_t>(i)]; }

    std::shared_ptr<const Data> m_data; // never null
};

} // namespace Cartolith::Map
