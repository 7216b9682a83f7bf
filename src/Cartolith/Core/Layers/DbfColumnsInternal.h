#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace Cartolith::Core::Layers::Internal {

/// The columns of a dBASE table have types that GDAL knows only as others and writes as those: F becomes N
/// and L becomes C, which other programs then read differently.
class DbfColumns {
public:
    /// The types in the header of the table beside a Shapefile, a letter each; empty when there is none.
    /// \throws std::runtime_error with the reason for a table that is cut short, and for a column whose
    /// values would be lost with its type: memos, binary numbers and times
    static QByteArray typesBeside(const QString& shapefile);

    /// Gives the columns of a new table, of the same number and widths, those types.
    /// \throws std::runtime_error with the reason for other columns, and for a value that is none of its type
    static void setTypes(char* table, qsizetype size, QByteArrayView types);
};

} // namespace Cartolith::Core::Layers::Internal
