#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <QSet>

#include <chrono>
#include <functional>

namespace Cartolith::Core::Layers {

namespace Internal {
class FeatureTrace;
class IndexFile;
class SourceState;
struct OgrEdits;
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
    /// source cannot be read, does not have the layer, or breaks off; the layer is then as it was before.
    ///
    /// Where a process of this user was killed while it saved the source, what it left is removed, and files
    /// that it was replacing are put back; but only what this library left in that very folder, and not
    /// through a link. An error says so when that cannot be done, or when another user has to do it.
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
    /// files of the source in place, each after the other; then they fail. Two seconds at first.
    std::chrono::milliseconds saveWait() const noexcept { return m_saveWait; }
    void setSaveWait(std::chrono::milliseconds wait) noexcept { m_saveWait = wait; }

    /// How many features the source's layer has. Not count(): a multipoint is several shapes.
    qint64 featureCount() const noexcept { return m_featureCount; }
    /// How many features gave no shape, or not all of their parts.
    qint64 skippedCount() const noexcept { return m_skippedCount; }
    /// The first thousand of them.
    const QList<SkippedFeature>& skippedFeatures() const noexcept { return m_skipped; }

    /// The source's own ids of the features that the shapes stand for, by position; -1 for shapes that are
    /// not in the source. In GeoJSON they need not differ. Linear time.
    QList<qint64> sourceFeatureIds() const;

    /// \name Saving edits
    /// commitEdit() writes what has changed since open() or the last commit to the source that was opened: in
    /// one transaction where the format has them (GeoPackage, SQLite, PostGIS and others), else as new files
    /// that take the place of the old ones (GeoJSON, GeoJSON text sequences, FlatGeobuf, Shapefile). Other
    /// formats are read only.
    ///
    /// A shape read from a feature changes that feature, and of it what differs. What was not edited stays:
    /// in a transaction as GDAL reads it (an edited feature is written with all its columns, and a text in a
    /// column of integers becomes a number), in GeoJSON to the letter, in other new files as exact as the
    /// format writes numbers. New shapes
    /// follow the features that are there, whatever their position here. A change made through a shape's
    /// pointer is saved only after markDirty().
    ///
    /// Everything is saved or nothing. When it cannot be, commitEdit() is false, lastError() says why, the
    /// source is as it was, and the session goes on with its undo stack. So it is for
    /// - a source that is write-protected or locked, or of which a file has another size, time of writing or
    ///   place on the disk than when it was opened. A server's tables are not watched: there the last one to
    ///   save a feature wins;
    /// - a value that is none for its field, such as an infinite number, or one of more decimals than the
    ///   field keeps (a number that is none, NaN, is saved as null), an attribute that is no field, a
    ///   geometry of a kind that the source does not take, a coordinate that is not finite;
    /// - a Shapefile with columns other than text, numbers, dates and logical values (memos and the like);
    /// - an edit of a feature that shapes do not hold whole: one that gave several shapes (it can be deleted,
    ///   with all of them), one whose parts were skipped, another geometry for one with Z, M or curves. Left
    ///   alone, such features stay as they are;
    /// - GeoJSON text sequences with records that are no features;
    /// - several files that symbolic links do not show as they are stored, or whose suffixes differ in case;
    /// - a command that is running, a full disk, or a progress callback that cancels.
    /// Neither the fields nor the coordinate system of a source are changed; but GeoJSON, which has no
    /// schema, takes every field that the layer declares, of the declared type unless that is narrower than
    /// what is there, and every kind of shape.
    ///
    /// GeoJSON keeps its ids and members that GDAL does not know; a Shapefile its .prj, .cpg and .qpj and the
    /// types of its columns, not its .qix, .sbn, .sbx, .idm, .ind and .atx indexes; FlatGeobuf no index.
    /// Source ids of features in new files are counted anew.
    /// @{
    /// Why the last commitEdit() was false; empty after one that was true.
    const QString& lastError() const noexcept { return m_lastError; }
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
    void shapesChanged(ShapeChange change, int position, const Shapes::GisShape* shape) override;
    bool restoreSpatialIndex(Spatial::ISpatialIndex& index) override;
    void keepSpatialIndex(const Spatial::ISpatialIndex& index) override;

private:
    std::optional<Internal::IndexFile> indexFile() const;
    Internal::OgrEdits pendingEdits() const;
    qint64 sourceId(qint64 feature) const;
    void save();

    QString m_layerName;
    QString m_readName;
    ProgressCallback m_progress;
    std::chrono::milliseconds m_saveWait = std::chrono::seconds(2);
    std::unique_ptr<Providers::GisLayerProvider> m_provider;
    qint64 m_featureCount = 0;
    qint64 m_skippedCount = 0;
    QList<SkippedFeature> m_skipped;
    // Features go by their own ids, but where files are written anew by their number in the file: ids in
    // GeoJSON need not differ.
    QList<qint64> m_numberedIds;                     // the ids of those that go by number; else empty
    QList<qint64> m_skippedFeatures;                 // the features of m_skipped
    std::unique_ptr<Internal::FeatureTrace> m_trace; // never null
    QHash<qint64, int> m_readFeatures; // the features that shapes were read from, how many of each
    QSet<qint64> m_partlyRead;         // those that shapes do not hold whole
    QString m_sourcePath;
    std::unique_ptr<Internal::SourceState> m_sourceState; // never null
    std::shared_ptr<CoordinateSystems::CoordinateSystem> m_sourceSystem;
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
