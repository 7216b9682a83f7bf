#include "PostGis/Server.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>

#include <functional>
#include <signal.h>

using namespace Cartolith::Core::Layers;
using Cartolith::Core::Shapes::GisExtent;
using testing::HasSubstr;

namespace {

class PostGisRequests : public test::WithServer {
protected:
    void SetUp() override {
        WithServer::SetUp();
        if (IsSkipped()) {
            return;
        }
        sql("DROP VIEW IF EXISTS slow; DROP TABLE IF EXISTS many; CREATE TABLE many (id int PRIMARY KEY, n int, geom "
            "geometry(Point,3857)); INSERT INTO many SELECT i, i % 5000, ST_SetSRID(ST_Point(i % 100, i / 100), 3857) "
            "FROM generate_series(1, 20000) i; CREATE INDEX many_n ON many (n); CREATE INDEX many_geom ON many USING "
            "gist (geom)");
        sql("VACUUM ANALYZE many");
    }
    static int countOf(GisFeatureReader& reader) {
        int count = 0;
        while (reader.next()) {
            ++count;
        }
        return count;
    }
    /// The process that serves the last connection.
    pid_t lastServer() const {
        return std::stoi(sql("WITH s AS (SELECT pid FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND "
                             "backend_type = 'client backend' ORDER BY backend_start DESC LIMIT 1) SELECT * FROM s"));
    }
};

/// What is asked, as the server's log has planned it.
TEST_F(PostGisRequests, AreAnsweredByTheIndex) {
    using Change = std::function<void(GisFeatureRequest&)>;
    const auto asks = [](const Change& change) {
        return [change](const QString& path) {
            GisFeatureRequest request;
            change(request);
            return countOf(*GisFeatureReader::fromSource(path, "many", request));
        };
    };
    const GisExtent window(10, 10, 12, 12);
    const struct {
        const char* name;
        std::function<int(const QString&)> ask;
        int found;
        const char* index;
    } rows[] = {
        {"window", asks([&](auto& request) { request.extent = window; }), 9, "many_geom"},
        {"ids", asks([](auto& request) {
             request.featureIds = QList<qint64>{7, 8, 6000000000};
         }),
         2, "many_pkey"},
        {"filter", asks([](auto& request) { request.filter = GisFeatureFilter::fromText("n = 77 OR n = 78"); }), 8,
         "many_n"},
        {"window, in the order of a field", asks([&](auto& request) {
             request.extent = window;
             request.order = {{"n", Qt::DescendingOrder}};
         }),
         9, "many_geom"},
        {"on demand",
         [&](const QString& path) {
             GisLayerOgrOnDemand layer(path, "many");
             return layer.open() ? static_cast<int>(layer.query(window).size()) : -1;
         },
         9, "many_geom"},
        {"on demand, one id",
         [](const QString& path) {
             GisLayerOgrOnDemand layer(path, "many");
             return layer.open() && layer.shapeForFeatureId(7) != nullptr ? 1 : 0;
         },
         1, "many_pkey"},
    };
    const std::string log = "current_setting('data_directory') || '/../log'";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string before = sql("WITH l AS (SELECT length(pg_read_file(" + log + ")) AS n) SELECT n FROM l");
        EXPECT_EQ(row.ask(m_path + " options='-c session_preload_libraries=auto_explain -c "
                                   "auto_explain.log_min_duration=0'"),
                  row.found);
        const std::string plans =
            sql("WITH l AS (SELECT substr(pg_read_file(" + log + "), " + before + ") AS n) SELECT n FROM l");
        EXPECT_NE(plans.find(' ' + std::string(row.index) + ' '), std::string::npos) << "the index is not used";
        EXPECT_EQ(plans.find("Seq Scan on many"), std::string::npos)
            << plans.substr(plans.find("Seq Scan on many") - 200, 240);
    }
}

TEST_F(PostGisRequests, OverviewsHaveTheIdsOfTheSourceOrAreNotMade) {
    for (const bool isBeyond : {true, false}) {
        sql("DROP TABLE IF EXISTS m, m_overviews, m_overviews_0, m_overviews_1, m_overviews_2; CREATE TABLE m (id "
            "bigint "
            "PRIMARY KEY, g geometry(Point,4326)); INSERT INTO m SELECT i" +
            std::string(isBeyond ? " + 5000000000" : " - 3") +
            ", ST_SetSRID(ST_Point(i % 60, i / 60), 4326) FROM generate_series(1, 3000) i");
        std::string error;
        try {
            EXPECT_TRUE(GisVectorOverviews::build(m_path, "m"));
        } catch (const std::runtime_error& thrown) {
            error = thrown.what();
        }
        EXPECT_EQ(error.empty(), isBeyond) << error;
        EXPECT_THAT(error, HasSubstr(isBeyond ? "" : "the id -1"));
    }
    sql("DROP TABLE IF EXISTS m, m_overviews, m_overviews_0, m_overviews_1, m_overviews_2");
}

