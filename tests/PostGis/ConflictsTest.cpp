#include "PostGis/Server.h"

#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>

#include <QFile>

#include <future>
#include <thread>
#include <unistd.h>

using Cartolith::Core::Layers::GisEditConflict;
using Cartolith::Core::Layers::GisLayerOgrOnDemand;
using Cartolith::Core::Layers::GisLayerOgrVector;
using Cartolith::Core::Layers::GisLayerVector;
using test::shapeOf;
using testing::HasSubstr;
using Kind = GisEditConflict::Kind;
using Choice = GisEditConflict::Choice;

namespace {

using Act = std::function<bool(GisLayerVector&)>;

Act sets(const char* field, const QVariant& value, qint64 id = 2) {
    return [=](GisLayerVector& layer) {
        const auto* const shape = layer.shapeForFeatureId(id);
        auto attributes = shape->attributes();
        attributes[field] = value;
        return layer.setShapeAttributesEdit(shape->id(), attributes);
    };
}

Act movesTo(double x) {
    return [=](GisLayerVector& layer) {
        const auto* const shape = layer.shapeForFeatureId(2);
        return layer.setShapeGeometryEdit(shape->id(), shapeOf(QString("POINT (%1 0)").arg(x), shape->attributes()));
    };
}

bool deletes(GisLayerVector& layer) {
    return layer.deleteShapeEdit(layer.shapeForFeatureId(2)->id());
}

class PostGisConflicts : public test::WithServer {};
template <typename Layer>
class PostGisConflictsOf : public test::WithServer {};
using Layers = testing::Types<GisLayerOgrVector, GisLayerOgrOnDemand>;
TYPED_TEST_SUITE(PostGisConflictsOf, Layers);

constexpr auto rest = "|123456789012345678.123456789012|1.50|2024-01-02 03:04:05.123456|0.1|";

TYPED_TEST(PostGisConflictsOf, TwoSessionsAreFoundAndDecided) {
    const struct {
        const char* name;
        const char* theirs; ///< SQL behind "UPDATE t SET" or a whole statement
        Act ours;
        std::vector<Kind> kinds;
        const char* withOurs;
        const char* withTheirs;
    } rows[] = {
        {"other columns", "name = 'their'", sets("n", 8), {}, "their..8|POINT(2 2)", ""},
        {"a column and the place", "geom = ST_SetSRID(ST_Point(9, 9), 4326)", sets("n", 8), {}, "a2..8|POINT(9 9)", ""},
        {"the place and a column", "name = NULL", movesTo(5), {}, "7|POINT(5 0)", ""},
        {"the same value", "n = 8", sets("n", 8), {}, "a2..8|POINT(2 2)", ""},
        {"one column",
         "name = 'their'",
         sets("name", "ours"),
         {Kind::Value},
         "ours..7|POINT(2 2)",
         "their..7|POINT(2 2)"},
        {"one column, to null", "n = NULL", sets("n", 8), {Kind::Value}, "a2..8|POINT(2 2)", "a2..POINT(2 2)"},
        {"two columns",
         "name = 'their', n = 9",
         [](auto& layer) { return sets("name", "ours")(layer) && sets("n", 8)(layer); },
         {Kind::Value, Kind::Value},
         "ours..8|POINT(2 2)",
         "their..9|POINT(2 2)"},
        {"the place",
         "geom = ST_SetSRID(ST_Point(9, 9), 4326)",
         movesTo(5),
         {Kind::Geometry},
         "a2..7|POINT(5 0)",
         "a2..7|POINT(9 9)"},
        {"behind the fifteenth digit",
         "big = 123456789012345678.123456789099",
         sets("big", "1.5"),
         {Kind::Value},
         "a2|1.500000000000|1.50|2024-01-02 03:04:05.123456|0.1|7|POINT(2 2)",
         "a2|123456789012345678.123456789099|1.50|2024-01-02 03:04:05.123456|0.1|7|POINT(2 2)"},
        {"deleted there", "DELETE FROM t WHERE id = 2", sets("n", 8), {Kind::DeletedThere}, "a2..8|POINT(2 2)", ""},
        {"deleted here", "n = 9", deletes, {Kind::DeletedHere}, "", "a2..9|POINT(2 2)"},
        {"deleted by both", "DELETE FROM t WHERE id = 2", deletes, {}, "", ""},
    };
    for (const auto& row : rows) {
        for (const Choice choice : {Choice::Ours, Choice::Theirs}) {
            SCOPED_TRACE(testing::Message() << row.name << ", " << static_cast<int>(choice));
            this->SetUp();
            TypeParam layer(this->m_path, "t");
            ASSERT_TRUE(layer.open());
            layer.query({0, 0, 9, 9});
            ASSERT_TRUE(layer.beginEdit() && row.ours(layer) && sets("n", 33, 3)(layer));
            const std::string theirs = row.theirs;
            this->sql(theirs[0] == 'D' ? theirs : "UPDATE t SET " + theirs + " WHERE id = 2");
            const std::string before = this->row(2);
            std::vector<Kind> kinds;
            if (!row.kinds.empty()) {
                ASSERT_FALSE(layer.commitEdit());
                EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("by someone else"));
                EXPECT_EQ(this->row(2), before);
                EXPECT_THAT(this->row(3), HasSubstr("|7|")) << "nothing is written";
                for (qsizetype i = 0; i < layer.conflicts().size(); ++i) {
                    EXPECT_EQ(layer.conflicts()[i].featureId, 2);
                    kinds.push_back(layer.conflicts()[i].kind);
                    ASSERT_TRUE(layer.resolveConflict(i, choice));
                }
            }
            EXPECT_EQ(kinds, row.kinds);
            ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
            EXPECT_TRUE(layer.conflicts().isEmpty());
            QString expected = choice == Choice::Ours || row.kinds.empty() ? row.withOurs : row.withTheirs;
            const std::string now = this->row(2); // also of a row that comes back, to the last digit
            expected.replace("..", rest);
            expected = expected.startsWith("7") ? rest + expected : expected;
            expected = expected.startsWith("|") ? expected.mid(1) : expected;
            EXPECT_EQ(now, expected.toStdString());
            EXPECT_THAT(this->row(3), HasSubstr("|33|"));
            GisLayerOgrVector again(this->m_path, "t");
            ASSERT_TRUE(layer.beginEdit() && layer.commitEdit() && again.open());
            EXPECT_EQ(again.count(), now.empty() ? 2 : 3) << "a decision does not come back";
        }
    }
}

