#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Labels/LabelPlaces.h>
#include <Cartolith/Map/LayerBlend.h>
#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QColor>
#include <QImage>
#include <QList>
#include <QRectF>
#include <QSet>

#include <functional>
#include <memory>

namespace Cartolith::Map {

class LabelMemory;

/// Draws snapshots as one picture, on whatever thread the host runs it; the library starts none.
///
///     MapRenderJob job(view, layers);
///     QThreadPool::globalInstance()->start([&job] { job.run(); });
///     ... job.compose() and job.progress() meanwhile, job.cancel() when the view moves
///
/// Each layer has a picture of its own, on which neighbouring areas meet without seams and from which
/// opacity and blend mode are applied; where these pictures would take more than the budget, those that are
/// ready become one. The result is the same. The same input gives the same bytes.
///
/// run() is called once. compose(), progress(), state() and cancel() may be called from any thread at any
/// time; the job outlives run(). Labels are placed when all layers are drawn, over all of them: those for
/// which styles of snapshots ask. A QGuiApplication must exist then.
class CARTOLITH_MAP_EXPORT MapRenderJob {
public:
    struct Layer {
        LayerSnapshot snapshot;
        double opacity = 1.0; ///< of the layer as a whole, 0 to 1
        LayerBlend blend = LayerBlend::Normal;
        LineCasing casing = {};
        /// Ids of the snapshot's shapes that are drawn again over the others, with their styles' selected
        /// lines.
        QSet<qint64> selected = {};
    };

    struct Options {
        QColor background = Qt::transparent;
        /// For the pictures of layers, in bytes; there are at least two.
        qint64 pictureBudget = qint64{256} << 20;
        /// The map's scale is 1 to this; it decides which styles show labels. NaN shows all.
        double scaleDenominator = qQNaN();
        /// Of earlier pictures of the same map; may be null.
        std::shared_ptr<LabelMemory> labelMemory = nullptr;
        /// Without, labels are neither placed nor drawn.
        bool hasLabels = true;
        /// In pixels of the view: what will lie on the map, say a legend. No label comes there.
        QList<QRectF> closedBoxes = {};
        /// Called by run() on its thread at each of its looks, many a millisecond where shapes are small;
        /// false cancels. For a host with one thread, which handles its events meanwhile. It throws nothing;
        /// compose() would wait for itself there.
        std::function<bool()> goesOn = nullptr;
    };

    /// What became of a label.
    struct Label {
        qsizetype layer = 0; ///< from 0, as given
        qint64 featureId = 0;
        Labels::LabelPlace place; ///< its boxes are those here, from 0
        QList<Labels::LabelBox> boxes;
    };

    enum class State { Waiting, Running, Done, Cancelled, Failed };

    /// Layers from the bottom to the top. What is out of range (opacity) counts as the nearest that is not.
    MapRenderJob(const MapView& view, QList<Layer> layers, const Options& options);
    MapRenderJob(const MapView& view, QList<Layer> layers)
        : MapRenderJob(view, std::move(layers), Options()) {}
    ~MapRenderJob();
    MapRenderJob(const MapRenderJob&) = delete;
    MapRenderJob& operator=(const MapRenderJob&) = delete;

    const MapView& view() const;

    /// Draws everything; returns the state that it ended in. Without memory for it, Failed. A second call
    /// does nothing.
    State run();
    /// Returns at once; run() looks up every few milliseconds, also in the midst of a large shape or of
    /// labels, and ends when its memory is given back: some 20 ms later, more where there is very much of it.
    void cancel() noexcept;

    State state() const noexcept;
    /// From 0 to 1.
    double progress() const noexcept;

    /// What is drawn by now, over the background; the size is that of the view's pictureFrame().
    /// Premultiplied ARGB. While it is drawn, waits for the drawing thread to come to the next shape, up to
    /// 50 ms. \throws std::bad_alloc
    QImage compose() const;

    /// All labels, drawn or not, and why not; empty unless state() is Done.
    QList<Label> labels() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map
