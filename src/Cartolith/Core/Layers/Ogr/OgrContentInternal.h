#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/Ogr/OgrDigestInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrReadStateInternal.h>

#include <functional>
#include <memory>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

class ArrowFeatures;
class OgrSource;
class ServerSelection;

/// Everything that opening a layer reads, collected aside so that a failure leaves the layer alone.
class OgrContent {
public:
    enum class Outcome {
        Whole,
        Cancelled,
        Unfit, ///< nothing can be said this way, nor of what was collected: begin anew the other way
    };
    /// Called now and then, of parts for each feature (by columns, for every sixteenth), with the number of
    /// those that were read; false ends the reading.
    using GoOn = std::function<bool(double)>;

    OgrContent(OgrSource& source, OGRLayer& layer);

    /// For reading parts of the layer, one after the other: features go by their own ids, and no count says
    /// when the end came too early. Those of which the function says so are passed over; the geometry is
    /// null where it is not made yet.
    using Skip = std::function<bool(qint64 id, const OGRGeometry* geometry)>;
    void readParts(Skip skip);
    bool isOfDatabase() const { return m_isDatabase; }
    /// Whether a digest is made of each feature; at first it is for databases.
    void setComparing(bool comparing) { m_isCompared = comparing; }
    /// The feature of that id as the source has it now, or the one that was selected; false where there is
    /// none.
    bool readFeature(qint64 id, ServerSelection* selection = nullptr);
    /// Forgets the shapes and features that were read.
    void forget();

    /// Reads by columns, which takes half the time. Unfit where the driver or the layer is, and as soon as
    /// anything is found that has to be told: rows without geometry, errors, a count that is not right.
    Outcome readColumns(const GoOn& goOn);
    /// Reads feature by feature; of a selection, with state.texts. Never unfit.
    Outcome readFeatures(const GoOn& goOn, ServerSelection* selection = nullptr);

    /// Puts the shapes into the order of their features' ids.
    void sort();

    QList<Defs::GisAttributeDefinition> definitions;
    std::vector<std::unique_ptr<Shapes::GisShape>> shapes;
    QList<qint64> features; ///< what each shape was read from
    OgrReadState state;
    qint64 skippedCount = 0;
    QList<GisLayerOgrVector::SkippedFeature> skipped;

private:
    bool take(const ArrowFeatures& feature);
    void take(OGRFeature& feature, const QString& complaint, ServerSelection* selection);
    qint64 count(qint64 id);
    void takeGeometry(ReadFeature feature, qint64 id, Common::Internal::GeometryPtr geometry,
                      const QString& complaint,
                      const std::function<Shapes::Internal::AttributeRow()>& attributes);
    void keep(std::unique_ptr<Shapes::GisShape> shape, qint64 key, const Shapes::Internal::AttributeRow& row);
    qint64 mostShapes() const;
    bool isInterrupted(const GoOn& goOn, qint64 interval) const;

    OgrSource& m_source;
    OGRLayer& m_layer;
    FeatureRows m_rows;
    OgrDigest m_digest;
    Skip m_skip;
    qint64 m_mostShapes = 0; ///< of a whole layer
    bool m_isDatabase = false;
    bool m_isNumbered = false;
    bool m_isInParts = false;
    bool m_areColumnsKnown = false; // to be read rightly by columns
    bool m_isCompared = false;      // a digest is made of each feature
};

} // namespace Cartolith::Core::Layers::Internal
