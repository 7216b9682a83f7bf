#include <Cartolith/Core/Layers/Gdal/RasterColoursInternal.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr int rampSamples = 1024; // finer than the 256 steps of a channel over a few stops
constexpr int greys = 256;

int channel(double share) {
    return qRound(std::clamp(share, 0.0, 1.0) * 255.0);
}

} // namespace

RasterColours::RasterColours(const Style& style, Style::Rendering rendering, const QList<Bounds>& bounds,
                             const std::vector<QRgb>& palette)
    : m_rendering(rendering), m_bounds(bounds), m_colours(palette), m_hasClasses(!style.classes().isEmpty()) {
    if (rendering == Style::Rendering::Grey) {
        m_colours.clear();
        for (int i = 0; i < greys; ++i) {
            m_colours.push_back(qRgb(i, i, i));
        }
    }
    if (rendering != Style::Rendering::Ramp) {
        return;
    }
    for (qsizetype i = 0; i < style.classes().size(); ++i) {
        m_classes.append(style.classes().at(i), i);
    }
    const QList<QString> colours =
        m_hasClasses
            ? style.classColors()
            : style.ramp().colors(rampSamples, Symbology::GisColorRampMode::Continuous, style.isReversed());
    m_colours.clear();
    for (const QString& colour : colours) {
        m_colours.push_back(QColor(colour).rgb());
    }
}

double RasterColours::share(double value, const Bounds& bounds) {
    if (!(bounds.lower < bounds.upper)) {
        return 0.5;
    }
    // By halves, since the whole distance may overflow; what cannot be told even so lies in the middle.
    const double share = (value * 0.5 - bounds.lower * 0.5) / (bounds.upper * 0.5 - bounds.lower * 0.5);
    return std::isnan(share) ? 0.5 : share;
}

QRgb RasterColours::colour(const double* values) const {
    constexpr QRgb none = 0;
    switch (m_rendering) {
    case Style::Rendering::Rgb:
        return qRgb(channel(share(values[0], m_bounds[0])), channel(share(values[1], m_bounds[1])),
                    channel(share(values[2], m_bounds[2])));
    case Style::Rendering::Palette: {
        const bool isKnown = values[0] >= 0.0 && values[0] < static_cast<double>(m_colours.size());
        return isKnown ? m_colours[static_cast<std::size_t>(values[0])] : none;
    }
    case Style::Rendering::Ramp: {
        if (m_hasClasses) {
            const qsizetype found = m_classes.find(values[0]);
            return found < 0 ? none : m_colours[static_cast<std::size_t>(found)];
        }
        const double place = std::clamp(share(values[0], m_bounds[0]), 0.0, 1.0) * (rampSamples - 1);
        return m_colours[static_cast<std::size_t>(qRound(place))];
    }
    case Style::Rendering::Relief:
        return qRgb(255, 255, 255);
    case Style::Rendering::Automatic:
    case Style::Rendering::Grey:
        break;
    }
    const int grey = channel(share(values[0], m_bounds[0]));
    return qRgb(grey, grey, grey);
}

void RasterColours::colours(const double* values, std::size_t count, QRgb* pixels) const {
    constexpr QRgb none = 0;
    const bool isRamp = m_rendering == Style::Rendering::Ramp && !m_hasClasses;
    if ((isRamp || m_rendering == Style::Rendering::Grey) && m_bounds[0].lower < m_bounds[0].upper) {
        // share() and channel() with what is the same for all done once.
        const double from = m_bounds[0].lower * 0.5;
        const double way = m_bounds[0].upper * 0.5 - from;
        const double last = isRamp ? rampSamples - 1 : greys - 1;
        for (std::size_t i = 0; i < count; ++i) {
            const double share = (values[i] * 0.5 - from) / way;
            const double place = std::isnan(share) ? 0.5 : std::clamp(share, 0.0, 1.0);
            const QRgb colour = m_colours[static_cast<std::size_t>(qRound(place * last))];
            pixels[i] = std::isfinite(values[i]) ? colour : none;
        }
        return;
    }
    std::array<double, 3> pixel{};
    const std::size_t bands = m_rendering == Style::Rendering::Rgb ? 3 : 1;
    for (std::size_t i = 0; i < count; ++i) {
        bool hasAll = true;
        for (std::size_t band = 0; band < bands; ++band) {
            pixel[band] = values[band * count + i];
            hasAll = hasAll && std::isfinite(pixel[band]);
        }
        pixels[i] = hasAll ? qPremultiply(colour(pixel.data())) : none;
    }
}

QRgb RasterColours::shaded(QRgb colour, double light, double level) {
    // Below level ground towards black, above it half the way to white at most.
    const auto lit = [&](int c) {
        const double result = light <= level
                                  ? c * light / level
                                  : c + (255.0 - c) * 0.5 * (light - level) / std::max(1.0 - level, 1e-9);
        return std::isnan(result) ? c : qRound(std::clamp(result, 0.0, 255.0));
    };
    return qRgba(lit(qRed(colour)), lit(qGreen(colour)), lit(qBlue(colour)), qAlpha(colour));
}

} // namespace Cartolith::Core::Layers::Internal
