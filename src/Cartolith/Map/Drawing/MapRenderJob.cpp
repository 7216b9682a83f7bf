#include <Cartolith/Map/Drawing/PictureBlendInternal.h>
#include <Cartolith/Map/Drawing/PictureMemoryInternal.h>
#include <Cartolith/Map/Drawing/SelectionDrawingInternal.h>
#include <Cartolith/Map/Drawing/SnapshotDrawingInternal.h>
#include <Cartolith/Map/LabelMemory.h>
#include <Cartolith/Map/Labels/LabelStyle.h>
#include <Cartolith/Map/MapRenderJob.h>
#include <Cartolith/Map/Snapshot/SnapshotLabelsInternal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

using namespace Cartolith::Core;

namespace Cartolith::Map {

class MapRenderJob::Private {
public:
    /// The picture of one layer, or of all up to one.
    struct Picture {
        QImage image;
        double opacity = 1.0;
        LayerBlend blend = LayerBlend::Normal;
        bool hasBackground = false; ///< of all up to one
    };

    /// What the drawing thread is to look up for after every shape.
    enum Attention : unsigned { CancelWanted = 1, SightWanted = 2 };

    /// Thrown to leave the drawing.
    struct Cancelled {};

    Private(const MapView& drawnView, QList<Layer> drawn, const Options& used)
        : view(drawnView), layers(std::move(drawn)), options(used),
          size(view.isUsable() ? view.pictureFrame().size() : QSize(0, 0)) {}

    QImage composed(const std::vector<Picture>& from) const {
        QImage result;
        for (const Picture& picture : from) {
            if (picture.hasBackground) {
                result = picture.image;
                continue;
            }
            if (result.isNull()) {
                const bool isAlone = options.background.alpha() == 0 && picture.opacity == 1.0 &&
                                     picture.blend == LayerBlend::Normal && !picture.image.isNull();
                if (isAlone) { // over nothing it is what it is
                    result = picture.image;
                    continue;
                }
                result = Internal::emptyPicture(size, options.background);
            }
            Internal::layOver(result, picture.image, picture.opacity, picture.blend);
        }
        return result.isNull() ? Internal::emptyPicture(size, options.background) : result;
    }

    /// A look: whether nobody wants anything.
    bool isUndisturbed() {
        if (options.goesOn && !options.goesOn()) {
            attention.fetch_or(CancelWanted, std::memory_order_relaxed);
        }
        return attention.load(std::memory_order_relaxed) == 0;
    }

    void leaveWhereCancelled() {
        if (!isUndisturbed() && (attention.load(std::memory_order_relaxed) & CancelWanted) != 0) {
            throw Cancelled();
        }
    }

    /// Hands the picture of the layer that is being drawn over to those who wait for it.
    void show(const QImage& image) {
        const std::lock_guard lock(mutex);
        pictures.back().image = image;
        attention.fetch_and(~unsigned{SightWanted}, std::memory_order_relaxed);
        ++shown;
        changed.notify_all();
    }

    void drawLayer(const Layer& layer) {
        const LayerSnapshot& snapshot = layer.snapshot;
        if (!snapshot.picture().isNull()) {
            show(Internal::placed(snapshot.picture(), snapshot.pictureExtent(), view));
            return;
        }
        Raster::Canvas canvas(view);
        const auto watch = [this] { leaveWhereCancelled(); };
        canvas.setWatch(watch);
        Internal::SnapshotDrawing drawing(snapshot, view, layer.casing, Internal::Watch(watch));
        while (drawing.draw(canvas, [this] { return isUndisturbed(); })) {
            leaveWhereCancelled();
            layerProgress.store(drawing.progress(), std::memory_order_relaxed);
            show(canvas.image());
        }
        Internal::SelectionDrawing selection(snapshot, view, layer.selected);
        while (selection.draw(canvas, [this] { return isUndisturbed(); })) {
            leaveWhereCancelled();
            show(canvas.image());
        }
        show(canvas.image());
    }

    void draw() {
        for (const Layer& layer : std::as_const(layers)) {
            leaveWhereCancelled();
            begin({{}, layer.opacity > 0.0 ? std::min(layer.opacity, 1.0) : 0.0, layer.blend, false});
            drawLayer(layer);
            layerProgress.store(0.0, std::memory_order_relaxed);
            layersDone.fetch_add(1, std::memory_order_relaxed);
        }
        drawLabels();
    }

    /// A picture over the others, which make room for it.
    void begin(Picture picture) {
        const qint64 each = qint64{4} * size.width() * size.height();
        const bool isRoom = static_cast<qint64>(pictures.size() + 1) * each <= options.pictureBudget;
        std::vector<Picture> next;
        if (pictures.size() < 2 || isRoom) {
            next = pictures;
        } else {
            next.push_back({composed(pictures), 1.0, LayerBlend::Normal, true});
        }
        next.push_back(std::move(picture));
        const std::lock_guard lock(mutex);
        pictures.swap(next);
    }