TEST_F(PostGisConflicts, HaveThreeValuesAndAreFoundAnew) {
    GisLayerOgrVector layer(m_path, "t");
    ASSERT_TRUE(layer.open() && layer.beginEdit() && sets("name", "ours")(layer));
    EXPECT_FALSE(layer.resolveConflict(0, Choice::Ours));
    for (const char* const theirs : {"their", "again"}) { // theirs changes after the decision
        sql(std::string("UPDATE t SET name = '") + theirs + "' WHERE id = 2");
        ASSERT_FALSE(layer.commitEdit());
        ASSERT_EQ(layer.conflicts().size(), 1);
        const GisEditConflict conflict = layer.conflicts().front();
        EXPECT_EQ(conflict.field, "name");
        EXPECT_EQ(conflict.asRead, "a2");
        EXPECT_EQ(conflict.ours, "ours");
        EXPECT_EQ(conflict.theirs, theirs);
        EXPECT_FALSE(layer.resolveConflict(0, Choice::Open) || layer.resolveConflict(1, Choice::Ours));
        // Theirs that was taken back is to be decided again.
        ASSERT_TRUE(layer.resolveConflict(0, Choice::Theirs));
        EXPECT_FALSE(layer.resolveConflict(0, Choice::Ours)) << "theirs is in the layer";
        ASSERT_TRUE(layer.undoEdit());
        EXPECT_FALSE(layer.commitEdit());
        ASSERT_EQ(layer.conflicts().size(), 1);
        ASSERT_TRUE(layer.resolveConflict(0, Choice::Ours));
    }
    ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
    EXPECT_THAT(row(2), HasSubstr("ours"));
    EXPECT_FALSE(layer.resolveConflict(0, Choice::Ours)) << "outside a session";

    // What others saved beside is not undone by the next commit, which has not seen it.
    sql("UPDATE t SET n = 40 WHERE id = 2");
    ASSERT_TRUE(layer.beginEdit() && sets("name", "x")(layer) && layer.commitEdit());
    ASSERT_TRUE(layer.beginEdit() && sets("name", "y")(layer) && layer.commitEdit());
    EXPECT_THAT(row(2), HasSubstr("|40|"));
    ASSERT_TRUE(layer.beginEdit() && sets("n", 41)(layer));
    EXPECT_FALSE(layer.commitEdit());
    ASSERT_TRUE(layer.undoEdit() && deletes(layer));
    EXPECT_FALSE(layer.commitEdit()) << "nor deleted unseen";
}

