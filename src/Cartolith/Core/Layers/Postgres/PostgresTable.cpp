#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>

#include <QRegularExpression>

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// Whether a table, called c, of a schema, n, is what GDAL lists by this name.
QByteArray isNamed(const QByteArray& name) {
    const QByteArray text = quotedText(name);
    return "((c.relname =" + text +
           " AND n.nspname = current_schema()) OR n.nspname || '.' || c.relname =" + text + ')';
}

constexpr const char* fromTables = " FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = "
                                   "c.relnamespace WHERE c.relkind IN ('r','p','v','m','f') AND ";

/// A table of a schema may be listed as one of the current schema is called: one would be read, and the other
/// written. \throws std::runtime_error for such a name
void requireOneTable(GDALDataset& source, OGRLayer& layer) {
    const QByteArray listed = layer.GetName();
    if (listed.contains('.') &&
        execute(source, "SELECT c.oid::text" + QByteArray(fromTables) + isNamed(listed)).size() > 1) {
        throw std::runtime_error("there are two tables called '" + listed.toStdString() +
                                 "', one of that schema and one with a point in its name");
    }
}

} // namespace

QByteArray tableOf(OGRLayer& layer) {
    const QByteArray geometry = layer.GetGeometryColumn();
    const QByteArray listed = layer.GetName();
    QByteArray table = listed;
    if (!geometry.isEmpty() &&
        listed.endsWith('(' + geometry + ')')) { // one of several, or a table's own name
        table.chop(geometry.size() + 2);
    }
    return "SELECT c.oid::text, n.nspname::text, c.relname::text" + QByteArray(fromTables) + '(' +
           isNamed(listed) + " OR " + isNamed(table) + ") ORDER BY " + isNamed(listed) +
           " DESC, n.nspname = current_schema() DESC LIMIT 1";
}

qint64 estimatedCount(GDALDataset& source, OGRLayer& layer) {
    const SqlRows found =
        execute(source, "SELECT reltuples::bigint::text FROM pg_catalog.pg_class WHERE oid = (SELECT "
                        "t.oid::oid FROM (" +
                            tableOf(layer) + ") AS t)");
    return found.isEmpty() ? -1 : found[0][0].toLongLong();
}

void requireNamesApart(OGRLayer& layer) {
    OGRFeatureDefn& schema = *layer.GetLayerDefn();
    std::vector<QByteArray> names{layer.GetFIDColumn()};
    for (int i = 0; i < schema.GetGeomFieldCount(); ++i) {
        names.emplace_back(schema.GetGeomFieldDefn(i)->GetNameRef());
    }
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        names.emplace_back(schema.GetFieldDefn(i)->GetNameRef());
    }
    std::map<QByteArray, QByteArray> known;
    for (const QByteArray& name : names) {
        const auto [other, isNew] = known.emplace(name.toLower(), name);
        if (!isNew && !name.isEmpty()) {
            throw std::runtime_error("the columns '" + other->second.toStdString() + "' and '" +
                                     name.toStdString() + "' differ in case only");
        }
    }
}

QByteArray listOf(const std::vector<qint64>& ids) {
    QByteArray list;
    for (const qint64 id : ids) {
        list += (list.isEmpty() ? "" : ",") + QByteArray::number(id);
    }
    return list;
}

void correctTypes(GDALDataset& source, OGRLayer& layer) {
    askPlainTexts(source);
    requireOneTable(source, layer);
    OGRFeatureDefn& schema = *layer.GetLayerDefn();
    const SqlRows columns = execute(
        source,
        "SELECT a.attname::text, format_type(a.atttypid, -1) AS t, format_type(a.atttypid, a.atttypmod) AS b "
        "FROM "
        "pg_catalog.pg_attribute a WHERE a.attnum > 0 AND NOT a.attisdropped AND a.attrelid = (SELECT "
        "t.oid::oid FROM (" +
            tableOf(layer) + ") AS t)");
    for (const QList<QByteArray>& column : columns) {
        const int index = schema.GetFieldIndexCaseSensitive(column[0].constData());
        if (index < 0) {
            continue;
        }
        OGRFieldDefn& field = *schema.GetFieldDefn(index);
        const OGRFieldType type = PostgresColumn::betterType(field.GetType(), column[1], column[2]);
        if (type != field.GetType()) {
            field.SetSubType(OFSTNone);
            field.SetType(type);
        }
    }
}

