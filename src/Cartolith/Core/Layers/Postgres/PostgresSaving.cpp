// Edits into a table of PostGIS: only the columns that were edited, and nothing over what others have
// changed.

#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrDigestInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresAskedInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresConflictsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresSessionInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresStatementsInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

using Shapes::GisShape;

/// All values of a row, for the conflict that it was deleted here.
QVariantMap valuesOf(OGRFeature& feature) {
    QVariantMap values;
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        values.insert(Common::Internal::wholeName(feature.GetFieldDefnRef(i)->GetNameRef()),
                      fieldValue(feature, i));
    }
    return values;
}

std::shared_ptr<const GisShape> shapeOf(const OGRFeature& feature) {
    const OGRGeometry* const geometry = feature.GetGeometryRef();
    auto read = Serialization::Ogr::Internal::shapesOf(
        Common::Internal::GeometryPtr(geometry != nullptr ? geometry->clone() : nullptr));
    return read.shapes.size() == 1 ? std::move(read.shapes.front()) : nullptr;
}

class PostgresSaving {
public:
    PostgresSaving(PostgresSession& session, const OgrEdits& edits) : m_session(session), m_edits(edits) {}

    OgrSavedIds write() {
        forBatches(idsOf(m_edits.deleted), [this](const Ids& ids) { remove(ids); });
        Ids updated;
        for (const auto& entry : m_edits.updated) {
            updated.push_back(entry.first);
        }
        forBatches(updated, [this](const Ids& ids) { change(ids); });
        if (m_conflicts.areOpen()) {
            m_conflicts.refuse();
        }
        for (qsizetype at = 0; at < m_edits.added.size(); at += batch) {
            add(m_edits.added.mid(at, batch));
        }
        m_saved.texts.sort();
        return std::move(m_saved);
    }

private:
    using Ids = PostgresSession::Ids;
    using Rows = PostgresSession::Rows;
    static constexpr qsizetype batch = 256;

    static Ids idsOf(const std::set<qint64>& ids) { return {ids.begin(), ids.end()}; }

    template <typename Function>
    void forBatches(const Ids& ids, const Function& function) {
        for (std::size_t at = 0; at < ids.size(); at += std::size_t{batch}) {
            const std::size_t end = std::min(ids.size(), at + std::size_t{batch});
            function(Ids(ids.begin() + static_cast<std::ptrdiff_t>(at),
                         ids.begin() + static_cast<std::ptrdiff_t>(end)));
            step(end - at);
        }
    }

    void step(std::size_t count) {
        m_done += count;
        const auto total = static_cast<double>(m_edits.deleted.size() + m_edits.updated.size()) +
                           static_cast<double>(m_edits.added.size());
        if (m_session.target().progress &&
            !m_session.target().progress(static_cast<double>(m_done) / total)) {
            failToWrite(m_session.target().path, QStringLiteral("it was cancelled"));
        }
    }

    bool isUntouched(OGRFeature& feature, const ExactTexts& now) {
        const qint64 id = feature.GetFID();
        const ReadFeature* const known = m_session.target().read.features.find(id);
        bool isSame = known != nullptr && known->digest == m_digest.of(feature);
        for (int i = 0; isSame && i < feature.GetFieldCount(); ++i) {
            const auto before = m_session.target().read.texts.find({id, i});
            const auto text = now.find({id, i});
            isSame = before.has_value() == text.has_value() && (!before || *before == *text);
        }
        return isSame;
    }

    void remove(const Ids& ids) {
        const Rows rows = m_session.lockAndRead(ids); // one that is gone is as it is wanted
        const ExactTexts texts = m_session.exactTexts(ids, m_session.target().read.texts);
        for (const auto& [id, feature] : rows) {
            if (!isUntouched(*feature, texts)) {
                GisEditConflict conflict{GisEditConflict::Kind::DeletedHere, id};
                conflict.theirs = valuesOf(*feature);
                conflict.theirShape = shapeOf(*feature);
                m_conflicts.add(conflict);
            }
        }
        if (!m_conflicts.areOpen() && !rows.empty()) {
            m_session.run("DELETE FROM " + m_table.name() + " WHERE " + m_session.whereIn(ids));
            if (const Rows left = m_session.read(ids); !left.empty()) {
                failToWrite(m_session.target().path,
                            QStringLiteral("the source keeps feature %1").arg(left.begin()->first));
            }
        }
    }