/// What the layer does not hold is not made null, and what is null not the column's default.
TYPED_TEST(PostGisConflictsOf, ARowComesBackAsTheLayerHasItOrNotAtAll) {
    const struct {
        const char* name;
        const char* columns; ///< beside "id" and "n"
        const char* values;  ///< "" where they are generated
        const char* layer;
        const char* saved; ///< "" where it does not come back
    } rows[] = {
        {"null beside a default", "x text DEFAULT 'new', geom geometry", "NULL, 'POINT(1 1)'", "m",
         "8 null POINT(1 1)"},
        {"not a number", "x float8, geom geometry", "'NaN', 'POINT(1 1)'", "m", "8 NaN POINT(1 1)"},
        {"infinite", "x numeric, geom geometry", "'-Infinity', 'POINT(1 1)'", "m", "8 -Infinity POINT(1 1)"},
        {"generated value", "geom geometry DEFAULT 'POINT(1 1)', x int GENERATED ALWAYS AS (n * 2) STORED", "", "m",
         "8 16 POINT(1 1)"},
        {"generated place", "x int, geom geometry GENERATED ALWAYS AS (ST_Point(n, 1)) STORED", "5", "m",
         "8 5 POINT(8 1)"},
        {"two geometries", "x geometry, geom geometry", "'POINT(1 1)', 'POINT(1 1)'", "m", ""},
        {"the second of them", "x geometry, geom geometry", "'POINT(1 1)', 'POINT(1 1)'", "m(geom)", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string values = row.values[0] == '\0' ? "" : std::string(", ") + row.values;
        this->sql(std::string("DROP TABLE IF EXISTS m; CREATE TABLE m (id int PRIMARY KEY, n int, ") + row.columns +
                  "); INSERT INTO m VALUES (1, 7" + values + ")");
        TypeParam layer(this->m_path, row.layer);
        ASSERT_TRUE(layer.open());
        layer.query({0, 0, 9, 9});
        ASSERT_TRUE(layer.beginEdit() && sets("n", 8, 1)(layer));
        this->sql("DELETE FROM m");
        ASSERT_FALSE(layer.commitEdit());
        ASSERT_TRUE(layer.resolveConflict(0, Choice::Ours));
        EXPECT_EQ(layer.commitEdit(), row.saved[0] != '\0');
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(row.saved[0] != '\0' ? "" : "does not hold it whole"));
        EXPECT_EQ(this->sql("WITH r AS (SELECT concat_ws(' ', n, coalesce(x::text, 'null'), ST_AsText(geom)) AS x FROM "
                            "m) SELECT x FROM r"),
                  row.saved);
    }
}

