#include <Cartolith/Map/Graticule.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/MapSheet.h>
#include <Cartolith/Map/SheetFont.h>

#include <QFontMetrics>
#include <QPainter>

#include <cmath>
#include <optional>
#include <utility>

using namespace Cartolith::Core;

namespace Cartolith::Map {

namespace {

constexpr double widestLegend = 0.45; // of the sheet

double marginOf(const QSize& sheet) {
    return sheet.height() * 0.025;
}

} // namespace

QRectF MapSheet::innerFrame(const Options& options) {
    const double margin = marginOf(options.size);
    const double head = options.title.isEmpty() ? margin : options.size.height() * 0.085;
    const double foot = options.note.isEmpty() ? margin : options.size.height() * 0.045;
    return {margin, head, options.size.width() - 2 * margin, options.size.height() - head - foot};
}

std::optional<Legend> MapSheet::legendOf(const Options& options) {
    if (!options.legend) {
        return std::nullopt;
    }
    SheetColours colours = options.colours;
    colours.sea = options.graticule ? colours.sea : colours.paper;
    return Legend(*options.legend, colours,
                  {options.size.width() * widestLegend, innerFrame(options).height()},
                  qMax(10, options.size.height() / 45));
}

QRectF MapSheet::mapFrame(const Options& options, const std::optional<Legend>& legend) {
    const double taken = legend ? legend->size().width() + marginOf(options.size) : 0.0;
    return innerFrame(options).adjusted(0, 0, -std::ceil(taken), 0);
}

MapView MapSheet::viewOf(const Options& options, const Shapes::GisExtent& extent, const QRectF& frame,
                         const std::shared_ptr<CoordinateSystems::CoordinateSystem>& system) {
    const double ratio = options.dotsPerInch / 96.0;
    const QRectF small(frame.topLeft() / ratio, frame.size() / ratio);
    const MapView fitted(extent.inflate(extent.width() * options.air, extent.height() * options.air), small);
    const MapView view = fitted.withDevicePixelRatio(ratio);
    return options.scaleDenominator > 0.0 ? view.atScale(options.scaleDenominator, GroundScale(system))
                                          : view;
}

MapSheet::MapSheet(Options options, const Shapes::GisExtent& extent,
                   std::shared_ptr<CoordinateSystems::CoordinateSystem> system)
    : m_options(std::move(options)), m_system(std::move(system)), m_legend(legendOf(m_options)),
      m_view(viewOf(m_options, extent, mapFrame(m_options, m_legend), m_system)) {}

QImage MapSheet::draw(const QList<Content>& layers) const {
    QImage image(m_options.size, QImage::Format_ARGB32_Premultiplied);
    constexpr double inch = 0.0254;
    image.setDotsPerMeterX(static_cast<int>(std::lround(m_options.dotsPerInch / inch)));
    image.setDotsPerMeterY(image.dotsPerMeterX());
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    drawBelow(painter);
    for (const Content& layer : layers) {
        if (!layer.picture.isNull()) {
            painter.save();
            painter.setClipRect(m_view.frame());
            painter.drawImage(m_view.pictureFrame().topLeft(), layer.picture);
            painter.restore();
        }
        MapPainter(painter, m_view).draw(layer.shapes, layer.styles, layer.casing);
    }
    drawAbove(painter);
    return image;
}

std::optional<Graticule> MapSheet::graticule() const {
    return m_options.graticule && m_system != nullptr ? std::optional(Graticule(*m_system, m_view))
                                                      : std::nullopt;
}

void MapSheet::drawBelow(QPainter& painter) const {
    const QRectF frame = m_view.frame();
    const std::optional<Graticule> graticule = this->graticule();
    painter.fillRect(QRect({}, m_options.size), m_options.colours.paper);
    painter.save();
    painter.setClipRect(frame);
    if (graticule) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(m_options.colours.sea);
        if (graticule->worldOutline().isEmpty()) {
            painter.drawRect(frame);
        } else {
            painter.drawPolygon(graticule->worldOutline());
        }
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(m_options.colours.seaLine, 0.8));
        for (const QPolygonF& line : graticule->lines()) {
            painter.drawPolyline(line);
        }
    }
    painter.restore();
}

void MapSheet::drawAbove(QPainter& painter) const {
    const QRectF frame = m_view.frame();
    const std::optional<Graticule> graticule = this->graticule();
    painter.setBrush(Qt::NoBrush);
    if (graticule && !graticule->worldOutline().isEmpty()) {
        painter.save();
        painter.setClipRect(frame);
        painter.setPen(QPen(m_options.colours.faintInk, 1.2));
        painter.drawPolygon(graticule->worldOutline());
        painter.restore();
    }
    painter.setPen(QPen(m_options.colours.faintInk, 1.0));
    painter.drawRect(frame);
    if (m_legend) {
        m_legend->draw(painter, {frame.right() + marginOf(m_options.size), frame.top()});
    }

    const QRectF inner = innerFrame(m_options);
    const int height = m_options.size.height();
    if (!m_options.title.isEmpty()) {
        painter.setPen(m_options.colours.ink);
        painter.setFont(sheetFont(qMax(10, height / 26), true));
        painter.drawText(QRectF(inner.left(), 0, inner.width(), inner.top()), Qt::AlignCenter,
                         painter.fontMetrics().elidedText(m_options.title, Qt::ElideRight,
                                                          static_cast<int>(inner.width())));
    }
    if (!m_options.note.isEmpty()) {
        painter.setPen(m_options.colours.faintInk);
        painter.setFont(sheetFont(qMax(8, height / 60), false));
        painter.drawText(QRectF(inner.left(), inner.bottom(), inner.width(), height - inner.bottom()),
                         Qt::AlignVCenter | Qt::AlignRight,
                         painter.fontMetrics().elidedText(m_options.note, Qt::ElideRight,
                                                          static_cast<int>(inner.width())));
    }
}

} // namespace Cartolith::Map
