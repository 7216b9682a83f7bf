// Edits into a table of PostGIS: only the columns that were edited, and nothing over what others have
// changed.

#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Ogr/GeometryKeptInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrDigestInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/PostgresTableInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

using Common::Internal::FeaturePtr;
using Common::Internal::GeometryPtr;
using Shapes::GisShape;

Common::Internal::DatasetPtr openedFor(const QString& path, unsigned access) {
    Common::Internal::registerGdalDrivers();
    const Common::Internal::EpsgCodesAsGiven codes;
    return Common::Internal::DatasetPtr(
        GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR | access | GDAL_OF_VERBOSE_ERROR));
}

using Ids = std::vector<qint64>;

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

bool areSameShapes(const std::shared_ptr<const GisShape>& a, const std::shared_ptr<const GisShape>& b) {
    return (a == nullptr && b == nullptr) || (a != nullptr && b != nullptr && haveSameGeometry(*a, *b));
}

class PostgresTransaction {
public:
    PostgresTransaction(const OgrEditTarget& target, const OgrEdits& edits)
        : m_target(target), m_edits(edits) {
        m_dataset = openedFor(target.path, GDAL_OF_UPDATE);
        if (m_dataset == nullptr) {
            fail(QStringLiteral("it cannot be opened for changes"));
        }
        m_dataset->GetLayerCount(); // only then are all found by their names
        m_layer = m_dataset->GetLayerByName(target.layerName.toUtf8().constData());
        if (m_layer == nullptr) {
            fail(QStringLiteral("there is no layer '%1' any more").arg(target.layerName));
        }
        m_layer->GetSpatialRef();
        if (m_dataset->StartTransaction() != OGRERR_NONE) {
            fail(QStringLiteral("no transaction"));
        }
        m_isOpen = true;
        // A row that was waited for is seen as it is then.
        run("SET TRANSACTION ISOLATION LEVEL READ COMMITTED");
        const auto wait = std::max<qint64>(1, qint64{target.wait.count()});
        run("SET LOCAL lock_timeout = " + QByteArray::number(wait));
        try {
            correctTypes(*m_dataset, *m_layer);
            m_table.emplace(*m_dataset, *m_layer);
            run("SELECT 1 AS here FROM " + m_table->name() + " LIMIT 0"); // keeps the table as it is
            m_table.emplace(*m_dataset, *m_layer);
            m_table->keepSystem();
        } catch (const std::runtime_error& error) {
            failToWrite(target.path, QString::fromUtf8(error.what()));
        }
        if (m_table->hasLostColumns() || OgrDigest::ofFields(*m_layer) != target.read.fieldNames) {
            failToWrite(target.path,
                        QStringLiteral("its fields were changed by someone else since it was opened"));
        }
        if (OgrDigest::ofSystem(*m_layer) != target.read.system) {
            failToWrite(
                target.path,
                QStringLiteral("its coordinate system was changed by someone else since it was opened"));
        }
        if (m_table->key().isEmpty()) {
            failToWrite(target.path,
                        QStringLiteral("'%1' has no primary key of one whole number by which its rows "
                                       "are known, so it can be read only")
                            .arg(target.layerName));
        }
    }

    ~PostgresTransaction() {
        const Common::Internal::GdalErrorCapture errors; // of a connection that broke
        if (m_isOpen) {
            m_dataset->RollbackTransaction();
        }
        m_dataset.reset();
    }
    PostgresTransaction(const PostgresTransaction&) = delete;
    PostgresTransaction& operator=(const PostgresTransaction&) = delete;

    OgrSavedIds write() {
        forBatches(idsOf(m_edits.deleted), [this](const Ids& ids) { remove(ids); });
        Ids updated;
        for (const auto& entry : m_edits.updated) {
            updated.push_back(entry.first);
        }
        forBatches(updated, [this](const Ids& ids) { change(ids); });
        if (std::any_of(m_conflicts.begin(), m_conflicts.end(), isOpenConflict)) {
            refuse();
        }
        for (qsizetype at = 0; at < m_edits.added.size(); at += batch) {
            add(m_edits.added.mid(at, batch));
        }
        m_saved.texts.sort();
        return std::move(m_saved);
    }

