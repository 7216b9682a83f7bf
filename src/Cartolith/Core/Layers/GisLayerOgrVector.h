#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <functional>

namespace Cartolith::Core::Layers {

namespace Internal {
class IndexFile;
}

/// A vector layer of a file or database that OGR opens: GeoPackage, Shapefile, GeoJSON, FlatGeobuf, CSV with
/// WKT...
///
/// open() reads one layer whole into memory: schema, attributes, geometry, coordinate system and extent. The
/// data source is not kept open and not written to.
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
    /// source cannot be read, does not have the layer, or breaks off; the layer is then as it was before
    bool open() override;
    /// Gives up everything read.
    void close() override;

    /// Valid until the next open() or close().
    const Providers::GisLayerProvider* layerProvider() const override;
    Providers::GisLayerProvider* layerProvider() override;

    const QString& layerName() const noexcept { return m_layerName; }
    /// Takes effect with the next open().
    void setLayerName(const QString& name) { m_layerName = name; }

    /// Called every few hundred features, and once at the end; an empty function switches it off.
    void setProgressCallback(ProgressCallback callback);

    /// How many features the source's layer has. Not count(): a multipoint is several shapes.
    qint64 featureCount() const noexcept { return m_featureCount; }
    /// How many features gave no shape, or not all of their parts.
    qint64 skippedCount() const noexcept { return m_skippedCount; }
    /// The first thousand of them.
    const QList<SkippedFeature>& skippedFeatures() const noexcept { return m_skipped; }

    /// The source's own id of the feature a shape was read from, by the shape's position at that time.
    const QList<qint64>& sourceFeatureIds() const noexcept { return m_sourceIds; }

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
    bool restoreSpatialIndex(Spatial::ISpatialIndex& index) override;
    void keepSpatialIndex(const Spatial::ISpatialIndex& index) override;

private:
    std::optional<Internal::IndexFile> indexFile() const;

    QString m_layerName;
    QString m_readName;
    ProgressCallback m_progress;
    std::unique_ptr<Providers::GisLayerProvider> m_provider;
    qint64 m_featureCount = 0;
    qint64 m_skippedCount = 0;
    QList<SkippedFeature> m_skipped;
    QList<qint64> m_sourceIds;
    bool m_usesIndexFile = false;
    QString m_sourceName;     // the layer's name in the source
    qint64 m_sourceSize = -1; // -1: no index file
    qint64 m_sourceWrittenAt = 0;
    quint64 m_openedRevision = 0;
    quint64 m_indexedRevision = 0;
    IndexOrigin m_indexOrigin = IndexOrigin::None;
};

} // namespace Cartolith::Core::Layers
