#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>

#include <QRegularExpression>

namespace Cartolith::Core::CoordinateSystems {

namespace {

/// An "init" parameter of PROJ names a file to look in, also in the current folder: "+init=epsg:4326" reads a
/// file named "epsg" there. Alone, and with the name of an authority, it means a code; other uses are left as
/// they are, for readsFiles() to find.
QString withoutInit(const QString& text) {
    static const QRegularExpression alone(
        QStringLiteral("^\\+?init=(\\w+):(\\w+)(\\s+\\+(type=crs|no_defs|wktext))*$"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = alone.match(text);
    return match.hasMatch() ? match.captured(1).toUpper() + QLatin1Char(':') + match.captured(2) : text;
}

/// Whether GDAL or PROJ would read a file in spite of ALLOW_FILE_ACCESS=NO.
bool readsFiles(const QString& text) {
    static const QRegularExpression reading(QStringLiteral("^(ESRI::\\s*)*DICT:|\\binit\\s*="),
                                            QRegularExpression::CaseInsensitiveOption);
    return reading.match(text).hasMatch();
}

} // namespace

bool Internal::setFromText(OGRSpatialReference& target, const QString& text) {
    const QString given = withoutInit(text.trimmed());
    if (given.isEmpty() || readsFiles(given)) {
        return false;
    }
    const Common::Internal::EpsgCodesAsGiven codes;
    const char* const options[] = {"ALLOW_NETWORK_ACCESS=NO", "ALLOW_FILE_ACCESS=NO", nullptr};
    return target.SetFromUserInput(given.toUtf8().constData(), options) == OGRERR_NONE;
}

bool Internal::toSpatialReference(const CoordinateSystem& system, OGRSpatialReference& target) {
    const Common::Internal::EpsgCodesAsGiven codes;
    const bool done = system.epsgCode() >= 1 ? target.importFromEPSG(system.epsgCode()) == OGRERR_NONE
                                             : setFromText(target, system.definition());
    if (done) {
        target.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    }
    return done;
}

bool Internal::isDefined(const OGRSpatialReference* found) {
    static const QRegularExpression undefined(
        QStringLiteral("^(GCS_)?Undefined[ _]((geographic|Cartesian)[ _])?SRS$"),
        QRegularExpression::CaseInsensitiveOption);
    return found != nullptr && !undefined.match(QString::fromUtf8(found->GetName())).hasMatch();
}

std::shared_ptr<CoordinateSystem> Internal::systemFound(const OGRSpatialReference* found) {
    if (!isDefined(found)) {
        return nullptr;
    }
    OGRSpatialReference copy(*found); // the factory changes what it is given
    return CoordinateSystemFactory::fromSpatialReference(copy);
}

} // namespace Cartolith::Core::CoordinateSystems
