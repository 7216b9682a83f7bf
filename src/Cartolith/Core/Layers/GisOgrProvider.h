#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>

#include <QStringList>

namespace Cartolith::Core::Layers::Providers {

/// What OGR knows of a vector data source: its driver and its layers. A value; it holds no file open.
class CARTOLITH_CORE_EXPORT GisOgrProvider : public GisLayerProvider {
public:
    /// Knows the path and nothing else; isOpen() is false.
    explicit GisOgrProvider(const QString& path);
    GisOgrProvider(const QString& path, const QString& driverName, const QStringList& layerNames);

    QString driverName() const override;
    /// The names of the vector layers.
    QStringList contents() const override;
    QString source() const override;
    bool isOpen() const override;

    /// The names of the vector layers in a source, in its order, without reading features.
    /// \throws std::runtime_error naming the source, with GDAL's reason, when it cannot be opened
    static QStringList layerNames(const QString& path);

private:
    QString m_path;
    QString m_driverName;
    QStringList m_layerNames;
    bool m_open = false;
};

} // namespace Cartolith::Core::Layers::Providers
