#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/CoordinateSystems/SystemPairInternal.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Cartolith::Core::CoordinateSystems::Internal {

namespace {

constexpr double metresInDegree = 111320.0;
/// GDAL brings the longitude of a Web Mercator point into range by subtracting one turn at a time. No system
/// has a coordinate beyond this.
constexpr double farthest = 1e11;

bool isPlace(double x, double y) {
    return std::abs(x) <= farthest && std::abs(y) <= farthest; // false for NaN
}

bool isInDegrees(const OGRSpatialReference& system) {
    return system.IsGeographic() && std::abs(system.GetAngularUnits() * 180.0 / M_PI - 1.0) < 1e-9;
}

std::optional<Vertex> transformed(OGRCoordinateTransformation* transformation, const Vertex& vertex) {
    if (!isPlace(vertex.x, vertex.y)) {
        return std::nullopt;
    }
    Vertex moved = vertex;
    const bool isDone = transformation == nullptr || transformation->Transform(1, &moved.x, &moved.y) != 0;
    return isDone && std::isfinite(moved.x) && std::isfinite(moved.y) ? std::optional(moved) : std::nullopt;
}

[[noreturn]] void failTo(const char* message, const CoordinateSystem& source, const QString& other) {
    throw std::runtime_error(QString::fromUtf8(message).arg(source.name(), other).toStdString());
}

} // namespace

SystemPair::SystemPair(const CoordinateSystem& source, const CoordinateSystem& target) {
    const Common::Internal::EpsgCodesAsGiven codes;
    const auto initialize = [](const CoordinateSystem& system, OGRSpatialReference& reference) {
        if (!toSpatialReference(system, reference)) {
            failTo("Unable to initialize CRS '%1' (EPSG:%2) with GDAL/PROJ.", system,
                   QString::number(system.epsgCode()));
        }
    };
    initialize(source, m_source);
    initialize(target, m_target);
    m_degrees.CopyGeogCSFrom(&m_target);
    if (!isInDegrees(m_degrees)) {
        m_degrees.SetAngularUnits(SRS_UA_DEGREE, M_PI / 180.0);
    }
    m_degrees.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    m_isSourceInDegrees = isInDegrees(m_source);
    m_isTargetInDegrees = isInDegrees(m_target);
    const auto unitOf = [](const OGRSpatialReference& system) {
        return system.IsGeographic() ? system.GetAngularUnits() * 180.0 / M_PI * metresInDegree
                                     : system.GetLinearUnits();
    };
    m_sourceUnit = unitOf(m_source) * (m_source.IsGeographic() ? 1.0 : 2.0);
    m_targetUnit = unitOf(m_target);

    const auto make = [&](const OGRSpatialReference& from, const OGRSpatialReference& to) {
        Common::Internal::TransformationPtr made(OGRCreateCoordinateTransformation(&from, &to));
        if (made == nullptr) {
            failTo("GDAL/PROJ could not create transformation from '%1' to '%2'.", source, target.name());
        }
        return made;
    };
    m_direct = make(m_source, m_target);
    if (!m_isTargetInDegrees) {
        m_fromDegrees = make(m_degrees, m_target);
    }
    if (!m_isSourceInDegrees || !isDirectFromDegrees()) {
        m_toDegrees = make(m_source, m_degrees);
        m_toSource = make(m_degrees, m_source);
    }
}

/// Whether the source's degrees go to the same places as those of the target: no shift of a datum between.
/// Asked this way, since looking for shifts takes PROJ a tenth of a second with some pairs of datums.
bool SystemPair::isDirectFromDegrees() const {
    const double most = 1e-4 / m_targetUnit; // a tenth of a millimetre
    int equal = 0;
    for (double longitude = -165.0; longitude < 180.0; longitude += 30.0) {
        for (double latitude = -80.0; latitude <= 80.0; latitude += 20.0) {
            const auto direct = toTarget({longitude, latitude});
            const auto other = fromDegrees({longitude, latitude});
            if (direct.has_value() != other.has_value()) {
                return false;
            }
            if (direct &&
                !(std::abs(direct->x - other->x) <= most && std::abs(direct->y - other->y) <= most)) {
                return false;
            }
            equal += direct ? 1 : 0;
        }
    }
    return equal > 0;
}

void SystemPair::toTarget(std::vector<double>& x, std::vector<double>& y) const {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    std::vector<std::size_t> noPlaces;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (!isPlace(x[i], y[i])) {
            noPlaces.push_back(i);
            x[i] = y[i] = 0.0;
        }
    }
    constexpr std::size_t most = std::size_t{1} << 24U; // GDAL counts in int
    for (std::size_t start = 0; start < x.size(); start += most) {
        const int count = static_cast<int>(std::min(most, x.size() - start));
        m_direct->Transform(count, &x[start], &y[start]);
    }
    for (const std::size_t i : noPlaces) {
        x[i] = none;
    }
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (!std::isfinite(x[i]) || !std::isfinite(y[i])) {
            x[i] = y[i] = none;
        }
    }
}

std::optional<Vertex> SystemPair::toTarget(const Vertex& source) const {
    return transformed(m_direct.get(), source);
}

std::optional<Vertex> SystemPair::toDegrees(const Vertex& source) const {
    return transformed(m_toDegrees.get(), source);
}

std::optional<Vertex> SystemPair::fromDegrees(const Vertex& degrees) const {
    return transformed(m_fromDegrees.get(), degrees);
}

std::optional<Vertex> SystemPair::toSource(const Vertex& degrees) const {
    return transformed(m_toSource.get(), degrees);
}

} // namespace Cartolith::Core::CoordinateSystems::Internal
