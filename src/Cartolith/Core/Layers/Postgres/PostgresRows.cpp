#include <Cartolith/Core/Layers/Postgres/PostgresRowsInternal.h>

namespace Cartolith::Core::Layers::Internal {

void PostgresRows::add(OGRFeature& feature) {
    QByteArray columns = m_table.geometryName();
    QByteArray values = columns.isEmpty() ? QByteArray() : m_table.literal(feature.GetGeometryRef());
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        if (feature.IsFieldSet(i)) {
            columns += (columns.isEmpty() ? "" : ",") + m_table.column(i).name;
            values += (values.isEmpty() ? "" : ",") + m_table.column(i).literal(feature, i, QVariant());
        }
    }
    constexpr qsizetype most = 1 << 18;
    if (columns != m_columns || m_values.size() > most) {
        flush();
    }
    m_columns = columns;
    m_values += (m_values.isEmpty() ? "(" : ",(") + values + ')';
}

void PostgresRows::flush() {
    if (!m_values.isEmpty()) {
        const QByteArray rows = m_values;
        m_values.clear();
        execute(m_source, "INSERT INTO " + m_table.name() + " (" + m_columns + ") VALUES " + rows);
    }
}

} // namespace Cartolith::Core::Layers::Internal
