#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Layers/GisVectorSaveOptions.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Spatial/SpatialIndexType.h>

#include <QHash>
#include <QList>
#include <QMutex>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

namespace Cartolith::Core {
namespace Shapes {
class GisShapePolygon;
class GisShapePolyline;
} // namespace Shapes
namespace Spatial {
class ISpatialIndex;
}
} // namespace Cartolith::Core

namespace Cartolith::Core::Layers {

namespace Commands {
class GisEditCommand;
class GisMacroCommand;
} // namespace Commands
namespace Internal {
class EditHistory;
}
class GisFeatureReader;
struct GisFeatureRequest;

/// The layer that owns a list of shapes with their attributes, answers extent and hit queries through a
/// spatial index, and keeps simplified stand-ins for drawing at small scales.
///
/// Layer order is drawing order: later shapes lie on top. Ids belong to the layer: the shape at position i
/// has id i + 1, renumbered after every insertion and removal; do not set them. Pointers to shapes are valid
/// until the layer's list of shapes changes. Index, extent and stand-ins are made when a query first needs
/// them, and brought up to date or made anew after a change; who edits a shape's geometry through its pointer
/// calls markDirty() afterwards.
///
/// Queries throw nothing but std::bad_alloc; a subclass that reads when asked says what else. Every operation
/// ends so when memory runs out, and one that changes the layer leaves it as it was. (GDAL, and QHash where
/// it grows, end the process instead; this library lets none grow where it reads or writes.) Used by one
/// thread at a time, queries included: they fill caches. The attribute value cache alone has its own lock.
class CARTOLITH_CORE_EXPORT GisLayerVector : public GisLayer {
public:
    using Attributes = QHash<QString, QVariant>;

    /// A closed, empty layer, named after the file. The path may be empty; nothing is read.
    explicit GisLayerVector(const QString& path);
    ~GisLayerVector() override;

    bool canEdit() const override;
    /// The metadata extent when one is set, else the extent of all shapes.
    Shapes::GisExtent extent() const override;
    /// Switches the open state, here without reading anything. Always true.
    bool open() override;
    void close() override;

    /// Null when there is no such id. Constant time.
    virtual Shapes::GisShape* getShape(int id) const;
    /// The topmost shape whose box, grown by the tolerance, holds the point and which contains it within the
    /// tolerance (layer units); null when there is none. A polygon also contains what lies in its holes:
    /// where that matters, ask GisTopology::Distance() of the shapes that query() gives.
    virtual Shapes::GisShape* findShapeAt(const Shapes::GisShapePoint& point, double tolerance);
    /// The shapes whose box meets the extent: in the index's order, or in layer order without one.
    virtual QList<Shapes::GisShape*> query(const Shapes::GisExtent& extent);
    /// Level 0 and below: query(). Level 1: shapes simplified with a tolerance of 0.8 layer units. Level 2
    /// and above: queryOverviewPoints(). What is returned belongs to the layer and carries the ids of the
    /// originals.
    ///
    /// The first call after a change of geometry simplifies every shape, which cannot be stopped, in the time
    /// that GisShapePolyline::simplifyDouglasPeucker() states: mostly n log n, but quadratic where rounding
    /// decides, as for the outline of a raster along a diagonal (2 s for 62,000 vertices of one line, 27 s
    /// for 248,000). Whoever has such lines and cannot wait asks read() for features of a tolerance, which
    /// GisFeatureReader::cancel() stops.
    virtual QList<Shapes::GisShape*> queryLod(const Shapes::GisExtent& extent, int level);
    /// One point for each shape, with its id and, as they were when the points were made, its attributes: a
    /// change of attributes alone does not make them anew.
    virtual QList<Shapes::GisShape*> queryOverviewPoints(const Shapes::GisExtent& extent);
    virtual Attributes attributesForFeatureId(int id) const;
    /// Rows count from 0 in layer order; an empty table outside the range.
    virtual Attributes attributesForRow(int row) const;
    /// Invalid when the field name is empty, the row is out of range or has no such value.
    virtual QVariant attributeValueForRow(int row, const QString& field) const;

    /// \name Feature ids
    /// The data source's own, 64 bits wide: what a host keeps of a selection or a form, for shape ids change
    /// with every deletion. A layer without a source has none.
    /// @{
    /// None for a shape that is not in the layer, or not in the source (yet).
    virtual std::optional<qint64> featureId(const Shapes::GisShape& shape) const;
    /// The shape that stands for the feature, the first where it gave several; null when there is none.
    virtual Shapes::GisShape* shapeForFeatureId(qint64 id);
    /// Whether a feature keeps its id through edits, commits and the next open(). False here.
    virtual bool hasStableFeatureIds() const;
    /// @}

