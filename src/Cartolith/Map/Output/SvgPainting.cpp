#include <Cartolith/Map/Output/SvgPaintingInternal.h>

#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainterPath>
#include <QTextItem>

#include <cmath>
#include <vector>

namespace Cartolith::Map::Output::Internal {

namespace {

constexpr auto features = QPaintEngine::PrimitiveTransform | QPaintEngine::PainterPaths |
                          QPaintEngine::AlphaBlend | QPaintEngine::Antialiasing |
                          QPaintEngine::ConstantOpacity | QPaintEngine::PixmapTransform;

class SvgEngine : public QPaintEngine {
public:
    explicit SvgEngine(SvgWriter& svg) : QPaintEngine(features), m_svg(svg) {}

    bool begin(QPaintDevice* /*device*/) override { return true; }
    bool end() override {
        setClip(false, {});
        return true;
    }
    Type type() const override { return User; }

    void updateState(const QPaintEngineState& next) override {
        const DirtyFlags changed = next.state();
        m_pen = changed.testFlag(DirtyPen) ? next.pen() : m_pen;
        m_brush = changed.testFlag(DirtyBrush) ? next.brush() : m_brush;
        m_transform = changed.testFlag(DirtyTransform) ? next.transform() : m_transform;
        m_opacity = changed.testFlag(DirtyOpacity) ? next.opacity() : m_opacity;
        if ((changed & (DirtyClipPath | DirtyClipRegion | DirtyClipEnabled)) != DirtyFlags()) {
            const QPainter& painter = *next.painter();
            setClip(painter.hasClipping(), painter.transform().map(painter.clipPath()));
        }
    }

    void drawPath(const QPainterPath& path) override { write(path, m_brush); }
    void drawPolygon(const QPointF* points, int count, PolygonDrawMode mode) override {
        QPainterPath path;
        path.addPolygon(QPolygonF(QList<QPointF>(points, points + count)));
        if (mode != PolylineMode) {
            path.closeSubpath();
        }
        write(path, mode == PolylineMode ? QBrush() : m_brush);
    }
    void drawImage(const QRectF& frame, const QImage& image, const QRectF& source,
                   Qt::ImageConversionFlags /*flags*/) override {
        m_svg.image(m_transform.mapRect(frame), image.copy(source.toRect()));
    }
    void drawPixmap(const QRectF& frame, const QPixmap& pixmap, const QRectF& source) override {
        drawImage(frame, pixmap.toImage(), source, Qt::AutoColor);
    }
    void drawTextItem(const QPointF& place, const QTextItem& item) override {
        const double scale = std::hypot(m_transform.m11(), m_transform.m12());
        SvgText text;
        text.text = item.text();
        text.baseline = m_transform.map(place);
        text.rotation = std::atan2(m_transform.m12(), m_transform.m11()) * 180.0 / M_PI;
        text.family = item.font().family();
        text.size = (item.font().pixelSize() > 0 ? item.font().pixelSize()
                                                 : item.font().pointSizeF() * pixelsPerPoint) *
                    scale;
        text.isBold = item.font().bold();
        text.isItalic = item.font().italic();
        text.color = seen(m_pen.color());
        text.length = item.width() * scale;
        m_svg.text(text);
    }

private:
    static constexpr double pixelsPerPoint = 96.0 / 72.0;

    QColor seen(QColor color) const {
        color.setAlphaF(static_cast<float>(color.alphaF() * m_opacity));
        return color;
    }

    void setClip(bool isOn, const QPainterPath& outline) {
        if (isOn == m_isClipped && (!isOn || outline == m_clip)) {
            return;
        }
        if (m_isClipped) {
            m_svg.end();
        }
        m_isClipped = isOn;
        m_clip = outline;
        QPainterPath box;
        box.addRect(outline.boundingRect());
        if (isOn && outline == box) {
            m_svg.beginClip(box.boundingRect());
        } else if (isOn) {
            const Parts parts = partsOf(outline, {});
            m_svg.beginClip(parts.coordinates, parts.ends);
        }
    }

