#include "VectorMapLayer.h"

#include "OpenLayer.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/SmallestPixel.h>

#include <QFileInfo>

#include <limits>
#include <utility>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using namespace Cartolith::Map;

namespace {

/// Of options that want less than all features where a picture shows less; legend, classes and the greatest
/// labels need all.
MapLayerOptions withAllThatIsNeeded(MapLayerOptions options, const SymbologyOptions& symbology,
                                    const LabelOptions& labels) {
    if (options.legend || symbology.hasClasses() || labels.hasPriorities()) {
        options.overviewFor = {};
    }
    return options;
}

} // namespace

std::optional<VectorMapLayer::Overview> VectorMapLayer::overviewOf(const MapLayerOptions& options) {
    const QSize size = options.overviewFor;
    if (size.isEmpty()) {
        return std::nullopt;
    }
    const auto overviews = Layers::GisVectorOverviews::find(options.file, options.layer);
    if (!overviews) {
        return std::nullopt;
    }
    const Shapes::GisExtent& all = overviews->extent();
    const int level = overviews->levelFor(smallestPixel(*overviews, size, options.mapSystem.get()), all);
    return level < 0 ? std::nullopt
                     : std::optional(Overview{overviews->path(), overviews->levels()[level],
                                              overviews->hasCoordinateSystem(), overviews->featureCount()});
}

std::unique_ptr<Layers::GisLayerVector> VectorMapLayer::sampleOf(const MapLayerOptions& options,
                                                                 StepLog& log) {
    constexpr qint64 fewest = 16; // bytes of a feature: smaller files are not looked into
    if (options.overviewFor.isEmpty() || QFileInfo(options.file).size() / fewest < options.most ||
        Layers::GisVectorOverviews::find(options.file, options.layer)) {
        return nullptr;
    }
    Layers::GisFeatureRequest request;
    request.picture = {std::numeric_limits<double>::infinity(), options.most};
    const auto reader = Layers::GisFeatureReader::fromSource(options.file, options.layer, request);
    if (reader->detail() != Layers::GisFeatureReader::Detail::Sample) {
        return nullptr;
    }
    auto sample = Layers::GisLayerVector::createInMemory(options.layer, Shapes::GisShapeType::Null, {});
    sample->setCoordinateSystem(std::const_pointer_cast<CoordinateSystem>(reader->coordinateSystem()));
    for (const Layers::Defs::GisAttributeDefinition& field : reader->fields()) {
        sample->addAttributeDefinition(field);
    }
    std::optional<qint64> last;
    qint64 count = 0;
    while (reader->next()) {
        count += last != reader->featureId() ? 1 : 0;
        last = reader->featureId();
        sample->addShape(reader->takeShape());
    }
    log.done("read", QStringLiteral("%1: a sample").arg(shown(options.file)));
    log.done("sample", Layers::GisFeatureReader::shownText(count, reader->sourceCount()) +
                           QStringLiteral("; cartolith-map overviews makes a better picture"));
    return sample;
}

VectorMapLayer::VectorMapLayer(const MapLayerOptions& options, const SymbologyOptions& symbology,
                               const LabelOptions& labels, StepLog& log)
    : m_options(withAllThatIsNeeded(options, symbology, labels)), m_log(log),
      m_overview(overviewOf(m_options)), m_source(m_overview ? nullptr : sampleOf(m_options, log)) {
    if (m_source == nullptr) {
        auto whole = std::make_unique<Layers::GisLayerOgrVector>(m_overview ? m_overview->file : options.file,
                                                                 m_overview ? m_overview->level.tableName
                                                                            : options.layer);
        openWithProgress(*whole);
        m_log.done("read", QStringLiteral("%1: %2").arg(shown(options.file), summary(*whole)));
        m_source = std::move(whole);
    }
    if (m_overview) {
        if (!m_overview->hasCoordinateSystem) {
            m_source->setCoordinateSystem(nullptr);
        }
        m_log.done("overview", Layers::GisFeatureReader::shownText(m_overview->level.featureCount,
                                                                   m_overview->featureCount));
    }
    assumeSystem(*m_source, options.file, options.assumed);
    m_source->setSymbolRenderer(symbology.makeRenderer(*m_source));
    labels.applyTo(*m_source->symbolRenderer(), *m_source);
    const Symbology::GisSymbolRenderer& renderer = *m_source->symbolRenderer();
    symbology.save(renderer);
    m_casing = symbology.casing(renderer);
    m_log.done("classify", QStringLiteral("%1 styles").arg(renderer.legendItems().size()) +
                               ClassStyles::nearestColours(renderer));
}

