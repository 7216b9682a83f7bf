#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Ogr/SystemKeptInternal.h>

#include <QUuid>
#include <cpl_string.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;
using Shapes::GisShapePoint;

namespace {

std::shared_ptr<CoordinateSystem> readBack(const OgrFormat& format, OGRSpatialReference system) {
    constexpr std::array xOfRows{0.0, 1.0};
    const QByteArray folder = "/vsimem/cartolith-" + QUuid::createUuid().toByteArray(QUuid::Id128);
    struct Remove {
        const QByteArray& folder;
        ~Remove() { VSIRmdirRecursive(folder.constData()); }
    } const remove{folder};
    const QByteArray path = folder + "/system." + format.suffixes.first().toLatin1();
    {
        const Common::Internal::GdalErrorCapture errors; // without a file or a system, nothing is read
        const Common::Internal::EpsgCodesAsGiven codes;
        GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName(format.driver);
        const Common::Internal::DatasetPtr made(
            driver != nullptr ? driver->Create(path.constData(), 0, 0, 0, GDT_Unknown, nullptr) : nullptr);
        CPLStringList options;
        for (const QString& option : format.options) {
            options.AddString(option.toUtf8().constData());
        }
        OGRLayer* const layer =
            made != nullptr ? made->CreateLayer("system", &system, wkbPoint, options.List()) : nullptr;
        if (layer == nullptr) {
            return nullptr;
        }
        for (const double x : xOfRows) {
            OGRFeature feature(layer->GetLayerDefn());
            OGRPoint point(x, 0.0);
            feature.SetGeometry(&point);
            if (layer->CreateFeature(&feature) != OGRERR_NONE) {
                return nullptr;
            }
        }
    }
    const OgrSource source(QString::fromUtf8(path));
    OGRLayer& layer = source.layer({});
    const Common::Internal::GdalErrorCapture errors;
    // GDAL may write a FlatGeobuf's header twice, the second time longer, over the first feature.
    std::multiset<double> read;
    while (const OGRFeatureUniquePtr feature{layer.GetNextFeature()}) {
        const OGRGeometry* const point = feature->GetGeometryRef();
        read.insert(point != nullptr && !point->IsEmpty() ? point->toPoint()->getX() : -1.0);
    }
    return read == std::multiset<double>(xOfRows.begin(), xOfRows.end()) ? source.systemOf(layer) : nullptr;
}

/// The same, asked once for each system and format: for a Shapefile GDAL looks through all that it knows.
std::shared_ptr<CoordinateSystem> keptSystem(const OgrFormat& format, const OGRSpatialReference& system,
                                             const CoordinateSystem& given) {
    static std::mutex mutex;
    static std::map<QString, std::shared_ptr<CoordinateSystem>> known;
    constexpr std::size_t most = 64;
    const QString key = QLatin1String(format.driver) + QString::number(given.epsgCode()) + given.definition();
    {
        const std::lock_guard lock(mutex);
        if (const auto found = known.find(key); found != known.end()) {
            return found->second;
        }
    }
    auto kept = readBack(format, system);
    if (kept != nullptr) { // there may have been no memory
        const std::lock_guard lock(mutex);
        if (known.size() >= most) {
            known.clear();
        }
        known.emplace(key, kept);
    }
    return kept;
}

/// Some that the system has values for: of the layer, or where the system has its origin.
std::vector<GisShapePoint> positionsIn(const OGRSpatialReference& system, const Shapes::GisExtent& extent) {
    if (extent.isEmpty()) {
        return {
            {system.GetNormProjParm(SRS_PP_FALSE_EASTING), system.GetNormProjParm(SRS_PP_FALSE_NORTHING)}};
    }
    return {{extent.xMin(), extent.yMin()},
            {extent.xMax(), extent.yMin()},
            {extent.xMin(), extent.yMax()},
            {extent.xMax(), extent.yMax()},
            {extent.xMin() + extent.width() / 2, extent.yMin() + extent.height() / 2}};
}

/// Where PROJ puts them, each that it can.
class Places {
public:
    Places(const CoordinateSystem& from, const CoordinateSystem& to,
           const std::vector<GisShapePoint>& positions)
        : m_places(positions.size()) {
        try {
            const CoordinateTransformer transformer(from, to);
            std::transform(positions.begin(), positions.end(), m_places.begin(),
                           [&](const GisShapePoint& position) { return placeOf(position, transformer); });
        } catch (const std::runtime_error&) { // PROJ has no way there
        }
    }

