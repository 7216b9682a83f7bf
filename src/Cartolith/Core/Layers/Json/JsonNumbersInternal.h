#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <ogr_core.h>

#include <vector>

class OGRFeature;

namespace Cartolith::Core::Layers::Internal {

/// Real numbers of GeoJSON as they were given. GDAL writes 17 digits, but cuts a number where six zeros or
/// nines follow one another, so that others read back. Those are written again, with the digits that give the
/// number back.
class JsonNumbers {
public:
    /// Compares a feature with the text that GDAL wrote for it, which begins at a place of the file.
    void add(OGRFeature& feature, QByteArrayView text, qsizetype place);
    /// The same of the box around all features, where there is one.
    void addBox(QByteArrayView written);
    bool isUsed() const { return !m_others.empty(); }
    /// The text that GDAL wrote with the right numbers.
    QByteArray resolved(QByteArrayView written) const;

private:
    struct Other {
        qsizetype place;
        qsizetype size;
        double number;
    };
    /// Pieces of a text that begins at a place.
    struct Tokens {
        const char* begin;
        qsizetype place;
        std::vector<QByteArrayView> texts;
    };

    static std::vector<QByteArrayView> tokensOf(QByteArrayView json);
    void compare(const Tokens& tokens, std::size_t first, const std::vector<double>& numbers);
    void compareGeometry(const Tokens& tokens, const std::vector<std::vector<double>>& runs,
                         std::size_t width);

    std::vector<Other> m_others;
    OGREnvelope3D m_box;
};

} // namespace Cartolith::Core::Layers::Internal
