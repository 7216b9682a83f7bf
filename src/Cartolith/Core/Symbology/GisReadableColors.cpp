#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisReadableColors.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace Cartolith::Core::Symbology {

namespace {

/// A colour as each kind of eye sees it.
struct Seen {
    explicit Seen(const QString& color)
        : as{GisColorPerception::lab(color), GisColorPerception::lab(color, GisColorVision::Deuteranopia),
             GisColorPerception::lab(color, GisColorVision::Protanopia)} {}

    /// To the eye that sees the least of it; `most` when that is more.
    double differenceFrom(const Seen& other, double most = std::numeric_limits<double>::infinity()) const {
        constexpr double widestScale = 1.75; // by which CIEDE2000 divides a difference of lightness
        for (std::size_t i = 0; i < as.size(); ++i) {
            if (std::abs(as[i].lightness - other.as[i].lightness) < most * widestScale) {
                most = std::min(most, GisColorPerception::difference(as[i], other.as[i]));
            }
        }
        return most;
    }

    std::array<GisLabColor, 3> as;
};

struct Candidate {
    QString color;
    Seen seen;
    double apart; ///< from the nearest colour that was chosen
};

/// Colours that are neither glaring nor all but black, evenly over the rest.
std::vector<Candidate> candidates(const QString& background, double leastContrast) {
    constexpr int step = 17; // of 0 to 255
    constexpr double mostChroma = 85.0;
    constexpr double leastLightness = 28.0;
    const Seen paper(background);
    std::vector<Candidate> result;
    for (int r = 0; r <= 255; r += step) {
        for (int g = 0; g <= 255; g += step) {
            for (int b = 0; b <= 255; b += step) {
                const QString color = GisColorRamp::colorText(r, g, b);
                const Seen seen(color);
                const GisLabColor& lab = seen.as.front();
                if (lab.lightness >= leastLightness && std::hypot(lab.a, lab.b) <= mostChroma &&
                    GisColorPerception::contrast(color, background) >= leastContrast) {
                    result.push_back({color, seen, seen.differenceFrom(paper)});
                }
            }
        }
    }
    return result;
}

} // namespace

GisColorRamp GisReadableColors::partOf(const GisColorRamp& ramp, const QString& background,
                                       double leastContrast) {
    constexpr int steps = 256;
    constexpr double margin = 1.01; // for colours between the samples, and their rounding
    int bestFirst = 0;
    int bestCount = 0;
    for (int i = 0, count = 0; i <= steps; ++i) {
        const QString color = ramp.colorAt(static_cast<double>(i) / steps);
        count = GisColorPerception::contrast(color, background) >= leastContrast * margin ? count + 1 : 0;
        if (count > bestCount) {
            bestCount = count;
            bestFirst = i - count + 1;
        }
    }
    GisColorRamp part(ramp.name());
    if (bestCount == 0) {
        return part;
    }
    const double first = static_cast<double>(bestFirst) / steps;
    const double width = std::max(1, bestCount - 1) / static_cast<double>(steps);
    QList<GisColorRampStop> stops{{0.0, ramp.colorAt(first)}};
    for (const GisColorRampStop& stop : ramp.stops()) {
        if (stop.position > first && stop.position < first + width) {
            stops.append({(stop.position - first) / width, stop.color});
        }
    }
    stops.append({1.0, ramp.colorAt(first + (bestCount > 1 ? width : 0.0))});
    part.setStops(stops);
    return part;
}

QList<QString> GisReadableColors::categories(int count, const QString& background, double leastContrast) {
    constexpr int most = 256;
    const QString paper = GisColorRamp::normalizedColor(background);
    std::vector<Candidate> open =
        candidates(paper.isEmpty() ? QStringLiteral("#FFFFFF") : paper, leastContrast);
    QList<QString> colors;
    while (colors.size() < std::min(count, most) && !open.empty()) {
        const auto farthest =
            std::max_element(open.begin(), open.end(),
                             [](const Candidate& a, const Candidate& b) { return a.apart < b.apart; });
        if (farthest->apart == 0.0) {
            break; // all are chosen
        }
        const Seen chosen = farthest->seen;
        colors.append(farthest->color);
        for (Candidate& candidate : open) {
            candidate.apart = candidate.seen.differenceFrom(chosen, candidate.apart);
        }
    }
    const qsizetype different = colors.size();
    while (different > 0 && colors.size() < count) {
        colors.append(colors.at(colors.size() % different));
    }
    return colors;
}

} // namespace Cartolith::Core::Symbology
