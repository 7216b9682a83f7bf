#pragma once

#include <Cartolith/Core/Export.h>

#include <QString>

namespace Cartolith::Core::Layers::Providers {

/// The data source behind a layer, of whatever kind. A layer that has one owns it and hands it out through
/// GisLayer::layerProvider().
class CARTOLITH_CORE_EXPORT GisLayerProvider {
public:
    virtual ~GisLayerProvider();

    /// The name of the format, as its driver calls itself ("GPKG", "GTiff"); empty while nothing is open.
    virtual QString driverName() const = 0;
    /// The layers, bands or sub-datasets that the source holds, in its order; empty while nothing is open.
    virtual QStringList contents() const = 0;
    /// The path or connection text, without passwords; empty here.
    virtual QString source() const;
    /// False here.
    virtual bool isOpen() const;

protected:
    GisLayerProvider() = default;
    GisLayerProvider(const GisLayerProvider&) = default;
    GisLayerProvider(GisLayerProvider&&) = default;
    GisLayerProvider& operator=(const GisLayerProvider&) = default;
    GisLayerProvider& operator=(GisLayerProvider&&) = default;
};

} // namespace Cartolith::Core::Layers::Providers
