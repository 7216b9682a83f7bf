#pragma once

#include <Cartolith/Core/Layers/Json/JsonTextInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

class OGRFeature;

namespace Cartolith::Core::Layers::Internal {

/// The text of a GeoJSON file, or GeoJSON text sequence, that is written anew. GDAL would change what nobody
/// edited: long numbers, numbers beside texts, times, ids. So the new file is the old text, in which edited
/// features have the values that GDAL writes for them. Memory grows with the file.
///
/// For sources of other formats there are no texts, and nothing changes.
class GeoJsonTexts {
public:
    /// \throws std::runtime_error with the reason for a file that cannot be read, or is more than one JSON
    /// text and not a sequence
    GeoJsonTexts(const QString& driver, const QString& path);

    bool isAny() const { return m_isJson || m_isSequence; }
    /// Whether GDAL is to write all geometries: for the box around them, and where one alone is the file.
    bool needsGeometries() const { return hasBox() || (m_isJson && m_features.isEmpty()); }
    /// The options for the new layer.
    QStringList layerOptions() const;
    /// Whether GDAL is to write the coordinate system: what the text says of it stays.
    bool needsSystem() const { return !m_isJson; }

    /// Called for each feature that is in the new file too, in their order, with its number in the old one.
    void add(OGRFeature& feature, qint64 number, const OgrChange& change);
    /// The new file, of the one as GDAL wrote it. Nothing for a source of another format.
    /// \throws std::runtime_error with the reason when the old file had other than that many texts
    std::optional<QByteArray> in(QByteArrayView written, qint64 featuresBefore) const;

private:
    struct Kept {
        qint64 number;
        OgrChange change;
        bool isId; ///< the field "id" is the feature's own member of that name
    };

    bool hasBox() const { return m_hasBox; }
    void readCollection();
    QByteArray edited(const Kept& kept, QByteArrayView line) const;
    QByteArray recordOf(const Kept& kept, QByteArrayView line) const;
    QByteArrayView gapBefore(std::size_t position) const;
    QByteArray collectionOf(QByteArray features, bool hasNew, QByteArrayView written) const;

    bool m_isJson;
    bool m_isSequence;
    bool m_hasBox = false; ///< of the collection, or of a feature; not in a sequence
    QByteArray m_file;
    QByteArrayView m_text;     ///< without a mark of byte order
    QByteArrayView m_features; ///< the array of a collection
    std::vector<QByteArrayView> m_records;
    std::vector<Kept> m_kept;
};

} // namespace Cartolith::Core::Layers::Internal
