#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

namespace Cartolith::Core::Layers::Providers {

GisOgrProvider::GisOgrProvider(const QString& path) : m_path(path) {}

GisOgrProvider::GisOgrProvider(const QString& path, const QString& driverName, const QStringList& layerNames)
    : m_path(path), m_driverName(driverName), m_layerNames(layerNames), m_open(true) {}

QString GisOgrProvider::driverName() const {
    return m_driverName;
}

QStringList GisOgrProvider::contents() const {
    return m_layerNames;
}

QString GisOgrProvider::source() const {
    return Internal::shownPath(m_path);
}

bool GisOgrProvider::isOpen() const {
    return m_open;
}

QStringList GisOgrProvider::layerNames(const QString& path) {
    return Internal::OgrSource(path).layerNames();
}

} // namespace Cartolith::Core::Layers::Providers
