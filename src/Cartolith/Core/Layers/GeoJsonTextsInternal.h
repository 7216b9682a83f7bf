#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <optional>
#include <vector>

class OGRFeature;
class OGRLayer;

namespace Cartolith::Core::Layers::Internal {

/// The texts of the features in a GeoJSON file, or GeoJSON text sequence, that is written anew. GDAL would
/// change features that nobody edited: long numbers, numbers beside texts, times. Memory grows with the file.
///
/// For sources of other formats there are no texts, and nothing changes.
class GeoJsonTexts {
public:
    /// \throws std::runtime_error with the reason for a sequence that cannot be read
    GeoJsonTexts(const QString& driver, const QString& path);

    /// The options for the new layer: what a file says about its layer is said in the new one, and no more.
    QStringList layerOptions(OGRLayer& layer) const;
    /// Whether the file itself tells its coordinate system, which GDAL otherwise makes up.
    bool saysItsSystem(OGRLayer& layer) const;

    /// Called for each feature that is in the new file too, in their order, with its number in the old one.
    /// \throws std::runtime_error with the reason for an edited one of which GDAL cut a number
    void add(OGRFeature& feature, qint64 number, bool isEdited);
    /// The new file as GDAL wrote it, with the texts of features that were not edited. Nothing when there is
    /// nothing to be changed. The number of features that the old file has tells whether texts are theirs.
    std::optional<QByteArray> in(QByteArrayView written, qint64 featuresBefore) const;

private:
    QString m_path;
    bool m_isJson;
    bool m_isSequence;
    QByteArray m_sequence;
    std::vector<QByteArrayView> m_records;
    std::vector<QByteArray> m_texts; // empty for an edited feature
};

} // namespace Cartolith::Core::Layers::Internal
