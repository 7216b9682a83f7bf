#include <Cartolith/Core/Layers/Ogr/GeometryKeptInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresAskedInternal.h>

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Shapes::GisShape;

void PostgresAsked::ask(qint64 id, int column, const QByteArray& value) {
    m_asked[column].push_back({id, value});
}

void PostgresAsked::askPlace(qint64 id, Common::Internal::GeometryPtr geometry) {
    m_places[id] = std::move(geometry);
}

void PostgresAsked::noteHeld(OGRFeature& feature, const GisShape& shape) {
    const qint64 id = feature.GetFID();
    for (const auto& [column, asked] : m_asked) {
        const bool isAsked =
            std::any_of(asked.begin(), asked.end(), [id](const Asked& one) { return one.id == id; });
        const QString name = QString::fromUtf8(feature.GetFieldDefnRef(column)->GetNameRef());
        if (isAsked && !areSame(shape.attributeValue(name), fieldValue(feature, column))) {
            m_otherwise.add({id, column}, "");
        }
    }
}

void PostgresAsked::keepTexts(const Ids& ids, OgrSavedIds& saved) {
    std::set<ExactTexts::Place> places;
    for (const auto& [column, asked] : m_asked) {
        for (const Asked& one : asked) {
            places.insert({one.id, column});
        }
    }
    // Of rows that are known as they are now, also what defaults and triggers have put there.
    const auto forKnown = [&](const std::function<void(const ExactTexts::Place&)>& take) {
        for (const qint64 id : ids) {
            const bool isKnown = saved.digests.contains(id);
            for (int i = 0; isKnown && i < m_layer.GetLayerDefn()->GetFieldCount(); ++i) {
                take({id, i});
            }
        }
    };
    forKnown([&](const ExactTexts::Place& place) {
        if (m_session.target().read.texts.find(place) && places.insert(place).second) {
            m_otherwise.add(place, "");
        }
    });
    m_otherwise.sort();
    const ExactTexts texts = m_session.exactTexts(ids, m_otherwise);
    forKnown([&](const ExactTexts::Place& place) {
        if (texts.find(place)) {
            places.insert(place);
        }
    });
    for (const ExactTexts::Place& place : places) {
        if (const auto text = texts.find(place)) {
            saved.texts.add(place, *text);
        }
    }
    saved.written.insert(places.begin(), places.end());
    m_asked.clear();
    m_otherwise = {};
}

void PostgresAsked::requireValues() {
    for (const auto& [column, asked] : m_asked) {
        const PostgresColumn& target = m_table.column(column);
        // These cut what is made one of them.
        const bool isCutting = target.type == "name" || target.type == "\"char\"";
        const QByteArray type = isCutting ? QByteArray("text") : target.type;
        QByteArray rows;
        for (const Asked& one : asked) {
            rows += (rows.isEmpty() ? "(" : ",(") + QByteArray::number(one.id) + ',' + one.value +
                    "::" + type + ')';
        }
        const SqlRows other = m_session.run(
            "SELECT v.id::text AS a, t." + target.name + "::text AS b, v.value::text AS c FROM " +
            m_table.name() + " AS t JOIN (VALUES " + rows + ") AS v(id, value) ON t." + m_table.key() +
            " = v.id WHERE " + target.differsFrom("v.value") + " LIMIT 1");
        if (!other.isEmpty()) {
            const auto shown = [](const QByteArray& text) {
                return text.isNull() ? QStringLiteral("null")
                                     : QStringLiteral("'%1'").arg(QString::fromUtf8(text));
            };
            failToWrite(
                m_session.target().path,
                QStringLiteral("feature %1: the field '%2' would hold %3 instead of %4")
                    .arg(QString::fromUtf8(other[0][0]),
                         QString::fromUtf8(m_layer.GetLayerDefn()->GetFieldDefn(column)->GetNameRef()),
                         shown(other[0][1]), shown(other[0][2])));
        }
    }
}

void PostgresAsked::requirePlaces(const Rows& after) {
    for (const auto& [id, asked] : m_places) {
        const auto row = after.find(id);
        const OGRGeometry* const held = row != after.end() ? row->second->GetGeometryRef() : nullptr;
        if (const auto change = geometryChange(held, asked.get())) {
            failToWrite(m_session.target().path,
                        QStringLiteral("feature %1: the geometry would be %2 instead of %3")
                            .arg(QString::number(id), change->held, change->asked));
        }
    }
    m_places.clear();
}

} // namespace Cartolith::Core::Layers::Internal
