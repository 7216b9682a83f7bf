#pragma once

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QByteArray>
#include <QStringList>

#include <optional>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes {
class AttributeSlot;
}

namespace Cartolith::Core::Layers::Internal {

/// Rows of a server's table, each with what OGR does not say of it: the texts of what its fields are less
/// than, and the coordinate system of its geometry. They come in the same statement, so that they are those
/// of the row that was read.
class ServerSelection {
public:
    /// Looks at the table as it is now. Selects nothing where it has no key, or not the layer's columns. The
    /// condition of a guard goes with every statement.
    ServerSelection(OgrSource& source, OGRLayer& table, const QByteArray& guard);
    /// Whether rows can have more than OGR says.
    bool saysMore() const { return m_canSelect && (!m_cuts.empty() || m_asksSystems); }
    /// As PostgresTable has it; what fails names the source.
    void requireOneSystem();

    /// Selects the rows that a condition wants (all where it is empty), with the fields of the table in their
    /// order, under names of their own, of which those that are not wanted are null. Null where that cannot
    /// be said. The rows before go. \throws std::runtime_error when the server refuses
    OGRLayer* select(const QByteArray& condition, const std::optional<QStringList>& fields, bool inKeyOrder);
    /// What was selected.
    OGRLayer* rows() const { return m_rows.get(); }
    void release() { m_rows.reset(); }
    /// Of a row that was selected.
    FieldTexts textsOf(OGRFeature& row) const;
    /// \throws std::runtime_error when its geometry is in another system than that of the table
    void requireSystemOf(OGRFeature& row);

    /// Whether the box of a geometry meets another, whatever their systems, or globes.
    static QByteArray boxesMeeting(OGRLayer& table, const OGREnvelope& box);
    static QByteArray isOf(OGRLayer& table, const std::vector<qint64>& ids);

private:
    OgrSource& m_source;
    OGRLayer& m_table;
    QByteArray m_guard;
    std::optional<PostgresTable> m_facts;
    std::vector<std::pair<int, QByteArray>> m_cuts; ///< fields, and when they are less, in SQL
    std::vector<int> m_selected;                    ///< the fields of the texts, which come last
    bool m_canSelect = false;
    bool m_asksSystems = false;  ///< neither the column's type nor a constraint says them
    std::optional<int> m_system; ///< the table's, then; unset as long as it has no geometry
    OgrSource::Selection m_rows;
};

/// What GDAL reads wrongly, by the exact text: years before Christ, lists of texts, NaN among whole numbers.
void correctValue(Shapes::AttributeSlot& attributes, const Defs::GisAttributeDefinition& field,
                  QByteArrayView text);

} // namespace Cartolith::Core::Layers::Internal