    struct Statement {
        qint64 id;
        QByteArray sql;
    };

    /// A row is made again of what the layer has of it.
    void requireWhole(qint64 id, const QList<const GisShape*>& shapes) const {
        const ReadFeature* const read = m_session.target().read.features.find(id);
        if (shapes.size() != 1 || m_table.otherGeometries() > 0 || read == nullptr || read->isPartlyRead ||
            read->isMultiPoint || read->hasZ || read->hasM || read->hasCurves || read->isCollection) {
            throw std::runtime_error(
                "it is not in the source any more, and the layer does not hold it whole");
        }
    }

    void change(const Ids& ids) {
        Rows rows = m_session.lockAndRead(ids);
        const ExactTexts texts = m_session.exactTexts(ids, m_session.target().read.texts);
        std::vector<Statement> statements;
        Ids ours; // of which the source is then as the layer has it
        for (const qint64 id : ids) {
            const QList<const GisShape*>& shapes = m_edits.updated.at(id);
            const auto row = rows.find(id);
            try {
                if (row == rows.end()) {
                    GisEditConflict conflict{GisEditConflict::Kind::DeletedThere, id, shapes.front()->id()};
                    conflict.ourShape = shapes.front()->clone();
                    if (m_conflicts.add(conflict) != GisEditConflict::Choice::Ours) {
                        continue;
                    }
                    requireWhole(id, shapes);
                    statements.push_back({id, m_statements.insertion(id, *shapes.front())});
                    ours.push_back(id);
                    continue;
                }
                OGRFeature& feature = *row->second;
                const OgrMerge merged = mergedOf(feature, shapes, texts);
                for (const GisEditConflict& conflict : merged.conflicts) {
                    m_conflicts.add(conflict);
                }
                if (const QByteArray sql = m_statements.updating(id, feature, *shapes.front(), merged.change);
                    !sql.isEmpty()) {
                    statements.push_back({id, sql});
                }
                if (merged.isOursAlone) {
                    ours.push_back(id);
                }
            } catch (const std::runtime_error& error) {
                failToWrite(m_session.target().path,
                            QStringLiteral("feature %1: %2").arg(id).arg(QString::fromUtf8(error.what())));
            }
        }
        if (m_conflicts.areOpen()) {
            return;
        }
        send(statements);
        m_asked.requireValues();
        const Rows after = m_session.read(ids);
        for (const Statement& statement : statements) {
            if (after.find(statement.id) == after.end()) {
                failToWrite(
                    m_session.target().path,
                    QStringLiteral("feature %1: the source does not take the change").arg(statement.id));
            }
        }
        m_asked.requirePlaces(after);
        for (const qint64 id : ours) {
            if (const auto row = after.find(id); row != after.end()) {
                m_saved.digests[id] = m_digest.of(*row->second);
            }
        }
        for (const auto& [id, row] : after) {
            if (const auto updated = m_edits.updated.find(id); updated != m_edits.updated.end()) {
                m_asked.noteHeld(*row, *updated->second.front());
            }
        }
        m_asked.keepTexts(ids, m_saved);
    }

    OgrMerge mergedOf(OGRFeature& feature, const QList<const GisShape*>& shapes, const ExactTexts& texts) {
        const qint64 id = feature.GetFID();
        const QList<const GisShape*>& asRead = m_edits.asRead.at(id);
        const bool isKept = isUntouched(feature, texts);
        if (!asRead.contains(nullptr)) {
            const auto owned = [](const std::optional<QByteArrayView>& text) {
                return text ? std::optional(text->toByteArray()) : std::nullopt;
            };
            return merge(feature, m_layer.GetGeomType(), shapes, asRead, isKept, m_manner, [&](int field) {
                return OgrExactValue{owned(m_session.target().read.texts.find({id, field})),
                                     owned(texts.find({id, field}))};
            });
        }
        if (!isKept) { // who has changed what cannot be told
            throw std::runtime_error("it was changed by someone else since it was read");
        }
        return {.change = update(feature, m_layer.GetGeomType(), shapes, m_manner)};
    }

