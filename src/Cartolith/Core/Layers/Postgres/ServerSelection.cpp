#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Postgres/ServerSelectionInternal.h>
#include <Cartolith/Core/Shapes/AttributeSlot.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

ServerSelection::ServerSelection(OgrSource& source, OGRLayer& table, const QByteArray& guard)
    : m_source(source), m_table(table), m_guard(guard) {
    OGRFeatureDefn& schema = *table.GetLayerDefn();
    if (schema.GetGeomFieldCount() == 0) {
        return;
    }
    try {
        m_facts.emplace(source.dataset(), table);
        m_system = m_facts->usedSystem();
    } catch (const std::runtime_error&) { // what reads next says why
        m_facts.reset();
        return;
    }
    m_canSelect = !m_facts->key().isEmpty() && !m_facts->hasLostColumns();
    m_asksSystems = m_facts->system() == 0;
    for (int i = 0; m_canSelect && i < schema.GetFieldCount(); ++i) {
        const QByteArray isCut = m_facts->column(i).isCut(schema.GetFieldDefn(i)->GetType());
        if (!isCut.isEmpty()) {
            m_cuts.emplace_back(i, isCut);
        }
    }
}

void ServerSelection::requireOneSystem() {
    try {
        if (m_facts) {
            m_facts->requireOneSystem();
        }
    } catch (const std::runtime_error& error) {
        m_source.fail(QString::fromUtf8(error.what()));
    }
}

void ServerSelection::requireSystemOf(OGRFeature& row) {
    const int column = row.GetFieldCount() - 1;
    if (!m_asksSystems || !row.IsFieldSetAndNotNull(column)) {
        return;
    }
    const int system = row.GetFieldAsInteger(column);
    m_system = m_system.value_or(system);
    if (*m_system != system) {
        m_source.fail(m_facts->severalSystems());
    }
}

QByteArray ServerSelection::boxesMeeting(OGRLayer& table, const OGREnvelope& box) {
    constexpr int digits = 17;
    const auto number = [](double value) { return QByteArray::number(value, 'e', digits); };
    return quotedName(table.GetGeometryColumn()) + "::geometry && 'BOX(" + number(box.MinX) + ' ' +
           number(box.MinY) + ',' + number(box.MaxX) + ' ' + number(box.MaxY) + ")'::box2d";
}

QByteArray ServerSelection::isOf(OGRLayer& table, const std::vector<qint64>& ids) {
    return quotedName(table.GetFIDColumn()) + " = ANY ('{" + listOf(ids) + "}'::bigint[])";
}

OGRLayer* ServerSelection::select(const QByteArray& condition, const std::optional<QStringList>& fields,
                                  bool inKeyOrder) {
    release();
    m_selected.clear();
    if (!m_canSelect) {
        return nullptr;
    }
    // OGR knows the key of what a server selects by this name, and other columns by theirs, in any case.
    QByteArray columns = m_facts->key() + " AS ogc_fid," + m_facts->geometryName() + " AS g";
    QByteArrayList cuts;
    OGRFeatureDefn& schema = *m_table.GetLayerDefn();
    const auto isWanted = [&](int field) {
        const char* const name = schema.GetFieldDefn(field)->GetNameRef();
        return !fields || fields->contains(Common::Internal::wholeName(name));
    };
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        columns += ',' + (isWanted(i) ? m_facts->column(i).name : "NULL") + " AS f" + QByteArray::number(i);
    }
    for (const auto& [field, isCut] : m_cuts) {
        if (isWanted(field)) {
            cuts.append("CASE WHEN " + isCut + " THEN " + m_facts->column(field).name + "::text END");
            m_selected.push_back(field);
        }
    }
    // In one column, for a server selects 1,664 at the most.
    const QByteArray texts = cuts.isEmpty() ? QByteArray()
                                            : ",(SELECT CASE WHEN num_nonnulls(VARIADIC x.x) > 0 THEN "
                                              "to_json(x.x)::text END FROM (SELECT ARRAY[" +
                                                  cuts.join(',') + "]::text[] AS x) AS x) AS x";
    const QByteArray system =
        m_asksSystems ? ",ST_SRID(" + m_facts->geometryName() + "::geometry) AS s" : QByteArray();
    QString reason;
    m_rows = m_source.select(
        QString::fromUtf8(
            "SELECT " + columns + texts + system + " FROM " + m_facts->name() + " WHERE " + m_guard +
            (condition.isEmpty() ? "" : " AND (" + condition + ')') +
            (inKeyOrder ? " ORDER BY " + m_facts->name() + '.' + m_facts->key() : QByteArray())),
        &reason);
    if (!reason.isEmpty()) { // GDAL's own reading would do without what it does not say
        m_source.fail(reason);
    }
    OGRFeatureDefn* const selected = m_rows != nullptr ? m_rows->GetLayerDefn() : nullptr;
    const int count = schema.GetFieldCount();
    if (selected == nullptr || QByteArrayView(m_rows->GetFIDColumn()).isEmpty() ||
        selected->GetGeomFieldCount() != 1 ||
        selected->GetFieldCount() != count + (cuts.isEmpty() ? 0 : 1) + (m_asksSystems ? 1 : 0)) {
        release();
        return nullptr;
    }
    for (int i = 0; i < count; ++i) { // texts are taken apart by the type of the field
        selected->GetFieldDefn(i)->SetSubType(OFSTNone);
        selected->GetFieldDefn(i)->SetType(schema.GetFieldDefn(i)->GetType());
        selected->GetFieldDefn(i)->SetSubType(schema.GetFieldDefn(i)->GetSubType());
    }
    return m_rows.get();
}

