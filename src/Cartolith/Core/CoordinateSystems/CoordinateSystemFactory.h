#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QList>

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
///
/// An EPSG code means itself, deprecated or not, here and wherever the library reads or writes a file; GDAL
/// by default would take the code that replaced it, which may be another system. isDeprecated() tells.
class CARTOLITH_CORE_EXPORT CoordinateSystemFactory {
public:
    CoordinateSystemFactory() = delete;

    /// Null for a code below 1 or unknown to PROJ.
    static std::shared_ptr<CoordinateSystem> fromEpsg(int code);

    /// "EPSG:3857", WKT, PROJ text, a URN, "http://www.opengis.net/def/crs/EPSG/0/3857": whatever OGR's
    /// SetFromUserInput takes, but for texts that name something to read the system from: a file, "DICT:...",
    /// PROJ's "+init=FILE:..." (alone, "+init=epsg:3857" means the code), any other address in the network.
    /// Nothing is requested and none of these is read. (A grid of datum shifts that a system names is
    /// looked up by PROJ as ever.) Null for anything else.
    static std::shared_ptr<CoordinateSystem> fromUserInput(const QString& text);

    /// From a file with such a text, or a .prj file of any age. Null when it cannot be read, is larger than
    /// 1 MiB, or holds no system. Reads that file and nothing else.
    static std::shared_ptr<CoordinateSystem> fromFile(const QString& path);

    /// Null when the system is neither geographic nor projected. Forces the traditional axis order on `srs`
    /// and lets GDAL identify its EPSG code.
    static std::shared_ptr<CoordinateSystem> fromSpatialReference(OGRSpatialReference& srs);

    /// Where the system is meant to be used, in degrees of longitude and latitude. An area that crosses the
    /// antimeridian, say from 170 east to 170 west, comes back as the extent from -170 to 170: its complement
    /// in longitude. Unset for a system that PROJ does not know; where PROJ's database has the system but not
    /// its area, all four bounds are -1000.
    static std::optional<Shapes::GisExtent> areaOfUse(const CoordinateSystem& system);

    /// True when GDAL takes the two for the same system; false also when either is unusable.
    static bool areEquivalent(const CoordinateSystem& a, const CoordinateSystem& b);

    /// Whether EPSG has withdrawn the code, as PROJ's database knows it; false for an unknown one. This and
    /// the next open the database: some milliseconds.
    static bool isDeprecated(int epsgCode);

    /// The codes that EPSG gives in place of a deprecated one, ascending: for the data's owner to choose
    /// from, since coordinates may mean something else in them. Empty for a code that is in use or unknown,
    /// and for one that nothing replaced.
    static QList<int> replacementsOf(int epsgCode);
};

} // namespace Cartolith::Core::CoordinateSystems