    void commit() {
        commitInPostgres(*m_dataset, m_target.path);
        m_isOpen = false;
    }

private:
    static constexpr qsizetype batch = 256;
    using Rows = std::map<qint64, FeaturePtr>;

    static bool isOpenConflict(const GisEditConflict& conflict) {
        return conflict.choice == GisEditConflict::Choice::Open;
    }

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
        if (m_target.progress && !m_target.progress(static_cast<double>(m_done) / total)) {
            failToWrite(m_target.path, QStringLiteral("it was cancelled"));
        }
    }

    SqlRows run(const QByteArray& sql) {
        try {
            return execute(*m_dataset, sql);
        } catch (const std::runtime_error& error) {
            failToWrite(m_target.path, QString::fromUtf8(error.what()));
        }
    }

    QByteArray whereIn(const Ids& ids) const { return m_table->key() + " IN (" + listOf(ids) + ')'; }

    Rows read(const Ids& ids) {
        m_errors.reset();
        Rows rows;
        m_layer->SetAttributeFilter(whereIn(ids).constData());
        m_layer->ResetReading();
        while (FeaturePtr feature{m_layer->GetNextFeature()}) {
            const qint64 id = feature->GetFID();
            rows[id] = std::move(feature);
        }
        m_layer->SetAttributeFilter(nullptr);
        m_layer->ResetReading();
        if (!m_errors.message().isEmpty()) {
            fail(QStringLiteral("its rows cannot be read"));
        }
        return rows;
    }

    /// In the order of their ids, so that two layers never wait for each other.
    Rows lockAndRead(const Ids& ids) {
        try {
            execute(*m_dataset, "WITH locked AS (SELECT 1 FROM " + m_table->name() + " WHERE " +
                                    whereIn(ids) + " ORDER BY " + m_table->key() +
                                    " FOR UPDATE) SELECT count(*) FROM locked");
        } catch (const std::runtime_error& error) {
            failToWrite(m_target.path, QStringLiteral("its rows cannot be locked to be changed: %1")
                                           .arg(QString::fromUtf8(error.what())));
        }
        requireSystemOf(ids);
        return read(ids);
    }

    /// What GDAL reads of a geometry does not say in which system it is by now.
    void requireSystemOf(const Ids& ids) {
        const QByteArray isOther = m_table->isOfOtherSystem();
        const SqlRows others = isOther.isEmpty()
                                   ? SqlRows()
                                   : run("SELECT " + m_table->key() + "::text AS k FROM " + m_table->name() +
                                         " WHERE " + whereIn(ids) + " AND " + isOther + " LIMIT 1");
        if (!others.isEmpty()) {
            failToWrite(m_target.path, QStringLiteral("feature %1: %2")
                                           .arg(QString::fromUtf8(others[0][0]), m_table->severalSystems()));
        }
    }

    bool isUntouched(OGRFeature& feature, const ExactTexts& now) {
        const qint64 id = feature.GetFID();
        const ReadFeature* const known = m_target.read.features.find(id);
        bool isSame = known != nullptr && known->digest == m_digest.of(feature);
        for (int i = 0; isSame && i < feature.GetFieldCount(); ++i) {
            const auto before = m_target.read.texts.find({id, i});
            const auto text = now.find({id, i});
            isSame = before.has_value() == text.has_value() && (!before || *before == *text);
        }
        return isSame;
    }

    /// Open unless the host has decided that the very same is ours. Theirs is in the layer since then, unless
    /// the host took that back: then it is to be asked again.
    void found(GisEditConflict conflict) {
        for (const GisEditConflict& decided : m_target.decided) {
            const bool isDecided = decided.choice == GisEditConflict::Choice::Ours ||
                                   decided.kind == GisEditConflict::Kind::DeletedHere;
            if (isDecided && decided.kind == conflict.kind && decided.featureId == conflict.featureId &&
                decided.field == conflict.field && areSame(decided.theirs, conflict.theirs) &&
                areSameShapes(decided.theirShape, conflict.theirShape)) {
                conflict.choice = decided.choice;
            }
        }
        m_conflicts.append(conflict);
    }

    bool isRefused() const { return std::any_of(m_conflicts.begin(), m_conflicts.end(), isOpenConflict); }

    void remove(const Ids& ids) {
        const Rows rows = lockAndRead(ids); // one that is gone is as it is wanted
        const ExactTexts texts = exactTexts(ids, m_target.read.texts);
        for (const auto& [id, feature] : rows) {
            if (!isUntouched(*feature, texts)) {
                GisEditConflict conflict{GisEditConflict::Kind::DeletedHere, id};
                conflict.theirs = valuesOf(*feature);
                conflict.theirShape = shapeOf(*feature);
                found(conflict);
            }
        }
        if (!isRefused() && !rows.empty()) {
            run("DELETE FROM " + m_table->name() + " WHERE " + whereIn(ids));
            if (const Rows left = read(ids); !left.empty()) {
                failToWrite(m_target.path,
                            QStringLiteral("the source keeps feature %1").arg(left.begin()->first));
            }
        }
    }

    struct Statement {
        qint64 id;
        QByteArray sql;
    };
    struct Asked {
        qint64 id;
        QByteArray value;
    };

    ExactTexts exactTexts(const Ids& ids, const ExactTexts& known) const {
        try {
            return m_table->exactTexts(ids, known);
        } catch (const std::runtime_error& error) {
            failToWrite(m_target.path, QString::fromUtf8(error.what()));
        }
    }

    /// A row is made again of what the layer has of it.
    void requireWhole(qint64 id, const QList<const GisShape*>& shapes) const {
        const ReadFeature* const read = m_target.read.features.find(id);
        if (shapes.size() != 1 || m_table->otherGeometries() > 0 || read == nullptr || read->isPartlyRead ||
            read->isMultiPoint || read->hasZ || read->hasM || read->hasCurves || read->isCollection) {
            throw std::runtime_error(
                "it is not in the source any more, and the layer does not hold it whole");
        }
    }

    void change(const Ids& ids) {
        Rows rows = lockAndRead(ids);
        const ExactTexts texts = exactTexts(ids, m_target.read.texts);
        std::vector<Statement> statements;
        Ids ours; // of which the source is then as the layer has it
        for (const qint64 id : ids) {
            const QList<const GisShape*>& shapes = m_edits.updated.at(id);
            const auto row = rows.find(id);
            try {
                if (row == rows.end()) {
                    GisEditConflict conflict{GisEditConflict::Kind::DeletedThere, id, shapes.front()->id()};
                    conflict.ourShape = shapes.front()->clone();
                    found(conflict);
                    if (m_conflicts.constLast().choice != GisEditConflict::Choice::Ours) {
                        continue;
                    }
                    requireWhole(id, shapes);
                    statements.push_back({id, insertion(id, *shapes.front())});
                    ours.push_back(id);
                    continue;
                }
                OGRFeature& feature = *row->second;
                const OgrMerge merged = mergedOf(feature, shapes, texts);
                for (const GisEditConflict& conflict : merged.conflicts) {
                    found(conflict);
                }
                if (const QByteArray sql = updating(id, feature, *shapes.front(), merged.change);
                    !sql.isEmpty()) {
                    statements.push_back({id, sql});
                }
                if (merged.isOursAlone) {
                    ours.push_back(id);
                }
            } catch (const std::runtime_error& error) {
                failToWrite(m_target.path,
                            QStringLiteral("feature %1: %2").arg(id).arg(QString::fromUtf8(error.what())));
            }
        }
        if (isRefused()) {
            return;
        }
        send(statements);
        requireAsked();
        const Rows after = read(ids);
        for (const Statement& statement : statements) {
            if (after.find(statement.id) == after.end()) {
                failToWrite(
                    m_target.path,
                    QStringLiteral("feature %1: the source does not take the change").arg(statement.id));
            }
        }
        requirePlaces(after);
        for (const qint64 id : ours) {
            if (const auto row = after.find(id); row != after.end()) {
                m_saved.digests[id] = m_digest.of(*row->second);
            }
        }
        for (const auto& [id, row] : after) {
            if (const auto updated = m_edits.updated.find(id); updated != m_edits.updated.end()) {
                noteHeld(*row, *updated->second.front());
            }
        }
        keepTexts(ids);
    }

    /// What the source has since is told from what others put there, whatever type the value was given in.
    void noteHeld(OGRFeature& feature, const GisShape& shape) {
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

    void keepTexts(const Ids& ids) {
        std::set<ExactTexts::Place> places;
        for (const auto& [column, asked] : m_asked) {
            for (const Asked& one : asked) {
                places.insert({one.id, column});
            }
        }
        // Of rows that are known as they are now, also what defaults and triggers have put there.
        const auto forKnown = [&](const std::function<void(const ExactTexts::Place&)>& take) {
            for (const qint64 id : ids) {
                const bool isKnown = m_saved.digests.contains(id);
                for (int i = 0; isKnown && i < m_layer->GetLayerDefn()->GetFieldCount(); ++i) {
                    take({id, i});
                }
            }
        };
        forKnown([&](const ExactTexts::Place& place) {
            if (m_target.read.texts.find(place) && places.insert(place).second) {
                m_otherwise.add(place, "");
            }
        });
        m_otherwise.sort();
        const ExactTexts texts = exactTexts(ids, m_otherwise);
        forKnown([&](const ExactTexts::Place& place) {
            if (texts.find(place)) {
                places.insert(place);
            }
        });
        for (const ExactTexts::Place& place : places) {
            if (const auto text = texts.find(place)) {
                m_saved.texts.add(place, *text);
            }
        }
        m_saved.written.insert(places.begin(), places.end());
        m_asked.clear();
        m_otherwise = {};
    }

    /// That the source holds what it was given: types, domains and triggers may have made something else of
    /// it.
    void requireAsked() {
        for (const auto& [column, asked] : m_asked) {
            const PostgresColumn& target = m_table->column(column);
            // These cut what is made one of them.
            const bool isCutting = target.type == "name" || target.type == "\"char\"";
            const QByteArray type = isCutting ? QByteArray("text") : target.type;
            QByteArray rows;
            for (const Asked& one : asked) {
                rows += (rows.isEmpty() ? "(" : ",(") + QByteArray::number(one.id) + ',' + one.value +
                        "::" + type + ')';
            }
            const SqlRows other =
                run("SELECT v.id::text AS a, t." + target.name + "::text AS b, v.value::text AS c FROM " +
                    m_table->name() + " AS t JOIN (VALUES " + rows + ") AS v(id, value) ON t." +
                    m_table->key() + " = v.id WHERE " + target.differsFrom("v.value") + " LIMIT 1");
            if (!other.isEmpty()) {
                const auto shown = [](const QByteArray& text) {
                    return text.isNull() ? QStringLiteral("null")
                                         : QStringLiteral("'%1'").arg(QString::fromUtf8(text));
                };
                failToWrite(
                    m_target.path,
                    QStringLiteral("feature %1: the field '%2' would hold %3 instead of %4")
                        .arg(QString::fromUtf8(other[0][0]),
                             QString::fromUtf8(m_layer->GetLayerDefn()->GetFieldDefn(column)->GetNameRef()),
                             shown(other[0][1]), shown(other[0][2])));
            }
        }
    }

    /// The same of geometries, with the rows as they are since.
    void requirePlaces(const Rows& after) {
        for (const auto& [id, asked] : m_places) {
            const auto row = after.find(id);
            const OGRGeometry* const held = row != after.end() ? row->second->GetGeometryRef() : nullptr;
            if (const auto change = geometryChange(held, asked.get())) {
                failToWrite(m_target.path,
                            QStringLiteral("feature %1: the geometry would be %2 instead of %3")
                                .arg(QString::number(id), change->held, change->asked));
            }
        }
        m_places.clear();
    }

    OgrMerge mergedOf(OGRFeature& feature, const QList<const GisShape*>& shapes, const ExactTexts& texts) {
        const qint64 id = feature.GetFID();
        const QList<const GisShape*>& asRead = m_edits.asRead.at(id);
        const bool isKept = isUntouched(feature, texts);
        if (!asRead.contains(nullptr)) {
            const auto owned = [](const std::optional<QByteArrayView>& text) {
                return text ? std::optional(text->toByteArray()) : std::nullopt;
            };
            return merge(feature, m_layer->GetGeomType(), shapes, asRead, isKept, m_manner, [&](int field) {
                return OgrExactValue{owned(m_target.read.texts.find({id, field})),
                                     owned(texts.find({id, field}))};
            });
        }
        if (!isKept) { // who has changed what cannot be told
            throw std::runtime_error("it was changed by someone else since it was read");
        }
        return {.change = update(feature, m_layer->GetGeomType(), shapes, m_manner)};
    }

    QByteArray valueOf(OGRFeature& feature, int column, const GisShape& shape) const {
        return m_table->column(column).literal(feature, column, shape.attributeValue(nameOf(column)));
    }

    /// Empty for nothing to send. Columns that are generated are not named, but what they come to is compared
    /// with what the layer has.
    QByteArray updating(qint64 id, OGRFeature& feature, const GisShape& shape, const OgrChange& change) {
        QByteArray assignments;
        const auto assign = [&assignments](const QByteArray& name, const QByteArray& value) {
            assignments += (assignments.isEmpty() ? "" : ",") + name + '=' + value;
        };
        for (const int column : change.columns) {
            const QByteArray value = valueOf(feature, column, shape);
            if (!m_table->column(column).isGenerated) {
                assign(m_table->column(column).name, value);
            }
            m_asked[column].push_back({id, value});
        }
        if (change.isMoved) {
            if (!m_table->isGeometryGenerated()) {
                assign(m_table->geometryName(), m_table->literal(feature.GetGeometryRef()));
            }
            m_places[id] = GeometryPtr(feature.StealGeometry());
        }
        if (assignments.isEmpty()) {
            return {};
        }
        return "UPDATE " + m_table->name() + " SET " + assignments + " WHERE " + m_table->key() + '=' +
               QByteArray::number(id);
    }

    /// What is in the columns of a new row. What is left out gets the source's default; of a row that comes
    /// back under its id nothing is, but what is generated.
    struct Row {
        std::map<int, QByteArray> values = {}; ///< that it is to have
        bool isPlaced = false;                 ///< whether it is to have the geometry
        GeometryPtr geometry = {};
        QByteArray columns = {};
        QByteArray sql = {};
    };
    Row rowOf(const GisShape& shape, std::optional<qint64> id = std::nullopt) {
        OGRFeature feature(m_layer->GetLayerDefn());
        Row row;
        std::unique_ptr<GisShape> finite; // without numbers that may be there and that no edit may set
        for (int column = 0; id && column < feature.GetFieldCount(); ++column) {
            const QVariant value = shape.attributeValue(nameOf(column));
            const double number = value.typeId() == QMetaType::Double ? value.toDouble() : 0;
            if (!std::isfinite(number) && isAsRead(*id, column, shape)) {
                row.values[column] = std::isnan(number) ? "'NaN'" : number > 0 ? "'Infinity'" : "'-Infinity'";
                finite = finite != nullptr ? std::move(finite) : shape.clone();
                finite->attributes().remove(nameOf(column));
            }
        }
        const OgrChange change =
            fill(feature, m_layer->GetGeomType(), finite != nullptr ? *finite : shape, m_manner);
        for (const int column : change.columns) {
            row.values[column] = valueOf(feature, column, shape);
        }
        for (int column = 0; id && column < feature.GetFieldCount(); ++column) {
            const bool isKept = isAsRead(*id, column, shape);
            const auto text = isKept ? m_target.read.texts.find({*id, column}) : std::nullopt;
            if (isKept && m_table->column(column).isGenerated) {
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
        if (!m_table->geometryName().isEmpty()) {
            if (OGRGeometry* const geometry = feature.GetGeometryRef()) { // 0 where the column wants more
                geometry->set3D(OGR_GT_HasZ(m_layer->GetGeomType()));
                geometry->setMeasured(OGR_GT_HasM(m_layer->GetGeomType()));
            }
            row.isPlaced = id ? !m_table->isGeometryGenerated() || !isWhereRead(*id, shape)
                              : feature.GetGeometryRef() != nullptr;
            if (!m_table->isGeometryGenerated()) {
                name(m_table->geometryName(), m_table->literal(feature.GetGeometryRef()));
            }
            row.geometry.reset(feature.StealGeometry());
        }
        for (const auto& [column, value] : row.values) {
            if (!m_table->column(column).isGenerated) {
                name(m_table->column(column).name, value);
            }
        }
        return row;
    }

    QString nameOf(int column) const {
        return Common::Internal::wholeName(m_layer->GetLayerDefn()->GetFieldDefn(column)->GetNameRef());
    }

    /// Whether a shape still has what was read of a field.
    bool isAsRead(qint64 id, int column, const GisShape& shape) const {
        const GisShape* const before = m_edits.asRead.at(id).front();
        const QString name = nameOf(column);
        return before != nullptr && areSame(before->attributeValue(name), shape.attributeValue(name));
    }
    bool isWhereRead(qint64 id, const GisShape& shape) const {
        const GisShape* const before = m_edits.asRead.at(id).front();
        return before != nullptr && haveSameGeometry(*before, shape);
    }

    /// What the source is to hold then, which is compared.
    void ask(qint64 id, Row& row) {
        for (const auto& [column, value] : row.values) {
            m_asked[column].push_back({id, value});
        }
        if (row.isPlaced) {
            m_places[id] = std::move(row.geometry);
        }
    }

    /// Under the id that it had.
    QByteArray insertion(qint64 id, const GisShape& shape) {
        Row row = rowOf(shape, id);
        ask(id, row);
        return "INSERT INTO " + m_table->name() + " (" + m_table->key() + (row.columns.isEmpty() ? "" : ",") +
               row.columns + ") OVERRIDING SYSTEM VALUE VALUES (" + QByteArray::number(id) +
               (row.sql.isEmpty() ? "" : ",") + row.sql + ')';
    }

    void add(const QList<const GisShape*>& shapes) {
        Ids ids;
        std::vector<Row> made;
        for (qsizetype i = 0; i < shapes.size();) {
            // Rows of the same columns go together.
            QByteArray columns;
            QByteArray rows;
            const qsizetype first = i;
            for (; i < shapes.size(); ++i) {
                Row row;
                try {
                    row = rowOf(*shapes[i]);
                } catch (const std::runtime_error& error) {
                    failToWrite(m_target.path, QStringLiteral("shape %1: %2")
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
            ask(ids[i], made.at(i));
        }
        requireAsked();
        const Rows after = read(ids);
        for (std::size_t i = 0; i < ids.size(); ++i) {
            const qint64 id = ids[i];
            const auto row = after.find(id);
            if (row == after.end()) {
                failToWrite(m_target.path, QStringLiteral("the source does not keep a new feature"));
            }
            noteHeld(*row->second, *shapes[static_cast<qsizetype>(i)]);
            m_saved.digests[id] = m_digest.of(*row->second);
            m_saved.added.append(id);
        }
        requirePlaces(after);
        keepTexts(ids);
        step(static_cast<std::size_t>(shapes.size()));
    }

    void insert(const QByteArray& columns, const QByteArray& rows, int shape, qsizetype count, Ids& ids) {
        const QByteArray what = columns.isEmpty() ? " DEFAULT VALUES" : " (" + columns + ") VALUES " + rows;
        SqlRows given;
        try {
            given =
                execute(*m_dataset, "INSERT INTO " + m_table->name() + what + " RETURNING " + m_table->key() +
                                        "::text AS k"); // not by the name that OGR has for keys
        } catch (const std::runtime_error& error) {
            failToWrite(
                m_target.path,
                QStringLiteral("new shapes from %1 on: %2").arg(shape).arg(QString::fromUtf8(error.what())));
        }
        if (given.size() != count) {
            failToWrite(m_target.path, QStringLiteral("the source does not take a new feature"));
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
                execute(*m_dataset, all + ";RELEASE SAVEPOINT cartolith");
            } catch (const std::runtime_error& error) {
                run("ROLLBACK TO SAVEPOINT cartolith");
                for (std::size_t i = first; i < at; ++i) {
                    try {
                        execute(*m_dataset, statements[i].sql);
                    } catch (const std::runtime_error& one) {
                        failToWrite(m_target.path, QStringLiteral("feature %1: %2")
                                                       .arg(statements[i].id)
                                                       .arg(QString::fromUtf8(one.what())));
                    }
                }
                failToWrite(m_target.path, QString::fromUtf8(error.what()));
            }
        }
    }

    [[noreturn]] void refuse() const {
        const auto open = std::find_if(m_conflicts.begin(), m_conflicts.end(), isOpenConflict);
        const auto count = std::count_if(m_conflicts.begin(), m_conflicts.end(), isOpenConflict);
        const QString what =
            open->kind == GisEditConflict::Kind::Value
                ? QStringLiteral("field '%1' of feature %2").arg(open->field).arg(open->featureId)
            : open->kind == GisEditConflict::Kind::DeletedThere
                ? QStringLiteral("feature %1, which is deleted").arg(open->featureId)
                : QStringLiteral("feature %1").arg(open->featureId);
        try {
            failToWrite(m_target.path,
                        QStringLiteral("%1 was changed by someone else since it was read").arg(what) +
                            (count > 1 ? QStringLiteral(" (and %1 more)").arg(count - 1) : QString()));
        } catch (const std::runtime_error& error) {
            throw EditConflicts(error.what(), m_conflicts);
        }
    }

    [[noreturn]] void fail(const QString& what) const {
        const QString reason = m_errors.message();
        failToWrite(m_target.path, reason.isEmpty() || what.contains(reason)
                                       ? what
                                       : QStringLiteral("%1: %2").arg(what, reason));
    }

    const OgrEditTarget& m_target;
    const OgrEdits& m_edits;
    const OgrManner m_manner = OgrManner::of(m_target.driverName);
    Common::Internal::GdalErrorCapture m_errors;
    Common::Internal::DatasetPtr m_dataset;
    OGRLayer* m_layer = nullptr;
    std::optional<PostgresTable> m_table;
    OgrDigest m_digest;
    OgrSavedIds m_saved;
    QList<GisEditConflict> m_conflicts;
    std::map<int, std::vector<Asked>> m_asked; // by column, of this batch
    std::map<qint64, GeometryPtr> m_places;    // likewise, of geometries
    ExactTexts m_otherwise;                    // places where the layer has the value in another type
    std::size_t m_done = 0;
    bool m_isOpen = false;
};

} // namespace

void commitInPostgres(GDALDataset& source, const QString& path) {
    QByteArray id;
    try {
        id = execute(source, "SELECT txid_current()::text").value(0).value(0);
    } catch (const std::runtime_error& error) {
        failToWrite(path, QString::fromUtf8(error.what()));
    }
    const Common::Internal::GdalErrorCapture errors;
    if (source.CommitTransaction() != OGRERR_NONE && !isCommitted(path, id)) {
        failToWrite(path, QStringLiteral("the transaction failed: %1").arg(errors.message()));
    }
}

bool isCommitted(const QString& path, const QByteArray& transaction) {
    const auto doubt = [&](const QString& reason) {
        const QString text =
            QStringLiteral("Cannot write '%1': the connection broke as the edits were committed, and "
                           "whether they are in the source is not known: %2")
                .arg(shownPath(path), shownText(reason, path));
        throw CommitInDoubt(text.toStdString(), transaction);
    };
    const Common::Internal::GdalErrorCapture errors;
    const auto source = openedFor(path, GDAL_OF_READONLY);
    if (source == nullptr) {
        doubt(errors.message());
    }
    QByteArray status;
    try {
        status = execute(*source, "SELECT txid_status(" + transaction + ')').value(0).value(0);
    } catch (const std::runtime_error& error) {
        doubt(QString::fromUtf8(error.what()));
    }
    if (status != "committed" && status != "aborted") {
        doubt(QStringLiteral("the server says '%1'").arg(QString::fromUtf8(status)));
    }
    return status == "committed";
}

void saveInPostgres(const OgrEditTarget& target, const OgrEdits& edits) {
    PostgresTransaction transaction(target, edits);
    const OgrSavedIds ids = transaction.write();
    target.prepare(ids);
    transaction.commit();
}

} // namespace Cartolith::Core::Layers::Internal
