#pragma once

#include <QByteArray>
#include <QByteArrayView>

class OGRFeature;

namespace Cartolith::Core::Layers::Internal {

/// Keeps GDAL from writing a text in brackets as JSON where it is a text: in GeoJSON it takes each such text
/// apart, and numbers and blanks in it change. So these texts get a mark that no text has, until they are
/// written.
class JsonMarks {
public:
    JsonMarks();

    /// Marks the texts of a feature that is to be written.
    void add(OGRFeature& feature);
    bool isUsed() const { return m_isUsed; }
    /// What GDAL wrote without the marks. In a field of the subtype JSON, an object or array becomes that, as
    /// it is written; everything else is quoted text.
    QByteArray resolved(QByteArrayView written) const;

private:
    QByteArray m_mark;
    bool m_isUsed = false;
};

} // namespace Cartolith::Core::Layers::Internal
