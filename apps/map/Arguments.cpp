#include "Arguments.h"

#include <QRegularExpression>
#include <QStringList>

#include <cmath>
#include <optional>
#include <vector>

using namespace Cartolith::Core::Shapes;

namespace {

std::optional<std::vector<double>> numbers(const QString& text, qsizetype count) {
    const QStringList items = text.split(QLatin1Char(','));
    std::vector<double> values;
    for (const QString& item : items) {
        bool ok = false;
        values.push_back(item.toDouble(&ok));
        if (!ok || !std::isfinite(values.back())) {
            return std::nullopt;
        }
    }
    return items.size() == count ? std::optional(values) : std::nullopt;
}

} // namespace

QSize Arguments::size(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$"));
    const QRegularExpressionMatch match = form.match(text);
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    constexpr int least = 64;
    constexpr int most = 16384;
    if (!match.hasMatch() || qMin(size.width(), size.height()) < least ||
        qMax(size.width(), size.height()) > most) {
        throw UsageError(
            QStringLiteral("--size wants WIDTHxHEIGHT in pixels, each from 64 to 16384, not '%1'").arg(text));
    }
    return size;
}

GisExtent Arguments::extent(const QString& text) {
    const auto values = numbers(text, 4);
    if (!values) {
        throw UsageError(
            QStringLiteral("--extent wants xmin,ymin,xmax,ymax in map units, not '%1'").arg(text));
    }
    return {(*values)[0], (*values)[1], (*values)[2], (*values)[3]};
}

GisShapePoint Arguments::lonLat(const QString& option, const QString& text) {
    const auto values = numbers(text, 2);
    if (!values || std::abs((*values)[0]) > 180.0 || std::abs((*values)[1]) > 90.0) {
        throw UsageError(
            QStringLiteral("--%1 wants longitude,latitude in degrees, not '%2'").arg(option, text));
    }
    return {(*values)[0], (*values)[1]};
}

double Arguments::number(const QString& option, const QString& text, double least, double most) {
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !(value >= least && value <= most)) {
        throw UsageError(QStringLiteral("--%1 wants a number from %2 to %3, not '%4'")
                             .arg(option, QString::number(least), QString::number(most), text));
    }
    return value;
}

QString Arguments::colour(const QString& option, const QString& text) {
    static const QRegularExpression form(QStringLiteral("^#[0-9A-Fa-f]{6}$"));
    if (!form.match(text).hasMatch()) {
        throw UsageError(QStringLiteral("--%1 wants a colour as #RRGGBB, not '%2'").arg(option, text));
    }
    return text.toUpper();
}
