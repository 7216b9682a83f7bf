#include <Cartolith/Map/SvgMarker.h>

#include <QPainter>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#ifdef CARTOLITH_QT_SVG
#include <QSvgRenderer>
#endif

namespace Cartolith::Map {

namespace {

[[noreturn]] void refuse(const QString& why) {
    throw std::runtime_error(QStringLiteral("the SVG marker cannot be used: %1").arg(why).toStdString());
}

/// What is drawn, and what drawing programs write beside it.
bool isKnownElement(QStringView name) {
    static constexpr std::array<QLatin1String, 23> known{QLatin1String("svg"),
                                                         QLatin1String("g"),
                                                         QLatin1String("path"),
                                                         QLatin1String("rect"),
                                                         QLatin1String("circle"),
                                                         QLatin1String("ellipse"),
                                                         QLatin1String("line"),
                                                         QLatin1String("polyline"),
                                                         QLatin1String("polygon"),
                                                         QLatin1String("defs"),
                                                         QLatin1String("linearGradient"),
                                                         QLatin1String("radialGradient"),
                                                         QLatin1String("stop"),
                                                         QLatin1String("title"),
                                                         QLatin1String("desc"),
                                                         QLatin1String("metadata"),
                                                         QLatin1String("namedview"),
                                                         QLatin1String("RDF"),
                                                         QLatin1String("Work"),
                                                         QLatin1String("format"),
                                                         QLatin1String("type"),
                                                         QLatin1String("grid"),
                                                         QLatin1String("page")};
    return std::any_of(known.cbegin(), known.cend(), [name](QLatin1String one) { return name == one; });
}

/// Whatever Qt Svg would do with it: load a file, follow a circle, draw for hours.
void checkAttribute(QStringView name, const QString& value) {
    if (name == QLatin1String("id") || name == QLatin1String("class")) {
        return;
    }
    if (name == QLatin1String("href")) {
        refuse(QStringLiteral("it links to something"));
    }
    const QString text = value.toLower();
    if (name == QLatin1String("style") && text.contains(QLatin1Char('\\'))) {
        refuse(QStringLiteral("its style has escapes"));
    }
    QString dense = text.simplified().remove(QLatin1Char(' '));
    if (name == QLatin1String("stroke-dasharray")
            ? text != QLatin1String("none")
            : dense.remove(QLatin1String("dasharray:none")).contains(QLatin1String("dasharray"))) {
        refuse(QStringLiteral("it has dashes"));
    }
    static const QRegularExpression link(QStringLiteral(R"(url\s*\(\s*['"]?\s*[^#'"\s]|@import)"));
    if (text.contains(link)) {
        refuse(QStringLiteral("it links to something"));
    }
    static const QRegularExpression name_(QStringLiteral("#[\\w-]+"));
    static const QRegularExpression number(QStringLiteral(R"((\d+\.?\d*|\.\d+)(e[-+]?\d+)?)"));
    constexpr double most = 10000.0;
    auto found = number.globalMatch(QString(text).remove(name_));
    while (found.hasNext()) {
        if (!(found.next().captured().toDouble() <= most)) {
            refuse(QStringLiteral("a number is beyond %1").arg(most));
        }
    }
}

void check(const QString& text) {
    constexpr qsizetype longest = 65536;
    constexpr int mostElements = 2000;
    constexpr int deepest = 16;
    if (text.size() > longest) {
        refuse(QStringLiteral("it has more than %1 characters").arg(longest));
    }
    QXmlStreamReader reader(text);
    int elements = 0;
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::DTD:
        case QXmlStreamReader::EntityReference:
        case QXmlStreamReader::ProcessingInstruction:
            refuse(QStringLiteral("it has a document type or instructions"));
        case QXmlStreamReader::StartElement:
            if (!isKnownElement(reader.name())) {
                refuse(QStringLiteral("an element '%1' is not drawn").arg(reader.name().left(40)));
            }
            if (++elements > mostElements || ++depth > deepest) {
                refuse(QStringLiteral("it has more than %1 elements or %2 levels")
                           .arg(mostElements)
                           .arg(deepest));
            }
            for (const QXmlStreamAttribute& attribute : reader.attributes()) {
                checkAttribute(attribute.name(), attribute.value().toString());
            }
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        refuse(reader.errorString());
    }
}

} // namespace

#ifdef CARTOLITH_QT_SVG

class SvgMarker::Private {
public:
    QSvgRenderer renderer;
    double opacity = 1.0;
};

bool SvgMarker::isSupported() {
    return true;
}

SvgMarker::SvgMarker(const QString& text, QColor color) : d(std::make_unique<Private>()) {
    check(text);
    QString coloured = text;
    if (coloured.contains(QLatin1String("currentColor"))) {
        coloured.replace(QLatin1String("currentColor"), color.name());
        d->opacity = color.alphaF(); // Qt Svg reads no colour with it
    }
    const QRectF box = d->renderer.load(coloured.toUtf8()) ? d->renderer.viewBoxF() : QRectF();
    if (!(box.width() > 0.0 && box.height() > 0.0) || !std::isfinite(box.width() + box.height())) {
        refuse(QStringLiteral("it is no SVG with a size"));
    }
    d->renderer.setAspectRatioMode(Qt::KeepAspectRatio);
}

void SvgMarker::draw(QPainter& painter, const QRectF& box) const {
    const double before = painter.opacity();
    painter.setOpacity(before * d->opacity);
    d->renderer.render(&painter, box);
    painter.setOpacity(before);
}

#else

class SvgMarker::Private {};

bool SvgMarker::isSupported() {
    return false;
}

SvgMarker::SvgMarker(const QString& text, QColor /*color*/) {
    check(text);
    refuse(QStringLiteral("the library was built without Qt Svg"));
}

void SvgMarker::draw(QPainter& /*painter*/, const QRectF& /*box*/) const {}

#endif

SvgMarker::~SvgMarker() = default;

} // namespace Cartolith::Map
