#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Map/Picking/SnapLayerInternal.h>
#include <Cartolith/Map/Raster/RingSignsInternal.h>
#include <Cartolith/Map/Snapshot/FlatShapeInternal.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using Layers::GisLayerChange;

namespace Cartolith::Map::Picking::Internal {

namespace {

constexpr qint64 mostRead = 1'000'000;

bool isBefore(QPointF a, QPointF b) {
    return a.x() != b.x() ? a.x() < b.x() : a.y() < b.y();
}

QPointF vertexAt(std::span<const double> coordinates, qsizetype i) {
    const auto at = static_cast<std::size_t>(2 * i);
    return {coordinates[at], coordinates[at + 1]};
}

/// Of all rings together, by the even-odd rule.
std::optional<QPointF> centroidOf(std::span<const double> coordinates, std::span<const qsizetype> ends) {
    std::vector<Raster::Internal::PixelRing> rings;
    qsizetype first = 0;
    const QPointF origin = vertexAt(coordinates, 0);
    for (const qsizetype end : ends) {
        Raster::Internal::PixelRing ring{{}, HUGE_VAL, -HUGE_VAL, HUGE_VAL, -HUGE_VAL};
        for (; first < end; ++first) {
            const QPointF place = vertexAt(coordinates, first) - origin;
            ring.points.push_back(place);
            ring.left = std::min(ring.left, place.x());
            ring.right = std::max(ring.right, place.x());
            ring.top = std::min(ring.top, place.y());
            ring.bottom = std::max(ring.bottom, place.y());
        }
        if (!ring.points.empty()) {
            rings.push_back(std::move(ring));
        }
    }
    const std::vector<float> signs = Raster::Internal::ringSigns(rings, rings.size(), Map::Internal::Watch());
    double area = 0.0;
    QPointF moment;
    for (std::size_t r = 0; r < rings.size(); ++r) {
        const std::vector<QPointF>& points = rings[r].points;
        QPointF a = points.back();
        for (const QPointF b : points) {
            const double piece = (a.x() * b.y() - a.y() * b.x()) * static_cast<double>(signs[r]);
            area += piece;
            moment += (a + b) * piece;
            a = b;
        }
    }
    const QPointF centroid = origin + moment / (3.0 * area);
    return std::isfinite(centroid.x() + centroid.y()) ? std::optional(centroid) : std::nullopt;
}

/// Half way along the parts.
std::optional<QPointF> middleOf(std::span<const double> coordinates, std::span<const qsizetype> ends) {
    double length = 0.0;
    for (const bool isSecond : {false, true}) {
        double left = length / 2.0;
        qsizetype first = 0;
        for (const qsizetype end : ends) {
            for (qsizetype i = first + 1; i < end; ++i) {
                const QPointF a = vertexAt(coordinates, i - 1);
                const QPointF along = vertexAt(coordinates, i) - a;
                const double piece = std::hypot(along.x(), along.y());
                if (!isSecond) {
                    length += piece;
                } else if (piece > 0.0 && left <= piece) {
                    return a + along * (left / piece);
                }
                left -= piece;
            }
            first = end;
        }
    }
    return std::nullopt;
}

} // namespace

SnapLayer::SnapLayer(std::shared_ptr<Layers::GisLayerVector> layer, ShapesOnMap::Systems mapSystem)
    : m_layer(std::move(layer)), m_mapSystem(std::move(mapSystem)),
      m_isReadByView(dynamic_cast<Layers::GisLayerOgrOnDemand*>(m_layer.get()) != nullptr) {
    m_subscription = m_layer->onChanged([flag = m_isChanged](Layers::GisLayerChanges changes) {
        *flag =
            *flag || changes.testFlag(GisLayerChange::Content) || changes.testFlag(GisLayerChange::System);
    });
}

SnapLayer::~SnapLayer() = default;

bool SnapLayer::isReady(const MapView& view) const {
    const auto isIn = [&](const Shapes::GisExtent& part) {
        return part.xMin() >= m_read.xMin() && part.xMax() <= m_read.xMax() && part.yMin() >= m_read.yMin() &&
               part.yMax() <= m_read.yMax();
    };
    return !*m_isChanged && m_tree.isComplete() &&
           !(view.isUsable() &&
             ((m_isReadByView && !isIn(view.visibleExtent())) || !m_bending.isFineEnough(view)));
}

double SnapLayer::progress() const {
    constexpr double sorting = 0.3; // of the time
    const bool isKnown = !m_isReadByView && m_layer->count() > 0;
    const double collected = m_isCollected ? 1.0
                             : isKnown     ? static_cast<double>(m_position) / m_layer->count()
                                           : 0.0;
    return collected * (1.0 - sorting) + m_tree.progress() * sorting;
}

void SnapLayer::begin(const MapView& view) {
    *m_isChanged = false;
    m_tree = SnapTree();
    m_featureIds.clear();
    m_problem.clear();
    m_reader.reset();
    m_position = 0;
    m_isCollected = false;
    m_read = view.visibleExtent();
    m_bending = {0.0, {}, 0.0}; // fine enough for any view, where nothing bends
    m_shapes = std::make_unique<ShapesOnMap>(*m_layer, m_mapSystem);
    if (m_shapes->isElsewhere()) {
        m_bending = Map::Internal::Bending::of(*m_layer, view, *m_mapSystem);
        m_shapes->bend(m_bending);
        m_bending.tolerance = 0.0; // that of the worst edge so far
    }
    if (m_isReadByView) {
        openReader(view);
    }
}

void SnapLayer::openReader(const MapView& view) {
    const auto box = m_shapes->onLayer(view.visibleExtent());
    m_isCollected = !box;
    if (box) {
        Layers::GisFeatureRequest request;
        request.fields = QStringList();
        request.extent = box;
        request.limit = mostRead;
        m_reader = m_layer->read(request);
    }
}

bool SnapLayer::work(const MapView& view) {
    if (isReady(view) || !view.isUsable()) {
        return false;
    }
    const bool isBuilding = !*m_isChanged && !m_tree.isComplete();
    try {
        if (!isBuilding || m_shapes == nullptr) {
            begin(view);
        } else if (!m_isCollected) {
            m_isCollected = !collect();
        } else {
            m_tree.build();
        }
    } catch (const std::runtime_error& error) {
        m_problem = QStringLiteral("%1: %2").arg(m_layer->name(), QString::fromUtf8(error.what()));
        m_tree = SnapTree();
        m_isCollected = true; // as far as it goes
        while (m_tree.build()) {
        }
    }
    return !isReady(view);
}

bool SnapLayer::collect() {
    if (m_isReadByView) {
        if (!m_reader->next()) {
            m_reader.reset();
            if (static_cast<qint64>(m_featureIds.size()) == mostRead) {
                m_problem = QStringLiteral("%1: more than %2 features are in view")
                                .arg(m_layer->name())
                                .arg(mostRead);
            }
            return false;
        }
        if (const Shapes::GisShape* const shape = m_reader->shape()) {
            take(*shape, m_reader->featureId());
        }
        return true;
    }
    const auto& items = m_layer->items();
    if (m_position >= items.size()) {
        return false;
    }
    if (const Shapes::GisShape* const shape = items[m_position++].get()) {
        take(*shape, Map::Internal::FeatureIds(*m_layer).of(*shape));
    }
    return true;
}

void SnapLayer::take(const Shapes::GisShape& shape, qint64 id) {
    const auto kind = m_shapes->take(shape);
    if (!kind) {
        return;
    }
    m_bending.tolerance = std::max(m_bending.tolerance, m_shapes->parts().deviation);
    const auto feature = static_cast<quint32>(m_featureIds.size());
    m_featureIds.push_back(id);
    addEdges(*kind, feature);
    addCentre(*kind, feature);
}

void SnapLayer::addEdges(LayerSnapshot::Kind kind, quint32 feature) {
    m_vertices.clear();
    const bool hasOthers = m_shapes->hasOthers();
    if (hasOthers) {
        const std::span<const double> own = m_shapes->vertices();
        for (std::size_t i = 0; i < own.size() / 2; ++i) {
            m_vertices.push_back(vertexAt(own, static_cast<qsizetype>(i)));
        }
        std::sort(m_vertices.begin(), m_vertices.end(), isBefore);
    }
    const auto isVertex = [&](QPointF place) {
        return !hasOthers || std::binary_search(m_vertices.cbegin(), m_vertices.cend(), place, isBefore);
    };
    const CoordinateSystems::CutParts& parts = m_shapes->parts();
    qsizetype first = 0;
    for (const qsizetype end : parts.ends) {
        const bool isRing = kind == LayerSnapshot::Kind::Area;
        for (qsizetype i = first; i < end; ++i) {
            const QPointF from = vertexAt(parts.coordinates, i);
            const bool isLast = i + 1 == end;
            const QPointF to = !isLast  ? vertexAt(parts.coordinates, i + 1)
                               : isRing ? vertexAt(parts.coordinates, first)
                                        : from;
            SnapItem item{from, to, feature, 0};
            item.flags |= isVertex(from) ? SnapItem::StartIsVertex : 0U;
            item.flags |= from != to ? SnapItem::IsEdge : 0U;
            const bool isRepeated = isLast && from == to && end - first > 1; // what the one before ends with
            if (i + 2 == end && !isRing && isVertex(to)) {
                item.flags |= SnapItem::EndIsVertex;
            }
            if (!isRepeated) {
                m_tree.add(item);
            }
        }
        first = end;
    }
}

void SnapLayer::addCentre(LayerSnapshot::Kind kind, quint32 feature) {
    const CoordinateSystems::CutParts& parts = m_shapes->parts();
    std::optional<QPointF> centre;
    if (kind == LayerSnapshot::Kind::Area) {
        centre = centroidOf(parts.coordinates, parts.ends);
    } else if (kind == LayerSnapshot::Kind::Line) {
        centre = middleOf(parts.coordinates, parts.ends);
    }
    if (centre) {
        m_tree.add({*centre, *centre, feature, SnapItem::IsCentre});
    }
}

} // namespace Cartolith::Map::Picking::Internal
