#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QStringList>

#include <set>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The values of a FlatGeobuf file that is written anew. GDAL knows fewer types of columns than the format
/// and fewer digits of a second, and writes what it knows. So what it wrote is compared with the old file.
class FlatGeobufRows {
public:
    /// \throws std::runtime_error with the reason for a file that cannot be read
    explicit FlatGeobufRows(const QString& path);

    /// Called for each row that is in the new file too, in their order.
    void keep(qint64 row, const std::set<int>& changedColumns) { m_kept.push_back({row, changedColumns}); }
    /// The new file, with what the old one says of itself. \throws std::runtime_error naming column and row
    /// where the new file has another type of a column, or another value that was not edited. Dates with
    /// times may be written otherwise and say the same.
    QByteArray restored(QByteArrayView written, const QStringList& columns) const;

private:
    void requireKept(QByteArrayView written, const QStringList& columns) const;

    struct Kept {
        qint64 row;
        std::set<int> changedColumns;
    };

    QByteArray m_file;
    std::vector<Kept> m_kept;
};

} // namespace Cartolith::Core::Layers::Internal