TEST_F(PostGisConflicts, ALockIsWaitedFor) {
    for (const bool isReleased : {true, false}) {
        GisLayerOgrVector layer(m_path, "t");
        layer.setSaveWait(std::chrono::milliseconds(isReleased ? 20000 : 100));
        ASSERT_TRUE(layer.open() && layer.beginEdit() && sets("n", isReleased ? 8 : 9)(layer));
        ASSERT_EQ(m_session->StartTransaction(), OGRERR_NONE);
        sql("UPDATE t SET name = 'their' WHERE id = 2");
        if (!isReleased) {
            EXPECT_FALSE(layer.commitEdit());
            EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("cannot be locked"));
            ASSERT_EQ(m_session->RollbackTransaction(), OGRERR_NONE);
            EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
            break;
        }
        auto commit = std::async(std::launch::async, [&] { return layer.commitEdit(); });
        while (sql(*test::openToWrite(m_path), "WITH w AS (SELECT count(*) FROM pg_locks WHERE NOT granted) SELECT * "
                                               "FROM w") == "0") {
            std::this_thread::yield();
        }
        ASSERT_EQ(m_session->CommitTransaction(), OGRERR_NONE);
        EXPECT_TRUE(commit.get()) << layer.lastError().toStdString();
        EXPECT_THAT(row(2), testing::AllOf(HasSubstr("their"), HasSubstr("|8|")));
    }
}

TEST_F(PostGisConflicts, ACommitInDoubtIsAskedAboutAlsoWithoutEdits) {
    const QString link = QString::fromStdString(testing::TempDir()) + QString("/pg-%1").arg(getpid());
    const QString folder = m_path.section("host=", 1).section(' ', 0, 0);
    ASSERT_TRUE(QFile::link(folder, link));
    GisLayerOgrVector layer(QString(m_path).replace(folder, link), "t");
    ASSERT_TRUE(layer.open() && layer.beginEdit() && sets("n", 8)(layer));
    sql("CREATE OR REPLACE FUNCTION die() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN PERFORM "
        "pg_terminate_backend(pg_backend_pid()); RETURN NULL; END'; CREATE CONSTRAINT TRIGGER die AFTER UPDATE ON t "
        "DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION die()");
    layer.setProgressCallback([&](double) { return QFile::remove(link) || true; });
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("is not known"));
    ASSERT_TRUE(layer.undoEdit());
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("is not known"));
    ASSERT_TRUE(QFile::link(folder, link));
    EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
    QFile::remove(link);
    sql("DROP FUNCTION die CASCADE");
}

TEST_F(PostGisConflicts, ABrokenConnectionLeavesAllOrNothing) {
    const auto stop = [this] {
        sql("WITH s AS (SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND "
            "backend_type = 'client backend') SELECT * FROM s");
        return true;
    };
    // At the end, in the server: a check that is made as the transaction is committed.
    const char* const deferred =
        "CREATE FUNCTION die() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN PERFORM "
        "pg_terminate_backend(pg_backend_pid()); RETURN NULL; END'; CREATE CONSTRAINT TRIGGER die AFTER UPDATE ON t "
        "DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION die()";
    for (const bool isAtTheEnd : {false, true}) {
        GisLayerOgrVector layer(m_path, "t");
        ASSERT_TRUE(layer.open() && layer.beginEdit() && sets("n", 8)(layer) && sets("n", 8, 1)(layer) &&
                    layer.addShapeEdit(shapeOf("POINT (4 4)")));
        if (isAtTheEnd) {
            sql(deferred);
        } else {
            layer.setProgressCallback([&](double) { return stop(); });
        }
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("Cannot write"));
        EXPECT_THAT(row(2), HasSubstr("|7|"));
        layer.setProgressCallback({});
        sql("DROP FUNCTION IF EXISTS die CASCADE");
        EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_THAT(row(2), HasSubstr("|8|"));
        sql("UPDATE t SET n = 7; DELETE FROM t WHERE id > 3");
    }
}

} // namespace
