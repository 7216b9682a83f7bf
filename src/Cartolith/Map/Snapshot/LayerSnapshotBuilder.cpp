#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerRaster.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Map/Labels/LabelStyle.h>
#include <Cartolith/Map/LayerSnapshotBuilder.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/RendererFields.h>
#include <Cartolith/Map/Snapshot/BendingInternal.h>
#include <Cartolith/Map/Snapshot/FlatShapeInternal.h>
#include <Cartolith/Map/Snapshot/ShapeProjectorInternal.h>
#include <Cartolith/Map/Snapshot/StyleTableInternal.h>
#include <Cartolith/Map/SvgMarker.h>
#include <Cartolith/Map/Symbols/SymbolReachInternal.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using Layers::GisLayerStyle;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Symbology::GisSymbolContext;

namespace Cartolith::Map {

namespace {

/// What is drawn of a layer and shown on it; none where nobody can tell.
std::optional<QStringList> fieldsToRead(const Layers::GisLayer& layer) {
    QStringList fields;
    const auto addStyleFields = [&fields](const GisLayerStyle& style) {
        fields.append(Symbology::GisFeatureSymbol::fieldsOf(style));
        if (style.showLabels()) {
            fields.append(style.labelField());
            fields.append(style.labelPriorityField());
        }
    };
    if (const Symbology::GisSymbolRenderer* const renderer = layer.symbolRenderer()) {
        fields = fieldsOf(*renderer);
        if (renderer->usesFeatureAttributes() && fields.isEmpty()) {
            return std::nullopt;
        }
        const auto items = renderer->legendItems();
        if (items.isEmpty()) {
            return std::nullopt;
        }
        for (const Symbology::GisSymbolLegendItem& item : items) {
            addStyleFields(item.style);
        }
    } else {
        addStyleFields(layer.style());
    }
    fields.removeAll(QString());
    fields.removeDuplicates();
    return fields;
}

} // namespace

class LayerSnapshotBuilder::Private {
public:
    Private(Layers::GisLayer& drawn, const MapView& drawnView, std::shared_ptr<CoordinateSystem> system)
        : layer(drawn), vector(dynamic_cast<Layers::GisLayerVector*>(&drawn)),
          raster(dynamic_cast<Layers::GisLayerRaster*>(&drawn)),
          isReadByView(dynamic_cast<Layers::GisLayerOgrOnDemand*>(&drawn) != nullptr), view(drawnView),
          mapSystem(std::move(system)) {
        begin();
    }

    void findSystem() {
        isElsewhere = false;
        projector.reset();
        if (mapSystem != nullptr && layer.coordinateSystem() == nullptr) {
            throw std::runtime_error(QStringLiteral("the layer '%1' does not say its coordinate system")
                                         .arg(layer.name())
                                         .toStdString());
        }
        isElsewhere = mapSystem != nullptr && !Projection::isIn(layer, *mapSystem);
        if (isElsewhere && raster == nullptr) {
            bending = Internal::Bending::of(layer, view, *mapSystem);
            projector = std::make_unique<Internal::ShapeProjector>(*layer.coordinateSystem(), *mapSystem);
            bending.applyTo(projector->cutting());
        }
    }

    void begin() {
        findSystem();
        data = std::make_shared<LayerSnapshot::Data>();
        styles = {};
        position = 0;
        whole = nowhere;
        reader.reset();
        data->layerName = layer.name();
        data->layer = layer.number();
        data->revision = layer.contentRevision();
        data->look = layer.lookRevision();
        renderer = layer.symbolRenderer();
        data->layerSystem = layer.coordinateSystem();
        data->mapSystem = mapSystem;
        data->isOfView = isReadByView || raster != nullptr;
        data->view = view;
        if (projector != nullptr) {
            data->surroundings = bending.part;
            data->toleranceThere = bending.toleranceThere;
        }
        isOneStyle = renderer == nullptr || !renderer->usesFeatureAttributes();
        if (vector != nullptr && !isReadByView) {
            data->features.reserve(vector->items().size() + 1);
            ids.emplace(*vector);
        }
    }

