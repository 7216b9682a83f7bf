#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>
#include <set>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The dBASE table of a Shapefile that is written anew. GDAL knows types of columns only as others and writes
/// those (F becomes N and L becomes C), gives columns other names where two are alike or long, and writes
/// what it makes of a value. The names, types and values that were not edited are put back as they were.
class DbfTable {
public:
    /// The table beside a Shapefile; none when there is no such file.
    /// \throws std::runtime_error with the reason for a table that is cut short, that has another number of
    /// records than there are shapes, and for a column whose values would be lost with its type: memos,
    /// binary numbers and times
    static std::optional<DbfTable> beside(const QString& shapefile);

    /// Gives the dates of a table the zeros at the beginning for which GDAL writes blanks.
    static void completeDates(char* table, qsizetype size);

    /// Called for each record that is in the new table too, in their order. Of columns that were not changed,
    /// the new table need not have the values.
    void keep(qint64 record, const std::set<int>& changedColumns) {
        m_kept.push_back({record, changedColumns});
    }
    /// Puts into a new table, of the same columns, what it is to keep.
    /// \throws std::runtime_error with the reason for other columns, and for a value that is none of its type
    void restore(char* table, qsizetype size) const;

private:
    struct Kept {
        qint64 record;
        std::set<int> changedColumns;
    };

    explicit DbfTable(QByteArray bytes);

    QByteArray m_bytes;
    std::vector<Kept> m_kept;
};

} // namespace Cartolith::Core::Layers::Internal
