#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/Picking/PixelDistanceInternal.h>
#include <Cartolith/Map/Picking/SnapLayerInternal.h>
#include <Cartolith/Map/Picking/Snapper.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>
#include <vector>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;

namespace Cartolith::Map::Picking {

namespace {

using Internal::SnapItem;
using Internal::SnapLayer;

double lengthOf(QPointF vector) {
    return std::hypot(vector.x(), vector.y());
}

double cross(QPointF a, QPointF b) {
    return a.x() * b.y() - a.y() * b.x();
}

/// What was found around a place, in map units.
class Findings {
public:
    Findings(QPointF place, double farthest, SnapKinds kinds)
        : m_place(place), m_farthest(farthest), m_kinds(kinds) {}

    /// Everything of a layer that may be better than what there is.
    void look(const SnapLayer& layer) {
        constexpr std::size_t most = 20'000;
        layer.tree().visit(m_place, m_farthest, most, [&](const SnapItem& item, double distance) {
            if (isSettled(distance)) {
                return false;
            }
            take(layer, item, distance);
            return true;
        });
    }

    std::optional<Snap> best() {
        if (m_kinds.testFlag(SnapKind::Crossing) && m_vertex.item == nullptr) {
            findCrossing();
        }
        for (const auto& [kind, found] :
             {std::pair(SnapKind::Vertex, &m_vertex), std::pair(SnapKind::Crossing, &m_crossing),
              std::pair(SnapKind::Centre, &m_centre), std::pair(SnapKind::Segment, &m_segment)}) {
            if (found->item != nullptr && m_kinds.testFlag(kind)) {
                return Snap{kind, found->place, found->distance, found->layer->layer(),
                            found->layer->featureId(*found->item)};
            }
        }
        return std::nullopt;
    }

private:
    struct Found {
        const SnapLayer* layer = nullptr;
        const SnapItem* item = nullptr;
        QPointF place;
        double distance = 0.0;
    };
    static constexpr std::size_t mostEdges = 256;

    /// Whether nothing at that distance or farther is better.
    bool isSettled(double distance) const {
        const auto isDone = [&](SnapKind kind, const Found& found) {
            return !m_kinds.testFlag(kind) || (found.item != nullptr && distance >= found.distance);
        };
        if (m_kinds.testFlag(SnapKind::Vertex)) {
            return isDone(SnapKind::Vertex, m_vertex);
        }
        const bool hasEdges = m_edges.size() == mostEdges && distance >= m_edges.front().distance;
        return (hasEdges || !m_kinds.testFlag(SnapKind::Crossing)) && isDone(SnapKind::Centre, m_centre) &&
               isDone(SnapKind::Segment, m_segment);
    }

    void offer(Found& best, const SnapLayer& layer, const SnapItem& item, QPointF place) const {
        const double distance = lengthOf(place - m_place);
        if (distance <= m_farthest && (best.item == nullptr || distance < best.distance)) {
            best = {&layer, &item, place, distance};
        }
    }

    void take(const SnapLayer& layer, const SnapItem& item, double distance) {
        const auto hasWanted = [&](SnapKind kind, SnapItem::Flag flag) {
            return m_kinds.testFlag(kind) && (item.flags & flag) != 0;
        };
        if (hasWanted(SnapKind::Vertex, SnapItem::StartIsVertex)) {
            offer(m_vertex, layer, item, item.from);
        }
        if (hasWanted(SnapKind::Vertex, SnapItem::EndIsVertex)) {
            offer(m_vertex, layer, item, item.to);
        }
        if (hasWanted(SnapKind::Centre, SnapItem::IsCentre)) {
            offer(m_centre, layer, item, item.from);
        }
        if ((item.flags & SnapItem::IsEdge) == 0) {
            return;
        }
        const QPointF place = Internal::nearestOnSegment(item.from, item.to, m_place).place;
        offer(m_segment, layer, item, place);
        const auto isNearer = [](const Found& a, const Found& b) { return a.distance < b.distance; };
        if (m_edges.size() < mostEdges || distance < m_edges.front().distance) {
            if (m_edges.size() == mostEdges) {
                std::pop_heap(m_edges.begin(), m_edges.end(), isNearer);
                m_edges.pop_back();
            }
            m_edges.push_back({&layer, &item, place, distance});
            std::push_heap(m_edges.begin(), m_edges.end(), isNearer);
        }
    }

