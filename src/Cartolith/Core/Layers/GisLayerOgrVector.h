#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisEditConflict.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <chrono>
#include <functional>

namespace Cartolith::Core::Layers {

namespace Internal {
class FeatureTrace;
class IndexFile;
class SourceState;
struct EditsLeftOpen;
struct OgrEdits;
struct OgrReadState;
struct OgrSavedIds;
} // namespace Internal

/// A vector layer of a file or database that OGR opens: GeoPackage, Shapefile, GeoJSON, FlatGeobuf, CSV with
/// WKT...
///
/// open() reads one layer whole into memory: schema, attributes, geometry, coordinate system and extent. The
/// data source is not kept open. commitEdit() writes the changes back.
///
/// Geometry is taken as far as the planar model goes: curves are made linear, Z and M dropped; each member of
/// a multipoint becomes a shape of its own, a collection gives its points, one polyline and one polygon, each
/// of them with the feature's attributes. Rings of a multipolygon lie in one list; holes are wound opposite
/// to their shell, whatever the file says, shells are left as they are. A shape with a coordinate that is not
/// finite is skipped. A null in the source is an absent attribute.
///
/// An EPSG code in a source means itself, deprecated or not. A GeoJSON file that names its coordinate system
/// by an address in the network has none here: no request is sent for a file on this computer.
class CARTOLITH_CORE_EXPORT GisLayerOgrVector : public GisLayerVector {
public:
    /// A feature that gave no shape, or not all of its parts.
    struct SkippedFeature {
        qint64 featureId; ///< the source's own id
        QString reason;
    };

    /// Gets the fraction done, or NaN when the source does not know its size; returns false to cancel.
    using ProgressCallback = std::function<bool(double fraction)>;

    /// Nothing is read before open(). An empty layer name means the first layer of the source.
    explicit GisLayerOgrVector(const QString& path, const QString& layerName = QString());
    ~GisLayerOgrVector() override;

    /// Reads the layer; what an open layer held before is replaced. The layer takes the name it has in the
    /// source, unless it was given one. False when the callback cancelled: the layer is closed and empty
    /// then. GDAL prints nothing. Duplicate field names share one attribute, the last value. \throws
    /// std::runtime_error with the path and the reason (GDAL's own message where it gives one) when the
    /// source cannot be read, does not have the layer, or breaks off; the layer is then as it was before, and
    /// so it is after std::bad_alloc. Where GDAL itself finds no memory, it may end the process.
    ///
    /// Where a process of this user was killed while it saved the source, open() puts the files back that the
    /// process was replacing, and removes what else it left; of a folder, for each source in it. It acts only
    /// on what this library left in that very folder, and not where the file itself is a symbolic link. An
    /// error says so when that cannot be done, or when another user has to do it.
    bool open() override;
    /// Gives up everything read.
    void close() override;

    /// True while the layer is open, whatever the format: what cannot be written back can be saved as
    /// another.
    bool canEdit() const override;

    /// Valid until the next open() or close().
    const Providers::GisLayerProvider* layerProvider() const override;
    Providers::GisLayerProvider* layerProvider() override;

    const QString& layerName() const noexcept { return m_layerName; }
    /// Takes effect with the next open().
    void setLayerName(const QString& name) { m_layerName = name; }

    /// Called every few hundred features in open(), and once at the end, and so while commitEdit() writes; an
    /// empty function switches it off. Meanwhile the layer may be looked at, but not destroyed or changed:
    /// edits, undoEdit(), redoEdit(), the ends of the session, open() and close() are false and have no
    /// effect.
    void setProgressCallback(ProgressCallback callback);

    /// How long open() and commitEdit() wait for another process of this library that is putting several
    /// files of the source in place, each after the other, or holds the one; then they fail. Two seconds at
    /// first.
    std::chrono::milliseconds saveWait() const noexcept { return m_saveWait; }
    void setSaveWait(std::chrono::milliseconds wait) noexcept { m_saveWait = wait; }

