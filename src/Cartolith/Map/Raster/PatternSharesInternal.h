#pragma once

#include <Cartolith/Map/Raster/Fill.h>
#include <Cartolith/Map/Raster/WholeInternal.h>

#include <QPointF>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Cartolith::Map::Raster::Internal {

/// How much of each pixel a pattern covers, by the distance of its middle.
class PatternShares {
public:
    /// The origin in pixels, however far away.
    PatternShares(const Pattern& pattern, QPointF origin);

    /// From 0 to 255.
    std::uint32_t at(int column, int row) const {
        const double x = column + 0.5;
        const double y = row + 0.5;
        const double across = nearest((y * m_cosine - x * m_sine) / m_spacing - m_acrossPhase);
        if (m_kind == PatternKind::Lines) {
            return level(line(across));
        }
        const double along = nearest((x * m_cosine + y * m_sine) / m_spacing - m_alongPhase);
        return level(m_kind == PatternKind::Points ? dot(across, along)
                                                   : std::max(line(across), line(along)));
    }

private:
    /// To the nearest of the lines, from 0 to half the spacing.
    double nearest(double periods) const {
        const double part = periods - floorOf(periods);
        return (part < 0.5 ? part : 1.0 - part) * m_spacing;
    }
    double share(double distance) const { return std::clamp(m_reach - distance, 0.0, 1.0); }
    /// Of the nearest line and of the next.
    double line(double distance) const {
        return std::min(share(distance) + share(m_spacing - distance), 1.0);
    }
    double dot(double across, double along) const {
        return share(std::sqrt(across * across + along * along));
    }
    std::uint32_t level(double share) const { return static_cast<std::uint32_t>(levelOf(share * m_thin)); }

    PatternKind m_kind;
    double m_cosine, m_sine;
    double m_spacing;
    double m_acrossPhase, m_alongPhase; ///< of the origin, in spacings, from -1 to 1
    double m_reach;
    double m_thin; ///< how much paler what is thinner than a pixel is
};

} // namespace Cartolith::Map::Raster::Internal