    bool areAny() const {
        return std::any_of(m_places.begin(), m_places.end(),
                           [](const auto& place) { return place.has_value(); });
    }
    /// In degrees.
    bool isSameAs(const Places& others) const {
        return std::equal(
            m_places.begin(), m_places.end(), others.m_places.begin(), [](const auto& a, const auto& b) {
                constexpr double most = 1e-8;
                constexpr double degree = 3.14159265358979323846 / 180.0;
                return a.has_value() == b.has_value() &&
                       (!a || (std::abs(a->y() - b->y()) <= most &&
                               std::abs(std::remainder(a->x() - b->x(), 360.0)) * std::cos(a->y() * degree) <=
                                   most));
            });
    }

private:
    static std::optional<GisShapePoint> placeOf(const GisShapePoint& position,
                                                const CoordinateTransformer& transformer) {
        try {
            return transformer.transform(position);
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
    }

    std::vector<std::optional<GisShapePoint>> m_places;
};

/// PROJ takes degrees of a datum that it does not know for those of any other.
bool areOfOneEllipsoid(const CoordinateSystem& system, const OGRSpatialReference& other) {
    OGRSpatialReference own;
    constexpr double metres = 1e-4;
    constexpr double flattening = 1e-7; // the inverse; those of WGS 84 and GRS 80 differ by 1.5e-6
    return CoordinateSystems::Internal::toSpatialReference(system, own) &&
           std::abs(own.GetSemiMajor() - other.GetSemiMajor()) <= metres &&
           std::abs(own.GetInvFlattening() - other.GetInvFlattening()) <= flattening;
}

/// By what they say, not by what is known of their codes, and without a shift of the datum.
bool isSameDefinition(const OGRSpatialReference& system, const CoordinateSystem& other) {
    const auto hasShift = [](const OGRSpatialReference& of) {
        return of.GetAttrNode("TOWGS84") != nullptr || of.GetExtension(nullptr, "PROJ4_GRIDS") != nullptr;
    };
    const char* const options[] = {"IGNORE_DATA_AXIS_TO_SRS_AXIS_MAPPING=YES", "CRITERION=EQUIVALENT",
                                   nullptr};
    OGRSpatialReference read;
    return CoordinateSystems::Internal::toSpatialReference(other, read) && !hasShift(system) &&
           !hasShift(read) && system.IsSame(&read, static_cast<const char* const*>(options)) != 0;
}

/// Each is taken to a third system that both are related to by what they say themselves: from one to the
/// other directly, PROJ passes over a shift that only one of them has.
bool arePositionsSame(const CoordinateSystem& a, const CoordinateSystem& b, const OGRSpatialReference& system,
                      const std::vector<GisShapePoint>& positions) {
    if (a.epsgCode() == b.epsgCode() && (a.epsgCode() >= 1 || a.definition() == b.definition())) {
        return true;
    }
    if (!areOfOneEllipsoid(b, system)) {
        return false;
    }
    if (isSameDefinition(system, b)) { // a withdrawn code and the one that replaced it
        return true;
    }
    const std::unique_ptr<OGRSpatialReference> ownDegrees(system.CloneGeogCS()); // on another planet
    for (const auto& hub : {CoordinateSystemFactory::fromEpsg(4326),
                            CoordinateSystems::Internal::systemFound(ownDegrees.get())}) {
        if (hub != nullptr) {
            const Places there(a, *hub, positions);
            const Places here(b, *hub, positions);
            if (there.areAny() || here.areAny()) {
                return there.isSameAs(here);
            }
        }
    }
    return CoordinateSystemFactory::areEquivalent(a, b);
}

} // namespace

bool isLongLatOfWgs84(const OGRSpatialReference& system) {
    const Common::Internal::GdalErrorCapture errors;
    const char* const options[] = {"IGNORE_DATA_AXIS_TO_SRS_AXIS_MAPPING=YES",
                                   "CRITERION=EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS", nullptr};
    OGRSpatialReference flat(system);
    OGRSpatialReference wgs84;
    return wgs84.importFromEPSG(4326) == OGRERR_NONE && flat.DemoteTo2D(nullptr) == OGRERR_NONE &&
           flat.IsGeographic() != 0 && flat.IsSame(&wgs84, static_cast<const char* const*>(options)) != 0;
}

void requireSystemKept(const OgrFormat& format, const OGRSpatialReference& system,
                       const Shapes::GisExtent& extent) {
    const auto given = CoordinateSystems::Internal::systemFound(&system);
    const bool isKeptByCode = given != nullptr && given->epsgCode() >= 1 && format.family.isEmpty();
    if (given == nullptr || format.isLongLat || isKeptByCode) {
        return;
    }
    requireSameSystem(system, keptSystem(format, system, *given).get(), extent);
}

void requireSameSystem(const OGRSpatialReference& system, const CoordinateSystem* kept,
                       const Shapes::GisExtent& extent) {
    const auto given = CoordinateSystems::Internal::systemFound(&system);
    if (given == nullptr) {
        return;
    }
    const QString what = QStringLiteral("the format has no place for its coordinate system '%1'");
    if (kept == nullptr) {
        throw std::runtime_error(what.arg(given->name()).toStdString());
    }
    if (!arePositionsSame(*given, *kept, system, positionsIn(system, extent))) {
        throw std::runtime_error(
            (what.arg(given->name()) +
             QStringLiteral(": it would be read as '%1', which is another one").arg(kept->name()))
                .toStdString());
    }
}

} // namespace Cartolith::Core::Layers::Internal
