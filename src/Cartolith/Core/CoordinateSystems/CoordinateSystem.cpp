#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>

namespace Cartolith::Core::CoordinateSystems {

CoordinateSystem::CoordinateSystem(int epsgCode, const QString& name, bool isGeographic,
                                   const QString& definition, std::optional<double> metersPerUnit)
    : m_epsgCode(epsgCode), m_name(name), m_definition(definition), m_isGeographic(isGeographic),
      m_metersPerUnit(metersPerUnit) {}

} // namespace Cartolith::Core::CoordinateSystems
