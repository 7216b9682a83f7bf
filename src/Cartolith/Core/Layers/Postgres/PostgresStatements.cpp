#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresStatementsInternal.h>

#include <cmath>
#include <memory>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShape;

QByteArray PostgresStatements::valueOf(OGRFeature& feature, int column, const GisShape& shape) const {
    return m_table.column(column).literal(feature, column, shape.attributeValue(m_session.nameOf(column)));
}

QByteArray PostgresStatements::updating(qint64 id, OGRFeature& feature, const GisShape& shape,
                                        const OgrChange& change) {
    QByteArray assignments;
    const auto assign = [&assignments](const QByteArray& name, const QByteArray& value) {
        assignments += (assignments.isEmpty() ? "" : ",") + name + '=' + value;
    };
    for (const int column : change.columns) {
        const QByteArray value = valueOf(feature, column, shape);
        if (!m_table.column(column).isGenerated) {
            assign(m_table.column(column).name, value);
        }
        m_asked.ask(id, column, value);
    }
    if (change.isMoved) {
        if (!m_table.isGeometryGenerated()) {
            assign(m_table.geometryName(), m_table.literal(feature.GetGeometryRef()));
        }
        m_asked.askPlace(id, GeometryPtr(feature.StealGeometry()));
    }
    if (assignments.isEmpty()) {
        return {};
    }
    return "UPDATE " + m_table.name() + " SET " + assignments + " WHERE " + m_table.key() + '=' +
           QByteArray::number(id);
}

PostgresStatements::Row PostgresStatements::rowOf(const GisShape& shape, std::optional<qint64> id) {
    OGRFeature feature(m_layer.GetLayerDefn());
    Row row;
    std::unique_ptr<GisShape> finite; // without numbers that may be there and that no edit may set
    for (int column = 0; id && column < feature.GetFieldCount(); ++column) {
        const QVariant value = shape.attributeValue(m_session.nameOf(column));
        const double number = value.typeId() == QMetaType::Double ? value.toDouble() : 0;
        if (!std::isfinite(number) && isAsRead(*id, column, shape)) {
            row.values[column] = std::isnan(number) ? "'NaN'" : number > 0 ? "'Infinity'" : "'-Infinity'";
            finite = finite != nullptr ? std::move(finite) : shape.clone();
            finite->attributes().remove(m_session.nameOf(column));
        }
    }
    const OgrChange change =
        fill(feature, m_layer.GetGeomType(), finite != nullptr ? *finite : shape, m_manner);
    for (const int column : change.columns) {
        row.values[column] = valueOf(feature, column, shape);
    }
    for (int column = 0; id && column < feature.GetFieldCount(); ++column) {
        const bool isKept = isAsRead(*id, column, shape);
        const auto text = isKept ? m_session.target().read.texts.find({*id, column}) : std::nullopt;
        if (isKept && m_table.column(column).isGenerated) {
            row.values.erase(column); // others may have been edited
        } else if (text) {
            row.values[column] = quotedText(*text);
        } else {
            row.values.emplace(column, "NULL");
        }
    }
    const auto name = [&row](const QByteArray& column, const QByteArray& value) {
        row.columns += (row.columns.isEmpty() ? "" : ",") + column;
        row.sql += (row.sql.isEmpty() ? "" : ",") + value;
    };
    if (!m_table.geometryName().isEmpty()) {
        if (OGRGeometry* const geometry = feature.GetGeometryRef()) { // 0 where the column wants more
            geometry->set3D(OGR_GT_HasZ(m_layer.GetGeomType()));
            geometry->setMeasured(OGR_GT_HasM(m_layer.GetGeomType()));
        }
        row.isPlaced = id ? !m_table.isGeometryGenerated() || !isWhereRead(*id, shape)
                          : feature.GetGeometryRef() != nullptr;
        if (!m_table.isGeometryGenerated()) {
            name(m_table.geometryName(), m_table.literal(feature.GetGeometryRef()));
        }
        row.geometry.reset(feature.StealGeometry());
    }
    for (const auto& [column, value] : row.values) {
        if (!m_table.column(column).isGenerated) {
            name(m_table.column(column).name, value);
        }
    }
    return row;
}

bool PostgresStatements::isAsRead(qint64 id, int column, const GisShape& shape) const {
    const GisShape* const before = m_edits.asRead.at(id).front();
    const QString name = m_session.nameOf(column);
    return before != nullptr && areSame(before->attributeValue(name), shape.attributeValue(name));
}

bool PostgresStatements::isWhereRead(qint64 id, const GisShape& shape) const {
    const GisShape* const before = m_edits.asRead.at(id).front();
    return before != nullptr && haveSameGeometry(*before, shape);
}

void PostgresStatements::ask(qint64 id, Row& row) {
    for (const auto& [column, value] : row.values) {
        m_asked.ask(id, column, value);
    }
    if (row.isPlaced) {
        m_asked.askPlace(id, std::move(row.geometry));
    }
}

QByteArray PostgresStatements::insertion(qint64 id, const GisShape& shape) {
    Row row = rowOf(shape, id);
    ask(id, row);
    return "INSERT INTO " + m_table.name() + " (" + m_table.key() + (row.columns.isEmpty() ? "" : ",") +
           row.columns + ") OVERRIDING SYSTEM VALUE VALUES (" + QByteArray::number(id) +
           (row.sql.isEmpty() ? "" : ",") + row.sql + ')';
}

} // namespace Cartolith::Core::Layers::Internal
