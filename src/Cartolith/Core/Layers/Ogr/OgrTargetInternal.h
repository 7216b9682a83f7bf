#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Files/StagedFilesInternal.h>
#include <Cartolith/Core/Layers/Json/JsonMarksInternal.h>
#include <Cartolith/Core/Layers/Json/JsonNumbersInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresRowsInternal.h>

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

/// A new data source of one layer that takes the place of a path once it is complete; on a server, a new
/// table in a transaction that ends with publish().
///
/// Formats without transactions do not say when a write fails. Their files are made in memory and copied, so
/// that every byte is accounted for; that takes memory of the size of the files.
///
/// Every failure is a std::runtime_error that names the path, after which nothing is left behind.
class OgrTarget {
public:
    /// Waits so long for another process that saves there.
    OgrTarget(const OgrFormat& format, const QString& path, std::chrono::milliseconds wait);
    ~OgrTarget();
    OgrTarget(const OgrTarget&) = delete;
    OgrTarget& operator=(const OgrTarget&) = delete;

    GDALDriver& driver() const { return *m_driver; }
    bool isGeoJson() const; ///< or a text sequence
    /// Called once, before everything below. Options go before those of the format.
    OGRLayer& createLayer(const QString& name, OGRSpatialReference* system, OGRwkbGeometryType type,
                          const QStringList& options);
    /// \throws std::runtime_error too where the format does not have a field of that very name; but
    /// Shapefiles cut names, and make them unique.
    void addField(OGRFieldDefn& field);
    /// The last field's values are what clocks show somewhere; a server's driver would take them for moments.
    void dropZone();
    /// After the last field. A server looks up what it has of a system: what will be read of it.
    /// \throws std::runtime_error where that is another one, or none
    void requireSystem(const OGRSpatialReference& system, const Shapes::GisExtent& extent);
    /// `what` names the feature in errors. A value that the driver cuts or rounds is one, and so is a whole
    /// number that a Shapefile would give back as a real one.
    void add(OGRFeature& feature, const QString& what);
    /// Lets a table of that name go with createLayer(), where the target is on a server.
    void replaceTable() { m_replacesTable = true; }
    /// Completes the files. The layer is gone afterwards.
    void close();
    /// Where they can be read until publish(), after close().
    QString writtenPath() const { return m_workPath; }
    /// Of the files that there are already, those with these suffixes stay as they are now, instead of the
    /// new ones.
    void keep(const QStringList& suffixes);
    /// Does not put the new file with that suffix in place.
    void leaveOut(const QString& suffix);
    /// The bytes of a file that was written, to be changed between close() and publish(); none for a format
    /// that is written in place, and for a file that there is not.
    std::pair<char*, qsizetype> written(const QString& suffix) const;
    /// Gives a file that was written, the first one where no suffix is given, other bytes.
    void rewrite(const QByteArray& bytes, const QString& suffix = {});
    /// Gives the state of the files put in place. The check, see StagedFiles, throws to prevent it.
    SourceState publish(const std::function<void()>& check);

    [[noreturn]] void fail(const QString& reason) const;

private:
    void openServer(std::chrono::milliseconds wait);
    void onServer(const std::function<void()>& work) const;
    void makeRoom(const QByteArray& name);
    void addRow(OGRFeature& feature, const QString& what);
    void endRows();
    QString reasonOr(const QString& otherwise) const;
    QByteArray memoryPath(const QString& suffix) const;
    void requireKept(OGRFeature& feature, const QString& what) const;
    const OgrFormat& m_format;
    QString m_path;
    QString m_suffix;
    std::optional<StagedFiles> m_files; // none on a server
    QString m_memoryFolder;
    std::string m_memoryFolderName; // the same, for the destructor, which must not look for memory
    QString m_workPath;
    QString m_workSuffix;
    QStringList m_kept;
    Common::Internal::GdalErrorCapture m_errors;
    GDALDriver* m_driver;
    Common::Internal::DatasetPtr m_dataset;
    OGRLayer* m_layer = nullptr;
    QByteArrayList m_clockTimes;
    std::optional<PostgresRows> m_rows; // on a server, once the fields are known
    JsonMarks m_marks;
    JsonNumbers m_numbers;
    qint64 m_added = 0;
    bool m_replacesTable = false;
    bool m_isServerOpen = false; // with a transaction
};

} // namespace Cartolith::Core::Layers::Internal
