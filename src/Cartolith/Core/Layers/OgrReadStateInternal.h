#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

#include <set>
#include <unordered_map>

namespace Cartolith::Core::Layers::Internal {

/// What a layer remembers of a feature that shapes were read from.
struct ReadFeature {
    int shapes = 0;
    bool isPartlyRead = false; ///< the shapes do not hold it whole
    bool isMultiPoint = false;
    bool hasZ = false;
    bool hasM = false;
    bool hasCurves = false;
    bool isCollection = false; ///< or another kind that has no shape of its own: a triangle, a surface
    quint64 digest = 0;        ///< of everything that the source had of it
};

/// What a layer remembers of the source that it was read from, beside its shapes. Features go by their own
/// ids, but where files are written anew by their number in the file: ids in GeoJSON need not differ.
///
/// No QHash: where one finds no memory to insert into, it ends the process.
struct OgrReadState {
    std::unordered_map<qint64, ReadFeature> features; ///< those that shapes were read from
    QList<qint64> numberedIds;                        ///< the ids of those that go by number; else empty
    QList<qint64> skippedFeatures;                    ///< those in the list of skipped ones
    qint64 featureCount = 0;
    qint64 rowsWithoutGeometry = 0;
    qint64 unreadable = 0;  ///< features that have a geometry and gave no shape
    quint64 digest = 0;     ///< the sum of all features', in whatever order they come
    quint64 fieldNames = 0; ///< a digest of the names of its fields
    quint64 system = 0;     ///< the same of its coordinate system
    int defaults = 0;       ///< fields with a default value
    std::set<QString> jsonFields;
    int subtypes = 0; ///< fields of a subtype other than boolean

    qint64 sourceId(qint64 feature) const { return numberedIds.value(feature, feature); }
};

} // namespace Cartolith::Core::Layers::Internal
