#pragma once

#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>

namespace Cartolith::Core::Layers::Internal {

/// New rows of a table, many in one message.
class PostgresRows {
public:
    PostgresRows(GDALDataset& source, OGRLayer& layer) : m_source(source), m_table(source, layer) {}

    /// With what is set of the feature; the rest gets the source's defaults. \throws std::runtime_error for a
    /// value that its column would cut or round, and for whatever the server refuses, of rows before, too
    void add(OGRFeature& feature);
    /// Sends what is left.
    void flush();

private:
    GDALDataset& m_source;
    PostgresTable m_table;
    QByteArray m_columns;
    QByteArray m_values;
};

} // namespace Cartolith::Core::Layers::Internal