    struct Parts {
        std::vector<double> coordinates;
        std::vector<qsizetype> ends;
        bool areClosed = true;
    };
    /// Curves in short pieces.
    static Parts partsOf(const QPainterPath& path, const QTransform& transform) {
        Parts parts;
        const auto polygons = path.toSubpathPolygons(transform);
        for (const QPolygonF& polygon : polygons) {
            parts.areClosed = parts.areClosed && polygon.isClosed();
            for (const QPointF p : polygon) {
                parts.coordinates.insert(parts.coordinates.end(), {p.x(), p.y()});
            }
            parts.ends.push_back(static_cast<qsizetype>(parts.coordinates.size() / 2));
        }
        return parts;
    }

    /// One path of all its parts.
    void write(const QPainterPath& path, const QBrush& brush) {
        const auto [coordinates, ends, areClosed] = partsOf(path, m_transform);
        Raster::Stroke stroke{.width = 0.0};
        if (m_pen.style() != Qt::NoPen) {
            const double scale = m_pen.isCosmetic() ? 1.0 : std::sqrt(std::abs(m_transform.determinant()));
            stroke.color = seen(m_pen.color());
            stroke.width = std::max(m_pen.widthF(), m_pen.isCosmetic() ? 1.0 : 0.0) * scale;
            stroke.cap = m_pen.capStyle() == Qt::RoundCap    ? Raster::LineCap::Round
                         : m_pen.capStyle() == Qt::SquareCap ? Raster::LineCap::Square
                                                             : Raster::LineCap::Butt;
            stroke.join = m_pen.joinStyle() == Qt::RoundJoin   ? Raster::LineJoin::Round
                          : m_pen.joinStyle() == Qt::BevelJoin ? Raster::LineJoin::Bevel
                                                               : Raster::LineJoin::Mitre;
            if (m_pen.joinStyle() == Qt::SvgMiterJoin) {
                stroke.mitreLimit = m_pen.miterLimit();
            }
            stroke.dashOffset = m_pen.dashOffset() * stroke.width;
            const QList<qreal> dashes = m_pen.style() == Qt::SolidLine ? QList<qreal>() : m_pen.dashPattern();
            for (const qreal dash : dashes) {
                stroke.dashes.append(dash * stroke.width);
            }
        }
        if (brush.style() != Qt::NoBrush && !areClosed) {
            m_svg.area(coordinates, ends, seen(brush.color()), {.width = 0.0}, path.fillRule());
            m_svg.stroke(coordinates, ends, stroke);
        } else if (brush.style() != Qt::NoBrush) {
            m_svg.area(coordinates, ends, seen(brush.color()), stroke, path.fillRule());
        } else {
            m_svg.stroke(coordinates, ends, stroke, areClosed);
        }
    }

    SvgWriter& m_svg;
    QPen m_pen;
    QBrush m_brush;
    QTransform m_transform;
    double m_opacity = 1.0;
    bool m_isClipped = false;
    QPainterPath m_clip;
};

class SvgDevice : public QPaintDevice {
public:
    SvgDevice(SvgWriter& svg, QSizeF sheet) : m_engine(svg), m_sheet(sheet) {}
    QPaintEngine* paintEngine() const override { return &m_engine; }

protected:
    int metric(PaintDeviceMetric metric) const override {
        constexpr int dotsPerInch = 96;
        constexpr double inch = 25.4;
        switch (metric) {
        case PdmWidth:
            return static_cast<int>(std::ceil(m_sheet.width()));
        case PdmHeight:
            return static_cast<int>(std::ceil(m_sheet.height()));
        case PdmWidthMM:
            return static_cast<int>(m_sheet.width() / dotsPerInch * inch);
        case PdmHeightMM:
            return static_cast<int>(m_sheet.height() / dotsPerInch * inch);
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return dotsPerInch;
        case PdmDepth:
            return 32;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return static_cast<int>(devicePixelRatioFScale());
        default:
            return QPaintDevice::metric(metric);
        }
    }

private:
    mutable SvgEngine m_engine;
    QSizeF m_sheet;
};

} // namespace

void paintSvg(SvgWriter& svg, QSizeF sheet, const std::function<void(QPainter&)>& draw) {
    SvgDevice device(svg, sheet);
    QPainter painter(&device);
    draw(painter);
}

} // namespace Cartolith::Map::Output::Internal
