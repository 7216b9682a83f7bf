#include <Cartolith/Core/Symbology/GisColorRamp.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Core::Symbology {

namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();

/// -1 when the character is not a hexadecimal digit. Qt's own conversion would also take signs and blanks.
int hexDigit(QChar character) noexcept {
    const char16_t c = character.unicode();
    if (c >= u'0' && c <= u'9') {
        return c - u'0';
    }
    if (c >= u'a' && c <= u'f') {
        return c - u'a' + 10;
    }
    return c >= u'A' && c <= u'F' ? c - u'A' + 10 : -1;
}

/// Within 0 to 1; NaN is 0.
double clampedUnit(double t) noexcept {
    return t > 0.0 ? std::min(t, 1.0) : 0.0;
}

QList<GisColorRampStop> normalized(const QList<GisColorRampStop>& stops) {
    QList<GisColorRampStop> usable;
    usable.reserve(stops.size());
    for (const GisColorRampStop& stop : stops) {
        const QString color = GisColorRamp::normalizedColor(stop.color);
        if (!color.isEmpty() && std::isfinite(stop.position)) {
            usable.append({std::clamp(stop.position, 0.0, 1.0), color});
        }
    }
    // Stable, so that of several stops at one place the one that was added last wins.
    std::stable_sort(usable.begin(), usable.end(), [](const GisColorRampStop& a, const GisColorRampStop& b) {
        return a.position < b.position;
    });
    QList<GisColorRampStop> kept;
    kept.reserve(usable.size());
    for (const GisColorRampStop& stop : std::as_const(usable)) {
        if (!kept.isEmpty() && stop.position - kept.constLast().position <= epsilon) {
            kept.last().color = stop.color;
        } else {
            kept.append(stop);
        }
    }
    return kept;
}

} // namespace

GisColorRamp::GisColorRamp(const QString& name, const QList<GisColorRampStop>& stops)
    : m_name(name), m_stops(normalized(stops)) {}

void GisColorRamp::setStops(const QList<GisColorRampStop>& stops) {
    m_stops = normalized(stops);
}

void GisColorRamp::addStop(const GisColorRampStop& stop) {
    QList<GisColorRampStop> stops = m_stops;
    stops.append(stop);
    m_stops = normalized(stops);
}

QString GisColorRamp::colorAt(double t, bool reversed) const {
    if (m_stops.isEmpty()) {
        return {};
    }
    t = clampedUnit(t);
    if (reversed) {
        t = 1.0 - t;
    }
    if (t <= m_stops.constFirst().position) {
        return m_stops.constFirst().color;
    }
    if (t >= m_stops.constLast().position) {
        return m_stops.constLast().color;
    }
    const auto upper = std::find_if(m_stops.cbegin() + 1, m_stops.cend(),
                                    [t](const GisColorRampStop& stop) { return stop.position >= t; });
    const auto lower = upper - 1;
    const double width = upper->position - lower->position;
    return width <= epsilon ? upper->color
                            : interpolateColor(lower->color, upper->color, (t - lower->position) / width);
}

QList<QString> GisColorRamp::colors(int count, GisColorRampMode mode, bool reversed) const {
    if (count < 1 || m_stops.isEmpty()) {
        return {};
    }
    if (count == 1) {
        return {colorAt(0.5, reversed)};
    }
    QList<QString> samples;
    samples.reserve(count);
    for (int i = 0; i < count; ++i) {
        const double t = mode == GisColorRampMode::Discrete
                             ? (static_cast<double>(i) + 0.5) / static_cast<double>(count)
                             : static_cast<double>(i) / static_cast<double>(count - 1);
        samples.append(colorAt(t, reversed));
    }
    return samples;
}

bool GisColorRamp::parseColor(const QString& text, int& r, int& g, int& b) {
    QStringView digits = QStringView(text).trimmed();
    if (digits.startsWith(u'#')) {
        digits = digits.mid(1);
    }
    const qsizetype perChannel = digits.size() / 3;
    if (digits.size() != 3 && digits.size() != 6) {
        return false;
    }
    int channels[3];
    for (qsizetype i = 0; i < 3; ++i) {
        const int high = hexDigit(digits[i * perChannel]);
        const int low = hexDigit(digits[i * perChannel + perChannel - 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        channels[i] = high * 16 + low;
    }
    r = channels[0];
    g = channels[1];
    b = channels[2];
    return true;
}

QString GisColorRamp::colorText(int r, int g, int b) {
    constexpr char digits[] = "0123456789ABCDEF";
    QString text(7, u'#');
    qsizetype at = 1;
    for (const int channel : {r, g, b}) {
        const int value = std::clamp(channel, 0, 255);
        text[at++] = QLatin1Char(digits[value / 16]);
        text[at++] = QLatin1Char(digits[value % 16]);
    }
    return text;
}

QString GisColorRamp::normalizedColor(const QString& text) {
    int r = 0;
    int g = 0;
    int b = 0;
    return parseColor(text, r, g, b) ? colorText(r, g, b) : QString();
}

QString GisColorRamp::interpolateColor(const QString& from, const QString& to, double t) {
    int a[3] = {};
    int b[3] = {};
    if (!parseColor(from, a[0], a[1], a[2]) || !parseColor(to, b[0], b[1], b[2])) {
        return {};
    }
    t = clampedUnit(t);
    const auto channel = [&](int i) { return static_cast<int>(std::lround(a[i] + (b[i] - a[i]) * t)); };
    return colorText(channel(0), channel(1), channel(2));
}

void GisColorRamp::normalizeStops() {
    m_stops = normalized(m_stops);
}

GisColorRamp makeRamp(const QString& name, std::initializer_list<QString> colors) {
    QList<GisColorRampStop> stops;
    stops.reserve(static_cast<qsizetype>(colors.size()));
    const double last = static_cast<double>(std::max<std::size_t>(colors.size(), 2) - 1);
    for (const QString& color : colors) {
        stops.append({static_cast<double>(stops.size()) / last, color});
    }
    return {name, stops};
}

} // namespace Cartolith::Core::Symbology
