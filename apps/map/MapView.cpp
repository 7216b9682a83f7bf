#include "MapView.h"

#include <algorithm>
#include <cmath>

using Cartolith::Core::Shapes::GisExtent;

MapView::MapView(const GisExtent& extent, const QRectF& frame)
    : m_frame(frame), m_centerX((extent.xMin() + extent.xMax()) * 0.5),
      m_centerY((extent.yMin() + extent.yMax()) * 0.5),
      m_unitsPerPixel(std::max(extent.width() / frame.width(), extent.height() / frame.height())) {
    constexpr double place = 1e-8; // the box of a single point is not quite without size
    if (!(std::max(extent.width(), extent.height()) > place)) {
        m_unitsPerPixel = 1.0 / std::max(frame.width(), 1.0); // a single place: show one unit around it
    }
}

bool MapView::isUsable() const {
    const GisExtent visible = visibleExtent();
    return std::isfinite(visible.width()) && std::isfinite(visible.height()) && visible.width() > 0.0 &&
           visible.height() > 0.0;
}

GisExtent MapView::visibleExtent() const {
    return extentOf(m_frame);
}

GisExtent MapView::pictureExtent() const {
    return extentOf(pictureFrame());
}

GisExtent MapView::extentOf(const QRectF& pixels) const {
    const QPointF middle = m_frame.center();
    return {m_centerX + (pixels.left() - middle.x()) * m_unitsPerPixel,
            m_centerY - (pixels.bottom() - middle.y()) * m_unitsPerPixel,
            m_centerX + (pixels.right() - middle.x()) * m_unitsPerPixel,
            m_centerY - (pixels.top() - middle.y()) * m_unitsPerPixel};
}