FieldTexts ServerSelection::textsOf(OGRFeature& row) const {
    FieldTexts texts;
    const int column = m_table.GetLayerDefn()->GetFieldCount();
    if (m_selected.empty() || !row.IsFieldSetAndNotNull(column)) {
        return texts;
    }
    const QJsonArray values = QJsonDocument::fromJson(row.GetFieldAsString(column)).array();
    for (std::size_t i = 0; i < m_selected.size(); ++i) {
        const QJsonValue value = values.at(static_cast<qsizetype>(i));
        if (value.isString()) {
            texts.emplace_back(m_selected[i], value.toString().toUtf8());
        }
    }
    return texts;
}

namespace {

/// The texts of an array as the server writes it; unset where one is null or an array itself.
std::optional<QStringList> textsFrom(QByteArrayView text) {
    if (!text.startsWith('{') || !text.endsWith('}')) { // places that do not begin at 1 stand before it
        return std::nullopt;
    }
    QStringList list;
    const QByteArrayView inside = text.sliced(1, text.size() - 2);
    for (qsizetype i = 0; i < inside.size(); ++i) { // at the comma between two
        QByteArray item;
        const bool isQuoted = inside[i] == '"';
        const char end = isQuoted ? '"' : ',';
        for (i += isQuoted ? 1 : 0; i < inside.size() && inside[i] != end; ++i) {
            i += inside[i] == '\\' && i + 1 < inside.size() ? 1 : 0;
            item += inside[i];
        }
        i += isQuoted ? 1 : 0;
        if (!isQuoted && (item == "NULL" || item.startsWith('{'))) {
            return std::nullopt;
        }
        list.append(QString::fromUtf8(item));
    }
    return list;
}

} // namespace

void correctValue(Shapes::AttributeSlot& attributes, const Defs::GisAttributeDefinition& field,
                  QByteArrayView text) {
    const int type = field.type();
    if (type == QMetaType::QStringList) {
        if (const auto list = textsFrom(text)) {
            attributes.table()[field.name()] = *list;
        }
        return;
    }
    if (text == "NaN" && (type == QMetaType::Int || type == QMetaType::LongLong)) {
        attributes.table().remove(field.name());
        return;
    }
    if (!text.endsWith(" BC")) {
        return;
    }
    const QByteArrayList parts = text.toByteArray().split(' ').constFirst().split('-');
    const QDate date(-parts.value(0).toInt(), parts.value(1).toInt(), parts.value(2).toInt());
    const bool isDate = type == QMetaType::QDate;
    QDateTime moment = attributes.value(field.name()).toDateTime();
    moment.setDate(date);
    if (isDate || moment.isValid()) {
        attributes.table()[field.name()] = isDate ? QVariant(date) : QVariant(moment);
    }
}

} // namespace Cartolith::Core::Layers::Internal