    /// The value of a field as a server writes it, where the attribute is less: a number of more than fifteen
    /// digits, a time of microseconds, infinity or a year BC, a list with nulls. As it was read, or last
    /// saved. Empty where the attribute is all, where it was edited since, for a table without a key, and for
    /// other sources than PostGIS. Logarithmic time.
    virtual QString exactText(const Shapes::GisShape& shape, const QString& field) const;

    /// The features that are asked for, one after the other. The layer lives longer than the reader, which
    /// throws after a change of the layer. Throws as GisFeatureReader::fromSource().
    virtual std::unique_ptr<GisFeatureReader> read(const GisFeatureRequest& request);

    /// An open layer without a file. An extent that is not empty becomes the metadata extent.
    static std::unique_ptr<GisLayerVector> createInMemory(const QString& name, Shapes::GisShapeType type,
                                                          const Shapes::GisExtent& extent);
    /// Back to an empty, closed layer without fields; name, path, style and renderer stay.
    void resetVectorLayerState();

    const QString& path() const noexcept { return m_path; }
    void setPath(const QString& path) { m_path = path; }

    /// Null while the layer is empty or mixed.
    Shapes::GisShapeType shapeType() const noexcept { return m_shapeType; }
    void setShapeType(Shapes::GisShapeType type) noexcept;

    /// \name Shapes
    /// The forms here cannot be undone.
    /// @{
    int count() const noexcept { return static_cast<int>(m_shapes.size()); }
    QList<Shapes::GisShape*> rawShapes() const;
    const std::vector<std::unique_ptr<Shapes::GisShape>>& items() const noexcept { return m_shapes; }
    /// The position of the shape with that id, or -1. Constant time.
    int indexOfShapeId(int id) const;

    /// False, and the shape is dropped, when it is null or empty. The first shape of a kind sets the layer's
    /// kind; one of another kind makes the layer mixed. Amortised constant time.
    bool addShape(std::unique_ptr<Shapes::GisShape> shape);
    /// These add a clone.
    bool addShape(const Shapes::GisShape& shape);
    bool addPoint(const Shapes::GisShapePoint& point);
    bool addPolyline(const Shapes::GisShapePolyline& polyline);
    bool addPolygon(const Shapes::GisShapePolygon& polygon);
    /// False for a null shape or a negative index; an index past the end appends. An empty shape is accepted,
    /// so that what was taken out can be put back.
    bool insertShapeAt(int index, std::unique_ptr<Shapes::GisShape> shape);
    /// Finds the memory for that many shapes now: until there are more, putting shapes in does not fail.
    virtual void reserveShapes(int count);
    /// False when the shape is not in the layer. \throws std::invalid_argument "Shape cannot be null."
    bool removeShape(Shapes::GisShape* shape);
    bool removeShapeById(int id);
    /// Takes the shape out and gives it away; null when there is none. Its position goes to `index` when
    /// given.
    std::unique_ptr<Shapes::GisShape> takeShapeById(int id, int* index);
    /// Puts the shape in the place of the one with that id and returns the old one. Null, and the new shape
    /// is dropped, when there is no such id, the shape is null, or its kind is not that of the layer.
    std::unique_ptr<Shapes::GisShape> replaceShapeById(int id, std::unique_ptr<Shapes::GisShape> shape);
    void replaceShapes(std::vector<std::unique_ptr<Shapes::GisShape>> shapes);
    /// False for an unknown id. Leaves index and stand-ins alone.
    bool setShapeAttributesById(int id, const Attributes& attributes);
    void clearShapes();
    /// @}

    /// \name Editing that can be undone
    /// Between beginEdit() and commitEdit() or rollbackEdit(); everything here is false outside. The open
    /// state plays no part, but closing a layer ends the session, and its changes stay without being saved or
    /// undone. The shape operations above do not enter the edit history: undo and rollback leave their
    /// changes in place, and may then change other shapes than they were meant for. Within a session use the
    /// operations below only.
    /// @{
    /// Takes the command and runs it. False, with the command destroyed and the layer as it was, outside a
    /// session, for null, when the command fails, and while another command is running. What could be redone
    /// is gone after a success. What a command throws passes through, as after a failure.
    bool executeEditCommand(std::unique_ptr<Commands::GisEditCommand> command);
    /// The shape is appended; it may be empty, but not null.
    bool addShapeEdit(std::unique_ptr<Shapes::GisShape> shape);
    bool deleteShapeEdit(int id);
    bool setShapeAttributesEdit(int id, const Attributes& attributes);
    /// The shape's attributes come with it. False as well when its kind is not that of the layer.
    bool setShapeGeometryEdit(int id, std::unique_ptr<Shapes::GisShape> shape);