    /// How many features the source's layer has. Not count(): a multipoint is several shapes.
    qint64 featureCount() const noexcept;
    /// How many features gave no shape, or not all of their parts.
    qint64 skippedCount() const noexcept { return m_skippedCount; }
    /// The first thousand of them.
    const QList<SkippedFeature>& skippedFeatures() const noexcept { return m_skipped; }

    /// Counts of the features and fields of which the source has something that the layer does not hold, so
    /// that saveAs() cannot write it in any format. What single formats do not keep is in docs/formats.md.
    struct NotKept {
        qint64 withZ = 0;      ///< features of which Z values are dropped
        qint64 withM = 0;      ///< the same of M values, as far as GDAL reads them
        qint64 withCurves = 0; ///< features of which arcs become lines
        /// Collections, of which each shape becomes a feature, and surfaces, which become polygons.
        qint64 collections = 0;
        qint64 incomplete = 0; ///< features of which the geometry, or a part of it, could not be read
        /// Features with a text that is not UTF-8: U+FFFD stands for some of its bytes.
        qint64 otherTexts = 0;
        int defaults = 0;   ///< fields with a default value
        int subtypes = 0;   ///< fields of a subtype other than boolean: short integers, JSON...
        int geometries = 0; ///< columns of geometry beside the one that is read
        /// Features with a time of which digits beyond milliseconds are dropped, as far as GDAL reads them.
        qint64 fractions = 0;
        /// Rows of the source that have no geometry and are no shapes. saveAs() copies them, but FlatGeobuf
        /// has no place for them.
        qint64 withoutGeometry = 0;

        bool isAny() const noexcept {
            return withZ + withM + withCurves + collections + incomplete + otherTexts + defaults + subtypes +
                       geometries + fractions + withoutGeometry >
                   0;
        }
    };
    /// Of the features that are in the layer. Linear time.
    NotKept notKept() const;

    /// For each shape, by position, the source's own id of the feature that it stands for; -1 for a shape
    /// that is not in the source, and for a row of a database that has this id. In a GeoJSON file two
    /// features may have the same id. Linear time.
    QList<qint64> sourceFeatureIds() const;

    /// By sourceFeatureIds(), so that of two features with one id, the first counts. The first
    /// shapeForFeatureId() after a change of the list takes linearithmic time, the next ones logarithmic.
    std::optional<qint64> featureId(const Shapes::GisShape& shape) const override;
    Shapes::GisShape* shapeForFeatureId(qint64 id) override;
    /// True for tables of databases with a key. In other formats the id is the feature's place in the file,
    /// but for GeoJSON, where nobody can tell ids that are in the file from those that GDAL counts.
    bool hasStableFeatureIds() const override;

    /// After a commit, also where the attribute was given in another type.
    QString exactText(const Shapes::GisShape& shape, const QString& field) const override;

