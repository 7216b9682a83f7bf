#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <memory>
#include <optional>

class OGRSpatialReference;
class QString;

namespace Cartolith::Core::CoordinateSystems {

/// Makes coordinate systems through GDAL and PROJ, and asks about them.
///
/// Bad input is no error here: an unknown system is a null pointer, an unknown area an unset optional.
/// Nothing is printed. Everywhere x is easting or longitude and y northing or latitude, whatever the
/// authority's order. All operations may be called from several threads.
class CARTOLITH_CORE_EXPORT CoordinateSystemFactory {
public:
    CoordinateSystemFactory() = delete;

    /// Null for a code below 1 or unknown to PROJ.
    static std::shared_ptr<CoordinateSystem> fromEpsg(int code);

    /// "EPSG:3857", WKT, PROJ text, a URN: whatever OGR's SetFromUserInput takes. Null for anything else.
    static std::shared_ptr<CoordinateSystem> fromUserInput(const QString& text);

    /// Null when the system is neither geographic nor projected. Forces the traditional axis order on `srs`
    /// and lets GDAL identify its EPSG code.
    static std::shared_ptr<CoordinateSystem> fromSpatialReference(OGRSpatialReference& srs);

    /// Where the system is meant to be used, in degrees of longitude and latitude. An area that crosses the
    /// antimeridian, say from 170 east to 170 west, comes back as the extent from -170 to 170: its complement
    /// in longitude. Unset when PROJ gives no area.
    static std::optional<Shapes::GisExtent> areaOfUse(const CoordinateSystem& system);

    /// True when GDAL takes the two for the same system; false also when either is unusable.
    static bool areEquivalent(const CoordinateSystem& a, const CoordinateSystem& b);
};

} // namespace Cartolith::Core::CoordinateSystems
