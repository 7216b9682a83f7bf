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

void MarkerStamp::setReach(double reach) {
    m_reach = static_cast<int>(std::ceil(reach + 0.5));
    m_side = 2 * m_reach + 2;
    constexpr int large = 128; // pixels
    constexpr int larger = 360;
    m_drawn = m_side <= large ? steps : m_side <= larger ? steps / 2 : 1;
}

void MarkerStamp::findRuns() {
    m_runs.reserve(m_pixels.size() / m_side);
    for (qsizetype first = 0; first < m_pixels.size(); first += m_side) {
        const QRgb* const row = m_pixels.constData() + first;
        const auto none = static_cast<quint16>(m_side);
        Run run{none, 0, none, none};
        for (quint16 i = 0; i < none; ++i) {
            if (qAlpha(row[i]) != 0) {
                run.from = std::min(run.from, i);
                run.to = static_cast<quint16>(i + 1);
            }
            if (qAlpha(row[i]) == 255 &&
                (run.opaqueFrom == none || run.opaqueTo == i)) { // the first such run
                run.opaqueFrom = std::min(run.opaqueFrom, i);
                run.opaqueTo = static_cast<quint16>(i + 1);
            }
        }
        m_runs.append(run);
    }
}

MarkerStamp::MarkerStamp(double reach, const std::function<void(QImage& picture, QPointF place)>& draw,
                         std::optional<QPoint> only) {
    if (!(reach > 0.0)) {
        return;
    }
    setReach(std::min(reach, largestMarker));
    const int drawn = m_drawn;
    int place = 0;
    int end = drawn * drawn;
    if (only) {
        place = (only->y() * drawn / steps) * drawn + only->x() * drawn / steps;
        end = place + 1;
        m_drawn = 1;
    }
    m_pixels.reserve(static_cast<qsizetype>(end - place) * m_side * m_side);
    for (; place < end; ++place) {
        QImage picture(m_side, m_side, QImage::Format_ARGB32_Premultiplied);
        if (picture.isNull()) {
            throw std::bad_alloc();
        }
        picture.fill(Qt::transparent);
        const int stepX = place % drawn;
        const int stepY = place / drawn;
        draw(picture, {m_reach + (stepX + 0.5) / drawn, m_reach + (stepY + 0.5) / drawn});
        for (int row = 0; row < m_side; ++row) {
            const auto* const line = reinterpret_cast<const QRgb*>(picture.constScanLine(row));
            std::copy_n(line, m_side, std::back_inserter(m_pixels));
        }
    }
    findRuns();
}

MarkerStamp::MarkerStamp(double diameter, QColor color, double outlineWidth, QColor outlineColor) {
    const double radius = diameter > 0.0 ? std::min(diameter, largestMarker) * 0.5 : 0.0;
    const double half = outlineWidth > 0.0 ? std::min(outlineWidth, largestMarker) * 0.5 : 0.0;
    if (radius + half <= 0.0) {
        return;
    }
    setReach(radius + half);
    m_pixels.reserve(static_cast<qsizetype>(m_drawn) * m_drawn * m_side * m_side);
    const auto share = [](double value) {
        return static_cast<std::uint32_t>(Internal::levelOf(std::clamp(value, 0.0, 1.0)));
    };
    const QRgb inside = qPremultiply(color.rgba());
    const QRgb around = qPremultiply(outlineColor.rgba());
    for (int stepY = 0; stepY < m_drawn; ++stepY) {
        for (int stepX = 0; stepX < m_drawn; ++stepX) {
            const double x = m_reach + (stepX + 0.5) / m_drawn;
            const double y = m_reach + (stepY + 0.5) / m_drawn;
            for (int row = 0; row < m_side; ++row) {
                for (int column = 0; column < m_side; ++column) {
                    const double right = column + 0.5 - x;
                    const double down = row + 0.5 - y;
                    const double distance = std::sqrt(right * right + down * down); // hypot() is a call
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
    findRuns();
}

} // namespace Cartolith::Map::Raster
