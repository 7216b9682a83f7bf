#include "PostGis/Server.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>

#include <functional>

using namespace Cartolith::Core::Layers;
using Cartolith::Core::Shapes::GisExtent;
using test::shapeOf;
using testing::HasSubstr;

namespace {

const GisExtent everything(-100, -100, 100, 100);

class PostGisSystems : public test::WithServer {
protected:
    /// What a way to read the table "m" says against it; empty for nothing.
    static std::string errorOf(const std::function<void()>& read) {
        try {
            read();
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }
};

TEST_F(PostGisSystems, SeveralInOneColumnAreRefusedByWhoeverReadsThem) {
    const auto isRead = [this](const GisFeatureRequest& request, const char* table) {
        const auto reader = GisFeatureReader::fromSource(m_path, table, request);
        while (reader->next()) {
        }
    };
    GisFeatureRequest byId;
    byId.featureIds = QList<qint64>{2};
    GisFeatureRequest window;
    window.extent = everything;
    const struct {
        const char* name;
        std::function<void()> read;
    } ways[] = {
        {"whole", [this] { GisLayerOgrVector(m_path, "m").open(); }},
        {"on demand", [this] { GisLayerOgrOnDemand(m_path, "m").open(); }},
        {"reader", [&] { isRead({}, "m"); }},
        {"reader of a window", [&] { isRead(window, "m"); }},
        {"reader by an id", [&] { isRead(byId, "m"); }},
        {"reader of a view", [&] { isRead(window, "seen"); }},
        {"overviews", [this] { GisVectorOverviews::build(m_path, "m"); }},
    };
    const struct {
        const char* name;
        const char* column;
        const char* second; ///< of the first row it is 4326
        bool isRefused;
    } columns[] = {
        {"two systems", "geometry", "3857", true},
        {"none in the second", "geometry(Point)", "0", true},
        {"on the globe", "geography", "4267", true},
        {"one system that nothing says", "geometry", "4326", false},
        {"one system on the globe", "geography", "4326", false},
        {"by a constraint", "geometry CHECK (ST_SRID(\"G g\") = 4326)", "4326", false},
    };
    for (const auto& column : columns) {
        sql(std::string("DROP TABLE IF EXISTS m CASCADE; CREATE TABLE m (id int PRIMARY KEY, n int, "
                        "\"G g\" ") +
            column.column + "); INSERT INTO m VALUES (1, 1, 'SRID=4326;POINT(1 1)'), (2, 2, 'SRID=" + column.second +
            ";POINT(2 2)'); CREATE VIEW seen AS SELECT n, \"G g\" FROM m");
        m_session = test::openToWrite(m_path);
        for (const auto& way : ways) {
            SCOPED_TRACE(testing::Message() << column.name << ", " << way.name);
            const std::string error = errorOf(way.read);
            EXPECT_EQ(error.empty(), !column.isRefused) << error;
            EXPECT_THAT(error, HasSubstr(column.isRefused ? "' are in several coordinate systems" : ""));
        }
    }
}

/// A digest of what is read does not tell them apart.
TEST_F(PostGisSystems, RowsThatCameToAnotherOneAreNeitherShownNorSavedOver) {
    const struct {
        const char* name;
        std::function<bool(GisLayerVector&)> edit;
    } edits[] = {
        {"attribute",
         [](auto& layer) {
             return layer.setShapeAttributesEdit(2, {{"n", 9}});
         }},
        {"geometry",
         [](auto& layer) {
             return layer.setShapeGeometryEdit(2, shapeOf("POINT (7 7)", {{"n", 2}}));
         }},
        {"deleted", [](auto& layer) { return layer.deleteShapeEdit(2); }},
    };
    for (const auto& edit : edits) {
        for (const bool isOnDemand : {false, true}) {
            SCOPED_TRACE(testing::Message() << edit.name << (isOnDemand ? ", on demand" : ""));
            sql("DROP TABLE IF EXISTS m; CREATE TABLE m (id int PRIMARY KEY, n int, g geometry); INSERT INTO m VALUES "
                "(1, 1, 'SRID=3857;POINT(1 1)'), (2, 2, 'SRID=3857;POINT(2 2)')");
            GisLayerOgrVector whole(m_path, "m");
            GisLayerOgrOnDemand part(m_path, "m");
            ASSERT_TRUE(whole.open() && part.open());
            GisLayerVector& layer = isOnDemand ? static_cast<GisLayerVector&>(part) : whole;
            ASSERT_EQ(layer.query(everything).size(), 2);
            ASSERT_TRUE(layer.beginEdit() && edit.edit(layer));
            sql("UPDATE m SET g = ST_SetSRID(g, 4326) WHERE id = 2");
            EXPECT_FALSE(layer.commitEdit());
            EXPECT_THAT((isOnDemand ? part.lastError() : whole.lastError()).toStdString(),
                        HasSubstr("feature 2: the geometries of 'm' are in several coordinate systems"));
            EXPECT_EQ(sql("WITH r AS (SELECT n || ST_AsEWKT(g) AS x FROM m WHERE id = 2) SELECT x FROM r"),
                      "2SRID=4326;POINT(2 2)");
        }
    }
    GisLayerOgrOnDemand layer(m_path, "m");
    sql("UPDATE m SET g = ST_SetSRID(g, 3857)");
    ASSERT_TRUE(layer.open());
    sql("INSERT INTO m VALUES (3, 3, 'SRID=4326;POINT(3 3)')");
    EXPECT_THAT(errorOf([&] { layer.query(everything); }), HasSubstr("'m' are in several"));
    EXPECT_THAT(errorOf([&] { layer.shapeForFeatureId(3); }), HasSubstr("'m' are in several"));
    EXPECT_EQ(layer.query({-2, -2, 2.5, 2.5}).size(), 2);
    EXPECT_FALSE(layer.beginEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("'m' are in several coordinate systems"));
    sql("DELETE FROM m WHERE id = 3");
    EXPECT_TRUE(layer.beginEdit());
}

TEST_F(PostGisSystems, NewRowsAreInTheSystemOfTheTable) {
    const struct {
        const char* name;
        const char* column;
        const char* rows;
        int system;
    } rows[] = {
        {"all others went in the same commit", "geometry", "(1, 'SRID=3857;POINT(1 1)'), (2, 'SRID=3857;POINT(2 2)')",
         3857},
        {"the first by a constraint", "geometry CHECK (ST_SRID(g) = 3857)", "", 3857},
        {"the first on the globe", "geography", "", 4326},
        {"another system on the globe", "geography", "(1, 'SRID=4267;POINT(1 1)')", 4267},
        {"the first that nothing is known of", "geometry", "", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        sql(std::string("DROP TABLE IF EXISTS m; CREATE TABLE m (id serial PRIMARY KEY, g ") + row.column + ")");
        sql(row.rows[0] != '\0' ? std::string("INSERT INTO m (id, g) VALUES ") + row.rows : "");
        sql("ALTER SEQUENCE m_id_seq RESTART 10");
        m_session = test::openToWrite(m_path);
        GisLayerOgrVector layer(m_path, "m");
        ASSERT_TRUE(layer.open() && layer.beginEdit());
        for (int id = layer.count(); id > 0; --id) {
            ASSERT_TRUE(layer.deleteShapeEdit(id));
        }
        ASSERT_TRUE(layer.addShapeEdit(shapeOf("POINT (4 4)")));
        EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_EQ(sql("WITH r AS (SELECT ST_SRID(g::geometry) AS x FROM m) SELECT x FROM r"),
                  std::to_string(row.system));
    }
}

} // namespace