    /// \name Saving edits
    /// commitEdit() writes what has changed since open() or the last commit to the source that was opened: in
    /// one transaction where the format has them (GeoPackage, SQLite, PostGIS and others), else as new files
    /// that take the place of the old ones (GeoJSON, GeoJSON text sequences, FlatGeobuf, Shapefile). Other
    /// formats are read only.
    ///
    /// An edited shape is saved into the feature that it was read from, and of that feature only those values
    /// are changed that differ. What was not edited stays: in GeoPackage, SQLite and PostGIS to the last
    /// digit, for columns that were not edited are not written (GDAL reads and writes the geometry of an
    /// edited feature again, in PostGIS only where it was moved), in other transactions as GDAL reads it, in
    /// GeoJSON and in a Shapefile, its table and its geometries, as it is written, in FlatGeobuf with the
    /// same values. New shapes become features behind those that are there, whatever their position in the
    /// layer. A change made through a shape's pointer is saved only after markDirty().
    ///
    /// Everything is saved or nothing. When it cannot be, commitEdit() is false, lastError() says why, the
    /// source is as it was, and the session goes on with its undo stack. (Where the disk fails in the last
    /// step, the reason ends with "the new file is in its place, but may not outlast a power failure"; the
    /// next commitEdit() tries no more than to make it last.) So it is for
    /// - a source that is write-protected or locked;
    /// - in GeoPackage and SQLite, an edit of a feature that was changed or deleted since it was read, by
    ///   another layer of this process or by somebody else. Everything else in the database may have changed:
    ///   layers of one file, and of one table, commit in any order. What the others saved is seen after the
    ///   next open(). Where another file has taken the place of the one that was read, all features must be
    ///   the same;
    /// - a table whose fields or coordinate system somebody has changed, and a database that is replaced by
    ///   another file meanwhile;
    /// - in other files, one that has another size, time of writing or place on the disk than when it was
    ///   opened;
    /// - in PostGIS, edits that conflict with those of others, see conflicts(); rows that others hold locked
    ///   for longer than saveWait(); a table without a primary key of one whole number; a text longer than
    ///   its column takes, a number with more digits. Where the connection breaks as the edits are committed,
    ///   another one asks whether they are in; should it get no answer, the next commitEdit() asks again;
    /// - a value that is none for its field, such as an infinite number, or one of more decimals than the
    ///   field keeps (a number that is none, NaN, is saved as null), a text with U+0000 or half a surrogate
    ///   pair, an attribute that is no field, a geometry of a kind that the source does not take, as any in a
    ///   table without geometry, a coordinate that is not finite;
    /// - a Shapefile with columns other than text, numbers, dates and logical values (memos and the like), or
    ///   with another number of records in its table than shapes;
    /// - an edit of a feature that shapes do not hold whole: one that gave several shapes (it can be deleted,
    ///   with all of them, and get other attributes, the same on all of them), one whose parts were skipped,
    ///   another geometry for one with Z, M or curves. Left alone, such features stay as they are;
    /// - a text in a Shapefile that the encoding of its table does not have, or any but ASCII where that
    ///   encoding is not known;
    /// - FlatGeobuf with columns of types that GDAL does not write, or dates with times of more digits;
    /// - GeoJSON with records that are no features, or that is not UTF-8;
    /// - a change of a database row with the id -1, and any in a table with a row of the id
    ///   -9223372036854775808;
    /// - several files that symbolic links do not show as they are stored, or whose suffixes differ in case;
    /// - a command that is running, a full disk, no memory, or a progress callback that cancels.
    /// Neither the fields nor the coordinate system of a source are changed; but GeoJSON, which has no
    /// schema, takes every field that the layer declares, of the declared type unless that is narrower than
    /// what is there, and every kind of shape.
    ///
    /// GeoJSON keeps its ids and members that GDAL does not know; a Shapefile its .prj, .cpg and .qpj, and
    /// the names and types of its columns, not its .qix, .sbn, .sbx, .idm, .ind and .atx indexes; FlatGeobuf
    /// no index. Source ids of features in new files are counted anew.
    /// @{
    /// Why the last commitEdit() was false; empty after one that was true.
    const QString& lastError() const noexcept { return m_lastError; }
    /// @}

    /// \name Conflicts
    /// In PostGIS, commitEdit() writes the columns that were edited and no others, with the rows locked and
    /// compared first: what was read, what the layer has, what is there now. What others have changed in
    /// other columns, or in the geometry, stays beside the layer's edits (and is seen here after the next
    /// open()). Where both have changed the same to different values, where one has deleted what the other
    /// has changed, nothing is written, commitEdit() is false, and these are all such places. Two that both
    /// deleted a row, or gave it the same value, agree.
    ///
    /// A host says for each which is to hold, and commits again. Should the source have changed once more
    /// meanwhile, that is a new conflict.
    /// @{
    /// Of the last commitEdit(); empty after one that was true, and after the session.
    const QList<GisEditConflict>& conflicts() const noexcept;
    /// Ours: the next commit writes it over theirs; a row that was deleted there comes back under its id with
    /// all values as the layer has them, unless the layer does not hold it whole (Z, several shapes). Theirs:
    /// the value or the geometry of the shape becomes theirs, or the shape is deleted, an edit that can be
    /// undone; a row DeletedHere stays in the source, and is in the layer again after the next open(). False,
    /// and nothing is done, outside a session, for a position that is none, for Choice::Open, for Ours after
    /// Theirs (undo that), for a shape that is not in the layer any more, and for their geometry where that
    /// is not one shape of the same kind.
    bool resolveConflict(qsizetype position, GisEditConflict::Choice choice);
    /// @}

