#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QByteArray>
#include <QString>
#include <QVariant>

namespace Cartolith::Core::Layers::Internal {

/// A column of a server's table: what GDAL reads of its values, and how values are written.
struct PostgresColumn {
    QByteArray name = {};     ///< quoted
    QByteArray type = {};     ///< without what is in brackets behind it; of a domain, that below all domains
    int modifier = -1;        ///< what is in brackets, as the server packs it
    bool isGenerated = false; ///< of other columns: the server takes no value

    /// The type of field that holds most of a column of this type. GDAL goes by how the type's name begins,
    /// and takes int4range for a number.
    static OGRFieldType betterType(OGRFieldType given, const QByteArray& type,
                                   const QByteArray& typeWithBrackets);

    /// In SQL, whether GDAL reads less of a value than there is; empty where it never does.
    QByteArray isCut(OGRFieldType field) const;
    /// In SQL, whether the column (of the table `t`) holds something else than `value`, which has its type.
    QByteArray differsFrom(const QByteArray& value) const;

    /// What a field of a feature is in SQL, where `value` is what it was set to, invalid where that is not
    /// known. \throws std::runtime_error for a value that the column would cut or round, or that has a time
    /// zone where the column has none, or the other way round
    QByteArray literal(OGRFeature& feature, int index, const QVariant& value) const;
};

} // namespace Cartolith::Core::Layers::Internal
