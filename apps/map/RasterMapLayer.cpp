#include "RasterMapLayer.h"

#include "OpenLayer.h"
#include "ProgressBar.h"
#include "StepLog.h"

#include <Cartolith/Map/Projection.h>

#include <charconv>
#include <cmath>
#include <iterator>
#include <utility>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using namespace Cartolith::Map;

namespace {

/// The shortest text that is this number and no other of the band's type.
QString numberText(double value, const QString& typeName) {
    char text[32];
    const auto end = typeName == QLatin1String("Float32")
                         ? std::to_chars(std::begin(text), std::end(text), static_cast<float>(value))
                         : std::to_chars(std::begin(text), std::end(text), value);
    return QString::fromLatin1(text, end.ptr - text);
}

} // namespace

RasterMapLayer::RasterMapLayer(const MapLayerOptions& options, const RasterOptions& look, StepLog& log)
    : m_options(options), m_look(look), m_log(log),
      m_layer(std::make_shared<Layers::GisLayerGdalRaster>(options.file)) {
    m_layer->open();
    m_log.done("read", QStringLiteral("%1: %2").arg(options.file, summary(*m_layer)));
    assumeSystem(*m_layer, options.file, options.assumed);
    m_look.applyTo(*m_layer);
    if (const qsizetype count = m_layer->rasterStyle().classes().size(); count > 0) {
        m_log.done("classify", QStringLiteral("%1 classes").arg(count));
    }
}

std::shared_ptr<CoordinateSystem> RasterMapLayer::system() const {
    return m_layer->coordinateSystem();
}

void RasterMapLayer::setMapSystem(std::shared_ptr<CoordinateSystem> system) {
    if (system != nullptr && !Projection::isIn(*m_layer, *system)) {
        (void)m_layer->extentIn(*system); // fails here if at all
        m_mapSystem = std::move(system);
    }
}

MapScene::Entry RasterMapLayer::entry() {
    MapScene::Entry entry;
    entry.layer = m_layer;
    return entry;
}

std::optional<LegendContent> RasterMapLayer::legend() {
    return m_options.legend ? std::optional(m_look.legend(*m_layer, m_options.legendTitle)) : std::nullopt;
}

void RasterMapLayer::beginReading() {
    m_layer->setProgressCallback(
        [bar = std::make_shared<ProgressBar>(QStringLiteral("Reading"))](double fraction) {
            bar->show(fraction);
            return true;
        });
}

void RasterMapLayer::endReading() {
    m_layer->setProgressCallback({});
}

void RasterMapLayer::report(const LayerSnapshot& snapshot, const MapView& view) {
    m_log.done("pixels", QStringLiteral("%1 x %2 of '%3' in the visible extent %4")
                             .arg(QString::number(snapshot.picture().width()),
                                  QString::number(snapshot.picture().height()), m_layer->name(),
                                  view.visibleExtent().toString()));
}

QString RasterMapLayer::describeAt(const Shapes::GisShapePoint& place, double /*tolerance*/) {
    const QList<double> values = m_layer->valuesAt(place, m_mapSystem.get());
    QStringList texts;
    for (qsizetype i = 0; i < values.size(); ++i) {
        if (!std::isnan(values.at(i))) {
            const Layers::Defs::GisRasterBand& band = m_layer->bands().at(i);
            texts.append(QStringLiteral("%1=%2").arg(band.name, numberText(values.at(i), band.typeName)));
        }
    }
    return texts.isEmpty() ? QString() : texts.join(QStringLiteral(", "));
}
