#pragma once

#include <Cartolith/Core/Export.h>

#include <QString>

#include <optional>

namespace Cartolith::Core::CoordinateSystems {

/// The description of a coordinate reference system. Immutable, so it may be shared between layers and
/// threads; made by CoordinateSystemFactory.
class CARTOLITH_CORE_EXPORT CoordinateSystem {
public:
    /// Takes the values as they are; nothing is checked against PROJ.
    CoordinateSystem(int epsgCode, const QString& name, bool isGeographic, const QString& definition,
                     std::optional<double> metersPerUnit);

    /// The EPSG code; 0 when unknown. A system with a code of 1 or more is rebuilt from the code, any
    /// other from its definition.
    int epsgCode() const noexcept { return m_epsgCode; }
    const QString& name() const noexcept { return m_name; }
    /// WKT as exported by OGR, or any text that CoordinateSystemFactory::fromUserInput() takes.
    const QString& definition() const noexcept { return m_definition; }
    /// True for longitude and latitude in angular units, false for a projected system.
    bool isGeographic() const noexcept { return m_isGeographic; }
    bool isProjected() const noexcept { return !m_isGeographic; }
    /// Metres per linear unit of a projected system; unset for a geographic one.
    std::optional<double> metersPerUnit() const noexcept { return m_metersPerUnit; }

private:
    int m_epsgCode;
    QString m_name;
    QString m_definition;
    bool m_isGeographic;
    std::optional<double> m_metersPerUnit;
};

} // namespace Cartolith::Core::CoordinateSystems
