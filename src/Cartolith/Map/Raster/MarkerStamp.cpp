#include <Cartolith/Map/Raster/BlendInternal.h>
#include <Cartolith/Map/Raster/MarkerStamp.h>
#include <Cartolith/Map/Raster/WholeInternal.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>

namespace Cartolith::Map::Raster {

namespace {

constexpr double largestMarker = 1000.0; // pixels

} // namespace

MarkerStamp::MarkerStamp(double reach, const std::function<void(QImage& picture, QPointF place)>& draw) {
    if (!(reach > 0.0)) {
        return;
    }
    m_reach = static_cast<int>(std::ceil(std::min(reach, largestMarker) + 0.5));
    m_side = 2 * m_reach + 2;
    m_pixels.reserve(static_cast<qsizetype>(steps) * steps * m_side * m_side);
    for (int place = 0; place < steps * steps; ++place) {
        QImage picture(m_side, m_side, QImage::Format_ARGB32_Premultiplied);
        if (picture.isNull()) {
            throw std::bad_alloc();
        }
        picture.fill(Qt::transparent);
        const int stepX = place % steps;
        const int stepY = place / steps;
        draw(picture, {m_reach + (stepX + 0.5) / steps, m_reach + (stepY + 0.5) / steps});
        for (int row = 0; row < m_side; ++row) {
            const auto* const line = reinterpret_cast<const QRgb*>(picture.constScanLine(row));
            std::copy_n(line, m_side, std::back_inserter(m_pixels));
        }
    }
}

MarkerStamp::MarkerStamp(double diameter, QColor color, double outlineWidth, QColor outlineColor) {
    const double radius = diameter > 0.0 ? std::min(diameter, largestMarker) * 0.5 : 0.0;
    const double half = outlineWidth > 0.0 ? std::min(outlineWidth, largestMarker) * 0.5 : 0.0;
    if (radius + half <= 0.0) {
        return;
    }
    m_reach = static_cast<int>(std::ceil(radius + half + 0.5));
    m_side = 2 * m_reach + 2;
    m_pixels.reserve(static_cast<qsizetype>(steps) * steps * m_side * m_side);
    const auto share = [](double value) {
        return static_cast<std::uint32_t>(Internal::levelOf(std::clamp(value, 0.0, 1.0)));
    };
    const QRgb inside = qPremultiply(color.rgba());
    const QRgb around = qPremultiply(outlineColor.rgba());
    for (int stepY = 0; stepY < steps; ++stepY) {
        for (int stepX = 0; stepX < steps; ++stepX) {
            const double x = m_reach + (stepX + 0.5) / steps;
            const double y = m_reach + (stepY + 0.5) / steps;
            for (int row = 0; row < m_side; ++row) {
                for (int column = 0; column < m_side; ++column) {
                    const double distance = std::hypot(column + 0.5 - x, row + 0.5 - y);
                    QRgb pixel =
                        Internal::scaled(inside, share(radius > 0.0 ? radius + 0.5 - distance : 0.0));
                    if (half > 0.0) {
                        // An outline thinner than a pixel is as much paler.
                        const double ring = std::max(half, 0.5) + 0.5 - std::abs(distance - radius);
                        const double thin = std::min(2.0 * half, 1.0);
                        Internal::blendOver(pixel,
                                            Internal::scaled(around, share(std::min(ring, 1.0) * thin)));
                    }
                    m_pixels.append(pixel);
                }
            }
        }
    }
}

} // namespace Cartolith::Map::Raster
