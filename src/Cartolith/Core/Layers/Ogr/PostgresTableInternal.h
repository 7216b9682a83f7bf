#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Ogr/PostgresTextInternal.h>

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// A table of PostGIS as its catalogue has it, beside what GDAL says of the layer.
class PostgresTable {
public:
    /// For the layer's table. \throws std::runtime_error when there is none
    PostgresTable(GDALDataset& source, OGRLayer& layer);

    /// Schema and table, quoted.
    const QByteArray& name() const { return m_name; }
    /// The column of the key, quoted; empty where rows have none that GDAL can use.
    const QByteArray& key() const { return m_key; }
    /// A column of the layer, quoted.
    QByteArray columnName(int index) const { return m_columns.at(static_cast<std::size_t>(index)).name; }
    const QByteArray& geometryName() const { return m_geometry; }

    /// Whether a field of the layer is not, or not as it was, in the table.
    bool hasLostColumns() const { return m_hasLostColumns; }
    /// A column of any geometry, or of one type in several coordinate systems. Reads the column where its
    /// type does not say.
    bool hasSeveralSystems();

    /// What a field of a feature is in SQL, where `value` is what it was set to. \throws std::runtime_error
    /// for a value that the column would cut or round
    QByteArray literal(OGRFeature& feature, int index, const QVariant& value) const;
    /// The same of a geometry; null is one.
    QByteArray literal(const OGRGeometry* geometry);

private:
    struct Column {
        QByteArray name;
        QString type; ///< of a domain, that below it
        int modifier = -1;
    };
    int firstSystem();

    GDALDataset& m_source;
    QByteArray m_name;
    QByteArray m_key;
    QByteArray m_geometry;
    QByteArray m_geometryType;
    int m_system = 0; ///< that the column's type wants; 0 for any
    int m_usedSystem = -1;
    std::vector<Column> m_columns;
    bool m_hasLostColumns = false;
};

} // namespace Cartolith::Core::Layers::Internal
