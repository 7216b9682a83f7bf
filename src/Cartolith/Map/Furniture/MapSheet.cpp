#include <Cartolith/Map/Furniture/DegreeFrame.h>
#include <Cartolith/Map/Furniture/SheetItemsInternal.h>
#include <Cartolith/Map/Furniture/StandardSheetInternal.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/MapSheet.h>

#include <QPainter>

#include <cmath>
#include <utility>

using namespace Cartolith::Core;

namespace Cartolith::Map {

using Furniture::DegreeFrame;
using Furniture::GraticuleLines;
using Furniture::SheetDescription;
using Furniture::SheetItem;
using Furniture::Internal::SheetItems;
using Furniture::Internal::SheetUnits;

namespace {

MapView viewOf(const SheetDescription& sheet, const Shapes::GisExtent& all,
               const std::shared_ptr<CoordinateSystems::CoordinateSystem>& system) {
    const SheetDescription::MapFrame& map = sheet.map;
    const double ratio = sheet.dotsPerInch / SheetUnits::perInch;
    const Shapes::GisExtent& extent = map.extent.isEmpty() ? all : map.extent;
    const QRectF frame = SheetItems::frameOf(sheet);
    const MapView plain = MapView(extent.inflate(extent.width() * map.air, extent.height() * map.air), frame);
    // What is wider than high before it is turned may be higher than wide then.
    const MapView turned =
        map.rotation == 0.0 ? plain : plain.rotated(map.rotation, frame.center()).fitted(extent, map.air);
    const MapView view = turned.withDevicePixelRatio(ratio);
    const MapView scaled =
        map.scaleDenominator > 0.0 ? view.atScale(map.scaleDenominator, GroundScale(system)) : view;
    // A millionth of a pixel more would have pictures of a further row.
    const QRectF exact = scaled.frame();
    constexpr double grain = 1e6;
    const auto snapped = [](double number) { return std::round(number * grain) / grain; };
    return scaled.inFrame(
        {snapped(exact.x()), snapped(exact.y()), snapped(exact.width()), snapped(exact.height())});
}

} // namespace

MapSheet::MapSheet(const Options& options, const Shapes::GisExtent& extent,
                   std::shared_ptr<CoordinateSystems::CoordinateSystem> system)
    : MapSheet(Furniture::Internal::standardSheet(options), extent, std::move(system)) {
    for (const LegendContent& content : Furniture::Internal::legendsOf(options)) {
        m_legends.append({{}, content});
    }
}

MapSheet::MapSheet(SheetDescription description, const Shapes::GisExtent& extent,
                   std::shared_ptr<CoordinateSystems::CoordinateSystem> system)
    : m_description(std::move(description)), m_system(std::move(system)),
      m_view(viewOf(m_description, extent, m_system)) {
    const double ratio = m_description.dotsPerInch / SheetUnits::perInch;
    for (const SheetItem& item : std::as_const(m_description.items)) {
        if (item.kind == SheetItem::Kind::Inset) {
            const Shapes::GisExtent& shown = item.extent.isEmpty() ? extent : item.extent;
            constexpr double air = 0.03;
            m_insetViews.append(MapView(shown.inflate(shown.width() * air, shown.height() * air),
                                        SheetItems::insetFrame(m_description, item))
                                    .withDevicePixelRatio(ratio));
        }
    }
    const SheetDescription::MapFrame& map = m_description.map;
    if ((map.graticule != GraticuleLines::None || map.hasDegrees) && m_system != nullptr) {
        m_graticule.emplace(*m_system, m_view, map.step);
    }
}

QStringList MapSheet::problems() const {
    return SheetItems(m_description, m_view, m_system, m_legends, m_insetViews).problems();
}

QList<QRectF> MapSheet::boxesOnMap() const {
    QList<QRectF> boxes = SheetItems(m_description, m_view, m_system, m_legends, m_insetViews).boxes();
    boxes.removeIf([this](const QRectF& box) { return !box.intersects(m_view.frame()); });
    return boxes;
}

void MapSheet::drawBelow(QPainter& painter) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const SheetColours& colours = m_description.colours;
    painter.fillRect(QRectF({0.0, 0.0}, QSizeF(m_description.pixels())), colours.paper);
    if (m_graticule && m_description.map.graticule != GraticuleLines::None) {
        painter.setClipRect(m_view.frame());
        painter.setPen(Qt::NoPen);
        painter.setBrush(colours.sea);
        if (m_graticule->worldOutline().isEmpty()) {
            painter.drawRect(m_view.frame());
        } else {
            painter.drawPolygon(m_graticule->worldOutline());
        }
        if (m_description.map.graticule == GraticuleLines::Below) {
            painter.setPen(QPen(colours.seaLine, 0.8 * m_view.devicePixelRatio()));
            for (const Graticule::Line& line : m_graticule->degreeLines()) {
                painter.drawPolyline(line.pixels);
            }
        }
        // Names beside it may reach over it, so not above them.
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(colours.faintInk, 1.2 * m_view.devicePixelRatio()));
        painter.drawPolygon(m_graticule->worldOutline());
    }
    painter.restore();
}

void MapSheet::drawAbove(QPainter& painter, const QList<QImage>& insets) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const SheetColours& colours = m_description.colours;
    const double ratio = m_view.devicePixelRatio();
    const QRectF frame = m_view.frame();
    painter.setBrush(Qt::NoBrush);
    if (m_graticule && m_description.map.graticule == GraticuleLines::Above) {
        painter.save();
        painter.setClipRect(frame);
        QColor faint = colours.faintInk;
        constexpr float opacity = 0.5F; // what lies below shows through
        faint.setAlphaF(opacity);
        painter.setPen(QPen(faint, 0.7 * ratio));
        for (const Graticule::Line& line : m_graticule->degreeLines()) {
            painter.drawPolyline(line.pixels);
        }
        painter.restore();
    }
    if (m_description.map.hasFrame) {
        painter.setPen(QPen(colours.faintInk, ratio));
        painter.drawRect(frame);
    }
    painter.scale(ratio, ratio);
    if (m_graticule && m_description.map.hasDegrees) {
        const int letters = SheetUnits::letters(m_description.map.degreeLetters);
        painter.save();
        painter.scale(1.0 / ratio, 1.0 / ratio);
        const DegreeFrame degrees(*m_graticule, frame, static_cast<int>(std::lround(letters * ratio)));
        degrees.draw(painter, colours);
        painter.restore();
    }
    SheetItems(m_description, m_view, m_system, m_legends, m_insetViews).draw(painter, insets);
    painter.restore();
}

QImage MapSheet::draw(const QList<Content>& layers, const QList<QImage>& insets) const {
    QImage image(m_description.pixels(), QImage::Format_ARGB32_Premultiplied);
    constexpr double inch = 0.0254;
    image.setDotsPerMeterX(static_cast<int>(std::lround(m_description.dotsPerInch / inch)));
    image.setDotsPerMeterY(image.dotsPerMeterX());
    image.fill(m_description.colours.paper);
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
    drawAbove(painter, insets);
    return image;
}

} // namespace Cartolith::Map