    /// How the spatial index came about.
    enum class IndexOrigin {
        None,          ///< there is none yet, or the content has changed since
        Built,         ///< built, and not saved
        BuiltAndSaved, ///< built, and saved in indexFilePath()
        Loaded,        ///< loaded from there
    };

    /// \name Index file
    /// When switched on (it is off at first), an R-tree index is saved beside the data source when it is
    /// first built, and loaded the next time instead, as long as the source has the same size and time of
    /// writing, and the layer the same name and number of shapes; otherwise it is built and saved anew.
    /// Nothing is reported when that fails: the index is built then, in a folder that cannot be written to
    /// every time. No effect for formats of several files (it is for GeoPackage, SQLite, GeoJSON, FlatGeobuf
    /// and KML) and for sources that are not one plain file, for other kinds of index, and after the content
    /// was changed. Whoever can write the file decides what queries find: use it where the data are trusted.
    /// @{
    bool usesIndexFile() const noexcept { return m_usesIndexFile; }
    void setUsesIndexFile(bool use) noexcept { m_usesIndexFile = use; }
    /// The data source's name, the layer's, and ".rtree". The layer is open.
    QString indexFilePath() const;
    IndexOrigin indexOrigin() const noexcept;
    /// @}

protected:
    /// False for a layer that is not open.
    bool beginEditCore() override;
    bool commitEditCore() override;
    bool rollbackEditCore() override;
    void reserveShapes(int count) override;
    /// Features that were multipoints, as far as their points are in the layer and have the same attributes.
    std::vector<std::vector<int>> multiPoints() const override;
    /// Reads them from the source as it is now.
    /// \throws std::runtime_error when there were such rows and the source cannot be read
    void forRowsWithoutGeometry(const std::function<void(const Attributes&)>& function) const override;
    std::set<QString> jsonFields() const override;
    void shapesChanged(ShapeChange change, int position, const Shapes::GisShape* shape) override;
    void shapesTaken(const std::vector<int>& positions) override;
    void shapesPutBack(const std::vector<int>& positions) override;
    bool isOfThisLibrary() const override;
    bool restoreSpatialIndex(Spatial::ISpatialIndex& index) override;
    void keepSpatialIndex(const Spatial::ISpatialIndex& index) override;

private:
    std::optional<Internal::IndexFile> indexFile() const;
    Internal::OgrEdits pendingEdits() const;
    struct Saved;
    Saved afterSaving(const Internal::OgrEdits& edits, const Internal::OgrSavedIds& ids) const;
    void save();

    QString m_layerName;
    QString m_readName;
    ProgressCallback m_progress;
    std::chrono::milliseconds m_saveWait = std::chrono::seconds(2);
    std::unique_ptr<Providers::GisLayerProvider> m_provider;
    qint64 m_skippedCount = 0;
    QList<SkippedFeature> m_skipped;
    std::unique_ptr<Internal::FeatureTrace> m_trace; // never null
    std::unique_ptr<Internal::OgrReadState> m_read;  // never null
    QString m_sourcePath;
    std::unique_ptr<Internal::SourceState> m_sourceState; // never null
    std::shared_ptr<CoordinateSystems::CoordinateSystem> m_sourceSystem;
    bool m_isUnsafe = false;                             // what was saved last may not have reached the disk
    std::unique_ptr<Internal::EditsLeftOpen> m_leftOpen; // never null
    QString m_lastError;
    bool m_usesIndexFile = false;
    QString m_sourceName;     // the layer's name in the source
    qint64 m_sourceSize = -1; // -1: no index file
    qint64 m_sourceWrittenAt = 0;
    quint64 m_openedRevision = 0;
    quint64 m_indexedRevision = 0;
    IndexOrigin m_indexOrigin = IndexOrigin::None;
};

} // namespace Cartolith::Core::Layers
