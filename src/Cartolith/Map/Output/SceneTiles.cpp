#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayerRaster.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/LayerSnapshotBuilder.h>
#include <Cartolith/Map/MapRenderJob.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Output/SceneTiles.h>
#include <Cartolith/Map/Output/TileContainerInternal.h>
#include <Cartolith/Map/Snapshot/SnapshotLabelsInternal.h>

#include <QImage>
#include <QPainter>

#include <chrono>
#include <cmath>
#include <new>
#include <optional>
#include <stdexcept>

namespace Cartolith::Map::Output {

namespace {

using Core::Shapes::GisExtent;

constexpr int webMercator = 3857;

/// Draws metatiles, one after the other; a zoom and a block once.
class SceneTileDrawing {
public:
    SceneTileDrawing(MapScene& scene, const TileJob& job, double ratio)
        : m_scene(scene), m_job(job), m_ratio(ratio), m_snapshots(static_cast<std::size_t>(scene.count())),
          m_blockTiles(Internal::blockOf(job)) {}

    QImage draw(const GisExtent& extent, QSize size) {
        const double unitsPerPixel = extent.width() / size.width();
        const double world = 2.0 * TileScheme::halfWorld;
        const int zoom = static_cast<int>(std::lround(std::log2(world / unitsPerPixel / m_job.tileSize)));
        const double inside = m_job.buffer * unitsPerPixel;
        const double tile = world / std::ldexp(1.0, zoom);
        const auto tileAt = [&](double offset) { return static_cast<int>(std::lround(offset / tile)); };
        const int left = tileAt(extent.xMin() + inside + TileScheme::halfWorld);
        const int top = tileAt(TileScheme::halfWorld - (extent.yMax() - inside));
        beginZoom(zoom);
        beginBlock(left, top);

        const MapView view = viewOf(extent, size);
        QList<MapRenderJob::Layer> layers;
        for (qsizetype i = 0; i < m_scene.count(); ++i) {
            if (m_isShown[static_cast<std::size_t>(i)]) {
                const MapScene::Entry& entry = m_scene.entry(i);
                layers.append({snapshotFor(i, view), entry.opacity, entry.blend, entry.casing});
            }
        }
        MapRenderJob::Options options;
        options.background = m_scene.background();
        options.hasLabels = false;
        MapRenderJob job(view, layers, options);
        if (job.run() != MapRenderJob::State::Done) {
            throw std::bad_alloc();
        }
        QImage image = job.compose();
        if (m_labels) {
            const QPoint corner((left - m_block.left) * m_job.tileSize - m_job.buffer,
                                (top - m_block.top) * m_job.tileSize - m_job.buffer);
            m_painter.draw(image, m_placed, corner);
        }
        return image;
    }

private:
    MapView viewOf(const GisExtent& extent, QSize size) const {
        const QRectF frame({}, QSizeF(size) / m_ratio);
        return MapView(extent, frame).withDevicePixelRatio(m_ratio);
    }

    LayerSnapshot snapshotFor(qsizetype i, const MapView& view) {
        LayerSnapshot& snapshot = m_snapshots[static_cast<std::size_t>(i)];
        Core::Layers::GisLayer& layer = *m_scene.entry(i).layer;
        if (!snapshot.isOf(layer, view, m_scene.coordinateSystem())) {
            LayerSnapshotBuilder builder(layer, view, m_scene.coordinateSystem());
            while (!builder.step(std::chrono::hours(1))) {
            }
            snapshot = builder.snapshot();
        }
        return snapshot;
    }

    void beginZoom(int zoom) {
        if (m_tiles && m_tiles->zoom == zoom) {
            return;
        }
        m_tiles = TileScheme::tilesOf(m_job.extent, zoom);
        m_block = {-1, 0, 0, 0, 0};
        const GisExtent all = TileScheme::extentOf(*m_tiles);
        const QPointF middle((all.xMin() + all.xMax()) / 2.0, (all.yMin() + all.yMax()) / 2.0);
        const double half = TileScheme::halfWorld / std::ldexp(1.0, zoom);
        const MapView tile =
            viewOf({middle.x() - half, middle.y() - half, middle.x() + half, middle.y() + half},
                   {m_job.tileSize, m_job.tileSize});
        m_scale = m_scene.scaleDenominator(tile);
        m_isShown.clear();
        for (qsizetype i = 0; i < m_scene.count(); ++i) {
            m_isShown.push_back(m_scene.isDrawn(m_scene.entry(i), tile));
        }
    }

