#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisEditConflict.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <QStringList>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace Cartolith::Core::Layers {

namespace Internal {
class FeatureCache;
class FeatureTrace;
class WindowSource;
struct EditsLeftOpen;
struct OgrReadState;
struct OgrSavedIds;
struct ReadFeature;
struct CachedFeature;
struct ReadWindow;
} // namespace Internal

/// A vector layer that reads of its source what is asked for, for data that are larger than memory or than
/// anybody wants to wait for: FlatGeobuf and GeoPackage with an index, tables of PostGIS. Where a layer fits
/// into memory, GisLayerOgrVector is the simpler one: it reads everything once, draws stand-ins that are
/// kept, and writes more formats.
///
/// open() reads the schema only. A query reads the features that the extent meets, and keeps them in a cache:
/// an extent within one that was read is answered from there. The cache has a budget in bytes; beyond it,
/// what nobody has asked for the longest time leaves the layer. What the last query, findShapeAt() or
/// shapeForFeatureId() gave stays until the next one, and what was edited until the session ends. **Pointers
/// are valid as long**; who keeps anything longer keeps featureId().
///
/// Queries give the same shapes as a GisLayerOgrVector would, in the order of the source's ids, new ones
/// last. They throw std::runtime_error with the path and the reason where the source cannot be read (it
/// vanished, another program changed its columns, a file is cut short); the layer is then as before.
///
/// What the members of GisLayerVector say here:
/// - `id()` is a handle, given out when a shape is read. It is good as long as the shape is in the layer.
///   Afterwards getShape() gives null for it, and outside of an edit session another shape may be given it.
/// - `count()`, `items()`: the places for which handles were given out. A place is null where its shape has
///   left. `rawShapes()`: the shapes that are in the layer now. featureCount() is the source's own.
/// - `attributesForRow()` and its like: rows are places; an empty table for one whose shape has left.
/// - `extent()`: what the host has set, else what the source keeps ready, grown by what was edited; where
///   the source would have to scan, the extent of what was read.
/// - `queryLod()`, `queryOverviewPoints()`: made of what query() gives, anew for each call; they belong to
///   the layer until the next one.
/// - `replaceShapes()` and `clearShapes()` make the layer forget what was read and edited; they delete
///   nothing of the source.
/// - saveAs() is refused, and the layer's own index, stand-ins and value cache are not used.
///
/// One layer belongs to one thread, cancel() excepted; a host may keep it on a thread of its own. Nothing
/// here starts one.
class CARTOLITH_CORE_EXPORT GisLayerOgrOnDemand : public GisLayerVector {
public:
    /// Nothing is read before open(). An empty layer name means the first layer of the source.
    explicit GisLayerOgrOnDemand(const QString& path, const QString& layerName = QString());
    ~GisLayerOgrOnDemand() override;

    /// Takes milliseconds for the formats named above. A server goes through the whole table where neither
    /// the type of the geometry column nor a constraint says the coordinate system: geometries in several are
    /// refused, here, by beginEdit() and by whatever reads such a row later. The source stays open. \throws
    /// std::runtime_error with the path and the reason; the layer is then as before
    bool open() override;
    void close() override;
    /// True for an open source whose driver has transactions (GeoPackage, SQLite, PostGIS and others). Files
    /// that are written anew as a whole are edited with GisLayerOgrVector.
    bool canEdit() const override;
    Shapes::GisExtent extent() const override;
    /// Valid until the next open() or close().
    const Providers::GisLayerProvider* layerProvider() const override;
    Providers::GisLayerProvider* layerProvider() override;

    const QString& layerName() const noexcept { return m_layerName; }
    /// Takes effect with the next open().
    void setLayerName(const QString& name) { m_layerName = name; }
    /// As GisLayerOgrVector::setSaveWait().
    std::chrono::milliseconds saveWait() const noexcept { return m_saveWait; }
    void setSaveWait(std::chrono::milliseconds wait) noexcept { m_saveWait = wait; }

