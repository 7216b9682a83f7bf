#include <Cartolith/Map/Output/DeviceInternal.h>
#include <Cartolith/Map/Output/PictureFile.h>
#include <Cartolith/Map/Output/SvgSyntaxInternal.h>
#include <Cartolith/Map/Output/SvgWriter.h>

#include <QImage>
#include <QPainterPath>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace Cartolith::Map::Output {

namespace SvgSyntax = Internal::SvgSyntax;
using Raster::Stroke;

namespace {

struct BlendMode {
    QPainter::CompositionMode mode;
    const char* name;
};

constexpr std::array<BlendMode, 11> blendModes{{{QPainter::CompositionMode_Multiply, "multiply"},
                                                {QPainter::CompositionMode_Screen, "screen"},
                                                {QPainter::CompositionMode_Overlay, "overlay"},
                                                {QPainter::CompositionMode_Darken, "darken"},
                                                {QPainter::CompositionMode_Lighten, "lighten"},
                                                {QPainter::CompositionMode_ColorDodge, "color-dodge"},
                                                {QPainter::CompositionMode_ColorBurn, "color-burn"},
                                                {QPainter::CompositionMode_HardLight, "hard-light"},
                                                {QPainter::CompositionMode_SoftLight, "soft-light"},
                                                {QPainter::CompositionMode_Difference, "difference"},
                                                {QPainter::CompositionMode_Exclusion, "exclusion"}}};

bool isDrawn(const Stroke& stroke) {
    return stroke.width > 0 && stroke.color.isValid() && stroke.color.alpha() > 0;
}

/// Numbers beyond would need more digits than a reader takes.
bool isCoordinate(double value) {
    constexpr double farthest = 1e12;
    return std::abs(value) <= farthest;
}

bool isPlace(QPointF place) {
    return isCoordinate(place.x()) && isCoordinate(place.y());
}

double lengthOf(double dash) {
    return dash > 0 && std::isfinite(dash) ? dash : 0.0;
}

} // namespace

class SvgWriter::Private {
public:
    Private(QIODevice& output, int decimals) : device(output), m_decimals(std::clamp(decimals, 0, 6)) {
        m_scale = std::pow(10.0, m_decimals);
    }

    void flush(qsizetype from) {
        if (isFinished) {
            text.clear();
        } else if (text.size() >= from) {
            Internal::writeAll(device, text);
            text.resize(0);
        }
    }
    void endElement(QByteArrayView tail) {
        text.append(tail);
        flush(bufferSize);
    }
    void attribute(const char* name, double value) {
        text.append(' ').append(name).append("=\"");
        SvgSyntax::appendNumber(text, value);
        text.append('"');
    }
    void attribute(const char* name, const QString& value) {
        text.append(' ').append(name).append("=\"");
        SvgSyntax::appendEscaped(text, value);
        text.append('"');
    }
    void stroke(const Stroke& style, double width, const QColor& color);
    /// Nothing and false when no part is left.
    bool path(std::span<const double> parts, std::span<const qsizetype> ends, bool areClosed);
    void outlined(std::span<const double> parts, std::span<const qsizetype> ends, bool areClosed,
                  const QColor& fill, const Stroke& style, Qt::FillRule rule = Qt::OddEvenFill);
    void frame(const QRectF& frame) {
        attribute("x", frame.x());
        attribute("y", frame.y());
        attribute("width", frame.width());
        attribute("height", frame.height());
    }

    void place(QPointF at, double rotation) {
        if (rotation == 0) {
            attribute("x", at.x());
            attribute("y", at.y());
            return;
        }
        text.append(" transform=\"translate(");
        SvgSyntax::appendNumber(text, at.x());
        text.append(' ');
        SvgSyntax::appendNumber(text, at.y());
        text.append(")rotate(");
        SvgSyntax::appendNumber(text, rotation);
        text.append(")\"");
    }
    void font(const SvgText& style) {
        QString family = style.family;
        family.remove(u'\'').remove(u'\\'); // would end the quoted name
        if (!family.isEmpty()) {
            attribute("font-family", QStringLiteral("'%1'").arg(family));
        }
        attribute("font-size", style.size);
        text.append(style.isBold ? " font-weight=\"bold\"" : "");
        text.append(style.isItalic ? " font-style=\"italic\"" : "");
    }
    void length(double ofText) {
        if (ofText > 0) {
            attribute("textLength", ofText);
            text.append(" lengthAdjust=\"spacingAndGlyphs\"");
        }
    }

