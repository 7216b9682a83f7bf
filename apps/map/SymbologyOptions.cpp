#include "SymbologyOptions.h"

#include "Arguments.h"
#include "ClassificationOptions.h"
#include "RendererFile.h"

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisReadableColors.h>
#include <Cartolith/Map/RendererFields.h>

#include <QCommandLineParser>

#include <algorithm>
#include <stdexcept>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;
using Layers::GisLayerVector;
using Shapes::GisShapeType;
using namespace Cartolith::Map;

namespace {

const char* const symbologyHelp =
    R"(  --fill COLOUR             area colour: #RRGGBB, #AARRGGBB with opacity, a name such as red, or none
  --line COLOUR             line and outline colour
  --point COLOUR            point colour
  --width PIXELS            line width
%4  --theme NAME              paper, text, styles and ramp of a theme:%1
Classes of numbers
  --field FIELD             colour by this numeric field; features without a value are hollow, or in --fill
  --method METHOD           how classes are found, NaturalBreaks when not given:%2
  --classes N               so many of them, 5 when not given; not for methods that find the number themselves
  --interval X              class width of DefinedInterval; share of the standard deviation of the methods named
                            after it, 1 when not given
  --breaks A,B,C            the bounds of the classes; the method is Manual then
Categories
  --categories FIELD        a colour for each value of this field
Rules and saved styles
  --rules FILE              an ordered list of rules, the first that a feature meets counts (JSON)
  --style FILE              any renderer saved with --save-style
  --save-style FILE         save what the map is drawn with
Colours of classes and categories
  --ramp NAME               %3;
                            when not given, the theme's or Viridis for classes, and distinct colours for
                            categories: those of Unique, or, beyond ten and with a theme, chosen for the background
  --ramp-mode MODE          continuous (from end to end of the ramp) or discrete (from the middle of equal parts)
  --reversed                the ramp the other way round
)";

bool isThin(const GisLayerVector& layer) {
    return layer.shapeType() == GisShapeType::Point || layer.shapeType() == GisShapeType::Polyline;
}

/// The part of the ramp that stands out from the theme's background, when it has room for so many classes.
/// Otherwise the whole of it: lines have a casing then, and points an outline.
GisColorRamp readable(const GisColorRamp& ramp, const GisSymbolTheme& theme, int classes) {
    constexpr double tellable = 5.0;
    const GisColorRamp part = GisReadableColors::partOf(ramp, theme.backgroundColor);
    const QList<QString> colours = part.colors(classes);
    return !colours.isEmpty() && GisColorPerception::leastDifference(colours) >= tellable ? part : ramp;
}

/// A file made for other data would silently draw everything alike.
void requireField(const GisLayerVector& layer, const QString& field) {
    const bool known = layer.getAttributeDefinition(field) != nullptr ||
                       std::any_of(layer.items().cbegin(), layer.items().cend(), [&field](const auto& shape) {
                           return shape->attributeSlot().copyOfTable().contains(field);
                       });
    if (!known) {
        throw std::runtime_error(QStringLiteral("the layer has no field '%1', which the style file names")
                                     .arg(field)
                                     .toStdString());
    }
}

} // namespace

void SymbologyOptions::addTo(QCommandLineParser& parser) {
    SymbolOptions::addTo(parser);
    parser.addOptions({{"fill", "", "colour"},
                       {"line", "", "colour"},
                       {"point", "", "colour"},
                       {"width", "", "pixels"},
                       {"theme", "", "name"},
                       {"field", "", "field"},
                       {"method", "", "method"},
                       {"classes", "", "count"},
                       {"interval", "", "width"},
                       {"breaks", "", "bounds"},
                       {"categories", "", "field"},
                       {"rules", "", "file"},
                       {"style", "", "file"},
                       {"save-style", "", "file"},
                       {"ramp", "", "name"},
                       {"ramp-mode", "", "mode"},
                       {"reversed", ""}});
}

QString SymbologyOptions::help() {
    return QString::fromUtf8(symbologyHelp)
        .arg(ClassificationOptions::wrapped(GisDefaultSymbolStyles::names()),
             ClassificationOptions::wrapped(ClassificationOptions::methodNames()),
             GisColorRampRegistry::names().join(QStringLiteral(", ")), QLatin1String(SymbolOptions::help()));
}