    /// The side of a pixel in the layer's units: of the one nearest to the middle that has a place there; NaN
    /// when none has.
    double pixelInSource() const {
        if (!isElsewhere) {
            return view.unitsPerPixel();
        }
        const CoordinateSystems::CoordinateTransformer back(*mapSystem, *layer.coordinateSystem());
        const auto sideAt = [&](QPointF here) {
            try {
                const GisShapePoint a = back.transform({here.x(), here.y()});
                const GisShapePoint right = back.transform({here.x() + view.unitsPerPixel(), here.y()});
                const GisShapePoint up = back.transform({here.x(), here.y() + view.unitsPerPixel()});
                return std::min(std::hypot(right.x() - a.x(), right.y() - a.y()),
                                std::hypot(up.x() - a.x(), up.y() - a.y()));
            } catch (const std::runtime_error&) {
                return std::numeric_limits<double>::quiet_NaN();
            }
        };
        // Rings of a mesh around the middle, out to the corners.
        constexpr int rings = 10;
        const QRectF frame = view.frame();
        for (int ring = 0; ring <= rings; ++ring) {
            double least = std::numeric_limits<double>::quiet_NaN();
            for (int row = -ring; row <= ring; ++row) {
                const int step = std::abs(row) == ring ? 1 : std::max(2 * ring, 1);
                for (int column = -ring; column <= ring; column += step) {
                    const QPointF aside(column * frame.width() / (2 * rings),
                                        row * frame.height() / (2 * rings));
                    least = std::fmin(least, sideAt(view.toMap(frame.center() + aside)));
                }
            }
            if (least > 0.0) {
                return least;
            }
        }
        return std::numeric_limits<double>::quiet_NaN();
    }

    /// With a little more around it, for what bends between the places of the mesh; none, which is
    /// everything, where the mesh has no place in the source's system.
    std::optional<Shapes::GisExtent> extentInSource(const Shapes::GisExtent& extent) const {
        constexpr double around = 0.05;
        const auto mesh = Projection::meshIn(extent, *mapSystem, *layer.coordinateSystem());
        if (!mesh.isWhole) {
            return std::nullopt;
        }
        return mesh.extent.inflate(mesh.extent.width() * around, mesh.extent.height() * around);
    }

    void openReader() {
        Layers::GisFeatureRequest request;
        request.fields = fieldsToRead(layer);
        if (view.isUsable()) {
            constexpr double least = 64.0; // pixels: symbols that reach into the view
            constexpr double most = 2048.0;
            const double beyond = std::clamp(Internal::farthestReach(layer), least, most);
            const double margin = beyond * view.devicePixelRatio() * view.unitsPerPixel();
            request.extent = view.visibleExtent().inflate(margin, margin);
            if (isElsewhere) { // cut here, so asked for in the layer's own
                request.extent = extentInSource(*request.extent);
            }
            const double pixel = pixelInSource();
            if (!(pixel > 0.0)) {
                return; // nothing of the source's is in the view
            }
            request.picture = {pixel};
        }
        reader = vector->read(request);
    }

    /// One more; false when there is none.
    bool takeNext() {
        if (raster != nullptr) {
            takePicture();
            return false;
        }
        if (vector == nullptr) {
            return false;
        }
        if (isReadByView) {
            if (reader == nullptr) {
                openReader();
            }
            if (reader == nullptr || !reader->next()) {
                return false;
            }
            if (const auto shape = reader->takeShape()) {
                take(*shape, reader->featureId());
            }
            return true;
        }
        const auto& items = vector->items();
        if (position >= items.size()) {
            return false;
        }
        if (const GisShape* const shape = items[position++].get()) {
            take(*shape, ids->of(*shape));
        }
        constexpr std::size_t some = 256;
        if (position % some == 0) {
            makeRoom(data->coordinates);
            makeRoom(data->partEnds);
            makeRoom(data->boxes);
        }
        return true;
    }

    /// For as much as all items will need if the others are like those up to here: a list that doubles again
    /// and again touches three times its own memory, which takes longer than filling it.
    template <typename Value>
    void makeRoom(std::vector<Value>& list) const {
        constexpr std::size_t most = std::size_t{1}
                                     << 28; // bytes, where the first items are unlike the others
        constexpr double slack = 1.02;
        const double needed = slack * static_cast<double>(list.size()) *
                              static_cast<double>(vector->items().size()) / static_cast<double>(position);
        const std::size_t limit = std::max(most / sizeof(Value), 4 * list.size());
        if (2 * list.size() > list.capacity() && needed > static_cast<double>(list.capacity())) {
            list.reserve(static_cast<std::size_t>(std::min(needed, static_cast<double>(limit))));
        }
    }

    template <typename Value>
    static void giveBackRoom(std::vector<Value>& list) {
        if (list.capacity() / 2 > list.size()) {
            list.shrink_to_fit();
        }
    }

