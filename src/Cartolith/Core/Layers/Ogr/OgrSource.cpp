#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Json/JsonFactsInternal.h>
#include <Cartolith/Core/Layers/Json/JsonFeatureInternal.h>
#include <Cartolith/Core/Layers/Json/JsonSequenceInternal.h>
#include <Cartolith/Core/Layers/Ogr/DatabaseLockInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerGuardInternal.h>

#include <QFile>
#include <QFileInfo>

#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// The driver of a file here that is JSON, else nothing: one that has no other use for the network than to
/// look up a coordinate system.
QString jsonDriverOf(const QString& path) {
    GDALDriver* const driver = QFileInfo(path).isFile()
                                   ? GDALDriver::FromHandle(GDALIdentifyDriverEx(
                                         gdalNameOf(path).constData(), GDAL_OF_VECTOR, nullptr, nullptr))
                                   : nullptr;
    const QString name = driver != nullptr ? QString::fromUtf8(driver->GetDescription()) : QString();
    return name.contains(QLatin1String("JSON")) ? name : QString();
}

/// What is a date or time for GDAL.
std::map<QByteArray, OGRFieldType> datesOf(OGRFeatureDefn& schema) {
    std::map<QByteArray, OGRFieldType> dates;
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *schema.GetFieldDefn(i);
        const OGRFieldType type = field.GetType();
        if (type == OFTDate || type == OFTTime || type == OFTDateTime) {
            dates.emplace(field.GetNameRef(), type);
        }
    }
    return dates;
}

/// A sequence that its driver does not recognise, such as one with a mark of byte order, without that mark.
QByteArray asSequence(const QString& path) {
    QFile file(path);
    const bool hasMark = file.open(QIODevice::ReadOnly) && file.read(3) == "\xEF\xBB\xBF";
    const QLatin1String behindMark(hasMark ? "/vsisubfile/3," : "/vsisubfile/0,");
    return (behindMark + QFileInfo(path).absoluteFilePath()).toUtf8();
}

} // namespace

OgrSource::OgrSource(const QString& path) : m_path(path) {
    Common::Internal::registerGdalDrivers();
    if (path.isEmpty()) {
        fail(QStringLiteral("the path is empty"));
    }
    if (const QString journal = foreignJournalOf(path); !journal.isEmpty()) {
        fail(QStringLiteral("'%1' beside it is another user's").arg(journal));
    }
    recover(path);
    const Common::Internal::EpsgCodesAsGiven codes;
    QByteArray name = gdalNameOf(path);
    const char* const sequences[] = {"GeoJSONSeq", nullptr};
    const char* const* drivers = nullptr;
    std::optional<Common::Internal::NoRequests> noRequests;
    if (const QString driver = jsonDriverOf(path); !driver.isEmpty()) {
        noRequests.emplace();
        const JsonTexts texts =
            driver.startsWith(QLatin1String("GeoJSON")) ? jsonTextsOf(path) : JsonTexts::One;
        if (texts == JsonTexts::RunTogether) {
            fail(QStringLiteral("it has several JSON texts that are not on lines of their own"));
        }
        if (texts == JsonTexts::OnePerLine && driver == QLatin1String("GeoJSON")) {
            name = asSequence(path);
            drivers = static_cast<const char* const*>(sequences);
        }
    }
    // Whether a Shapefile has M, all shapes tell, not the first. Other drivers take no option with this mark.
    const auto openWith = [&](const char* option) {
        const char* const options[] = {option, nullptr};
        m_dataset.reset(GDALDataset::Open(name.constData(),
                                          GDAL_OF_VECTOR | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR, drivers,
                                          static_cast<const char* const*>(options)));
    };
    openWith("@ADJUST_GEOM_TYPE=ALL_SHAPES");
    const bool isLines = m_dataset != nullptr && driverName() == QLatin1String("GeoJSONSeq");
    if (m_dataset != nullptr && m_dataset->GetLayerCount() > 0 &&
        (isLines || driverName() == QLatin1String("GeoJSON"))) {
        OGRFeatureDefn& schema = *m_dataset->GetLayer(0)->GetLayerDefn();
        const auto dates = datesOf(schema);
        const JsonFacts facts = isLines && dates.empty() ? JsonFacts() : jsonFactsOf(path, dates);
        m_isSystemUnknown = facts.isSystemUnknown && !isLines; // which are in WGS 84, whatever one says
        if (isLines) {                                         // read one after the other, by these types
            for (const QByteArray& field : facts.otherTexts) {
                schema.GetFieldDefn(schema.GetFieldIndexCaseSensitive(field.constData()))->SetType(OFTString);
            }
        } else if (!facts.otherTexts.empty()) {
            openWith("@DATE_AS_STRING=YES");
        }
        if (facts.isOneFeature && m_dataset != nullptr && m_dataset->GetLayer(0)->GetFeatureCount() == 0) {
            m_dataset.reset();
            m_feature = std::make_unique<JsonFeature>(path, facts.system);
            name = m_feature->gdalName();
            openWith(facts.otherTexts.empty() ? "@ADJUST_GEOM_TYPE=ALL_SHAPES" : "@DATE_AS_STRING=YES");
            if (m_dataset != nullptr && m_dataset->GetLayer(0)->GetFeatureCount() == 0) {
                fail(QStringLiteral("its one feature cannot be read"));
            }
        }
    }
    m_isSystemElsewhere = noRequests && noRequests->wasAsked();
    if (m_dataset == nullptr && drivers != nullptr) {
        fail(QStringLiteral("behind its first JSON text there is more"));
    }
    if (m_dataset == nullptr) {
        fail(m_errors->message().isEmpty() ? QStringLiteral("GDAL gives no reason") : m_errors->message());
    }
    if (m_dataset->GetLayerCount() == 0) {
        fail(QStringLiteral("it has no vector layer"));
    }
    // Nothing else of JSON is asked of PROJ; GDAL goes on with WGS 84.
    m_isSystemUnknown =
        m_isSystemUnknown || (noRequests && m_errors->message().startsWith(QLatin1String("PROJ:")));
    m_errors->reset();
}