SymbologyOptions::SymbologyOptions(const QCommandLineParser& parser) {
    QStringList sources;
    for (const char* option : {"field", "categories", "rules", "style"}) {
        if (parser.isSet(option)) {
            sources.append(QStringLiteral("--%1").arg(QLatin1String(option)));
        }
    }
    if (sources.size() > 1) {
        throw UsageError(QStringLiteral("%1 exclude each other").arg(sources.join(QStringLiteral(" and "))));
    }
    readColours(parser);
    readClassification(parser);
    readFile(parser);
}

void SymbologyOptions::readFile(const QCommandLineParser& parser) {
    m_saveTo = parser.value("save-style");
    const QString option = parser.isSet("rules") ? QStringLiteral("rules") : QStringLiteral("style");
    if (!parser.isSet(option)) {
        return;
    }
    Arguments::refuse(parser, QStringList{"fill", "line", "point", "width"} + SymbolOptions::names(),
                      QStringLiteral("does not go with --%1: the file says how features look").arg(option));
    m_fromFile = RendererFile::read(parser.value(option));
    if (option == QLatin1String("rules") && m_fromFile->type() != GisSymbolRendererType::RuleBased) {
        throw std::runtime_error(QStringLiteral("'%1' holds a renderer, but no rules; --style draws with it")
                                     .arg(parser.value(option))
                                     .toStdString());
    }
}

std::optional<GisSymbolTheme> SymbologyOptions::theme(const QCommandLineParser& parser) {
    if (!parser.isSet("theme")) {
        return std::nullopt;
    }
    GisSymbolTheme theme;
    if (!GisDefaultSymbolStyles::tryGetTheme(parser.value("theme"), theme)) {
        Arguments::unknown(QStringLiteral("theme"), parser.value("theme"), GisDefaultSymbolStyles::names());
    }
    return theme;
}

void SymbologyOptions::readColours(const QCommandLineParser& parser) {
    m_theme = theme(parser);
    if (m_theme) {
        m_colours = SheetColours(*m_theme);
    }
    const auto colour = [&parser](const char* option) {
        return parser.isSet(option) ? std::optional(Arguments::colour(option, parser.value(option)))
                                    : std::nullopt;
    };
    m_given.hollow = parser.value("fill") == QLatin1String("none");
    if (!m_given.hollow) {
        m_given.fill = colour("fill");
    }
    m_given.line = colour("line");
    m_given.point = colour("point");
    m_symbols = SymbolOptions(parser);
    if (parser.isSet("width")) {
        m_given.width = static_cast<float>(Arguments::number("width", parser.value("width"), 0.0, 100.0));
    }
}

void SymbologyOptions::readClassification(const QCommandLineParser& parser) {
    for (const char* option : {"field", "categories"}) {
        if (parser.isSet(option) && parser.value(option).isEmpty()) {
            throw UsageError(QStringLiteral("--%1 wants the name of a field").arg(QLatin1String(option)));
        }
    }
    m_field = parser.value("field");
    m_categories = parser.value("categories");
    if (!parser.isSet("field")) {
        Arguments::refuse(parser, {"method", "classes", "interval", "breaks"}, "goes with --field");
    }
    if (!parser.isSet("field") && !parser.isSet("categories")) {
        Arguments::refuse(parser, {"ramp", "ramp-mode", "reversed"}, "goes with --field or --categories");
    }

    const bool isQualitative = parser.isSet("categories");
    const GisColorRamp ramp = m_theme && !isQualitative
                                  ? m_theme->ramp
                                  : GisColorRampRegistry::ramp(isQualitative ? "Unique" : "Viridis");
    m_hasRamp = parser.isSet("ramp");
    m_settings = ClassificationOptions::settings(parser, QStringLiteral("NaturalBreaks"), ramp);
}

GisLayerStyle SymbologyOptions::baseStyle(const GisLayerVector& layer) const {
    GisLayerStyle style;
    if (m_theme) {
        switch (layer.shapeType()) {
        case GisShapeType::Point:
            style = m_theme->pointStyle;
            break;
        case GisShapeType::Polyline:
            style = m_theme->lineStyle;
            break;
        default:
            style = m_theme->areaStyle;
            break;
        }
    }
    m_given.applyTo(style);
    m_symbols.applyTo(style, layer);
    return style;
}