    bool canUndoEdit() const noexcept;
    bool canRedoEdit() const noexcept;
    /// What undoEdit() and redoEdit() would do, for a menu; empty when there is nothing, or the command has
    /// no text.
    QString undoText() const;
    QString redoText() const;
    /// A command that fails stays where it was. Undoing every step makes the layer clean again.
    bool undoEdit();
    bool redoEdit();
    /// Forgets all steps, keeps their changes, and clears the dirty state.
    void clearEditHistory();
    /// Dirty while there is something to undo. Only while editing.
    void refreshEditDirtyState();
    /// @}

    /// \name Fields
    /// @{
    const QList<Defs::GisAttributeDefinition>& attributeDefinitions() const noexcept { return m_definitions; }
    /// Null when there is none of that name; valid until the definitions change.
    const Defs::GisAttributeDefinition* getAttributeDefinition(const QString& name) const;
    void addAttributeDefinition(const Defs::GisAttributeDefinition& definition);
    void clearAttributeDefinitions() noexcept;
    /// One value for each field: its default, or an invalid one.
    Attributes defaultAttributes() const;
    /// @}

    /// \name Attribute value cache
    /// Columns of values by row, for whoever fills and reads them; may be used from several threads.
    /// @{
    void setCachedAttributeValues(const QString& field, QList<QVariant> values) const;
    /// False when the field was never set. A row out of range is a hit with an invalid value.
    bool tryGetCachedAttributeValue(const QString& field, int row, QVariant& value) const;
    void clearAttributeValueCache() const;
    /// @}

    /// \name Extent
    /// @{
    /// What the host says the extent is; extent() returns it unchecked from then on, whatever is edited.
    void setMetadataExtent(const Shapes::GisExtent& extent);
    void expandMetadataExtent(const Shapes::GisExtent& extent);
    void clearMetadataExtent() noexcept;
    /// The extent that was set. An extent that the layer took from its data source counts only while no
    /// geometry differs from the source: after the first change there is none, and once all changes are
    /// undone it is there again.
    std::optional<Shapes::GisExtent> metadataExtent() const noexcept;
    /// The extent of all shapes, computed anew.
    Shapes::GisExtent calculateExtent() const;
    /// @}

    /// \name Spatial index
    /// @{
    bool useSpatialIndex() const noexcept { return m_useSpatialIndex; }
    void setUseSpatialIndex(bool use);
    Spatial::SpatialIndexType spatialIndexType() const noexcept { return m_spatialIndexType; }
    /// A change takes effect with the next build; an index given by setSpatialIndex() is given up then.
    void setSpatialIndexType(Spatial::SpatialIndexType type);
    /// Takes an index made by the caller. One that is built already is used as it is.
    void setSpatialIndex(std::unique_ptr<Spatial::ISpatialIndex> index);
    /// Null before the first build.
    const Spatial::ISpatialIndex* spatialIndex() const noexcept { return m_index.get(); }
    /// An empty index of the layer's kind.
    std::unique_ptr<Spatial::ISpatialIndex> createSpatialIndex() const;
    void buildSpatialIndex();
    void ensureSpatialIndex();
    void clearSpatialIndex();
    /// @}

    /// Tells the layer that geometry has changed, of whichever shapes: index, extent and stand-ins are made
    /// anew when needed.
    void markDirty();
    /// Makes the stand-ins for small scales; queries do it by themselves. For the time see queryLod().
    void ensureLodCache();
    void buildLodCache();
    void clearLodCache();
    /// A point that stands for the shape, with its attributes: the point itself, a polygon's label point,
    /// else the centre of the box.
    static std::unique_ptr<Shapes::GisShapePoint> getOverviewPoint(const Shapes::GisShape& shape);

