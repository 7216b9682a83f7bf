#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Map/Furniture/NorthArrow.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/SheetFont.h>

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

using namespace Cartolith::Core::CoordinateSystems;
using Cartolith::Core::Shapes::GisShapePoint;

namespace Cartolith::Map::Furniture {

NorthArrow::NorthArrow(const CoordinateSystem* system, const MapView& view) {
    if (system == nullptr) {
        m_problem = QStringLiteral("the map has no coordinate system");
        return;
    }
    try {
        const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
        if (degrees == nullptr) {
            throw std::runtime_error("PROJ does not know EPSG:4326");
        }
        const QPointF middle = view.center();
        const GisShapePoint here =
            CoordinateTransformer(*system, *degrees).transform({middle.x(), middle.y()});
        constexpr double step = 1e-4; // degrees, some 11 m: PROJ's rounding is a millionth of it
        if (!(std::abs(here.y()) < 90.0 - step)) {
            m_problem = QStringLiteral("the middle of the map is a pole");
            return;
        }
        const CoordinateTransformer fromDegrees(*degrees, *system);
        const GisShapePoint south = fromDegrees.transform({here.x(), here.y() - step});
        const GisShapePoint north = fromDegrees.transform({here.x(), here.y() + step});
        const QPointF up = view.fromOrigin(north.x(), north.y()) - view.fromOrigin(south.x(), south.y());
        const double turn = std::atan2(up.x(), -up.y()) * 180.0 / std::numbers::pi;
        if (up.isNull() || !std::isfinite(turn)) {
            m_problem = QStringLiteral("north has no direction at the middle of the map");
            return;
        }
        m_angle = turn;
    } catch (const std::runtime_error&) {
        m_problem = QStringLiteral("the middle of the map has no place on the earth");
    }
}

void NorthArrow::draw(QPainter& painter, const QRectF& place, const SheetColours& colours) const {
    if (!m_angle) {
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(place.center());
    painter.rotate(*m_angle);
    // A needle of two halves, and an N beyond its tip that turns with it.
    const double half = std::min(place.width(), place.height()) / 2.0;
    const double letters = half * 0.6;
    const double tip = -half + letters;
    const QPointF notch(0.0, half * 0.6);
    const QPolygonF left{QPointF(0.0, tip), QPointF(-half * 0.42, half), notch};
    const QPolygonF right{QPointF(0.0, tip), QPointF(half * 0.42, half), notch};
    painter.setPen(
        QPen(colours.ink, std::max(0.5, half / 16.0), Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    painter.setBrush(colours.ink);
    painter.drawPolygon(left);
    painter.setBrush(colours.paper);
    painter.drawPolygon(right);
    painter.setFont(sheetFont(std::max(1, static_cast<int>(std::lround(letters * 1.1))), true));
    painter.drawText(QRectF(-half, -half - letters * 0.2, 2.0 * half, letters),
                     Qt::AlignCenter | Qt::TextDontClip, QStringLiteral("N"));
    painter.restore();
}

} // namespace Cartolith::Map::Furniture