    void add(const QList<const GisShape*>& shapes) {
        Ids ids;
        std::vector<PostgresStatements::Row> made;
        for (qsizetype i = 0; i < shapes.size();) {
            // Rows of the same columns go together.
            QByteArray columns;
            QByteArray rows;
            const qsizetype first = i;
            for (; i < shapes.size(); ++i) {
                PostgresStatements::Row row;
                try {
                    row = m_statements.rowOf(*shapes[i]);
                } catch (const std::runtime_error& error) {
                    failToWrite(m_session.target().path, QStringLiteral("shape %1: %2")
                                                             .arg(shapes[i]->id())
                                                             .arg(QString::fromUtf8(error.what())));
                }
                if (i > first && row.columns != columns) {
                    break;
                }
                columns = row.columns;
                rows += (rows.isEmpty() ? "(" : ",(") + row.sql + ')';
                made.push_back(std::move(row));
                if (columns.isEmpty()) { // nothing but defaults
                    ++i;
                    break;
                }
            }
            insert(columns, rows, shapes[first]->id(), i - first, ids);
        }
        for (std::size_t i = 0; i < ids.size(); ++i) {
            m_statements.ask(ids[i], made.at(i));
        }
        m_asked.requireValues();
        const Rows after = m_session.read(ids);
        for (std::size_t i = 0; i < ids.size(); ++i) {
            const qint64 id = ids[i];
            const auto row = after.find(id);
            if (row == after.end()) {
                failToWrite(m_session.target().path,
                            QStringLiteral("the source does not keep a new feature"));
            }
            m_asked.noteHeld(*row->second, *shapes[static_cast<qsizetype>(i)]);
            m_saved.digests[id] = m_digest.of(*row->second);
            m_saved.added.append(id);
        }
        m_asked.requirePlaces(after);
        m_asked.keepTexts(ids, m_saved);
        step(static_cast<std::size_t>(shapes.size()));
    }

    void insert(const QByteArray& columns, const QByteArray& rows, int shape, qsizetype count, Ids& ids) {
        const QByteArray what = columns.isEmpty() ? " DEFAULT VALUES" : " (" + columns + ") VALUES " + rows;
        SqlRows given;
        try {
            given = m_session.execute("INSERT INTO " + m_table.name() + what + " RETURNING " + m_table.key() +
                                      "::text AS k"); // not by the name that OGR has for keys
        } catch (const std::runtime_error& error) {
            failToWrite(
                m_session.target().path,
                QStringLiteral("new shapes from %1 on: %2").arg(shape).arg(QString::fromUtf8(error.what())));
        }
        if (given.size() != count) {
            failToWrite(m_session.target().path, QStringLiteral("the source does not take a new feature"));
        }
        for (const QList<QByteArray>& row : std::as_const(given)) {
            ids.push_back(row.value(0).toLongLong());
        }
    }

    /// Many in one message. Where one fails, they are sent again one by one, to say which.
    void send(const std::vector<Statement>& statements) {
        constexpr qsizetype most = 1 << 20;
        for (std::size_t at = 0; at < statements.size();) {
            QByteArray all = "SAVEPOINT cartolith";
            const std::size_t first = at;
            for (; at < statements.size() && (at == first || all.size() < most); ++at) {
                all += ';' + statements[at].sql;
            }
            try {
                m_session.execute(all + ";RELEASE SAVEPOINT cartolith");
            } catch (const std::runtime_error& error) {
                m_session.run("ROLLBACK TO SAVEPOINT cartolith");
                for (std::size_t i = first; i < at; ++i) {
                    try {
                        m_session.execute(statements[i].sql);
                    } catch (const std::runtime_error& one) {
                        failToWrite(m_session.target().path, QStringLiteral("feature %1: %2")
                                                                 .arg(statements[i].id)
                                                                 .arg(QString::fromUtf8(one.what())));
                    }
                }
                failToWrite(m_session.target().path, QString::fromUtf8(error.what()));
            }
        }
    }

    PostgresSession& m_session;
    const OgrEdits& m_edits;
    PostgresTable& m_table = m_session.table();
    OGRLayer& m_layer = m_session.layer();
    const OgrManner m_manner = OgrManner::of(m_session.target().driverName);
    PostgresConflicts m_conflicts{m_session.target()};
    PostgresAsked m_asked{m_session};
    PostgresStatements m_statements{m_session, m_edits, m_manner, m_asked};
    OgrDigest m_digest;
    OgrSavedIds m_saved;
    std::size_t m_done = 0;
};

} // namespace

void saveInPostgres(const OgrEditTarget& target, const OgrEdits& edits) {
    PostgresSession session(target);
    const OgrSavedIds ids = PostgresSaving(session, edits).write();
    target.prepare(ids);
    session.commit();
}

} // namespace Cartolith::Core::Layers::Internal