    /// Writes all shapes, their fields and the coordinate system to a new file, in the format that the suffix
    /// says: gpkg, geojson or json, geojsonl (also geojsons, ndjson, jsonl), fgb, shp, sqlite. The layer
    /// stays what it is, path and edit session included. docs/formats.md, "Saving layers", says what each
    /// format does not keep.
    ///
    /// Fields are those declared, then, by name, the attributes that shapes have beside them. A value that
    /// does not fit its field is an error, not a null. Lines and polygons become multi geometries where one
    /// of them is; a shape without geometry keeps its attributes. A subclass may know of shapes that are one
    /// feature, and of rows that are no shapes.
    ///
    /// Everything is written aside in the same folder and put in place at the end. A file that is a format's
    /// only one (all but shp) replaces the old one in one step: every program finds the old or the new. The
    /// files of a Shapefile are replaced one after the other: in that moment, other programs can find new
    /// files beside old ones. When the process is killed in that moment, it remains so until the user who
    /// saved opens the Shapefile with this library, which puts the old files back. While files are being
    /// replaced, open() of this library waits.
    /// New files have the access rights of those that they replace, and the group where that is allowed; the
    /// owner is the saving user, other hard links stay with the old content. GeoJSON, FlatGeobuf and
    /// Shapefile take memory of the size of the file.
    ///
    /// False when the callback cancelled. \throws std::runtime_error with the path and the reason: a suffix
    /// or a file that is refused, a shape or a value that the format has no place for, a full disk, another
    /// process that saves there; the folder is then as before, unless the reason ends with what is different.
    ///
    /// A path "PG:..." or "postgresql://..." is a database with PostGIS, where the layer becomes a new table
    /// named by the options, "schema.table" where there is such a schema: columns of the declared types, a
    /// key "fid", a geometry column "geom" with a spatial index, in one transaction. `existing` is about the
    /// table; one that views depend on is not replaced. The disk and the folder have nothing to do with it.
    bool saveAs(const QString& path, const GisVectorSaveOptions& options = {}) const;
    /// Whether the name ends like one of the formats that saveAs() knows, or is such a database.
    static bool canSaveAs(const QString& path);

protected:
    void setAttributeDefinitions(const QList<Defs::GisAttributeDefinition>& definitions) noexcept;
    /// As setMetadataExtent(), for the extent that the data source keeps of the geometry as it is now.
    void setSourceExtent(const Shapes::GisExtent& extent);

    /// The positions, in rising order, of points that saveAs() writes as one feature each, with the
    /// attributes of the first: none here.
    virtual std::vector<std::vector<int>> multiPoints() const;
    /// Calls the function with the attributes of every row that has no geometry and is no shape here, which
    /// saveAs() writes behind the shapes: none here. What it throws ends saveAs().
    virtual void forRowsWithoutGeometry(const std::function<void(const Attributes&)>& function) const;
    /// The fields whose texts are JSON, which saveAs() writes as that where the format has it; texts of
    /// others stay texts, whatever they look like. None here.
    virtual std::set<QString> jsonFields() const;

    /// Whether the object is of a class of this library, not of one derived from it, so that nobody has put
    /// another function in the place of a virtual one: then the same may be done in a shorter way. A class
    /// that overrides this says so of itself alone.
    virtual bool isOfThisLibrary() const;

    /// While it lives, everything that changes the layer's shapes, or its edit session, is refused: false,
    /// null or no effect. For code that reads the shapes and calls the host meanwhile. Held once at a time.
    class ChangeLock {
    public:
        explicit ChangeLock(GisLayerVector& layer) : m_layer(layer) { m_layer.m_isLocked = true; }
        ~ChangeLock() { m_layer.m_isLocked = false; }
        ChangeLock(const ChangeLock&) = delete;
        ChangeLock& operator=(const ChangeLock&) = delete;

    private:
        GisLayerVector& m_layer;
    };
    bool isLocked() const noexcept { return m_isLocked; }
    /// While one is running, commit and rollback are refused.
    bool isCommandRunning() const noexcept;

    /// Start and end the edit history. While a command is running, commit and rollback are refused. A
    /// rollback undoes all steps, the newest first, up to one that fails.
    bool beginEditCore() override;
    bool commitEditCore() override;
    bool rollbackEditCore() override;