std::shared_ptr<CoordinateSystem> VectorMapLayer::system() const {
    return m_source->coordinateSystem();
}

MapScene::Entry VectorMapLayer::entry() {
    MapScene::Entry entry;
    entry.layer = m_source;
    entry.casing = m_casing;
    return entry;
}

MapScene::Entry VectorMapLayer::entryToSave() {
    auto layer = std::make_shared<Layers::GisLayerOgrVector>(m_options.file, m_options.layer);
    layer->style() = m_source->style();
    layer->setSymbolRenderer(m_source->symbolRenderer()->clone());
    layer->setCoordinateSystem(m_source->coordinateSystem());
    MapScene::Entry saved = entry();
    saved.layer = std::move(layer);
    return saved;
}

void VectorMapLayer::setMapSystem(std::shared_ptr<CoordinateSystem> system) {
    m_mapSystem = std::move(system);
}

Layers::GisLayerVector& VectorMapLayer::layerOnMap() {
    if (m_projected == nullptr && m_mapSystem != nullptr && !Projection::isIn(*m_source, *m_mapSystem)) {
        m_projected = Projection::project(*m_source, m_mapSystem).layer;
    }
    return m_projected != nullptr ? *m_projected : *m_source;
}

std::optional<LegendContent> VectorMapLayer::legend() {
    if (!m_options.legend) {
        return std::nullopt;
    }
    LegendContent content = LegendContent::of(*m_source, m_options.legendTitle);
    content.casing = m_casing;
    return content;
}

void VectorMapLayer::report(const LayerSnapshot& snapshot, const MapView& view) {
    if (m_mapSystem != nullptr && !Projection::isIn(*m_source, *m_mapSystem)) {
        m_log.done("reproject",
                   QStringLiteral("%1 shapes from %2 to %3, %4 left out")
                       .arg(QString::number(snapshot.count()), m_source->coordinateSystem()->name(),
                            m_mapSystem->name(), QString::number(snapshot.leftOutCount())));
    }
    const Shapes::GisExtent visible = view.visibleExtent();
    qsizetype count = 0;
    for (qsizetype i = 0; i < snapshot.count(); ++i) {
        count += snapshot.meets(i, visible) ? 1 : 0;
    }
    m_log.done("query", QStringLiteral("%1 shapes in the visible extent %2, %3 different styles")
                            .arg(QString::number(count), visible.toString(),
                                 QString::number(snapshot.styles().size())));
}

const Shapes::GisShape* VectorMapLayer::shapeAt(const Shapes::GisShapePoint& place, double tolerance) {
    // Not findShapeAt(), for which a hole is inside: a country would hide the one that it encloses.
    const Topology::GisTopology topology;
    const Shapes::GisShape* found = nullptr;
    bool isFoundArea = true;
    double least = std::numeric_limits<double>::infinity();
    const auto candidates = layerOnMap().query(place.extent().inflate(tolerance, tolerance));
    for (const Shapes::GisShape* shape : candidates) {
        const double distance = topology.Distance(place, *shape);
        const bool isArea = shape->shapeType() == Shapes::GisShapeType::Polygon;
        if (!(distance <= tolerance)) {
            continue;
        }
        const bool isNearer =
            distance < least || (distance == least && found != nullptr && shape->id() > found->id());
        if (isArea == isFoundArea ? isNearer : isFoundArea) {
            found = shape;
            isFoundArea = isArea;
            least = distance;
        }
    }
    return found;
}

QString VectorMapLayer::describeAt(const Shapes::GisShapePoint& place, double tolerance) {
    const Shapes::GisShape* const found = shapeAt(place, tolerance);
    if (found == nullptr) {
        return {};
    }
    QStringList values;
    for (const Layers::Defs::GisAttributeDefinition& field : m_source->attributeDefinitions()) {
        const QVariant value = found->attributeValue(field.name());
        if (value.isValid()) {
            values.append(QStringLiteral("%1=%2").arg(field.name(), value.toString()));
        }
    }
    return values.isEmpty() ? QStringLiteral("no attributes") : values.join(QStringLiteral(", "));
}