    void drawLabels() {
        const auto hasLabels = [](const Layer& layer) { return layer.snapshot.hasLabels(); };
        if (size.isEmpty() || !options.hasLabels || std::none_of(layers.cbegin(), layers.cend(), hasLabels)) {
            return;
        }
        const auto memory =
            options.labelMemory != nullptr ? options.labelMemory : std::make_shared<LabelMemory>();
        std::unique_lock turn(memory->m_mutex, std::defer_lock);
        while (!turn.try_lock_for(std::chrono::milliseconds(5))) {
            leaveWhereCancelled();
        }
        Internal::SnapshotLabels labels(view, options.scaleDenominator, memory->m_texts, options.closedBoxes);
        labels.labels().setWatch([this] { leaveWhereCancelled(); });
        QList<LayerSnapshot> labelled;
        QList<bool> shownStyles;
        for (qsizetype i = 0; i < layers.size(); ++i) {
            const LayerSnapshot& snapshot = layers.at(i).snapshot;
            if (snapshot.hasLabels()) {
                labelled.append(snapshot);
                for (const Layers::GisLayerStyle& style : snapshot.styles()) {
                    shownStyles.append(Labels::areLabelsVisible(style, options.scaleDenominator));
                }
                labels.add(i, snapshot, [this] {
                    leaveWhereCancelled();
                    return true;
                });
            }
        }
        // Panned only: at another scale, other places are good ones.
        const bool isPanned = memory->m_view.unitsPerPixel() == view.unitsPerPixel() &&
                              memory->m_view.rotation() == view.rotation() &&
                              memory->m_view.devicePixelRatio() == view.devicePixelRatio();
        if (isPanned && memory->m_snapshots == labelled && memory->m_shown == shownStyles) {
            labels.labels().setPrevious(memory->m_places);
        }
        labels.labels().place();
        begin({});
        QImage image = Internal::emptyPicture(size, Qt::transparent);
        memory->m_painter.draw(image, labels.labels().placedLabels(), view.pictureFrame().topLeft(),
                               [this] { leaveWhereCancelled(); });
        show(image);

        memory->m_places = labels.labels().places();
        memory->m_snapshots = labelled;
        memory->m_shown = shownStyles;
        memory->m_view = view;
        for (const Labels::LabelPlace& place : std::as_const(memory->m_places.places)) {
            leaveWhereCancelled();
            const auto [layer, feature] = labels.featureOf(place.label);
            Label label{layer, layers.at(layer).snapshot.id(feature), place, {}};
            label.boxes = memory->m_places.boxes.mid(place.firstBox, place.boxCount);
            label.place.firstBox = 0;
            drawnLabels.append(std::move(label));
        }
    }

    void end(State how) {
        const std::lock_guard lock(mutex);
        state.store(how, std::memory_order_release);
        changed.notify_all();
    }

    const MapView view;
    const QList<Layer> layers;
    const Options options;
    const QSize size;

    std::atomic<State> state = State::Waiting;
    std::atomic<unsigned> attention = 0;
    std::atomic<qsizetype> layersDone = 0;
    std::atomic<double> layerProgress = 0.0;

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Picture> pictures; // changed by run() only, under the mutex
    quint64 shown = 0;
    QList<Label> drawnLabels; // before state is Done
};

MapRenderJob::MapRenderJob(const MapView& view, QList<Layer> layers, const Options& options)
    : d(std::make_unique<Private>(view, std::move(layers), options)) {}

MapRenderJob::~MapRenderJob() = default;

const MapView& MapRenderJob::view() const {
    return d->view;
}

MapRenderJob::State MapRenderJob::run() {
    State waiting = State::Waiting;
    if (!d->state.compare_exchange_strong(waiting, State::Running)) {
        return waiting;
    }
    State how = State::Done;
    try {
        d->draw();
    } catch (const Private::Cancelled&) {
        how = State::Cancelled;
    } catch (const std::exception&) { // no memory, or more wanted than there can be
        how = State::Failed;
    }
    d->end(how);
    return how;
}

void MapRenderJob::cancel() noexcept {
    d->attention.fetch_or(Private::CancelWanted, std::memory_order_relaxed);
}

MapRenderJob::State MapRenderJob::state() const noexcept {
    return d->state.load(std::memory_order_acquire);
}

double MapRenderJob::progress() const noexcept {
    if (state() == State::Done || d->layers.isEmpty()) {
        return state() == State::Done ? 1.0 : 0.0;
    }
    return (static_cast<double>(d->layersDone.load(std::memory_order_relaxed)) +
            d->layerProgress.load(std::memory_order_relaxed)) /
           static_cast<double>(d->layers.size());
}

QImage MapRenderJob::compose() const {
    std::vector<Private::Picture> pictures;
    {
        std::unique_lock lock(d->mutex);
        const quint64 before = d->shown;
        if (state() == State::Running) {
            d->attention.fetch_or(Private::SightWanted, std::memory_order_relaxed);
            constexpr auto longest = std::chrono::milliseconds(50);
            d->changed.wait_for(lock, longest,
                                [&] { return d->shown != before || state() != State::Running; });
        }
        pictures = d->pictures;
    }
    return d->composed(pictures);
}

QList<MapRenderJob::Label> MapRenderJob::labels() const {
    return state() == State::Done ? d->drawnLabels : QList<Label>();
}

} // namespace Cartolith::Map
