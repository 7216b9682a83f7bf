#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>

#include <QFile>
#include <QFileInfo>
#include <cpl_string.h>

#include <algorithm>
#include <proj.h>

namespace Cartolith::Core::CoordinateSystems {

using Common::Internal::CplString;
using Common::Internal::EpsgCodesAsGiven;
using Common::Internal::GdalErrorCapture;

namespace {

QString nameOr(const OGRSpatialReference& srs, const QString& otherwise) {
    const QString name = QString::fromUtf8(srs.GetName());
    return name.isEmpty() ? otherwise : name;
}

struct ProjContextDestroy {
    void operator()(PJ_CONTEXT* context) const { proj_context_destroy(context); }
};
struct ProjDestroy {
    void operator()(PJ* object) const { proj_destroy(object); }
};
struct ProjListDestroy {
    void operator()(PJ_OBJ_LIST* list) const { proj_list_destroy(list); }
};
using ProjPtr = std::unique_ptr<PJ, ProjDestroy>;

/// A code as PROJ's database has it.
class EpsgEntry {
public:
    explicit EpsgEntry(int code) : m_context(proj_context_create()) {
        proj_log_level(m_context.get(), PJ_LOG_NONE);
        const CPLStringList folders(OSRGetPROJSearchPaths()); // where GDAL was told to look
        if (folders.Count() > 0) {
            proj_context_set_search_paths(m_context.get(), folders.Count(), folders.List());
        }
        m_object.reset(proj_create_from_database(
            m_context.get(), "EPSG", QByteArray::number(code).constData(), PJ_CATEGORY_CRS, 0, nullptr));
    }

    bool isDeprecated() const { return m_object != nullptr && proj_is_deprecated(m_object.get()) != 0; }

    QList<int> replacements() const {
        QList<int> codes;
        if (!isDeprecated()) {
            return codes;
        }
        const std::unique_ptr<PJ_OBJ_LIST, ProjListDestroy> list(
            proj_get_non_deprecated(m_context.get(), m_object.get()));
        for (int i = 0; list != nullptr && i < proj_list_get_count(list.get()); ++i) {
            const ProjPtr other(proj_list_get(m_context.get(), list.get(), i));
            const bool isEpsg =
                other != nullptr && qstrcmp(proj_get_id_auth_name(other.get(), 0), "EPSG") == 0;
            if (isEpsg) {
                codes.append(QByteArray(proj_get_id_code(other.get(), 0)).toInt());
            }
        }
        std::sort(codes.begin(), codes.end());
        return codes;
    }

private:
    std::unique_ptr<PJ_CONTEXT, ProjContextDestroy> m_context;
    ProjPtr m_object;
};

} // namespace

std::shared_ptr<CoordinateSystem> CoordinateSystemFactory::fromEpsg(int code) {
    if (code < 1) {
        return nullptr;
    }
    const GdalErrorCapture capture;
    const EpsgCodesAsGiven codes;
    OGRSpatialReference srs;
    return srs.importFromEPSG(code) == OGRERR_NONE ? fromSpatialReference(srs) : nullptr;
}

std::shared_ptr<CoordinateSystem> CoordinateSystemFactory::fromUserInput(const QString& text) {
    const GdalErrorCapture capture;
    OGRSpatialReference srs;
    return Internal::setFromText(srs, text) ? fromSpatialReference(srs) : nullptr;
}

std::shared_ptr<CoordinateSystem> CoordinateSystemFactory::fromFile(const QString& path) {
    constexpr qint64 most = qint64(1024) * 1024; // bytes: not a picture, or an endless device, by mistake
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return nullptr;
    }
    const QByteArray text = file.read(most + 1);
    if (text.size() > most) {
        return nullptr;
    }
    if (auto system = fromUserInput(QString::fromUtf8(text))) {
        return system;
    }
    // The .prj files of before WKT: a parameter a line.
    const GdalErrorCapture capture;
    const EpsgCodesAsGiven codes;
    OGRSpatialReference srs;
    CPLStringList lines(CSLTokenizeString2(text.constData(), "\r\n", 0));
    const bool isOld = lines.Count() > 1 && STARTS_WITH_CI(lines[0], "Projection");
    return isOld && srs.importFromESRI(lines.List()) == OGRERR_NONE ? fromSpatialReference(srs) : nullptr;
}

std::shared_ptr<CoordinateSystem> CoordinateSystemFactory::fromSpatialReference(OGRSpatialReference& srs) {
    const GdalErrorCapture capture;
    const EpsgCodesAsGiven codes;
    srs.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    srs.AutoIdentifyEPSG();
    char* exported = nullptr;
    srs.exportToWkt(&exported);
    const CplString owner(exported);
    const QString definition = QString::fromUtf8(exported);
    // The code of another authority would name a different system when it is looked up as EPSG's.
    const bool isEpsg = qstrcmp(srs.GetAuthorityName(nullptr), "EPSG") == 0;
    const int epsgCode = isEpsg ? QByteArray(srs.GetAuthorityCode(nullptr)).toInt() : 0;
    if (srs.IsGeographic()) {
        return std::make_shared<CoordinateSystem>(
            epsgCode, nameOr(srs, QStringLiteral("Unnamed geographic CRS")), true, definition, std::nullopt);
    }
    if (srs.IsProjected()) {
        const double units = srs.GetLinearUnits();
        return std::make_shared<CoordinateSystem>(epsgCode,
                                                  nameOr(srs, QStringLiteral("Unnamed projected CRS")), false,
                                                  definition, units > 0.0 ? units : 1.0);
    }
    return nullptr;
}

std::optional<Shapes::GisExtent> CoordinateSystemFactory::areaOfUse(const CoordinateSystem& system) {
    const GdalErrorCapture capture;
    OGRSpatialReference srs;
    double west = 0.0;
    double south = 0.0;
    double east = 0.0;
    double north = 0.0;
    const char* name = nullptr;
    if (!Internal::toSpatialReference(system, srs) ||
        !srs.GetAreaOfUse(&west, &south, &east, &north, &name)) {
        return std::nullopt;
    }
    return Shapes::GisExtent(west, south, east, north);
}

bool CoordinateSystemFactory::areEquivalent(const CoordinateSystem& a, const CoordinateSystem& b) {
    const GdalErrorCapture capture;
    OGRSpatialReference first;
    OGRSpatialReference second;
    return Internal::toSpatialReference(a, first) && Internal::toSpatialReference(b, second) &&
           first.IsSame(&second) != 0;
}

bool CoordinateSystemFactory::isDeprecated(int epsgCode) {
    return EpsgEntry(epsgCode).isDeprecated();
}

QList<int> CoordinateSystemFactory::replacementsOf(int epsgCode) {
    return EpsgEntry(epsgCode).replacements();
}

} // namespace Cartolith::Core::CoordinateSystems
