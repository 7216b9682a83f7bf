#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/MapView.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

using Cartolith::Core::Shapes::GisExtent;

namespace Cartolith::Map {

namespace {

constexpr double millimetersPerInch = 25.4;

} // namespace

MapView::MapView(const GisExtent& extent, const QRectF& frame) : m_frame(frame) {
    *this = fitted(extent);
}

bool MapView::isUsable() const {
    // A quarter of a pixel is seen; coordinates have to be finer than that.
    const double coordinate = std::max(std::abs(m_centerX), std::abs(m_centerY));
    constexpr double farthest = 1e9; // pixels: whole numbers hold them, and as many beyond
    const bool isWithin = std::max(std::abs(m_frame.left()), std::abs(m_frame.right())) < farthest &&
                          std::max(std::abs(m_frame.top()), std::abs(m_frame.bottom())) < farthest;
    const double reach = (m_frame.width() + m_frame.height()) * m_unitsPerPixel;
    return m_frame.width() > 0.0 && m_frame.height() > 0.0 && m_unitsPerPixel > 0.0 && isWithin &&
           std::isfinite(coordinate) && std::isfinite(reach + coordinate) &&
           coordinate * std::numeric_limits<double>::epsilon() < m_unitsPerPixel * 0.25;
}

double MapView::dotsPerInch() const {
    constexpr double usual = 96.0;
    return m_dotsPerInch > 0.0 ? m_dotsPerInch : usual * m_devicePixelRatio;
}

QPointF MapView::toMapOffset(QPointF pixels) const {
    const double down = pixels.y();
    return {(pixels.x() * m_cosine + down * m_sine) * m_unitsPerPixel,
            -(down * m_cosine - pixels.x() * m_sine) * m_unitsPerPixel};
}

QPointF MapView::toMap(QPointF pixel) const {
    return center() + toMapOffset(pixel - m_frame.center());
}

GisExtent MapView::extentOf(const QRectF& pixels) const {
    GisExtent extent;
    for (const QPointF corner :
         {pixels.topLeft(), pixels.topRight(), pixels.bottomLeft(), pixels.bottomRight()}) {
        const QPointF place = toMap(corner);
        extent = extent.expand({place.x(), place.y(), place.x(), place.y()});
    }
    return extent;
}

double MapView::scaleDenominator(const GroundScale& ground) const {
    const double metersPerPixel = m_unitsPerPixel * ground.metersPerUnitAt(m_centerX, m_centerY);
    return metersPerPixel * 1000.0 * dotsPerInch() / millimetersPerInch;
}

MapView MapView::atScale(double denominator, const GroundScale& ground) const {
    return zoomed(scaleDenominator(ground) / denominator, m_frame.center());
}

MapView MapView::zoomed(double factor, QPointF anchor) const {
    MapView view = *this;
    view.m_unitsPerPixel = m_unitsPerPixel / factor;
    const QPointF fromCenter = toMapOffset(anchor - m_frame.center());
    view.m_centerX += fromCenter.x() * (1.0 - 1.0 / factor);
    view.m_centerY += fromCenter.y() * (1.0 - 1.0 / factor);
    return factor > 0.0 && view.isUsable() ? view : *this;
}

MapView MapView::panned(QPointF pixels) const {
    MapView view = *this;
    const QPointF moved = toMapOffset(pixels);
    view.m_centerX -= moved.x();
    view.m_centerY -= moved.y();
    return view;
}

MapView MapView::withPlaceAt(QPointF place, QPointF pixel) const {
    MapView view = *this;
    const QPointF fromCenter = toMapOffset(pixel - m_frame.center());
    view.m_centerX = place.x() - fromCenter.x();
    view.m_centerY = place.y() - fromCenter.y();
    return view;
}

void MapView::setRotation(double degrees) {
    constexpr double full = 360.0;
    const double turned = std::remainder(degrees, full);
    m_rotation = turned >= full / 2 ? turned - full : turned;
    // Quarter turns exactly: the sine of the rounded pi is not 0.
    constexpr double quarter = 90.0;
    const double quarters = m_rotation / quarter;
    if (quarters == std::round(quarters)) {
        const int k = (static_cast<int>(quarters) + 4) % 4;
        m_cosine = k == 0 ? 1.0 : k == 2 ? -1.0 : 0.0;
        m_sine = k == 1 ? 1.0 : k == 3 ? -1.0 : 0.0;
        return;
    }
    const double radians = m_rotation * std::numbers::pi / (full / 2);
    m_cosine = std::cos(radians);
    m_sine = std::sin(radians);
}

MapView MapView::rotated(double degrees, QPointF anchor) const {
    if (!std::isfinite(degrees)) {
        return *this;
    }
    const QPointF place = toMap(anchor);
    MapView view = *this;
    view.setRotation(m_rotation + degrees);
    return anchor == m_frame.center() ? view : view.withPlaceAt(place, anchor);
}

MapView MapView::inFrame(const QRectF& frame) const {
    MapView view = *this;
    view.m_frame = frame;
    return view;
}

MapView MapView::fitted(const GisExtent& extent, double margin) const {
    MapView view = *this;
    view.m_centerX = (extent.xMin() + extent.xMax()) * 0.5;
    view.m_centerY = (extent.yMin() + extent.yMax()) * 0.5;
    // Of the rotated box around the extent.
    const double cosine = std::abs(m_cosine);
    const double sine = std::abs(m_sine);
    const double wider = 1.0 + 2.0 * std::max(margin, 0.0);
    const double width = extent.width() * wider;
    const double height = extent.height() * wider;
    view.m_unitsPerPixel = std::max((width * cosine + height * sine) / m_frame.width(),
                                    (width * sine + height * cosine) / m_frame.height());
    constexpr double place = 1e-8; // the box of a single point is not quite without size
    if (std::max(extent.width(), extent.height()) <= place) {
        view.m_unitsPerPixel =
            1.0 / std::max(m_frame.width(), 1.0); // a single place: show one unit around it
    }
    return view;
}

MapView MapView::withDevicePixelRatio(double ratio) const {
    if (!(ratio > 0.0) || !std::isfinite(ratio)) {
        return *this;
    }
    MapView view = *this;
    const double more = ratio / m_devicePixelRatio;
    view.m_devicePixelRatio = ratio;
    view.m_frame = {m_frame.x() * more, m_frame.y() * more, m_frame.width() * more, m_frame.height() * more};
    view.m_unitsPerPixel = m_unitsPerPixel / more;
    view.m_dotsPerInch = m_dotsPerInch * more;
    return view;
}

MapView MapView::withDotsPerInch(double dotsPerInch) const {
    MapView view = *this;
    view.m_dotsPerInch = std::isfinite(dotsPerInch) ? std::max(dotsPerInch, 0.0) : 0.0;
    return view;
}

} // namespace Cartolith::Map