    /// How many features the source has, as it says without reading them; -1 where it cannot. A server
    /// estimates.
    qint64 featureCount() const noexcept;
    /// Whether the source finds the features of an extent by an index. Where it does not (other formats, and
    /// files written without), each query outside of what is in the cache looks at every feature.
    bool isIndexed() const noexcept;

    QList<Shapes::GisShape*> query(const Shapes::GisExtent& extent) override;
    Shapes::GisShape* findShapeAt(const Shapes::GisShapePoint& point, double tolerance) override;
    QList<Shapes::GisShape*> queryLod(const Shapes::GisExtent& extent, int level) override;
    QList<Shapes::GisShape*> queryOverviewPoints(const Shapes::GisExtent& extent) override;
    /// What a picture of an extent shows, and of how much.
    struct Picture {
        QList<Shapes::GisShape*> shapes;
        qint64 shownCount = 0;   ///< features that they are of
        qint64 featureCount = 0; ///< of the source; -1 where it does not say
        bool isWhole = true;     ///< everything that meets the extent is there, as it is

        /// "1052 of 5000000 features shown".
        QString text() const;
    };
    /// For a picture with so many units of the layer to a pixel: as query() where few features are to be
    /// expected, else what GisFeatureRequest::picture says, of overviews or a sample, with fields(). Such
    /// shapes belong to the layer until the next call of this or of queryLod(), have attributes and no
    /// id, and are kept beside the budget: they are about `most` at the most. What is edited and not saved is
    /// as it is in the layer. lastReading() says whether it was cancelled. \throws as query();
    /// std::invalid_argument where most is less than 1
    Picture queryPicture(const Shapes::GisExtent& extent, double unitsPerPixel, qint64 most = 50'000);
    /// These give all fields, reading those that shapes were read without.
    Attributes attributesForFeatureId(int id) const override;
    Attributes attributesForRow(int row) const override;
    QVariant attributeValueForRow(int row, const QString& field) const override;

    /// \name Feature ids
    /// @{
    std::optional<qint64> featureId(const Shapes::GisShape& shape) const override;
    /// Reads the feature where it is not in the layer. Quick where the source finds features by their ids.
    Shapes::GisShape* shapeForFeatureId(qint64 id) override;
    /// True for tables with a key. In other files the id is the feature's place; but for GeoJSON, where it is
    /// the number that the file gives a feature for its id, if it does. Whether all have one only a reading
    /// of the whole text would tell, so that it is false there, too.
    bool hasStableFeatureIds() const override;
    /// @}

    /// Kept in the cache with the feature, within the budget; of a field that was not read, it reads the
    /// feature again.
    QString exactText(const Shapes::GisShape& shape, const QString& field) const override;

    /// By the source itself, with fields(), cache and budget left out of it. \throws std::runtime_error too
    /// while edits are not saved
    std::unique_ptr<GisFeatureReader> read(const GisFeatureRequest& request) override;

    /// \name What is read, and how much is kept
    /// @{
    /// How the last query, findShapeAt() or shapeForFeatureId() ended.
    enum class Reading {
        Whole,
        Cut,       ///< what met the extent is more than the budget, of which it is a part
        Cancelled, ///< by cancel(); it gave what was read until then
    };
    Reading lastReading() const noexcept { return m_lastReading; }

    /// The fields that shapes are read with: those that styles, labels and the host need. All of them at
    /// first, and in an edit session. What was read before leaves the layer.
    const std::optional<QStringList>& fields() const noexcept { return m_fields; }
    void setFields(const std::optional<QStringList>& fields);

    /// In bytes, 256 MiB at first. What shapes take is estimated; tables that the host asks shapes for
    /// (attributes()) and what GDAL keeps for itself are not in it.
    qint64 cacheBudget() const noexcept;
    /// Takes effect with the next query.
    void setCacheBudget(qint64 bytes) noexcept;
    qint64 cachedBytes() const noexcept;

    /// From any thread: ends a query or queryPicture() that is under way, at once where the driver can be
    /// interrupted (GeoPackage, SQLite, PostGIS), else after the feature being read; FlatGeobuf's search of
    /// its index and its batches of 256 features come to their end first. Does nothing while there is none.
    /// The layer lives meanwhile.
    void cancel() noexcept;
    /// @}

    /// \name Saving edits
    /// As with GisLayerOgrVector, in one transaction. beginEdit() reads again what the last query gave, with
    /// all fields, and the rest leaves the layer. A shape that somebody else has changed since it was read is
    /// not overwritten: commitEdit() is false then, in PostGIS only where both have changed the same.
    ///
    /// In PostGIS, the first query after a commit reads anew what it asks for, with what others, defaults and
    /// triggers have put there, and every other shape leaves the layer; featureId() stays what it was.
    /// @{
    /// Why the last beginEdit() or commitEdit() was false; empty after one that was true.
    const QString& lastError() const noexcept { return m_lastError; }
    /// In PostGIS, as GisLayerOgrVector::conflicts().
    const QList<GisEditConflict>& conflicts() const noexcept;
    /// As GisLayerOgrVector::resolveConflict(); a row DeletedHere that stays in the source is in the layer
    /// again with the next query.
    bool resolveConflict(qsizetype position, GisEditConflict::Choice choice);
    /// @}

    /// Also finds the memory for what the layer remembers of each.
    void reserveShapes(int count) override;

protected:
    bool beginEditCore() override;
    bool commitEditCore() override;
    bool rollbackEditCore() override;
    void shapesChanged(ShapeChange change, int position, const Shapes::GisShape* shape) override;
    bool holdsAllShapes() const override;

private:
    class Sync;

    int placeOf(const Shapes::GisShape& shape) const;
    bool isWithoutFields(int row) const;
    void edit(int position);
    /// Reads what meets the extent, unless it is in the cache, in front of which it then is.
    const Internal::ReadWindow& readWindow(const Shapes::GisExtent& extent);
    template <typename Work>
    void reading(const Work& work);
    bool takeRead();
    int freePlace();
    void leave(const Internal::CachedFeature& feature);
    void forgetRead();
    const std::vector<Shapes::GisShape*>& editedShapes() const;
    QList<Shapes::GisShape*> standInsMeeting(const Shapes::GisExtent& extent) const;
    void sortBySource(QList<Shapes::GisShape*>& shapes) const;
    void letGoOfOutdated();
    void readAgain(const std::vector<Internal::CachedFeature*>& features);
    bool complete(Internal::CachedFeature& feature, const Internal::ReadFeature& read,
                  const std::unique_ptr<Shapes::GisShape>* shapes);
    void save();
    bool isEdited(int row) const;
    Internal::OgrReadState readForEdits() const;
    void settleEdits(const Internal::OgrSavedIds* saved);
    void readForEditing(bool isForEditing);

    QString m_layerName;
    QString m_readName;
    QString m_sourcePath;
    std::chrono::milliseconds m_saveWait = std::chrono::seconds(2);
    std::optional<QStringList> m_fields;
    std::unique_ptr<Providers::GisLayerProvider> m_provider;
    std::unique_ptr<Internal::WindowSource> m_source; // null while the layer is closed
    std::unique_ptr<Internal::FeatureCache> m_cache;  // never null
    std::unique_ptr<Internal::FeatureTrace> m_trace;  // never null
    std::unique_ptr<Sync> m_sync;                     // never null
    std::shared_ptr<CoordinateSystems::CoordinateSystem> m_sourceSystem;
    std::vector<int> m_free; // places whose shapes have left
    bool m_freeIsKnown = true;
    mutable std::vector<Shapes::GisShape*> m_edited; // changed and new ones
    mutable bool m_editedIsKnown = true;
    std::vector<std::unique_ptr<Shapes::GisShape>> m_standIns;
    GisFeatureReader* m_pictureReader = nullptr; // set while a picture is read
    Shapes::GisShapeType m_kindBefore = Shapes::GisShapeType::Null;
    Reading m_lastReading = Reading::Whole;
    std::unique_ptr<Internal::EditsLeftOpen> m_leftOpen; // never null
    bool m_isOutdated = false;                           // what was read is of before a commit
    QString m_lastError;
};

} // namespace Cartolith::Core::Layers