    void takePicture() {
        if (view.isUsable()) {
            data->extent = view.pictureExtent();
            data->picture = raster->readImage(data->extent, view.pictureFrame().size(),
                                              isElsewhere ? mapSystem.get() : nullptr);
        }
    }

    void take(const GisShape& shape, qint64 id) {
        const std::size_t firstVertex = data->coordinates.size() / 2;
        LayerSnapshot::Feature& feature = data->features.back();
        feature.id = id;
        // Where nothing is projected, at once where they belong.
        std::vector<double>& coordinates = projector == nullptr ? data->coordinates : read.coordinates;
        std::vector<qsizetype>& ends = projector == nullptr ? data->partEnds : read.ends;
        read.coordinates.clear();
        read.ends.clear();
        const auto kind = Internal::appendFlat(shape, coordinates, ends);
        if (!kind) {
            ++data->leftOut;
            return;
        }
        feature.kind = *kind;
        if (projector != nullptr && !takeProjected(feature.kind)) {
            ++data->leftOut;
            return;
        }
        noteBox(firstVertex, feature.kind);
        noteStyle(shape);
        LayerSnapshot::Feature next;
        next.firstVertex = data->coordinates.size() / 2;
        next.firstPart = data->partEnds.size();
        data->features.push_back(next);
    }

    /// What was read, in the map's system; false when nothing of it is left there.
    bool takeProjected(LayerSnapshot::Kind kind) {
        Internal::cutFlat(projector->cutting(), kind, read, cut);
        data->tolerance = std::max(data->tolerance, cut.deviation);
        data->coordinates.insert(data->coordinates.end(), cut.coordinates.cbegin(), cut.coordinates.cend());
        if (!cut.coordinates.empty()) {
            data->partEnds.insert(data->partEnds.end(), cut.ends.cbegin(), cut.ends.cend());
        }
        return !cut.coordinates.empty();
    }

    void noteBox(std::size_t firstVertex, LayerSnapshot::Kind kind) {
        const auto boxFrom = [this](std::size_t first, std::size_t end) {
            LayerSnapshot::Box box = nowhere; // which NaN does not change
            for (std::size_t i = first; i < end; ++i) {
                const double x = data->coordinates[2 * i];
                const double y = data->coordinates[2 * i + 1];
                box = {std::min(box.left, x), std::min(box.bottom, y), std::max(box.right, x),
                       std::max(box.top, y)};
            }
            return box;
        };
        const LayerSnapshot::Box box = boxFrom(firstVertex, data->coordinates.size() / 2);
        if (box.left <= box.right && box.bottom <= box.top) {
            whole = {std::min(whole.left, box.left), std::min(whole.bottom, box.bottom),
                     std::max(whole.right, box.right), std::max(whole.top, box.top)};
        }
        if (kind != LayerSnapshot::Kind::Point && data->boxes.empty()) {
            // Up to here they were points, which need none.
            for (std::size_t i = 0; i < firstVertex; ++i) {
                data->boxes.push_back(boxFrom(i, i + 1));
            }
        }
        if (kind != LayerSnapshot::Kind::Point || !data->boxes.empty()) {
            data->boxes.push_back(box);
        }
    }

    void noteStyle(const GisShape& shape) {
        const GisSymbolContext context(shape);
        if (isOneStyle && styles.styles().isEmpty()) {
            uniform = renderer == nullptr ? layer.style() : renderer->styleForFeature(context);
            isForAll = Symbology::GisFeatureSymbol::fieldsOf(uniform).isEmpty();
        }
        GisLayerStyle own;
        if (!isOneStyle || !isForAll) {
            own = Symbology::GisFeatureSymbol::resolved(
                isOneStyle ? uniform : renderer->styleForFeature(context), context, shape.shapeType());
        }
        const GisLayerStyle& style = isOneStyle && isForAll ? uniform : own;
        data->features.back().style = styles.numberOf(style);
        const std::size_t number = data->features.size() - 1;
        if (style.showLabels() && !style.labelField().isEmpty()) {
            data->labelTexts.resize(number);
            data->labelTexts.push_back(Labels::labelText(shape.attributeValue(style.labelField())));
            if (!style.labelPriorityField().isEmpty()) {
                data->labelPriorities.resize(number, std::numeric_limits<double>::quiet_NaN());
                data->labelPriorities.push_back(
                    Labels::labelPriority(shape.attributeValue(style.labelPriorityField())));
            }
        }
    }

