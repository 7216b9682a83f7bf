#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QByteArrayView>

#include <vector>

namespace Cartolith::Core::Layers::Internal {

class ArrowFeatures;

/// Tells one state of a feature from another: its id, fields and geometry as GDAL reads them, in 64 bits.
/// Against mistakes, not against somebody who looks for two features of one digest.
class OgrDigest {
public:
    quint64 of(OGRFeature& feature) { return of(feature, feature.GetFieldCount()); }
    /// The same of its first fields.
    quint64 of(OGRFeature& feature, int fields);
    /// The same of the feature that is read by columns, whose geometry, null where GDAL would write the very
    /// bytes that it read, is this.
    quint64 of(OGRFeatureDefn& layer, const ArrowFeatures& feature, const OGRGeometry* geometry);
    /// The same of the names of a layer's fields, in their order.
    static quint64 ofFields(OGRLayer& layer);
    /// The same of its coordinate system.
    static quint64 ofSystem(OGRLayer& layer);

private:
    QByteArrayView wkbOf(const OGRGeometry& geometry);

    std::vector<unsigned char> m_wkb; // kept from one feature to the next
};

} // namespace Cartolith::Core::Layers::Internal