std::unique_ptr<GisSymbolRenderer> SymbologyOptions::graduated(const GisLayerVector& layer) const {
    QList<QVariant> column;
    for (const auto& shape : layer.items()) {
        column.append(shape->attributeValue(m_field));
    }
    const QList<double> values = GisClassificationEngine::numericValues(column);
    const QString what = QStringLiteral("field '%1'").arg(m_field);
    ClassificationOptions::requireFewClasses(m_settings, values, what);
    GisClassificationSettings settings = m_settings;
    if (m_theme && isThin(layer)) {
        settings.ramp =
            m_hasRamp ? readable(settings.ramp, *m_theme, settings.classCount) : m_theme->lineRamp;
    }
    auto renderer = GisSymbolRendererFactory::graduated(layer, m_field, settings);
    ClassificationOptions::sayWhenFewer(m_settings, renderer->ranges().size(), values, what);
    ClassStyles(m_given, m_colours, layer.shapeType()).applyTo(*renderer);
    return renderer;
}

QList<QString> SymbologyOptions::categoryColours(qsizetype count, bool isThin) const {
    // Between the ramp's distinct colours lie indistinct ones, and on a theme they may not be seen.
    constexpr double areaContrast = 1.3;
    QList<QString> colours;
    if (!m_theme && count <= m_settings.ramp.stops().size()) {
        for (const GisColorRampStop& stop : m_settings.ramp.stops().first(count)) {
            colours.append(stop.color);
        }
    } else {
        colours = GisReadableColors::categories(static_cast<int>(count), m_colours.sea.name(),
                                                isThin ? GisReadableColors::lineContrast : areaContrast);
    }
    if (m_settings.reversed) {
        std::reverse(colours.begin(), colours.end());
    }
    return colours;
}

LineCasing SymbologyOptions::casing(const GisSymbolRenderer& renderer) const {
    if (renderer.type() == GisSymbolRendererType::Simple) {
        return {}; // what somebody asked for
    }
    LineCasing casing{m_colours.faintInk, {}};
    bool anyFaint = false;
    const QList<GisSymbolLegendItem> items = renderer.legendItems();
    for (const GisSymbolLegendItem& item : items) {
        if (item.enabled && !item.isDefault) {
            const QString colour = item.style.lineColor();
            casing.lines.append(colour);
            anyFaint = anyFaint || m_colours.contrast(QColor(colour)) < GisReadableColors::lineContrast;
        }
    }
    return anyFaint ? casing : LineCasing();
}

std::unique_ptr<GisSymbolRenderer> SymbologyOptions::categorized(const GisLayerVector& layer) const {
    auto renderer = GisSymbolRendererFactory::categorized(layer, m_categories, m_settings.ramp,
                                                          m_settings.mode, m_settings.reversed);
    if (m_settings.ramp.name() == QLatin1String("Unique") &&
        m_settings.mode == GisColorRampMode::Continuous) {
        const QList<QString> colours = categoryColours(renderer->classes().size(), isThin(layer));
        QList<GisCategorizedSymbolClass> classes = renderer->classes();
        renderer->clearClasses();
        for (qsizetype i = 0; i < classes.size(); ++i) {
            classes[i].style = GisClassificationEngine::styleWithColor(layer.style(), colours.at(i));
            renderer->addClass(classes.at(i));
        }
    }
    ClassStyles(m_given, m_colours, layer.shapeType()).applyTo(*renderer);
    return renderer;
}

bool SymbologyOptions::hasClasses() const {
    return !m_field.isEmpty() || !m_categories.isEmpty() || m_symbols.hasSizes() ||
           (m_fromFile != nullptr && m_fromFile->usesFeatureAttributes());
}

std::unique_ptr<GisSymbolRenderer> SymbologyOptions::makeRenderer(GisLayerVector& layer) const {
    layer.style() = baseStyle(layer);
    if (m_fromFile != nullptr) {
        QStringList fields = fieldsOf(*m_fromFile);
        for (const GisSymbolLegendItem& item : m_fromFile->legendItems()) {
            fields += GisFeatureSymbol::fieldsOf(item.style);
        }
        for (const QString& field : fields) {
            requireField(layer, field);
        }
        return m_fromFile->clone();
    }
    if (!m_field.isEmpty()) {
        return graduated(layer);
    }
    return m_categories.isEmpty() ? GisSymbolRendererFactory::simple(layer) : categorized(layer);
}

void SymbologyOptions::save(const GisSymbolRenderer& renderer) const {
    if (!m_saveTo.isEmpty()) {
        RendererFile::save(renderer, m_saveTo);
    }
}