namespace {

constexpr int systemOfGlobes = 4326; // of a geography that does not say

/// What a constraint that holds for every row says; 0 where there is none.
int constrainedSystem(GDALDataset& source, const QByteArray& table, const QByteArray& column) {
    static const QRegularExpression expression(
        QStringLiteral(R"(^CHECK \(\((?:[^ ()]+\.)?st_srid\((.+)\) = \(?(\d+)\)?\)\)$)"));
    const SqlRows found =
        execute(source, "SELECT pg_get_constraintdef(c.oid), quote_ident(" + quotedText(column) +
                            ") FROM pg_catalog.pg_constraint c JOIN pg_catalog.pg_class t ON t.oid = "
                            "c.conrelid WHERE c.contype = 'c' AND c.convalidated AND NOT c.connoinherit AND "
                            "t.relkind <> 'f' AND c.conrelid = " +
                            table);
    for (const QList<QByteArray>& row : found) {
        const auto match = expression.match(QString::fromUtf8(row[0]));
        if (match.hasMatch() && match.captured(1) == QString::fromUtf8(row[1])) {
            return match.captured(2).toInt();
        }
    }
    return 0;
}

} // namespace

PostgresTable::PostgresTable(GDALDataset& source, OGRLayer& layer)
    : m_source(source), m_listed(layer.GetName()) {
    OGRFeatureDefn& schema = *layer.GetLayerDefn();
    const QByteArray geometry = layer.GetGeometryColumn();
    const SqlRows found = execute(source, tableOf(layer));
    if (found.isEmpty()) {
        throw std::runtime_error("there is no such table any more");
    }
    m_name = quotedName(found[0][1]) + '.' + quotedName(found[0][2]);
    const QByteArray key = layer.GetFIDColumn();
    m_key = key.isEmpty() ? QByteArray() : quotedName(key);

    const SqlRows columns = execute(
        source, "WITH RECURSIVE c AS (SELECT a.attname, a.atttypid AS type, a.atttypmod AS modifier FROM "
                "pg_catalog.pg_attribute a WHERE a.attnum > 0 AND NOT a.attisdropped AND a.attrelid = " +
                    found[0][0] +
                    " UNION ALL SELECT c.attname, d.typbasetype, CASE WHEN c.modifier >= 0 THEN c.modifier "
                    "ELSE d.typtypmod "
                    "END FROM c JOIN pg_catalog.pg_type d ON d.oid = c.type WHERE d.typtype = 'd') SELECT "
                    "c.attname::text AS "
                    "n, format_type(c.type, -1) AS t, c.modifier::text AS m, (SELECT attgenerated <> '' FROM "
                    // Servers before 12 have no such column; there, the name is that of g.
                    "pg_catalog.pg_attribute a WHERE a.attname = c.attname AND a.attrelid = " +
                    found[0][0] +
                    ")::int::text AS x FROM c JOIN pg_catalog.pg_type d ON d.oid = c.type CROSS JOIN (SELECT "
                    "''::text AS "
                    "attgenerated) AS g WHERE d.typtype <> 'd'");
    std::map<QByteArray, PostgresColumn> known;
    for (const QList<QByteArray>& row : columns) {
        known[row[0]] = {quotedName(row[0]), row[1], row[2].toInt(), row[3] == "1"};
    }
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        const auto column = known.find(schema.GetFieldDefn(i)->GetNameRef());
        m_hasLostColumns = m_hasLostColumns || column == known.end();
        m_columns.push_back(column != known.end() ? column->second : PostgresColumn());
        m_fields.push_back(schema.GetFieldDefn(i)->GetType());
    }
    m_hasLostColumns = m_hasLostColumns || (!key.isEmpty() && known.find(key) == known.end()) ||
                       (!geometry.isEmpty() && known.find(geometry) == known.end());
    for (const auto& [name, column] : known) {
        const bool isGeometry = column.type.endsWith("geometry") || column.type.endsWith("geography");
        m_otherGeometries += isGeometry && name != geometry ? 1 : 0;
    }
    if (!geometry.isEmpty() && !m_hasLostColumns) {
        const PostgresColumn& column = known.at(geometry);
        m_geometry = column.name;
        m_geometryType = column.type;
        m_isGeometryGenerated = column.isGenerated;
        if (column.modifier >= 0) {
            m_system = (column.modifier & 0x0FFFFF00) >> 8; // as PostGIS packs it
        }
        m_system = m_system == 0 ? constrainedSystem(source, found[0][0], geometry) : m_system;
    }
}