OgrSource::~OgrSource() = default;

void OgrSource::recover(const QString& path) {
    if (QFileInfo(besideDatabase(path, DatabaseLog::journal)).size() > 0 &&
        foreignJournalOf(path).isEmpty()) {
        // Whoever opens the database and may write rolls back. Should this fail, reading says why.
        Common::Internal::registerGdalDrivers();
        const Common::Internal::GdalErrorCapture errors;
        const Common::Internal::DatasetPtr recovered(
            GDALDataset::Open(gdalNameOf(path).constData(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
    }
}

void OgrSource::removeUnusedJournal(const QString& path) {
    if (!foreignJournalOf(path).isEmpty()) { // opening for update would apply it
        return;
    }
    QFile journal(besideDatabase(path, DatabaseLog::journal));
    char first = 0;
    // SQLite writes the first bytes last; a journal without them is not rolled back.
    if (!journal.open(QIODevice::ReadOnly) || !journal.getChar(&first) || first != 0) {
        return;
    }
    const DatabaseLock lock(path, std::chrono::steady_clock::now());
    if (lock.isTaken()) { // nobody else has it open for writing
        journal.remove();
    }
}

void OgrSource::failToRead(const QString& path, const QString& reason) {
    throw std::runtime_error(
        QStringLiteral("Cannot read '%1': %2").arg(shownPath(path), shownText(reason, path)).toStdString());
}

void OgrSource::fail(const QString& reason) const {
    failToRead(m_path, ServerGuard::plainReason(reason));
}

QString OgrSource::driverName() const {
    GDALDriver* const driver = m_dataset->GetDriver();
    return driver != nullptr ? QString::fromUtf8(driver->GetDescription()) : QString();
}

QStringList OgrSource::layerNames() const {
    QStringList names;
    for (const OGRLayer* layer : m_dataset->GetLayers()) {
        names.append(Common::Internal::wholeText(const_cast<OGRLayer*>(layer)->GetName()));
    }
    return names;
}

OGRLayer& OgrSource::layer(const QString& name) const {
    const Common::Internal::EpsgCodesAsGiven codes;
    OGRLayer* const layer =
        name.isEmpty() ? m_dataset->GetLayer(0) : m_dataset->GetLayerByName(name.toUtf8().constData());
    if (layer == nullptr) {
        constexpr qsizetype most = 20;
        const QStringList names = layerNames();
        fail(QStringLiteral("there is no layer '%1' (there is: %2%3)")
                 .arg(name, names.first(std::min(most, names.size())).join(QStringLiteral(", ")),
                      names.size() > most ? QStringLiteral(", ...") : QString()));
    }
    layer->GetSpatialRef(); // drivers keep what they find when first asked
    if (isPostgres(m_path)) {
        try {
            requireNamesApart(*layer);
            correctTypes(*m_dataset, *layer);
        } catch (const std::runtime_error& error) {
            fail(QString::fromUtf8(error.what()));
        }
    }
    return *layer;
}

std::shared_ptr<CoordinateSystems::CoordinateSystem> OgrSource::systemOf(OGRLayer& layer) const {
    return CoordinateSystems::Internal::systemFound(
        m_isSystemElsewhere || m_isSystemUnknown ? nullptr : layer.GetSpatialRef());
}

OgrSource::Selection OgrSource::select(const QString& sql, QString* reason) {
    const Common::Internal::GdalErrorCapture errors;
    const Common::Internal::EpsgCodesAsGiven codes;
    GDALDataset* const dataset = m_dataset.get();
    Selection selection(dataset->ExecuteSQL(sql.toUtf8().constData(), nullptr, nullptr),
                        [dataset](OGRLayer* layer) { dataset->ReleaseResultSet(layer); });
    if (reason != nullptr) {
        *reason = errors.message();
    }
    return errors.message().isEmpty() ? std::move(selection) : nullptr;
}

Common::Internal::FeaturePtr OgrSource::next(OGRLayer& layer) {
    Common::Internal::GdalErrorCapture errors; // a target written to at the same time has one of its own
    return next(layer, errors);
}

Common::Internal::FeaturePtr OgrSource::next(OGRLayer& layer, Common::Internal::GdalErrorCapture& errors) {
    errors.reset();
    Common::Internal::FeaturePtr feature(layer.GetNextFeature());
    m_complaint = errors.message();
    if (feature == nullptr && !m_complaint.isEmpty()) {
        fail(m_complaint);
    }
    return feature;
}

} // namespace Cartolith::Core::Layers::Internal