    /// A layer is rather not drawn than with other symbols than its own.
    void checkMarkers() const {
        QStringList checked;
        for (const GisLayerStyle& style : std::as_const(data->styles)) {
            if (style.markerShape() == Layers::MarkerShape::Svg && !checked.contains(style.markerSvg())) {
                checked.append(style.markerSvg());
                const SvgMarker marker(style.markerSvg()); // or throws
            }
        }
    }

    void finish() {
        if (!data->labelTexts.empty()) {
            data->labelTexts.resize(data->features.size() - 1);
        }
        if (!data->labelPriorities.empty()) {
            data->labelPriorities.resize(data->features.size() - 1, std::numeric_limits<double>::quiet_NaN());
        }
        if (raster == nullptr && whole.left <= whole.right) {
            data->extent = {whole.left, whole.bottom, whole.right, whole.top};
        }
        data->styles = styles.styles();
        giveBackRoom(data->coordinates);
        giveBackRoom(data->partEnds);
        giveBackRoom(data->boxes);
        checkMarkers();
        made = LayerSnapshot(std::move(data));
        reader.reset();
        state = State::Done;
    }

    Layers::GisLayer& layer;
    Layers::GisLayerVector* const vector;
    Layers::GisLayerRaster* const raster;
    const bool isReadByView;
    const MapView view;
    const std::shared_ptr<CoordinateSystem> mapSystem;
    bool isElsewhere = false;                               // not in the map's system
    bool isOneStyle = true;                                 // but for what it leaves to each feature
    const Symbology::GisSymbolRenderer* renderer = nullptr; // as long as the look stays
    bool isForAll = true;                                   // the one style, which leaves nothing to them
    std::unique_ptr<Internal::ShapeProjector> projector;
    Internal::Bending bending;
    CoordinateSystems::CutParts read; // one shape of a layer that is projected
    CoordinateSystems::CutParts cut;
    std::unique_ptr<Layers::GisFeatureReader> reader;

    std::shared_ptr<LayerSnapshot::Data> data;
    Internal::StyleTable styles;
    GisLayerStyle uniform;
    static constexpr double all = std::numeric_limits<double>::infinity();
    static constexpr LayerSnapshot::Box nowhere{all, all, -all, -all};
    LayerSnapshot::Box whole = nowhere;
    std::size_t position = 0;
    std::optional<Internal::FeatureIds> ids; // where items are taken
    State state = State::Working;
    LayerSnapshot made;
    std::atomic<bool> isCancelled = false;
};

LayerSnapshotBuilder::LayerSnapshotBuilder(Layers::GisLayer& layer, const MapView& view,
                                           std::shared_ptr<CoordinateSystem> mapSystem)
    : d(std::make_unique<Private>(layer, view, std::move(mapSystem))) {}

LayerSnapshotBuilder::~LayerSnapshotBuilder() = default;

bool LayerSnapshotBuilder::step(std::chrono::milliseconds budget) {
    if (d->state != State::Working) {
        return true;
    }
    if (d->data->revision != d->layer.contentRevision() || d->data->look != d->layer.lookRevision() ||
        d->data->layerSystem != d->layer.coordinateSystem()) {
        d->begin();
    }
    const auto end = std::chrono::steady_clock::now() + budget;
    constexpr int between = 16; // shapes, from one look at the clock to the next
    const auto giveUp = [this] {
        d->state = State::Cancelled;
        d->data.reset();
        d->reader.reset();
    };
    for (int i = 1;; ++i) {
        if (d->isCancelled.load(std::memory_order_relaxed)) {
            giveUp();
            return true;
        }
        try {
            if (!d->takeNext()) {
                d->finish();
                return true;
            }
        } catch (...) {
            giveUp();
            throw;
        }
        if (i % between == 0 && std::chrono::steady_clock::now() >= end) {
            return false;
        }
    }
}

void LayerSnapshotBuilder::cancel() noexcept {
    d->isCancelled.store(true, std::memory_order_relaxed);
}

LayerSnapshotBuilder::State LayerSnapshotBuilder::state() const noexcept {
    return d->state;
}

double LayerSnapshotBuilder::progress() const noexcept {
    if (d->state != State::Working) {
        return 1.0;
    }
    const bool isKnown = d->vector != nullptr && !d->isReadByView && d->vector->count() > 0;
    return isKnown ? static_cast<double>(d->position) / d->vector->count() : 0.0;
}

LayerSnapshot LayerSnapshotBuilder::snapshot() const {
    return d->made;
}

} // namespace Cartolith::Map
