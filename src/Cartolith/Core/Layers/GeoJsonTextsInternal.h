#pragma once

#include <Cartolith/Core/Layers/OgrEditsInternal.h>

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
/// change what nobody edited: long numbers, numbers beside texts, times. Memory grows with the file.
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
    void add(OGRFeature& feature, qint64 number, const OgrChange& change);
    /// The new file as GDAL wrote it, with the old texts of features and of properties that were not edited.
    /// Nothing for a source of another format.
    /// \throws std::runtime_error with the reason when the old file had other than that many texts
    std::optional<QByteArray> in(QByteArrayView written, qint64 featuresBefore) const;

private:
    QString m_path;
    bool m_isJson;
    bool m_isSequence;
    QByteArray m_sequence;
    std::vector<QByteArrayView> m_records;
    struct Text {
        QByteArray before; ///< empty: not known
        OgrChange change;
    };
    std::vector<Text> m_texts;
};

} // namespace Cartolith::Core::Layers::Internal