    static constexpr qsizetype bufferSize = qsizetype{1} << 16U;

    QIODevice& device;
    QByteArray text;
    void begin(const QString& layer, const char* closing = "</g>\n") { open.append({layer, closing}); }
    void begin() { begin(QString()); }

    struct Open {
        QString layer; ///< its id; empty for what is no layer
        const char* closing;
    };
    QList<Open> open;
    QSet<QString> ids;
    int symbols = 0;
    int clips = 0;
    int halos = 0;
    bool isFinished = false;

private:
    bool part(std::span<const double> coordinates, bool isClosed, bool isFirst);

    int m_decimals;
    double m_scale;
};

void SvgWriter::Private::stroke(const Stroke& style, double width, const QColor& color) {
    SvgSyntax::appendColor(text, "stroke", color);
    attribute("stroke-width", width);
    if (style.cap == Raster::LineCap::Round) {
        text.append(" stroke-linecap=\"round\"");
    } else if (style.cap == Raster::LineCap::Square) {
        text.append(" stroke-linecap=\"square\"");
    }
    if (style.join == Raster::LineJoin::Round) {
        text.append(" stroke-linejoin=\"round\"");
    } else if (style.join == Raster::LineJoin::Bevel) {
        text.append(" stroke-linejoin=\"bevel\"");
    } else {
        attribute("stroke-miterlimit", std::max(1.0, style.mitreLimit));
    }
    double sum = 0;
    for (const double dash : style.dashes) {
        sum += lengthOf(dash);
    }
    if (sum < 1e-3) {
        return;
    }
    text.append(" stroke-dasharray=\"");
    for (qsizetype i = 0; i < style.dashes.size(); ++i) {
        text.append(i > 0 ? " " : "");
        SvgSyntax::appendNumber(text, lengthOf(style.dashes[i]));
    }
    text.append('"');
    if (style.dashOffset != 0) {
        attribute("stroke-dashoffset", style.dashOffset);
    }
}

bool SvgWriter::Private::part(std::span<const double> coordinates, bool isClosed, bool isFirst) {
    for (const double value : coordinates) {
        if (!isCoordinate(value)) {
            return false;
        }
    }
    if (coordinates.size() < 2) {
        return false;
    }
    const auto scaled = [this](double value) { return std::llround(value * m_scale); };
    qint64 x = scaled(coordinates[0]);
    qint64 y = scaled(coordinates[1]);
    if (isFirst) {
        text.append("<path d=\"");
    }
    text.append('M');
    SvgSyntax::appendScaled(text, x, m_decimals);
    text.append(y < 0 ? "" : " ");
    SvgSyntax::appendScaled(text, y, m_decimals);
    bool isDot = true;
    const auto lineBy = [&](qint64 dx, qint64 dy) {
        text.append(isDot ? "l" : dx < 0 ? "" : " ");
        SvgSyntax::appendScaled(text, dx, m_decimals);
        text.append(dy < 0 ? "" : " ");
        SvgSyntax::appendScaled(text, dy, m_decimals);
        isDot = false;
        flush(bufferSize);
    };
    const std::size_t count = coordinates.size() / 2;
    const bool repeatsFirst = isClosed && count > 1 && coordinates[0] == coordinates[count * 2 - 2] &&
                              coordinates[1] == coordinates[count * 2 - 1];
    for (std::size_t i = 1; i < count - (repeatsFirst ? 1 : 0); ++i) {
        const qint64 nextX = scaled(coordinates[i * 2]);
        const qint64 nextY = scaled(coordinates[i * 2 + 1]);
        if (nextX != x || nextY != y) {
            lineBy(nextX - x, nextY - y);
        }
        x = nextX;
        y = nextY;
    }
    if (isDot) {
        lineBy(0, 0); // a round cap is seen
    }
    if (isClosed) {
        text.append('z');
    }
    return true;
}

bool SvgWriter::Private::path(std::span<const double> parts, std::span<const qsizetype> ends,
                              bool areClosed) {
    if (!std::is_sorted(ends.begin(), ends.end()) ||
        (!ends.empty() && (ends.front() < 0 || static_cast<std::size_t>(ends.back()) * 2 > parts.size()))) {
        throw std::invalid_argument("the ends of the parts do not fit their coordinates");
    }
    bool isAny = false;
    qsizetype begin = 0;
    for (const qsizetype end : ends) {
        const auto first = static_cast<std::size_t>(begin) * 2;
        isAny =
            part(parts.subspan(first, static_cast<std::size_t>(end) * 2 - first), areClosed, !isAny) || isAny;
        begin = end;
    }
    if (isAny) {
        text.append('"');
    }
    return isAny;
}

