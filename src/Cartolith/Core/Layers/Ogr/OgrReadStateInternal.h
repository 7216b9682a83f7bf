#pragma once

#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>

#include <QList>
#include <QString>
#include <QtGlobal>

#include <set>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// What a layer remembers of a feature that shapes were read from.
struct ReadFeature {
    qint64 id = 0;
    quint64 digest = 0;           ///< of everything that the source had of it
    quint32 shapes : 24 = 0;      ///< no more are read of one
    quint32 isPartlyRead : 1 = 0; ///< the shapes do not hold it whole
    quint32 isMultiPoint : 1 = 0;
    quint32 hasZ : 1 = 0;
    quint32 hasM : 1 = 0;
    quint32 hasCurves : 1 = 0;
    quint32 hasOtherText : 1 = 0; ///< a text that is not UTF-8
    quint32 hasFraction : 1 = 0;  ///< a time with digits beyond milliseconds
    quint32 isCollection : 1 = 0; ///< or another kind that has no shape of its own: a triangle, a surface
};

/// Features by their ids, in the room of an array.
class ReadFeatures {
public:
    /// Between the first of these and sort(), nothing is found.
    void append(const ReadFeature& feature) { m_features.push_back(feature); }
    /// Of features of one id, as views have them, the last stays, with the shapes of all. False where there
    /// are such.
    bool sort();
    void clear() noexcept { m_features.clear(); }

    /// Null when there is none.
    const ReadFeature* find(qint64 id) const noexcept;
    auto begin() const noexcept { return m_features.cbegin(); }
    auto end() const noexcept { return m_features.cend(); }

private:
    std::vector<ReadFeature> m_features;
};

/// What a layer remembers of the source that it was read from, beside its shapes. Features go by their own
/// ids, but where files are written anew by their number in the file: ids in GeoJSON need not differ.
///
/// No QHash: where one finds no memory to insert into, it ends the process.
struct OgrReadState {
    ReadFeatures features;         ///< those that shapes were read from
    QList<qint64> numberedIds;     ///< the ids of those that go by number; else empty
    QList<qint64> skippedFeatures; ///< those in the list of skipped ones
    qint64 featureCount = 0;
    qint64 rowsWithoutGeometry = 0;
    qint64 unreadable = 0;  ///< features that have a geometry and gave no shape
    quint64 digest = 0;     ///< the sum of all features', in whatever order they come
    quint64 fieldNames = 0; ///< a digest of the names of its fields
    quint64 system = 0;     ///< the same of its coordinate system
    int defaults = 0;       ///< fields with a default value
    std::set<QString> jsonFields;
    ExactTexts texts;          ///< what the source holds beyond the attributes
    int subtypes = 0;          ///< fields of a subtype other than boolean
    int otherGeometries = 0;   ///< columns of geometry beside the one that is read
    bool hasStableIds = false; ///< the source keeps what it gives its features for ids

    qint64 sourceId(qint64 feature) const { return numberedIds.value(feature, feature); }
};

} // namespace Cartolith::Core::Layers::Internal
