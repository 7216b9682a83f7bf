#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/MapDomainInternal.h>

#include <QByteArray>
#include <QHash>
#include <QList>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace Cartolith::Core::CoordinateSystems::Internal {

namespace {

constexpr double radians = std::numbers::pi / 180.0;
/// Where a Mercator map of the world is square.
constexpr double mercatorEnd = 85.0511287798066;

double dot(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double degreesBetween(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return std::acos(std::clamp(dot(a, b), -1.0, 1.0)) / radians;
}

/// The parameters of a projection in PROJ's words.
QHash<QByteArray, QByteArray> parametersOf(const OGRSpatialReference& system) {
    char* text = nullptr;
    system.exportToProj4(&text);
    const Common::Internal::CplString owner(text);
    QHash<QByteArray, QByteArray> parameters;
    for (const QByteArray& part : QByteArray(text).split(' ')) {
        const qsizetype equals = part.indexOf('=');
        if (part.startsWith('+') && equals > 0) {
            parameters.insert(part.mid(1, equals - 1), part.mid(equals + 1));
        }
    }
    return parameters;
}

bool isOneOf(const QByteArray& name, std::initializer_list<const char*> names) {
    return std::any_of(names.begin(), names.end(), [&name](const char* other) { return name == other; });
}

} // namespace

MapDomain MapDomain::upright(double middle, double vMin, double vMax) {
    MapDomain domain;
    domain.m_middle = middle;
    domain.m_vMin = vMin;
    domain.m_vMax = vMax;
    return domain;
}

MapDomain MapDomain::cap(double longitude, double latitude, double radius) {
    MapDomain domain;
    domain.m_isUpright = false;
    domain.m_isCap = true;
    domain.m_vMin = 90.0 - radius;
    domain.m_pole = vectorOf(longitude, latitude);
    domain.m_second = vectorOf(longitude + 90.0, 0.0);
    domain.m_first = vectorOf(longitude, latitude - 90.0);
    return domain;
}

MapDomain MapDomain::transverse(double longitude, double reach) {
    MapDomain domain;
    domain.m_isUpright = false;
    domain.m_vMin = -reach;
    domain.m_vMax = reach;
    domain.m_pole = vectorOf(longitude + 90.0, 0.0);
    domain.m_first = vectorOf(longitude, 0.0);
    domain.m_second = vectorOf(0.0, 90.0);
    return domain;
}

MapDomain::Vector MapDomain::vectorOf(double longitude, double latitude) {
    const double ring = std::cos(latitude * radians);
    return {ring * std::cos(longitude * radians), ring * std::sin(longitude * radians),
            std::sin(latitude * radians)};
}

MapDomain MapDomain::of(const OGRSpatialReference& target) {
    if (target.IsGeographic()) {
        return upright(0.0, -90.0, 90.0);
    }
    const auto parameters = parametersOf(target);
    const auto number = [&parameters](const char* name) { return parameters.value(name).toDouble(); };
    const QByteArray name = parameters.value("proj");
    const double longitude = number("lon_0");
    const double latitude = number("lat_0");
    if (isOneOf(name, {"merc", "webmerc"})) {
        return upright(longitude, -mercatorEnd, mercatorEnd);
    }
    if (name == "lcc") { // the far pole has no image
        const double first = number("lat_1");
        const bool isNorthern = first + (parameters.contains("lat_2") ? number("lat_2") : first) > 0.0;
        return upright(longitude, isNorthern ? -89.0 : -90.0, isNorthern ? 90.0 : 89.0);
    }
    if (isOneOf(name, {"laea"})) {
        return cap(longitude, latitude, 179.9);
    }
    if (isOneOf(name, {"stere", "sterea", "ups", "aeqd"})) {
        const double centre = name == "ups" ? (parameters.contains("south") ? -90.0 : 90.0) : latitude;
        return cap(longitude, centre, 179.0);
    }
    if (name == "ortho") {
        return cap(longitude, latitude, 90.0 - 1e-6);
    }
    if (name == "gnom") {
        return cap(longitude, latitude, 80.0);
    }
    if (isOneOf(name, {"nsper", "geos"})) {
        const double radius = target.GetSemiMajor();
        const double horizon = std::acos(radius / (radius + number("h"))) / radians;
        return cap(longitude, name == "geos" ? 0.0 : latitude, horizon - 0.5);
    }
    if (name == "utm") {
        return transverse(6.0 * number("zone") - 183.0, 80.0);
    }
    if (isOneOf(name, {"tmerc", "etmerc"})) {
        return transverse(longitude, 80.0);
    }
    if (isOneOf(name, {"eqearth", "robin",    "moll",      "sinu",  "eck1",  "eck2",   "eck3",      "eck4",
                       "eck5",    "eck6",     "eqc",       "cea",   "mill",  "wintri", "aitoff",    "hammer",
                       "wag1",    "wag2",     "wag3",      "wag4",  "wag5",  "wag6",   "wag7",      "kav5",
                       "kav7",    "natearth", "natearth2", "gall",  "aea",   "eqdc",   "patterson", "times",
                       "putp1",   "putp2",    "putp5",     "fahey", "loxim", "crast"})) {
        return upright(longitude, -90.0, 90.0);
    }
    return aroundAreaOfUse(target, longitude);
}

MapDomain MapDomain::aroundAreaOfUse(const OGRSpatialReference& target, double longitude) {
    double west = 0.0;
    double south = 0.0;
    double east = 0.0;
    double north = 0.0;
    const char* areaName = nullptr;
    const bool isKnown = target.GetAreaOfUse(&west, &south, &east, &north, &areaName) && west >= -180.0;
    if (!isKnown) {
        return upright(longitude, -90.0, 90.0);
    }
    east += east < west ? 360.0 : 0.0;
    const auto grown = [&](double share) {
        MapDomain domain = upright((west + east) / 2, std::max(-90.0, south - share * (north - south)),
                                   std::min(90.0, north + share * (north - south)));
        domain.m_uMax = std::min(180.0, (0.5 + share) * (east - west));
        domain.m_uMin = -domain.m_uMax;
        return domain;
    };
    OGRSpatialReference degrees;
    degrees.CopyGeogCSFrom(&target);
    degrees.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    const Common::Internal::TransformationPtr transformation(
        OGRCreateCoordinateTransformation(&degrees, &target));
    // A mesh has an image without leaps where each of its sides is about as long as the ones before and
    // after.
    const auto isContinuous = [&](const MapDomain& domain) {
        constexpr int mesh = 24;
        const auto at = [&](int i, int j, double& x, double& y) {
            const Place place = domain.fromChart(
                {domain.m_uMin + (domain.m_uMax - domain.m_uMin) * (0.001 + 0.998 * i / mesh),
                 domain.m_vMin + (domain.m_vMax - domain.m_vMin) * (0.001 + 0.998 * j / mesh)});
            x = place.u;
            y = place.v;
            return transformation->Transform(1, &x, &y) != 0 && std::isfinite(x) && std::isfinite(y);
        };
        const auto isRun = [&](bool isRow, int line) {
            double before = 0.0;
            std::array<double, 2> last{};
            for (int i = 0; i <= mesh; ++i) {
                std::array<double, 2> here{};
                if (!at(isRow ? i : line, isRow ? line : i, here[0], here[1])) {
                    return false;
                }
                const double length = i > 0 ? std::hypot(here[0] - last[0], here[1] - last[1]) : 0.0;
                if (i > 1 && (length > 2.0 * before || before > 2.0 * length)) {
                    return false;
                }
                before = length;
                last = here;
            }
            return true;
        };
        for (int line = 0; line <= mesh; ++line) {
            if (!isRun(true, line) || !isRun(false, line)) {
                return false;
            }
        }
        return true;
    };
    for (const double share : {1.0, 0.5, 0.25}) {
        if (transformation != nullptr && isContinuous(grown(share))) {
            return grown(share);
        }
    }
    return grown(0.05);
}

MapDomain::Place MapDomain::toChart(double longitude, double latitude) const {
    if (m_isUpright) {
        return {longitude - m_middle, latitude};
    }
    const Vector place = vectorOf(longitude, latitude);
    const double x = dot(place, m_first);
    const double y = dot(place, m_second);
    return {std::atan2(y, x) / radians, std::atan2(dot(place, m_pole), std::hypot(x, y)) / radians};
}

MapDomain::Place MapDomain::fromChart(const Place& place) const {
    if (m_isUpright) {
        return {std::remainder(place.u + m_middle, 360.0), place.v};
    }
    const Vector inChart = vectorOf(place.u, place.v);
    Vector sum{};
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sum[i] = inChart[0] * m_first[i] + inChart[1] * m_second[i] + inChart[2] * m_pole[i];
    }
    return {std::atan2(sum[1], sum[0]) / radians, std::atan2(sum[2], std::hypot(sum[0], sum[1])) / radians};
}

