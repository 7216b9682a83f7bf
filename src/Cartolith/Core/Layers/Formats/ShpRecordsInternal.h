#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>
#include <utility>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The geometries of a Shapefile that is written anew. GDAL decides by the first shape whether there is M,
/// makes other rings of multipatches, and nothing of a record that it cannot read. So the records of shapes
/// that were not edited, and the type of the file, are put back as they were. Memory grows with the file.
class ShpRecords {
public:
    /// \throws std::runtime_error with the reason for a file whose index points outside
    explicit ShpRecords(const QString& shapefile);

    /// The option of GDAL that makes a file of the same type; empty for one without a type.
    QString typeOption() const;
    /// Called for each record that is in the new file too, in their order. What was moved is taken from the
    /// new file.
    void keep(qint64 record, bool isMoved) { m_kept.push_back({record, isMoved}); }
    /// The new .shp and .shx, of those that GDAL wrote. Where no geometry has changed, they are the old ones.
    /// \throws std::runtime_error with the reason for a shape that is none of the file's type
    std::pair<QByteArray, QByteArray> restored(QByteArrayView shp, QByteArrayView shx) const;

private:
    struct Kept {
        qint64 record;
        bool isMoved;
    };

    QByteArray m_shp;
    QByteArray m_shx;
    std::vector<QByteArrayView> m_records; ///< without their heads
    std::vector<Kept> m_kept;
};

} // namespace Cartolith::Core::Layers::Internal
