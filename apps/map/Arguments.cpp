#include "Arguments.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/Output/PageSetup.h>
#include <Cartolith/Map/Output/TileScheme.h>

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
using Cartolith::Map::Output::PageSetup;
using Cartolith::Map::Output::TileScheme;

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

bool isPicture(const QSize& size) {
    constexpr int least = 64;
    constexpr int most = 16384;
    return qMin(size.width(), size.height()) >= least && qMax(size.width(), size.height()) <= most;
}

} // namespace

QSize Arguments::size(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$"));
    const QRegularExpressionMatch match = form.match(text);
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    if (!match.hasMatch() || !isPicture(size)) {
        throw UsageError(
            QStringLiteral("--size wants WIDTHxHEIGHT in pixels, each from 64 to 16384, not '%1'").arg(text));
    }
    return size;
}

PageSetup Arguments::page(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^(\\d{1,4}(?:\\.\\d+)?)x(\\d{1,4}(?:\\.\\d+)?)mm$"));
    const QRegularExpressionMatch match = form.match(text);
    if (match.hasMatch()) {
        PageSetup page;
        page.size = QSizeF(match.captured(1).toDouble(), match.captured(2).toDouble());
        constexpr double least = 10.0;
        constexpr double most = 5000.0;
        if (qMin(page.size.width(), page.size.height()) >= least &&
            qMax(page.size.width(), page.size.height()) <= most) {
            return page;
        }
    }
    const QString landscape = QStringLiteral("-landscape");
    const bool isLandscape = text.endsWith(landscape, Qt::CaseInsensitive);
    const auto page = PageSetup::named(isLandscape ? text.chopped(landscape.size()) : text, isLandscape);
    if (!page) {
        throw UsageError(QStringLiteral("--page wants A4, A4-landscape and the like, or WIDTHxHEIGHTmm with "
                                        "each side from 10 to 5000 mm, not '%1'")
                             .arg(text));
    }
    return *page;
}

QSize Arguments::sizeOf(const PageSetup& page) {
    const QSize size(static_cast<int>(page.sizeInPixels().width()),
                     static_cast<int>(page.sizeInPixels().height()));
    if (!isPicture(size)) {
        throw UsageError(
            QStringLiteral("at this --dpi the page has %1 x %2 pixels; each side wants 64 to 16384")
                .arg(size.width())
                .arg(size.height()));
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

GisExtent Arguments::mercatorExtent(const QString& text) {
    const auto values = numberList(text);
    constexpr double most = 89.0;
    if (!values || values->size() != 4 || !(values->at(0) < values->at(2) && values->at(1) < values->at(3)) ||
        std::abs(values->at(0)) > 180.0 || std::abs(values->at(2)) > 180.0 ||
        std::abs(values->at(1)) > 90.0 || std::abs(values->at(3)) > 90.0) {
        throw UsageError(
            QStringLiteral("--extent wants west,south,east,north in degrees, not '%1'").arg(text));
    }
    const auto x = [](double longitude) { return longitude / 180.0 * TileScheme::halfWorld; };
    const auto y = [&](double latitude) {
        const double radians = std::clamp(latitude, -most, most) * M_PI / 180.0;
        return std::asinh(std::tan(radians)) / M_PI * TileScheme::halfWorld;
    };
    return {x(values->at(0)), y(values->at(1)), x(values->at(2)), y(values->at(3))};
}

std::pair<int, int> Arguments::zooms(const QString& text) {
    static const QRegularExpression form(QStringLiteral("^(\\d{1,2})(?:-(\\d{1,2}))?$"));
    const QRegularExpressionMatch match = form.match(text);
    const int least = match.captured(1).toInt();
    const int most = match.captured(2).isEmpty() ? least : match.captured(2).toInt();
    if (!match.hasMatch() || least > most || most > TileScheme::maxZoom) {
        throw UsageError(QStringLiteral("--zoom wants N or N-M, from 0 to 24, not '%1'").arg(text));
    }
    return {least, most};
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
    GisShapePoint degrees = place(option, text);
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

void Arguments::requireUnread(const QString& output, const QStringList& inputs) {
    const QString target = QFileInfo(output).canonicalFilePath(); // empty for a new file
    for (const QString& input : inputs) {
        if (!target.isEmpty() && target == QFileInfo(input).canonicalFilePath()) {
            throw UsageError(QStringLiteral("'%1' is read, so it cannot be written").arg(output));
        }
    }
}

void Arguments::refuse(const QCommandLineParser& parser, const QStringList& options, const QString& why) {
    for (const QString& option : options) {
        if (parser.isSet(option)) {
            throw UsageError(QStringLiteral("--%1 %2").arg(option, why));
        }
    }
}
