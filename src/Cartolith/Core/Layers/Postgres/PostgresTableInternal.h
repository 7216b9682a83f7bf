#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresColumnInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// GDAL takes the values of a table apart by the names of its columns, in any case. \throws
/// std::runtime_error for two that differ in nothing else
void requireNamesApart(OGRLayer& layer);

/// Gives the fields of a layer the types that hold what is in their columns; before anything is read of it.
void correctTypes(GDALDataset& source, OGRLayer& layer);

/// The statement that gives a layer's table: a row of its oid, schema and name.
QByteArray tableOf(OGRLayer& layer);

/// How many rows the server takes a layer's table to have; -1 where it has not looked yet.
qint64 estimatedCount(GDALDataset& source, OGRLayer& layer);

/// Ids as a list in SQL.
QByteArray listOf(const std::vector<qint64>& ids);

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
    const PostgresColumn& column(int index) const { return m_columns.at(static_cast<std::size_t>(index)); }
    const QByteArray& geometryName() const { return m_geometry; }
    bool isGeometryGenerated() const { return m_isGeometryGenerated; }

    /// Whether a field of the layer is not, or not as it was, in the table.
    bool hasLostColumns() const { return m_hasLostColumns; }
    /// Columns of geometry that are not the layer's.
    int otherGeometries() const { return m_otherGeometries; }
    /// The number that the server has for the coordinate system of all geometries: what the column's type or
    /// a constraint on it says. 0 where neither does.
    int system() const { return m_system; }
    /// That of the geometries that are there, as GDAL takes it: the first one's. Unset for none.
    std::optional<int> usedSystem();
    /// In SQL, whether a row's geometry is in another system than the first one's; empty where that cannot
    /// be, or nothing is there.
    QByteArray isOfOtherSystem();
    /// \throws std::runtime_error when geometries are in several coordinate systems. Where neither type nor
    /// constraint says, the server goes through the table, up to the first row of another system.
    void requireOneSystem();
    /// What an error says of such a table.
    QString severalSystems() const;
    /// New geometries are in the system that the table's are in now, also when those have gone since.
    void keepSystem();

    /// What a geometry is in SQL; null is one.
    QByteArray literal(const OGRGeometry* geometry);

    /// What GDAL reads less of than there is, in the whole table, and nothing without a key.
    ExactTexts exactTexts() const;
    /// The same of the rows with these ids, and whatever is at the places of `known`.
    ExactTexts exactTexts(const std::vector<qint64>& ids, const ExactTexts& known) const;

private:
    ExactTexts exactTexts(const QByteArray& where, const std::vector<qint64>& ids,
                          const ExactTexts& known) const;

    GDALDataset& m_source;
    QByteArray m_listed; ///< what GDAL calls it
    QByteArray m_name;
    QByteArray m_key;
    QByteArray m_geometry;
    QByteArray m_geometryType;
    bool m_isGeometryGenerated = false;
    int m_system = 0;
    std::optional<int> m_usedSystem;
    std::optional<int> m_systemOfNew;
    std::vector<PostgresColumn> m_columns;
    std::vector<OGRFieldType> m_fields;
    bool m_hasLostColumns = false;
    int m_otherGeometries = 0;
};

} // namespace Cartolith::Core::Layers::Internal