void SvgWriter::Private::outlined(std::span<const double> parts, std::span<const qsizetype> ends,
                                  bool areClosed, const QColor& fill, const Stroke& style,
                                  Qt::FillRule rule) {
    const bool isFilled = fill.isValid() && fill.alpha() > 0;
    // What is below the line lies over the fill, so it cannot be one path with it.
    if (isDrawn(style) && style.casing > 0) {
        if (isFilled) {
            outlined(parts, ends, areClosed, fill, {.width = 0}, rule);
        }
        if (path(parts, ends, areClosed)) {
            text.append(" fill=\"none\"");
            stroke(style, style.width + 2 * style.casing, style.casingColor);
            endElement("/>\n");
        }
        Stroke plain = style;
        plain.casing = 0;
        outlined(parts, ends, areClosed, QColor(), plain);
        return;
    }
    if ((!isFilled && !isDrawn(style)) || !path(parts, ends, areClosed)) {
        return;
    }
    SvgSyntax::appendColor(text, "fill", fill);
    if (isFilled) {
        text.append(rule == Qt::OddEvenFill ? " fill-rule=\"evenodd\"" : " fill-rule=\"nonzero\"");
    }
    if (isDrawn(style)) {
        stroke(style, style.width, style.color);
    }
    endElement("/>\n");
}

SvgWriter::SvgWriter(QIODevice& device, const SvgPage& page)
    : d(std::make_unique<Private>(device, page.decimals)) {
    const auto isLength = [](double length) { return length > 0 && length < 1e9; };
    if (!isLength(page.size.width()) || !isLength(page.size.height()) || !isLength(page.dotsPerInch)) {
        throw std::invalid_argument("a page needs a size");
    }
    d->text.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" "
                   "xmlns:xlink=\"http://www.w3.org/1999/xlink\" "
                   "xmlns:inkscape=\"http://www.inkscape.org/namespaces/inkscape\" version=\"1.1\"");
    const auto length = [&](const char* name, double pixels) {
        d->text.append(' ').append(name).append("=\"");
        SvgSyntax::appendNumber(d->text, pixels / page.dotsPerInch * 25.4);
        d->text.append("mm\"");
    };
    length("width", page.size.width());
    length("height", page.size.height());
    d->text.append(" viewBox=\"0 0 ");
    SvgSyntax::appendNumber(d->text, page.size.width());
    d->text.append(' ');
    SvgSyntax::appendNumber(d->text, page.size.height());
    d->text.append("\">\n");
    if (!page.title.isEmpty()) {
        d->text.append("<title>");
        SvgSyntax::appendEscaped(d->text, page.title);
        d->text.append("</title>\n");
    }
}

SvgWriter::~SvgWriter() = default;

void SvgWriter::beginLayer(const QString& name, double opacity, QPainter::CompositionMode mode) {
    const auto* blend = std::find_if(blendModes.begin(), blendModes.end(),
                                     [mode](const BlendMode& known) { return known.mode == mode; });
    if (blend == blendModes.end() && mode != QPainter::CompositionMode_SourceOver) {
        throw std::invalid_argument("SVG does not have this blend mode");
    }
    const QString plain = SvgSyntax::idOf(name);
    QString id = plain;
    for (int number = 2; d->ids.contains(id); ++number) {
        id = QStringLiteral("%1-%2").arg(plain).arg(number);
    }
    d->ids.insert(id);
    d->text.append("<g");
    d->attribute("id", id);
    d->text.append(" inkscape:groupmode=\"layer\"");
    d->attribute("inkscape:label", name);
    if (opacity < 1) {
        d->attribute("opacity", std::max(0.0, opacity));
    }
    if (blend != blendModes.end()) {
        d->text.append(" style=\"mix-blend-mode:").append(blend->name).append('"');
    }
    d->endElement(">\n");
    d->begin(id);
}

