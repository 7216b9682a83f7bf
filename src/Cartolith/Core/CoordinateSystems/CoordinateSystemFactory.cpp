#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>

namespace Cartolith::Core::CoordinateSystems {

using Common::Internal::CplString;
using Common::Internal::GdalErrorCapture;

namespace {

QString nameOr(const OGRSpatialReference& srs, const QString& otherwise) {
    const QString name = QString::fromUtf8(srs.GetName());
    return name.isEmpty() ? otherwise : name;
}

} // namespace

bool Internal::toSpatialReference(const CoordinateSystem& system, OGRSpatialReference& target) {
    if (system.epsgCode() >= 1) {
        if (target.importFromEPSG(system.epsgCode()) != OGRERR_NONE) {
            return false;
        }
    } else if (system.definition().trimmed().isEmpty() ||
               target.SetFromUserInput(system.definition().toUtf8().constData()) != OGRERR_NONE) {
        return false;
    }
    target.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return true;
}

std::shared_ptr<CoordinateSystem> CoordinateSystemFactory::fromEpsg(int code) {
    if (code < 1) {
        return nullptr;
    }
    const GdalErrorCapture capture;
    OGRSpatialReference srs;
    return srs.importFromEPSG(code) == OGRERR_NONE ? fromSpatialReference(srs) : nullptr;
}

std::shared_ptr<CoordinateSystem> CoordinateSystemFactory::fromUserInput(const QString& text) {
    const QByteArray trimmed = text.trimmed().toUtf8();
    if (trimmed.isEmpty()) {
        return nullptr;
    }
    const GdalErrorCapture capture;
    OGRSpatialReference srs;
    return srs.SetFromUserInput(trimmed.constData()) == OGRERR_NONE ? fromSpatialReference(srs) : nullptr;
}

std::shared_ptr<CoordinateSystem> CoordinateSystemFactory::fromSpatialReference(OGRSpatialReference& srs) {
    const GdalErrorCapture capture;
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

} // namespace Cartolith::Core::CoordinateSystems