    /// Proper ones only, measured from the place, where numbers are small.
    void findCrossing() {
        for (std::size_t i = 0; i < m_edges.size(); ++i) {
            const QPointF a = m_edges[i].item->from - m_place;
            const QPointF along = m_edges[i].item->to - m_place - a;
            for (std::size_t k = 0; k < i; ++k) {
                const QPointF c = m_edges[k].item->from - m_place;
                const QPointF other = m_edges[k].item->to - m_place - c;
                const double across = cross(along, other);
                const double onFirst = cross(c - a, other) / across;
                const double onSecond = cross(c - a, along) / across;
                if (onFirst > 0.0 && onFirst < 1.0 && onSecond > 0.0 && onSecond < 1.0) {
                    offer(m_crossing, *m_edges[i].layer, *m_edges[i].item, m_place + a + along * onFirst);
                }
            }
        }
    }

    const QPointF m_place;
    const double m_farthest;
    const SnapKinds m_kinds;
    Found m_vertex, m_centre, m_segment, m_crossing;
    std::vector<Found> m_edges; // a heap, the farthest on top
};

} // namespace

class Snapper::Private {
public:
    Private(std::shared_ptr<CoordinateSystem> system, const MapView& seen)
        : ground(std::move(system)), view(seen) {}

    std::vector<std::unique_ptr<SnapLayer>> layers; // from the top
    GroundScale ground;
    MapView view;
    std::atomic<bool> isCancelled = false;
};

Snapper::Snapper(const QList<std::shared_ptr<Layers::GisLayer>>& layers,
                 const std::shared_ptr<CoordinateSystem>& mapSystem, const MapView& view)
    : d(std::make_unique<Private>(mapSystem, view)) {
    for (auto it = layers.crbegin(); it != layers.crend(); ++it) {
        if (auto vector = std::dynamic_pointer_cast<Layers::GisLayerVector>(*it)) {
            d->layers.push_back(std::make_unique<SnapLayer>(std::move(vector), mapSystem));
        }
    }
}

Snapper::~Snapper() = default;

void Snapper::setView(const MapView& view) {
    d->view = view;
}

bool Snapper::step(std::chrono::milliseconds budget) {
    const auto end = std::chrono::steady_clock::now() + budget;
    for (const auto& layer : d->layers) {
        while (!d->isCancelled.load(std::memory_order_relaxed) && layer->work(d->view)) {
            if (std::chrono::steady_clock::now() >= end) {
                return false;
            }
        }
    }
    return true;
}

void Snapper::cancel() noexcept {
    d->isCancelled.store(true, std::memory_order_relaxed);
}

Snapper::State Snapper::state() const {
    if (d->isCancelled.load(std::memory_order_relaxed)) {
        return State::Cancelled;
    }
    const bool isReady = std::all_of(d->layers.cbegin(), d->layers.cend(),
                                     [this](const auto& layer) { return layer->isReady(d->view); });
    return isReady ? State::Ready : State::Working;
}

double Snapper::progress() const {
    double done = 0.0;
    for (const auto& layer : d->layers) {
        done += layer->isReady(d->view) ? 1.0 : layer->progress();
    }
    return d->layers.empty() ? 1.0 : done / static_cast<double>(d->layers.size());
}

QStringList Snapper::problems() const {
    QStringList problems;
    for (const auto& layer : d->layers) {
        if (!layer->problem().isEmpty()) {
            problems.append(layer->problem());
        }
    }
    return problems;
}

std::optional<Snap> Snapper::snap(const MapView& view, QPointF pixel, double pixels, SnapKinds kinds) const {
    const QPointF place = view.toMap(pixel);
    const double farthest = pixels * view.unitsPerPixel();
    if (!view.isUsable() || !std::isfinite(place.x() + place.y()) || !(farthest >= 0.0)) {
        return std::nullopt;
    }
    Findings findings(place, farthest, kinds);
    const double scale = view.scaleDenominator(d->ground);
    for (const auto& layer : d->layers) {
        if (layer->isUnchanged() && layer->layer()->isVisibleAtScale(scale)) {
            findings.look(*layer);
        }
    }
    auto best = findings.best();
    if (best) {
        best->distance /= view.unitsPerPixel();
    }
    return best;
}

} // namespace Cartolith::Map::Picking