void SvgWriter::beginFeature(qint64 id) {
    QString layer = QStringLiteral("feature");
    for (const Private::Open& group : std::as_const(d->open)) {
        layer = group.layer.isEmpty() ? layer : group.layer;
    }
    d->text.append("<g");
    d->attribute("id", QStringLiteral("%1.%2").arg(layer).arg(id));
    d->endElement(">\n");
    d->begin();
}

// Readers without clips, such as Qt's, would draw what is in no <defs>.
void SvgWriter::beginClip(const QRectF& frame) {
    const QByteArray id = "_clip" + QByteArray::number(++d->clips);
    d->text.append("<defs><clipPath id=\"").append(id).append("\"><rect");
    d->frame(frame);
    d->text.append("/></clipPath></defs>\n<g clip-path=\"url(#").append(id).append(")\"");
    d->endElement(">\n");
    d->begin();
}

void SvgWriter::beginClip(std::span<const double> rings, std::span<const qsizetype> ringEnds) {
    const QByteArray id = "_clip" + QByteArray::number(++d->clips);
    d->text.append("<defs><clipPath id=\"").append(id).append("\">");
    d->text.append(d->path(rings, ringEnds, true) ? " clip-rule=\"evenodd\"/>" : ""); // nothing is left of it
    d->text.append("</clipPath></defs>\n<g clip-path=\"url(#").append(id).append(")\"");
    d->endElement(">\n");
    d->begin();
}

void SvgWriter::end() {
    if (d->open.isEmpty()) {
        throw std::logic_error("nothing is open that could be ended");
    }
    d->endElement(d->open.takeLast().closing);
}

void SvgWriter::fill(std::span<const double> rings, std::span<const qsizetype> ringEnds, QColor color) {
    d->outlined(rings, ringEnds, true, color, {.width = 0});
}

void SvgWriter::stroke(std::span<const double> parts, std::span<const qsizetype> partEnds,
                       const Stroke& stroke, bool areClosed) {
    d->outlined(parts, partEnds, areClosed, QColor(), stroke);
}

void SvgWriter::area(std::span<const double> rings, std::span<const qsizetype> ringEnds, QColor color,
                     const Stroke& outline, Qt::FillRule rule) {
    d->outlined(rings, ringEnds, true, color, outline, rule);
}

int SvgWriter::addSymbol(const QPainterPath& path, QColor color, const Stroke& outline) {
    QByteArray shape;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element element = path.elementAt(i);
        constexpr std::array<const char*, 4> letters{"M", "L", "C", " "}; // by QPainterPath::ElementType
        shape.append(letters.at(static_cast<std::size_t>(element.type)));
        SvgSyntax::appendNumber(shape, element.x);
        shape.append(' ');
        SvgSyntax::appendNumber(shape, element.y);
    }
    const auto write = [&](const QColor& fill, const Stroke& stroke, double width,
                           const QColor& strokeColor) {
        d->text.append("<path d=\"").append(shape).append('"');
        SvgSyntax::appendColor(d->text, "fill", fill);
        d->text.append(" fill-rule=\"evenodd\"");
        if (isDrawn(stroke)) {
            d->stroke(stroke, width, strokeColor);
        }
        d->text.append("/>");
    };
    d->text.append("<defs><g id=\"_symbol").append(QByteArray::number(++d->symbols)).append("\">");
    if (isDrawn(outline) && outline.casing > 0) { // over the fill, below the line
        write(color, outline, outline.width + 2 * outline.casing, outline.casingColor);
        write(QColor(), outline, outline.width, outline.color);
    } else {
        write(color, outline, outline.width, outline.color);
    }
    d->endElement("</g></defs>\n");
    return d->symbols;
}

int SvgWriter::beginSymbol(QPointF middle, double larger) {
    d->text.append("<defs><g id=\"_symbol").append(QByteArray::number(++d->symbols)).append('"');
    if (!middle.isNull() || larger != 1) {
        d->text.append(" transform=\"scale(");
        SvgSyntax::appendNumber(d->text, 1.0 / larger);
        d->text.append(")translate(");
        SvgSyntax::appendNumber(d->text, -middle.x());
        d->text.append(' ');
        SvgSyntax::appendNumber(d->text, -middle.y());
        d->text.append(")\"");
    }
    d->text.append('>');
    d->begin(QString(), "</g></defs>\n");
    return d->symbols;
}

