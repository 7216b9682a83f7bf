#include "RasterMapLayer.h"

#include "OpenLayer.h"
#include "ProgressBar.h"
#include "StepLog.h"

#include <Cartolith/Map/Projection.h>

#include <QScopeGuard>

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
    : m_options(options), m_look(look), m_log(log), m_layer(options.file) {
    m_layer.open();
    m_log.done("read", QStringLiteral("%1: %2").arg(options.file, summary(m_layer)));
    assumeSystem(m_layer, options.file, options.assumed);
    m_look.applyTo(m_layer);
    if (const qsizetype count = m_layer.rasterStyle().classes().size(); count > 0) {
        m_log.done("classify", QStringLiteral("%1 classes").arg(count));
    }
}

std::shared_ptr<CoordinateSystem> RasterMapLayer::system() const {
    return m_layer.coordinateSystem();
}

void RasterMapLayer::setMapSystem(std::shared_ptr<CoordinateSystem> system) {
    if (system != nullptr && !Projection::isIn(m_layer, *system)) {
        (void)m_layer.extentIn(*system); // fails here if at all
        m_mapSystem = std::move(system);
    }
}

Shapes::GisExtent RasterMapLayer::extent() const {
    return m_mapSystem != nullptr ? m_layer.extentIn(*m_mapSystem) : m_layer.extent();
}

std::optional<LegendContent> RasterMapLayer::legend() {
    return m_options.legend ? std::optional(m_look.legend(m_layer, m_options.legendTitle)) : std::nullopt;
}

MapSheet::Content RasterMapLayer::content(const MapView& view) {
    ProgressBar bar(QStringLiteral("Reading"));
    m_layer.setProgressCallback([&bar](double fraction) {
        bar.show(fraction);
        return true;
    });
    const auto withoutBar = qScopeGuard([this] { m_layer.setProgressCallback({}); });
    const QSize size = view.pictureFrame().size();
    MapSheet::Content content;
    content.picture = m_layer.readImage(view.pictureExtent(), size, m_mapSystem.get());
    m_log.done("pixels", QStringLiteral("%1 x %2 of '%3' in the visible extent %4")
                             .arg(QString::number(size.width()), QString::number(size.height()),
                                  m_layer.name(), view.visibleExtent().toString()));
    return content;
}

QString RasterMapLayer::describeAt(const Shapes::GisShapePoint& place, double /*tolerance*/) {
    const QList<double> values = m_layer.valuesAt(place, m_mapSystem.get());
    QStringList texts;
    for (qsizetype i = 0; i < values.size(); ++i) {
        if (!std::isnan(values.at(i))) {
            const Layers::Defs::GisRasterBand& band = m_layer.bands().at(i);
            texts.append(QStringLiteral("%1=%2").arg(band.name, numberText(values.at(i), band.typeName)));
        }
    }
    return texts.isEmpty() ? QString() : texts.join(QStringLiteral(", "));
}
