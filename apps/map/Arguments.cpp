#include "Arguments.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>

#include <QColor>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace Cartolith::Core::Shapes;
using Cartolith::Core::CoordinateSystems::CoordinateSystem;
using Cartolith::Core::CoordinateSystems::CoordinateSystemFactory;

namespace {

/// The numbers between commas; nothing when one of them is none, or not finite.
std::optional<QList<double>> numberList(const QString& text) {
    const QStringList items = text.split(QLatin1Char(','));
    QList<double> values;
    for (const QString& item : items) {
        bool ok = false;
        values.append(item.toDouble(&ok));
        if (!ok || !std::isfinite(values.constLast())) {
            return std::nullopt;
        }
    }
    return values;
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
    const auto values = numberList(text);
    if (!values || values->size() != 4) {
        throw UsageError(
            QStringLiteral("--extent wants xmin,ymin,xmax,ymax in map units, not '%1'").arg(text));
    }
    return {values->at(0), values->at(1), values->at(2), values->at(3)};
}

namespace {

[[noreturn]] void wantDegrees(const QString& option, const QString& text) {
    throw UsageError(QStringLiteral("--%1 wants longitude,latitude in degrees, not '%2'").arg(option, text));
}

} // namespace

GisShapePoint Arguments::place(const QString& option, const QString& text) {
    const auto values = numberList(text);
    if (!values || values->size() != 2) {
        wantDegrees(option, text);
    }
    return {values->at(0), values->at(1)};
}

GisShapePoint Arguments::lonLat(const QString& option, const QString& text) {
    const GisShapePoint degrees = place(option, text);
    if (std::abs(degrees.x()) > 180.0 || std::abs(degrees.y()) > 90.0) {
        wantDegrees(option, text);
    }
    return degrees;
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

int Arguments::whole(const QString& option, const QString& text, int least, int most) {
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < least || value > most) {
        throw UsageError(QStringLiteral("--%1 wants a whole number from %2 to %3, not '%4'")
                             .arg(option, QString::number(least), QString::number(most), text));
    }
    return value;
}

QList<double> Arguments::breaks(const QString& option, const QString& text) {
    const auto values = numberList(text);
    if (!values || std::all_of(values->cbegin(), values->cend(),
                               [&](double value) { return value == values->constFirst(); })) {
        throw UsageError(
            QStringLiteral("--%1 wants two or more different numbers, a,b,c, not '%2'").arg(option, text));
    }
    return *values;
}

bool Arguments::isColour(const QString& text) {
    return QColor::isValidColor(text);
}

QString Arguments::colour(const QString& option, const QString& text) {
    const QColor colour(text);
    if (!colour.isValid()) {
        throw UsageError(QStringLiteral("--%1 wants a colour, as #RRGGBB or a name such as red, not '%2'")
                             .arg(option, text));
    }
    return colour.name(colour.alpha() == 255 ? QColor::HexRgb : QColor::HexArgb).toUpper();
}

std::shared_ptr<CoordinateSystem> Arguments::coordinateSystem(const QCommandLineParser& parser,
                                                              const QString& option) {
    if (!parser.isSet(option)) {
        return nullptr;
    }
    const QString text = parser.value(option);
    auto system = CoordinateSystemFactory::fromUserInput(text);
    if (system == nullptr && QFileInfo(text).isFile()) {
        system = CoordinateSystemFactory::fromFile(text);
    }
    if (system == nullptr) {
        throw UsageError(QStringLiteral("--%1: '%2' is not a coordinate system that GDAL and PROJ know")
                             .arg(option, text));
    }
    return system;
}

QList<double> Arguments::numbers(const QString& option, const QString& text, qsizetype count,
                                 const QString& what) {
    const auto values = numberList(text);
    if (!values || values->size() != count) {
        throw UsageError(QStringLiteral("--%1 wants %2, not '%3'").arg(option, what, text));
    }
    return *values;
}

void Arguments::unknown(const QString& what, const QString& name, const QStringList& known) {
    throw UsageError(QStringLiteral("there is no %1 '%2'; there are %3")
                         .arg(what, name, known.join(QStringLiteral(", "))));
}

void Arguments::refuse(const QCommandLineParser& parser, const QStringList& options, const QString& why) {
    for (const QString& option : options) {
        if (parser.isSet(option)) {
            throw UsageError(QStringLiteral("--%1 %2").arg(option, why));
        }
    }
}
