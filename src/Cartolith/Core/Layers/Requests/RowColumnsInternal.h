#pragma once

#include <Cartolith/Core/Shapes/AttributeRowInternal.h>

#include <QStringList>

#include <unordered_map>
#include <utility>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Where some fields lie in rows of the schema that was met last.
class RowColumns {
public:
    explicit RowColumns(QStringList fields) : m_fields(std::move(fields)) {
        constexpr qsizetype few = 8; // looked through as quickly
        for (qsizetype i = 0; m_fields.size() > few && i < m_fields.size(); ++i) {
            m_byName.emplace(m_fields[i], i);
        }
    }

    const QStringList& fields() const noexcept { return m_fields; }
    /// The place of a field among them, or -1.
    qsizetype indexOf(const QString& field) const {
        if (m_byName.empty()) {
            return m_fields.indexOf(field);
        }
        const auto found = m_byName.find(field);
        return found == m_byName.end() ? -1 : found->second;
    }
    /// In a row that is not null, the column of each field, -1 for one that it does not have.
    const std::vector<int>& in(const Shapes::Internal::AttributeRow& row) {
        if (m_schema.data() != &row.schema()) {
            m_schema = Shapes::Internal::AttributeSchema::Pointer(&row.schema());
            m_columns.clear();
            for (const QString& field : std::as_const(m_fields)) {
                m_columns.push_back(m_schema->indexOf(field));
            }
        }
        return m_columns;
    }

private:
    QStringList m_fields;
    std::unordered_map<QString, qsizetype>
        m_byName; // where they are many; a QHash ends the process without memory
    Shapes::Internal::AttributeSchema::Pointer m_schema;
    std::vector<int> m_columns;
};

} // namespace Cartolith::Core::Layers::Internal