    /// Places the labels of the block that begins at or before a tile.
    void beginBlock(int tileX, int tileY) {
        TileRange block{m_tiles->zoom, tileX - tileX % m_blockTiles, tileY - tileY % m_blockTiles, 0, 0};
        block.right = std::min(block.left + m_blockTiles - 1, m_tiles->right);
        block.bottom = std::min(block.top + m_blockTiles - 1, m_tiles->bottom);
        block.left = std::max(block.left, m_tiles->left);
        block.top = std::max(block.top, m_tiles->top);
        if (block == m_block) {
            return;
        }
        m_block = block;
        m_placed.clear();
        m_labels.reset();
        const QSize size((block.right - block.left + 1) * m_job.tileSize,
                         (block.bottom - block.top + 1) * m_job.tileSize);
        const MapView view = viewOf(TileScheme::extentOf(block), size);
        for (qsizetype i = 0; i < m_scene.count(); ++i) {
            const auto* const raster =
                dynamic_cast<const Core::Layers::GisLayerRaster*>(m_scene.entry(i).layer.get());
            if (!m_isShown[static_cast<std::size_t>(i)] ||
                raster != nullptr) { // of a block, it would be huge
                continue;
            }
            const LayerSnapshot snapshot = snapshotFor(i, view);
            if (snapshot.hasLabels()) {
                if (!m_labels) {
                    m_labels.emplace(view, m_scale, m_texts);
                }
                m_labels->add(i, snapshot, [] { return true; });
            }
        }
        if (m_labels) {
            m_labels->labels().place();
            m_placed = m_labels->labels().placedLabels();
        }
    }

    MapScene& m_scene;
    const TileJob& m_job;
    const double m_ratio;
    std::vector<LayerSnapshot> m_snapshots;
    const int m_blockTiles; // to each side, whole metatiles

    std::optional<TileRange> m_tiles; // of the zoom
    double m_scale = 0.0;
    std::vector<bool> m_isShown; // layers

    TileRange m_block;
    Labels::LabelTexts m_texts;
    Labels::LabelPainter m_painter;
    std::optional<Map::Internal::SnapshotLabels> m_labels; // of the block
    std::vector<Labels::PlacedLabel> m_placed;             // among them
};

} // namespace

TileWriter::Result SceneTiles::write(MapScene& scene, const QString& path, TileJob job,
                                     const SceneTilesOptions& options) {
    if (scene.coordinateSystem() == nullptr || scene.coordinateSystem()->epsgCode() != webMercator) {
        throw std::invalid_argument("tiles are drawn from a map in EPSG:3857");
    }
    if (!(options.devicePixelRatio >= 0.1 && options.devicePixelRatio <= 16.0)) {
        throw std::invalid_argument("a setting of the tiles is out of its range");
    }
    if (job.extent.isEmpty()) {
        job.extent = scene.extent();
    }
    std::optional<SceneTileDrawing> drawing; // of a job that was found to be usable
    const auto draw = [&](const GisExtent& extent, QSize size) {
        if (!drawing) {
            drawing.emplace(scene, job, options.devicePixelRatio);
        }
        QImage image = drawing->draw(extent, size);
        if (options.finish) {
            const QRect inside = image.rect().adjusted(job.buffer, job.buffer, -job.buffer, -job.buffer);
            QImage picture = image.copy(inside);
            options.finish(picture);
            QPainter painter(&image);
            painter.setCompositionMode(QPainter::CompositionMode_Source);
            painter.drawImage(inside.topLeft(), picture);
        }
        return image;
    };
    return TileWriter::write(path, job, draw, options.progress);
}

} // namespace Cartolith::Map::Output
