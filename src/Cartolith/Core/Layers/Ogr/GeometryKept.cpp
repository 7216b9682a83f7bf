#include <Cartolith/Core/Layers/Ogr/GeometryKeptInternal.h>

#include <algorithm>
#include <iterator>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

std::vector<unsigned char> wkbOf(const OGRGeometry& geometry) {
    std::vector<unsigned char> wkb(geometry.WkbSize());
    geometry.exportToWkb(wkbNDR, wkb.data(), wkbVariantIso);
    return wkb;
}

/// Not-a-number is itself here, and zero is zero whatever its sign.
QString textOf(const OGRGeometry* geometry) {
    if (geometry == nullptr) {
        return QStringLiteral("none");
    }
    OGRWktOptions options;
    options.variant = wkbVariantIso;
    options.format = OGRWktFormat::G;
    options.precision = 15;
    options.round = false; // which is to so many decimals
    QString text = QString::fromStdString(geometry->exportToWkt(options));
    for (const char behind : {' ', ',', ')'}) {
        text.replace(QStringLiteral(".0") + QLatin1Char(behind), QString(QLatin1Char(behind)));
        text.replace(QStringLiteral("-0") + QLatin1Char(behind), QStringLiteral("0") + QLatin1Char(behind));
    }
    return text;
}

QString excerpt(const QString& text, qsizetype place) {
    constexpr qsizetype most = 100;
    constexpr qsizetype before = 40;
    if (text.size() <= most) {
        return text;
    }
    const qsizetype from = place > before ? place - before : 0;
    return (from > 0 ? QStringLiteral("...") : QString()) + text.mid(from, most) +
           (from + most < text.size() ? QStringLiteral("...") : QString());
}

} // namespace

std::optional<GeometryTexts> geometryChange(const OGRGeometry* held, const OGRGeometry* asked) {
    if (held == asked || (held != nullptr && asked != nullptr && wkbOf(*held) == wkbOf(*asked))) {
        return std::nullopt;
    }
    const QString one = textOf(held);
    const QString other = textOf(asked);
    const auto first = std::mismatch(one.begin(), one.end(), other.begin(), other.end()).first;
    const qsizetype place = std::distance(one.begin(), first);
    return one == other ? std::nullopt
                        : std::optional(GeometryTexts{excerpt(one, place), excerpt(other, place)});
}

} // namespace Cartolith::Core::Layers::Internal