    /// What happens to the list of shapes.
    enum class ShapeChange {
        Inserted,    ///< the shape is at the position
        Taken,       ///< it is there, and about to leave
        Changed,     ///< it is about to become another, or to get other attributes
        AllChanged,  ///< any of them may have been changed through its pointer
        AllReplaced, ///< the list is another
    };
    /// Lets a subclass bring up to date what it keeps beside the shapes. Before a shape is taken or changed
    /// it may throw, and the shape then stays as it is. After an insertion or a change of all shapes it must
    /// not throw: reserveShapes() has been called before, so that it needs no memory. The position is -1 and
    /// the shape null where all are meant. Does nothing here.
    virtual void shapesChanged(ShapeChange change, int position, const Shapes::GisShape* shape);
    /// The same for shapes that leave together and come back together, in a layer of this library. Positions
    /// rise, and are those with all of them in the list.
    virtual void shapesTaken(const std::vector<int>& positions);
    virtual void shapesPutBack(const std::vector<int>& positions);

    /// Of shapes in drawing order, the one that findShapeAt() means.
    static Shapes::GisShape* topmostAt(const QList<Shapes::GisShape*>& shapes,
                                       const Shapes::GisShapePoint& point, double tolerance);
    /// What queryLod() has in the place of a shape at level 1, with its id; null where it cannot be copied.
    static std::unique_ptr<Shapes::GisShape> simplifiedStandIn(const Shapes::GisShape& shape);

    /// Whether the shapes in the list are all that the layer stands for; else saveAs() is refused. True here.
    virtual bool holdsAllShapes() const;
    /// For a subclass that holds only some of its source's shapes at a time: puts one in a place of the list,
    /// or at its end, or empties the place. The shape gets the place's id, and nobody is told of anything;
    /// what was there is destroyed. Strong guarantee.
    void holdShape(int position, std::unique_ptr<Shapes::GisShape> shape);

    /// Lets a subclass fetch an index instead of building it. When it returns false, as here,
    /// buildSpatialIndex() builds one.
    virtual bool restoreSpatialIndex(Spatial::ISpatialIndex& index);
    /// Called when an index was built over all shapes; does nothing here.
    virtual void keepSpatialIndex(const Spatial::ISpatialIndex& index);

private:
    struct LodLevel;

    friend class Commands::GisMacroCommand;
    /// A shape that was taken out, and where it was then.
    struct TakenShape {
        int position;
        std::unique_ptr<Shapes::GisShape> shape;
    };
    /// As takeShapeById() for one id after the other up to the first that there is not, but renumbers once.
    /// None, and nothing is changed, where that cannot be done in one go.
    std::vector<TakenShape> takeShapesInTurn(const std::vector<int>& ids);
    /// As insertShapeAt() for the last to the first of them. False, and they are still there, where that
    /// cannot be done in one go.
    bool putBack(std::vector<TakenShape>& shapes);

    bool hasTypedShape() const;
    void noteShapeType(const Shapes::GisShape& shape, bool& isTyped);
    std::unique_ptr<Shapes::GisShape> takeAt(std::size_t position);
    void setExtentSaid(const std::optional<Shapes::GisExtent>& extent, bool isOfSource) noexcept;
    void settle(ShapeChange change, int position = -1);
    void forgetDerived();
    /// Brings index and extent up to date, if they can be. A shape that is back was put where it was.
    void notePlaces(const Shapes::GisShape* removed, Shapes::GisShape* added, bool isBack = false) noexcept;
    void reassignShapeIds(std::size_t from = 0);

    QString m_path;
    std::vector<std::unique_ptr<Shapes::GisShape>> m_shapes;
    Shapes::GisShapeType m_shapeType = Shapes::GisShapeType::Null;
    QList<Defs::GisAttributeDefinition> m_definitions;
    std::optional<Shapes::GisExtent> m_metadataExtent;
    bool m_isExtentOfSource = false; // the metadata extent, which then ends with
    bool m_geometryDiffers = false;  // ... a change that cannot be undone any more
    mutable Shapes::GisExtent m_cachedExtent;
    mutable bool m_extentDirty = true;
    bool m_useSpatialIndex = true;
    Spatial::SpatialIndexType m_spatialIndexType = Spatial::SpatialIndexType::RTree;
    std::unique_ptr<Spatial::ISpatialIndex> m_index;
    bool m_isIndexOwn = true; // not given by the caller
    bool m_indexDirty = true;
    std::unique_ptr<LodLevel> m_simplified;
    std::unique_ptr<LodLevel> m_overview;
    mutable QMutex m_valueCacheMutex;
    mutable std::unordered_map<QString, QList<QVariant>> m_valueCache;
    std::unique_ptr<Internal::EditHistory> m_history; // never null
    bool m_isLocked = false;
};

} // namespace Cartolith::Core::Layers
