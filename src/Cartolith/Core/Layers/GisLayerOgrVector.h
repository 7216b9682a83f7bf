#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <functional>

namespace Cartolith::Core::Layers {

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

private:
    QString m_layerName;
    QString m_readName;
    ProgressCallback m_progress;
    std::unique_ptr<Providers::GisLayerProvider> m_provider;
    qint64 m_featureCount = 0;
    qint64 m_skippedCount = 0;
    QList<SkippedFeature> m_skipped;
    QList<qint64> m_sourceIds;
};

} // namespace Cartolith::Core::Layers
