#include "PostGis/Server.h"

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>

#include <functional>

using namespace Cartolith::Core::Layers;
using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShape;
using test::shapeOf;

namespace {

class PostGisOnDemand : public test::WithServer {
protected:
    void SetUp() override {
        WithServer::SetUp();
        if (!IsSkipped()) {
            sql("CREATE TABLE m (id serial PRIMARY KEY, name text, n int DEFAULT 7, big numeric(30,12), geom "
                "geometry(Point,4326)); INSERT INTO m (name, big, geom) SELECT 'p' || i, 123456789012345678.5 + i, "
                "ST_SetSRID(ST_Point(i % 20, i / 20), 4326) FROM generate_series(0, 399) i; CREATE INDEX ON m USING "
                "gist (geom)");
        }
    }
    /// What a layer has in an extent.
    static QStringList textsOf(GisLayerVector& layer, const GisExtent& extent) {
        QStringList texts;
        const auto shapes = layer.query(extent);
        for (const GisShape* const shape : shapes) {
            const auto id = layer.featureId(*shape);
            texts.append(QString("%1 %2 %3 %4 %5")
                             .arg(id ? QString::number(*id) : "new", shape->toWkt(),
                                  shape->attributeValue("name").toString(), shape->attributeValue("n").toString(),
                                  layer.exactText(*shape, "big")));
        }
        texts.sort();
        return texts;
    }
    static bool set(GisLayerVector& layer, qint64 id, const char* field, const QVariant& value) {
        const GisShape* const shape = layer.shapeForFeatureId(id);
        auto attributes = shape->attributes();
        attributes[field] = value;
        return layer.setShapeAttributesEdit(shape->id(), attributes);
    }
};

const GisExtent here(-0.5, -0.5, 6.5, 6.5);
const GisExtent there(10.5, 10.5, 18.5, 18.5);

TEST_F(PostGisOnDemand, WhatIsEditedStaysWhileOneBrowsesAndIsSaved) {
    for (const bool hasFields : {false, true}) {
        SCOPED_TRACE(hasFields);
        SetUp();
        GisLayerOgrOnDemand layer(m_path, "m");
        GisLayerOgrVector whole(m_path, "m");
        ASSERT_TRUE(layer.open() && whole.open() && layer.canEdit());
        layer.setCacheBudget(40'000); // no more than one window
        layer.setFields(hasFields ? std::optional(QStringList{"name"}) : std::nullopt);
        ASSERT_EQ(layer.query(here).size(), 49);
        ASSERT_TRUE(layer.beginEdit() && whole.beginEdit());
        EXPECT_EQ(textsOf(layer, here), textsOf(whole, here)) << "with all fields";
        const GisShape* const held = layer.shapeForFeatureId(2);
        for (GisLayerVector* const each : std::initializer_list<GisLayerVector*>{&layer, &whole}) {
            ASSERT_TRUE(set(*each, 2, "name", "edited") && set(*each, 3, "big", "1.5"));
            const auto moved = shapeOf("POINT (5.5 5.5)", each->shapeForFeatureId(4)->attributes());
            ASSERT_TRUE(each->setShapeGeometryEdit(each->shapeForFeatureId(4)->id(), moved->clone()) &&
                        each->deleteShapeEdit(each->shapeForFeatureId(5)->id()) &&
                        each->addShapeEdit(shapeOf("POINT (2.5 2.5)", {{"name", "new"}})) &&
                        each->deleteShapeEdit(each->shapeForFeatureId(6)->id()) && each->undoEdit());
        }
        for (const GisExtent& extent : {there, here, there, here}) {
            ASSERT_EQ(textsOf(layer, extent), textsOf(whole, extent));
            EXPECT_LT(layer.cachedBytes(), 41'000);
        }
        EXPECT_EQ(layer.shapeForFeatureId(2), held);
        EXPECT_EQ(layer.shapeForFeatureId(5), nullptr);
        sql("UPDATE m SET n = 8 WHERE id IN (2, 7)");
        ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_EQ(sql("WITH c AS (SELECT count(*) FROM m WHERE name = 'new' AND n = 7) SELECT * FROM c"), "1");
        whole.rollbackEdit();

        // What others, defaults and the column's type made of it is there with the next query, and no change of others.
        ASSERT_TRUE(whole.open());
        layer.setFields(std::nullopt);
        for (const GisExtent& extent : {here, there, here}) {
            EXPECT_EQ(textsOf(layer, extent), textsOf(whole, extent));
        }
        ASSERT_TRUE(layer.beginEdit());
        for (const qint64 id : {2, 3, 4, 401}) {
            ASSERT_TRUE(id == 2 ? set(layer, id, "name", "again")
                                : layer.deleteShapeEdit(layer.shapeForFeatureId(id)->id()));
        }
        EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_EQ(sql("WITH c AS (SELECT count(*) || max(name) FILTER (WHERE id = 2) FROM m) SELECT * FROM c"),
                  "397again");
    }
}

/// Not what is there when the session begins, which nobody has seen.
TEST_F(PostGisOnDemand, WhatWasShownIsWhatWasRead) {
    GisLayerOgrOnDemand layer(m_path, "m");
    ASSERT_TRUE(layer.open());
    layer.setFields(QStringList{"name"});
    ASSERT_EQ(layer.query(here).size(), 49);
    sql("UPDATE m SET name = 'their', n = 8 WHERE id IN (1, 2, 3)");
    ASSERT_TRUE(layer.beginEdit());
    const GisShape* const shape = layer.shapeForFeatureId(1);
    EXPECT_EQ(shape->attributeValue("name"), "p0");
    EXPECT_EQ(shape->attributeValue("n"), 8);
    EXPECT_EQ(layer.exactText(*shape, "big"), "123456789012345678.500000000000");
    ASSERT_TRUE(set(layer, 1, "n", 9) && set(layer, 2, "name", "ours") &&
                layer.deleteShapeEdit(layer.shapeForFeatureId(3)->id()));
    ASSERT_FALSE(layer.commitEdit());
    ASSERT_EQ(layer.conflicts().size(), 2);
    EXPECT_EQ(layer.conflicts()[0].kind, GisEditConflict::Kind::DeletedHere);
    EXPECT_EQ(layer.conflicts()[1].asRead, "p1");
    ASSERT_TRUE(layer.resolveConflict(0, GisEditConflict::Choice::Theirs) &&
                layer.resolveConflict(1, GisEditConflict::Choice::Theirs));
    ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
    layer.setFields(std::nullopt);
    EXPECT_EQ(textsOf(layer, {-0.5, -0.5, 2.5, 0.5}),
              (QStringList{"1 POINT (0 0) their 9 123456789012345678.500000000000",
                           "2 POINT (1 0) their 8 123456789012345679.500000000000",
                           "3 POINT (2 0) their 8 123456789012345680.500000000000"}));
}

/// A statement of the server selects 1,664 columns at the most.
TEST_F(PostGisOnDemand, ManyColumnsHaveTheirExactTexts) {
    std::string columns;
    for (int i = 0; i < 900; ++i) {
        columns += ", v" + std::to_string(i) + " numeric";
    }
    sql("DROP TABLE IF EXISTS made; CREATE TABLE made (id int PRIMARY KEY, geom geometry(Point,4326)" + columns +
        "); INSERT INTO made (id, geom, v899) VALUES (1, 'SRID=4326;POINT(1 1)', 12345678901234567890.5)");
    GisLayerOgrOnDemand layer(m_path, "made");
    ASSERT_TRUE(layer.open());
    ASSERT_EQ(layer.query(here).size(), 1);
    EXPECT_EQ(layer.exactText(*layer.query(here).first(), "v899"), "12345678901234567890.5");
    const auto reader = GisFeatureReader::fromSource(m_path, "made", {});
    ASSERT_TRUE(reader->next());
    EXPECT_EQ(reader->exactText("v899"), "12345678901234567890.5");
}

TEST_F(PostGisOnDemand, AnEditAfterASaveBeforeAnyQueryIsNoConflictWithOneself) {
    GisLayerOgrOnDemand layer(m_path, "m");
    ASSERT_TRUE(layer.open());
    const int id = layer.query(here).front()->id();
    for (const QVariant& value : {QVariant("8"), QVariant(9)}) { // also of another type
        ASSERT_TRUE(layer.beginEdit());
        auto attributes = layer.getShape(id)->attributes();
        attributes["n"] = value;
        attributes["big"] = "1.00000000000" + value.toString();
        ASSERT_TRUE(layer.setShapeAttributesEdit(id, attributes) && layer.commitEdit())
            << layer.lastError().toStdString();
        EXPECT_EQ(layer.exactText(*layer.getShape(id), "n"), value == 9 ? "" : "8");
    }
    ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(id));
    EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
    EXPECT_EQ(sql("WITH c AS (SELECT count(*) FROM m) SELECT * FROM c"), "399");
}

/// GDAL would read on, by the columns and the system that it found first.
TEST_F(PostGisOnDemand, ATableThatIsNotAsItWasIsNotReadOn) {
    const char* const changed = "its columns were changed since it was opened";
    const struct {
        const char* name;
        const char* before;
        const char* meanwhile;
        const char* reason; ///< "" where it is read on
    } rows[] = {
        {"dropped", "", "DROP TABLE m", "does not exist"},
        {"another of its name", "", "ALTER TABLE m RENAME TO made; CREATE TABLE m AS SELECT * FROM made", changed},
        {"a number is a text", "", "ALTER TABLE m ALTER n DROP DEFAULT, ALTER n TYPE text USING 'x' || n", changed},
        {"a number is longer", "", "ALTER TABLE m ALTER n TYPE bigint USING n + 6000000000", changed},
        {"another system", "", "ALTER TABLE m ALTER geom TYPE geometry(Point,3857) USING ST_Transform(geom, 3857)",
         changed},
        {"on the globe", "", "ALTER TABLE m ALTER geom TYPE geography USING geom::geography", changed},
        {"one column more", "", "ALTER TABLE m ADD more int", ""},
        {"another system in a row", "ALTER TABLE m ALTER geom TYPE geometry",
         "UPDATE m SET geom = ST_SetSRID(geom, 3857) WHERE id = 3", "several coordinate systems"},
        {"any system, and none", "ALTER TABLE m ALTER geom TYPE geometry", "UPDATE m SET geom = NULL WHERE id = 4", ""},
    };
    for (const auto& row : rows) {
        for (const bool hasTexts : {false, true}) {
            SCOPED_TRACE(testing::Message() << row.name << hasTexts);
            SetUp();
            sql(hasTexts ? "" : "ALTER TABLE m DROP big");
            sql(row.before);
            GisLayerOgrOnDemand layer(m_path, "m");
            ASSERT_TRUE(layer.open());
            ASSERT_EQ(layer.query(there).size(), 64);
            const auto reader = GisFeatureReader::fromSource(m_path, "m", {});
            sql(row.meanwhile);
            const std::function<bool()> ways[] = {[&] { return layer.query(here).size() >= 48; },
                                                  [&] {
                                                      return layer.query({50, 50, 51, 51}).isEmpty();
                                                  },
                                                  [&] { return layer.shapeForFeatureId(3) != nullptr; },
                                                  [&] {
                                                      while (reader->next()) {
                                                      }
                                                      return true;
                                                  }};
            for (std::size_t way = 0; way < std::size(ways); ++way) {
                const bool isOfOneRow = row.reason == std::string("several coordinate systems");
                std::string error;
                try {
                    EXPECT_TRUE(ways[way]());
                } catch (const std::runtime_error& thrown) {
                    error = thrown.what();
                }
                const char* const reason = isOfOneRow && way == 1 ? "" : row.reason;
                EXPECT_THAT(error, testing::HasSubstr(reason)) << "by way " << way;
                EXPECT_EQ(error.empty(), reason[0] == '\0') << error;
            }
        }
    }
}

} // namespace
