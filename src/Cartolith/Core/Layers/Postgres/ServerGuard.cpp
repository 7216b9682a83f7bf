#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerGuardInternal.h>

#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr const char* columnsDiffer = "its columns were changed since it was opened";

/// The columns of a table, which is called a.
constexpr const char* columnList = "string_agg(concat_ws(' ', a.attrelid, a.attnum, a.attname, a.atttypid, "
                                   "a.atttypmod), ',' ORDER BY a.attnum)";
constexpr const char* fromTable =
    " FROM pg_catalog.pg_attribute a WHERE a.attnum > 0 AND NOT a.attisdropped AND a.attrelid = ";

/// True, or an error in these words: the server has no other way to say one in a condition.
QByteArray orError(const QByteArray& isWrong, const char* words) {
    return "CASE WHEN " + isWrong + " THEN '" + words + "' ELSE 'true' END";
}

} // namespace

ServerGuard::ServerGuard(GDALDataset& source, OGRLayer& layer) {
    const QByteArray geometry = layer.GetGeometryColumn();
    const QByteArray isGeometry = "a.attname =" + quotedText(geometry);
    const SqlRows tables = execute(source, tableOf(layer));
    if (tables.isEmpty()) {
        throw std::runtime_error("there is no such table any more");
    }
    // By its name, which another may have later.
    const QByteArray table =
        quotedText(quotedName(tables[0][1]) + '.' + quotedName(tables[0][2])) + "::regclass";
    const SqlRows found = execute(
        source, "SELECT max(a.attnum)::text AS n, " + QByteArray(columnList) + " AS c, max(CASE WHEN " +
                    isGeometry + " THEN format_type(a.atttypid, -1) END) AS t" + fromTable + table);
    const QByteArray& type = found[0][2];
    m_isGeography = type.endsWith("geography");
    // Columns that come after the last are nobody's concern.
    m_condition =
        "((SELECT " +
        orError(QByteArray(columnList) + " IS DISTINCT FROM" + quotedText(found[0][1]), columnsDiffer) +
        fromTable + table + " AND a.attnum <= " + found[0][0] + ")::boolean)";
}

QString ServerGuard::plainReason(const QString& reason) {
    return reason.contains(QLatin1String(columnsDiffer)) ? QString::fromLatin1(columnsDiffer) : reason;
}

} // namespace Cartolith::Core::Layers::Internal