/// Written when asked, and good for the table as it was.
TEST_F(PostGisRequests, OverviewsAreTablesBesideTheSource) {
    const auto tables = [this] {
        return sql("WITH t AS (SELECT string_agg(relname, ' ' ORDER BY relname) AS x FROM pg_class WHERE relname LIKE "
                   "'many_overviews%' AND relkind = 'r') SELECT x FROM t");
    };
    sql("DROP TABLE IF EXISTS many_overviews, many_overviews_0, many_overviews_1, many_overviews_2");
    EXPECT_FALSE(GisVectorOverviews::find(m_path, "many"));
    EXPECT_FALSE(GisVectorOverviews::build(m_path, "many", [](double done) { return done < 0.6; }));
    EXPECT_EQ(tables(), "");
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(GisVectorOverviews::build(m_path, "many"));
        const auto found = GisVectorOverviews::find(m_path, "many");
        ASSERT_TRUE(found);
        EXPECT_EQ(found->featureCount(), 20000);
        GisLayerOgrVector finest(found->path(), found->levels().constFirst().tableName);
        ASSERT_TRUE(finest.open());
        EXPECT_EQ(finest.featureCount(), found->levels().constFirst().featureCount);
        EXPECT_EQ(finest.coordinateSystem()->epsgCode(), 3857);
        GisFeatureRequest request;
        request.featureIds = QList<qint64>{finest.sourceFeatureIds().constFirst()};
        const auto source = GisFeatureReader::fromSource(m_path, "many", request);
        ASSERT_TRUE(source->next());
        EXPECT_EQ(source->attributes(), finest.items().front()->attributes());
    }
    sql("UPDATE many SET n = 1 WHERE id = 1");
    while (GisVectorOverviews::find(m_path, "many")) { // until the server has counted it
        sql("SELECT pg_stat_force_next_flush()");
    }
    sql("DROP TABLE many_overviews_0; CREATE VIEW many_overviews_0 AS SELECT 1");
    EXPECT_THROW(GisVectorOverviews::build(m_path, "many"), std::runtime_error);
    sql("DROP VIEW many_overviews_0");
}

TEST_F(PostGisRequests, OfASilentServerEnd) {
    using State = GisFeatureReader::State;
    sql("CREATE VIEW slow AS SELECT id, geom, pg_sleep(CASE WHEN id < 10 THEN 0 ELSE 0.1 END)::text AS x FROM many");
    const struct {
        const char* name;
        const char* layer;
        std::chrono::milliseconds limit;
        std::function<void(GisFeatureReader&, pid_t)> meanwhile;
        State state;
        const char* reason;
    } rows[] = {
        {"a statement that takes too long",
         "slow",
         std::chrono::milliseconds(300),
         {},
         State::Failed,
         "statement timeout"},
        {"ended by the server",
         "many",
         {},
         [this](GisFeatureReader&, pid_t server) {
             sql("WITH s AS (SELECT pg_terminate_backend(" + std::to_string(server) + ", 10000)) SELECT * FROM s");
         },
         State::Failed,
         "terminating connection"},
        {"stopped for a while",
         "many",
         {},
         [](GisFeatureReader&, pid_t server) {
             kill(server, SIGSTOP);
             kill(server, SIGCONT);
         },
         State::AtEnd,
         ""},
        {"stopped, and given up",
         "many",
         {},
         [](GisFeatureReader& reader, pid_t server) {
             kill(server, SIGSTOP);
             reader.cancel();
             kill(server, SIGCONT);
         },
         State::Cancelled,
         ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        GisFeatureRequest request;
        request.limits.statement = row.limit;
        const auto reader = GisFeatureReader::fromSource(m_path, row.layer, request);
        bool isBroken = false;
        try {
            if (row.meanwhile) {
                ASSERT_TRUE(reader->next());
                row.meanwhile(*reader, lastServer());
            }
            countOf(*reader);
        } catch (const std::runtime_error&) {
            isBroken = true;
        }
        EXPECT_EQ(reader->state(), row.state);
        EXPECT_EQ(isBroken, row.state == State::Failed);
        EXPECT_THAT(reader->reason().toStdString(), HasSubstr(row.reason));
        EXPECT_FALSE(reader->next());
    }
}

} // namespace