std::optional<double> MapDomain::seam() const {
    return m_isUpright && m_uMax - m_uMin >= 360.0 ? std::optional(m_middle + 180.0) : std::nullopt;
}

bool MapDomain::surelyHolds(double longitude, double latitude, double radius) const {
    const Vector place = vectorOf(longitude, latitude);
    if (m_isCap) {
        return degreesBetween(place, m_pole) + radius < 90.0 - m_vMin;
    }
    if (m_isUpright) {
        const double u = std::remainder(longitude - m_middle, 360.0);
        const double widening = std::cos((std::abs(latitude) + radius) * radians);
        return latitude - radius > m_vMin && latitude + radius < m_vMax && widening > 0.01 &&
               std::abs(u) + radius / widening < m_uMax;
    }
    return degreesBetween(place, m_first) + radius < 89.0 &&
           std::abs(90.0 - degreesBetween(place, m_pole)) + radius < m_vMax;
}

bool MapDomain::isFarFromEdge(double longitude, double latitude) const {
    return m_isUpright || toChart(longitude, latitude).v > m_vMin + 10.0;
}

double MapDomain::perimeter() const {
    return m_isCap ? 360.0 : 2.0 * (m_uMax - m_uMin + m_vMax - m_vMin);
}

double MapDomain::boundaryAt(const Place& place) const {
    if (m_isCap) {
        return std::remainder(place.u, 360.0) + 180.0;
    }
    const double width = m_uMax - m_uMin;
    const double height = m_vMax - m_vMin;
    const double u = std::clamp(place.u - m_uMin, 0.0, width);
    const double v = std::clamp(place.v - m_vMin, 0.0, height);
    const double left = std::abs(place.u - m_uMin);
    const double right = std::abs(place.u - m_uMax);
    const double lower = std::abs(place.v - m_vMin);
    const double upper = std::abs(place.v - m_vMax);
    const double nearest = std::min({left, right, lower, upper});
    if (nearest == right) {
        return width + v;
    }
    if (nearest == left) {
        return 2.0 * width + height + (height - v);
    }
    return nearest == lower ? u : width + height + (width - u);
}