void SvgWriter::marker(int symbol, QPointF place, double rotation, double scale) {
    if (symbol < 1 || symbol > d->symbols) {
        throw std::out_of_range("there is no such symbol");
    }
    if (!isPlace(place)) {
        return;
    }
    d->text.append("<use xlink:href=\"#_symbol").append(QByteArray::number(symbol)).append('"');
    if (rotation == 0 && scale == 1) {
        d->attribute("x", place.x());
        d->attribute("y", place.y());
    } else {
        d->text.append(" transform=\"translate(");
        SvgSyntax::appendNumber(d->text, place.x());
        d->text.append(' ');
        SvgSyntax::appendNumber(d->text, place.y());
        d->text.append(")rotate(");
        SvgSyntax::appendNumber(d->text, rotation);
        d->text.append(")scale(");
        SvgSyntax::appendNumber(d->text, scale);
        d->text.append(")\"");
    }
    d->endElement("/>\n");
}

int SvgWriter::addHalo(QColor color, double width) {
    d->text.append("<use xlink:href=\"#_texts").append(QByteArray::number(++d->halos)).append('"');
    SvgSyntax::appendColor(d->text, "stroke", color);
    d->attribute("stroke-width", width * 2);
    d->endElement(" stroke-linejoin=\"round\" aria-hidden=\"true\"/>\n");
    return d->halos;
}

void SvgWriter::beginTexts(int halo) {
    if (halo < 1 || halo > d->halos) {
        throw std::out_of_range("there is no such halo");
    }
    d->text.append("<g id=\"_texts").append(QByteArray::number(halo)).append('"');
    d->endElement(">\n");
    d->begin();
}

void SvgWriter::text(const SvgText& text) {
    if (text.text.isEmpty() || !isPlace(text.baseline)) {
        return;
    }
    d->text.append("<text xml:space=\"preserve\"");
    d->place(text.baseline, text.rotation);
    d->font(text);
    d->length(text.length);
    SvgSyntax::appendColor(d->text, "fill", text.color);
    if (text.haloWidth > 0) {
        SvgSyntax::appendColor(d->text, "stroke", text.haloColor);
        d->attribute("stroke-width", text.haloWidth * 2);
        d->text.append(R"( stroke-linejoin="round" paint-order="stroke")");
    }
    d->text.append('>');
    SvgSyntax::appendEscaped(d->text, text.text);
    d->endElement("</text>\n");
}

void SvgWriter::text(const SvgText& text, std::span<const SvgTextPiece> pieces) {
    d->text.append("<g");
    d->font(text);
    d->text.append(">\n<g aria-hidden=\"true\" style=\"-webkit-user-select:none;user-select:none\"");
    SvgSyntax::appendColor(d->text, "fill", text.color);
    d->endElement(">\n");
    for (const SvgTextPiece& piece : pieces) {
        if (!piece.text.isEmpty() && isPlace(piece.baseline)) {
            d->text.append("<text xml:space=\"preserve\"");
            d->place(piece.baseline, piece.rotation);
            d->length(piece.length);
            d->text.append('>');
            SvgSyntax::appendEscaped(d->text, piece.text);
            d->endElement("</text>\n");
        }
    }
    d->endElement("</g>\n");
    if (!text.text.isEmpty() && isPlace(text.baseline)) {
        d->text.append("<text xml:space=\"preserve\"");
        d->place(text.baseline, text.rotation);
        d->length(text.length);
        d->text.append(R"( fill="none" stroke="none">)");
        SvgSyntax::appendEscaped(d->text, text.text);
        d->endElement("</text>\n");
    }
    d->endElement("</g>\n");
}

void SvgWriter::image(const QRectF& frame, const QImage& image) {
    const QByteArray bytes = PictureFile::encoded(image, "png", {.dotsPerInch = 0});
    d->text.append("<image");
    d->frame(frame);
    d->text.append(R"( preserveAspectRatio="none" xlink:href="data:image/png;base64,)");
    constexpr qsizetype step = 3 << 14; // whole groups of three
    for (qsizetype i = 0; i < bytes.size(); i += step) {
        d->text.append(bytes.mid(i, step).toBase64());
        d->flush(Private::bufferSize);
    }
    d->endElement("\"/>\n");
}

void SvgWriter::finish() {
    if (d->isFinished) {
        return;
    }
    while (!d->open.isEmpty()) {
        end();
    }
    d->text.append("</svg>\n");
    d->flush(0);
    d->isFinished = true;
}

} // namespace Cartolith::Map::Output
