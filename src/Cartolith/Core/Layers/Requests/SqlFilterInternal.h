#pragma once

#include <Cartolith/Core/Layers/GisFeatureFilter.h>

#include <QString>

class OGREnvelope;
class OGRFeatureDefn;
class OGRLayer;

namespace Cartolith::Core::Layers::Internal {

struct FilterNode;

/// A name and a text as SQL writes them; the only ways in which a host's words come into a statement. Null
/// for a text that a database may hold otherwise: with U+0000, half a surrogate pair, or the character that
/// stands for what cannot be read.
QString sqlName(const QString& name);
QString sqlText(const QString& text);

/// Where a GeoPackage keeps the boxes of a table with a spatial index.
QString boxTableOf(OGRLayer& table);
/// Of such a table: the rows whose boxes meet this one.
QString boxesMeeting(OGRLayer& table, const OGREnvelope& box);

/// What a database can say of a filter.
class SqlFilter {
public:
    enum class Dialect { Sqlite, PostgreSql };

    SqlFilter(Dialect dialect, OGRFeatureDefn& schema) : m_dialect(dialect), m_schema(schema) {}

    /// A condition that holds for all rows that the filter may want; empty when it would be all.
    ///
    /// A column of SQLite may hold other types than it declares, which OGR turns into the declared one. Rows
    /// with such a value pass. Of the others, each test that can be said is true, false or nothing as the
    /// filter's is; of tests joined by AND, those that cannot be said are left out.
    /// PostgreSQL keeps to its types, of which whole numbers and texts without a length come as they are.
    QString condition(const GisFeatureFilter& filter);

private:
    enum class Column { Missing, Unfit, Boolean, Integer, Integer64, Real, Text };

    QString condition(const FilterNode& node);
    QString exact(const FilterNode& node);
    QString list(const FilterNode& node);
    QString like(const FilterNode& node) const;
    Column columnOf(const QString& field) const;
    QString value(Column column, const QVariant& value) const;
    void use(const QString& field);
    QString oddRows(const QString& field) const;

    bool isSqlite() const noexcept { return m_dialect == Dialect::Sqlite; }

    Dialect m_dialect;
    OGRFeatureDefn& m_schema;
    QStringList m_used;
};

} // namespace Cartolith::Core::Layers::Internal