bool MapDomain::isOnBoundary(const Place& place) const {
    return areOnOneSide(place, place);
}

bool MapDomain::areOnOneSide(const Place& a, const Place& b) const {
    const auto areBoth = [](double first, double second, double bound) {
        return std::abs(first - bound) < closeness && std::abs(second - bound) < closeness;
    };
    return !m_isCap && (areBoth(a.u, b.u, m_uMin) || areBoth(a.u, b.u, m_uMax) || areBoth(a.v, b.v, m_vMin) ||
                        areBoth(a.v, b.v, m_vMax));
}

MapDomain::Place MapDomain::placeAt(double boundary) const {
    double at = std::fmod(boundary, perimeter());
    at += at < 0.0 ? perimeter() : 0.0;
    if (m_isCap) {
        return {at - 180.0, m_vMin};
    }
    const double width = m_uMax - m_uMin;
    const double height = m_vMax - m_vMin;
    if (at <= width) {
        return {m_uMin + at, m_vMin};
    }
    if (at <= width + height) {
        return {m_uMax, m_vMin + (at - width)};
    }
    if (at <= 2.0 * width + height) {
        return {m_uMax - (at - width - height), m_vMax};
    }
    return {m_uMin, m_vMax - (at - 2.0 * width - height)};
}

} // namespace Cartolith::Core::CoordinateSystems::Internal
