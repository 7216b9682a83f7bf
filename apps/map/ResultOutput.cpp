#include "ResultOutput.h"

#include "Arguments.h"
#include "MarkedPicture.h"
#include "OpenLayer.h"
#include "ProgressBar.h"
#include "StepLog.h"

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/GisVectorSaveOptions.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Map/Output/OutputFile.h>

#include <QCommandLineParser>
#include <QFileInfo>
#include <QImageWriter>

#include <utility>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;
using Layers::GisLayerVector;
using Layers::GisVectorSaveOptions;
using namespace Cartolith::Map;

namespace {

struct Look {
    const char* fill;
    int opacity;
    const char* line;
    float width;
};

MapSheet::Content contentOf(GisLayerVector& layer, const MapView& view, const Look& look) {
    layer.setSymbolRenderer(nullptr);
    GisLayerStyle& style = layer.style();
    style.setFillColor(QLatin1String(look.fill));
    style.setFillOpacity(look.opacity);
    style.setLineColor(QLatin1String(look.line));
    style.setLineWidth(look.width);
    style.setPointColor(QLatin1String(look.line));
    const QList<Shapes::GisShape*> shapes = MapPainter::visibleShapes(layer, view);
    return {shapes, MapPainter::stylesFor(layer, shapes)};
}

} // namespace

void ResultOutput::addTo(QCommandLineParser& parser) {
    parser.addOptions({{{"o", "output"}, "", "file"},
                       {"size", "", "WxH"},
                       {"title", "", "text"},
                       {"note", "", "text"},
                       {"no-graticule", ""},
                       {"quiet", ""}});
}

QString ResultOutput::help() {
    return QStringLiteral(
        R"(  -o, --output OUT          what to write; its ending tells the format: a data source (.gpkg, .geojson, .shp,
                            .fgb, ...) or a picture (.png, .jpg, .bmp)
  --quiet                   do not say what was done
Picture
  --size WxH                pixels, 1600x900 when not given
  --title TEXT              a title above the map
  --note TEXT               a line below the map, such as the source
  --no-graticule            no lines of longitude and latitude
)");
}

ResultOutput::ResultOutput(const QString& command, const QCommandLineParser& parser)
    : m_path(parser.value("output")), m_isPicture(QImageWriter::supportedImageFormats().contains(
                                          QFileInfo(m_path).suffix().toLower().toLatin1())) {
    if (m_path.isEmpty()) {
        throw UsageError(QStringLiteral("%1 wants -o OUT").arg(command));
    }
    if (!m_isPicture && (!GisLayerVector::canSaveAs(m_path) || isConnection(m_path))) {
        throw UsageError(QStringLiteral("no format is known for '%1'").arg(shown(m_path)));
    }
    Arguments::requireUnread(m_path, parser.positionalArguments());
    if (parser.isSet("size")) {
        m_sheet.size = Arguments::size(parser.value("size"));
    }
    m_sheet.title = parser.value("title");
    m_sheet.note = parser.value("note");
    m_sheet.graticule = !parser.isSet("no-graticule");
    Output::OutputFile::requireWritable(m_path);
}

void ResultOutput::write(GisLayerVector& result, const Layers& below, const Layers& above,
                         StepLog& log) const {
    if (result.count() == 0 && !m_isPicture) {
        throw std::runtime_error("there is nothing to write: the result has no feature");
    }
    if (m_isPicture) {
        draw(result, below, above, log);
    } else {
        ProgressBar bar(QStringLiteral("Writing"));
        GisVectorSaveOptions options;
        options.existing = GisVectorSaveOptions::Existing::Replace;
        options.progress = [&bar](double fraction) {
            bar.show(fraction);
            return true;
        };
        result.saveAs(m_path, options);
    }
    log.done("write", QStringLiteral("%1, %2 bytes").arg(m_path).arg(QFileInfo(m_path).size()));
}

void ResultOutput::draw(GisLayerVector& result, const Layers& below, const Layers& above,
                        StepLog& log) const {
    Shapes::GisExtent extent = result.extent();
    for (const GisLayerVector* input : below + above) {
        extent = extent.expand(input->extent());
    }
    if (extent.isEmpty()) {
        throw std::runtime_error("there is nothing to draw");
    }
    const MapSheet sheet(m_sheet, extent, result.coordinateSystem());
    if (!sheet.view().isUsable()) {
        throw std::runtime_error(
            QStringLiteral("the extent %1 cannot be drawn").arg(extent.toString()).toStdString());
    }
    QList<MapSheet::Content> layers;
    for (GisLayerVector* input : below) {
        layers.append(contentOf(*input, sheet.view(), {"#F4F1EA", 150, "#A9A294", 0.8F}));
    }
    layers.append(contentOf(result, sheet.view(), {"#D9822B", 170, "#8A4B08", 1.0F}));
    for (GisLayerVector* input : above) {
        layers.append(contentOf(*input, sheet.view(), {"#F4F1EA", 150, "#8C857A", 0.8F}));
    }
    const QImage image = sheet.draw(layers);
    log.done("draw", QStringLiteral("%1 x %2 pixels").arg(image.width()).arg(image.height()));
    MarkedPicture::save(image, m_path);
}