std::optional<int> PostgresTable::usedSystem() {
    if (m_system != 0 || m_geometry.isEmpty()) {
        return m_system != 0 ? std::optional(m_system) : std::nullopt;
    }
    if (!m_usedSystem) {
        const SqlRows found = execute(m_source, "SELECT ST_SRID(" + m_geometry + "::geometry)::text FROM " +
                                                    m_name + " WHERE " + m_geometry + " IS NOT NULL LIMIT 1");
        m_usedSystem = found.isEmpty() ? std::nullopt : std::optional(found[0][0].toInt());
    }
    return m_usedSystem;
}

QByteArray PostgresTable::isOfOtherSystem() {
    const auto used = m_system == 0 ? usedSystem() : std::nullopt;
    return used ? "ST_SRID(" + m_geometry + "::geometry) <> " + QByteArray::number(*used) : QByteArray();
}

QString PostgresTable::severalSystems() const {
    return QStringLiteral("the geometries of '%1' are in several coordinate systems")
        .arg(QString::fromUtf8(m_listed));
}

void PostgresTable::requireOneSystem() {
    const QByteArray isOther = isOfOtherSystem();
    if (!isOther.isEmpty() &&
        !execute(m_source, "SELECT 1 AS x FROM " + m_name + " WHERE " + isOther + " LIMIT 1").isEmpty()) {
        throw std::runtime_error(severalSystems().toStdString());
    }
}

void PostgresTable::keepSystem() {
    if (!m_systemOfNew) {
        m_systemOfNew = usedSystem().value_or(m_geometryType.endsWith("geography") ? systemOfGlobes : 0);
    }
}

QByteArray PostgresTable::literal(const OGRGeometry* geometry) {
    if (geometry == nullptr) {
        return "NULL";
    }
    std::vector<unsigned char> wkb(geometry->WkbSize());
    geometry->exportToWkb(wkbNDR, wkb.data(), wkbVariantIso);
    const QByteArrayView bytes(wkb.data(), static_cast<qsizetype>(wkb.size()));
    keepSystem();
    return "ST_SetSRID('" + bytes.toByteArray().toHex() + "'::geometry," +
           QByteArray::number(m_systemOfNew.value_or(0)) + ')';
}

ExactTexts PostgresTable::exactTexts() const {
    return m_key.isEmpty() || m_hasLostColumns ? ExactTexts() : exactTexts({}, {}, {});
}

ExactTexts PostgresTable::exactTexts(const std::vector<qint64>& ids, const ExactTexts& known) const {
    return ids.empty() ? ExactTexts() : exactTexts(m_key + " IN (" + listOf(ids) + ") AND ", ids, known);
}

ExactTexts PostgresTable::exactTexts(const QByteArray& where, const std::vector<qint64>& ids,
                                     const ExactTexts& known) const {
    QByteArray columns;
    QByteArray conditions;
    std::vector<int> fields;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const PostgresColumn& column = m_columns[i];
        const int field = static_cast<int>(i);
        QByteArray condition = column.isCut(m_fields[i]);
        if (const auto wanted = known.idsOf(field, ids); !wanted.empty()) {
            condition += (condition.isEmpty() ? "" : " OR ") + m_key + " IN (" + listOf(wanted) + ')';
        }
        if (!condition.isEmpty()) {
            columns += ", CASE WHEN " + condition + " THEN " + column.name + "::text END AS c" +
                       QByteArray::number(field);
            conditions += (conditions.isEmpty() ? "" : " OR ") + condition;
            fields.push_back(field);
        }
    }
    ExactTexts texts;
    if (fields.empty()) {
        return texts;
    }
    const QByteArray statement = "SELECT " + m_key + "::text AS k" + columns + " FROM " + m_name + " WHERE " +
                                 where + '(' + conditions + ')';
    const auto take = [&](const auto& value) { // unset where a column has none
        const qint64 id = value(0)->toLongLong();
        for (std::size_t i = 0; i < fields.size(); ++i) {
            if (const std::optional<QByteArray> text = value(static_cast<int>(i) + 1)) {
                texts.add({id, fields[i]}, *text);
            }
        }
    };
    using Value = std::optional<QByteArray>;
    if (ids.empty()) { // as many as there are
        forRows(m_source, statement, [&take](OGRFeature& row) {
            take([&row](int i) {
                return row.IsFieldSetAndNotNull(i) ? Value(row.GetFieldAsString(i)) : std::nullopt;
            });
        });
    } else {
        const SqlRows rows = execute(m_source, statement);
        for (const QList<QByteArray>& row : rows) {
            take([&row](int i) { return row[i].isNull() ? std::nullopt : Value(row[i]); });
        }
    }
    texts.sort();
    return texts;
}

} // namespace Cartolith::Core::Layers::Internal
