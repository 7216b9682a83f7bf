#include "PostGis/Server.h"

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>

#include <functional>

using Cartolith::Core::Layers::GisFeatureFilter;
using Cartolith::Core::Layers::GisFeatureReader;
using Cartolith::Core::Layers::GisFeatureRequest;
using Cartolith::Core::Layers::GisLayerOgrOnDemand;
using Cartolith::Core::Layers::GisLayerOgrVector;
using test::shapeOf;
using testing::HasSubstr;

namespace {

const QDateTime clockTime({2031, 5, 6}, QTime(7, 8, 9));
const QDateTime moment({2031, 5, 6}, QTime(7, 8, 9), Qt::UTC);

class PostGisValues : public test::WithServer {
protected:
    /// A table "vals" with one row and a column "x" of that type with that value.
    QString tableOf(const std::string& type, const std::string& value = "NULL") const {
        sql("DROP TABLE IF EXISTS vals; CREATE TABLE vals (id int PRIMARY KEY, x " + type +
            ", name text, geom geometry(Point,4326), t0 int DEFAULT 7); INSERT INTO vals VALUES (1, " + value +
            ", 'a', 'SRID=4326;POINT(1 1)')");
        m_session->ExecuteSQL("SET intervalstyle = 'postgres'", nullptr, nullptr);
        return m_path;
    }
    std::string x() const { return sql("WITH r AS (SELECT x::text AS x FROM vals) SELECT x FROM r"); }
    /// What is read of "x" in other ways than the whole layer.
    void expectTheSameInParts(GisLayerOgrVector& whole) const {
        GisLayerOgrOnDemand layer(m_path, "vals");
        ASSERT_TRUE(layer.open());
        using Way = std::function<std::pair<QVariant, QString>()>;
        const auto shown = [&layer](const Cartolith::Core::Shapes::GisShape* shape) {
            return shape == nullptr
                       ? std::pair(QVariant("none"), QString())
                       : std::pair(layer.attributeValueForRow(shape->id() - 1, "x"), layer.exactText(*shape, "x"));
        };
        const auto read = [](const std::unique_ptr<GisFeatureReader>& reader) {
            return reader->next() && reader->takeShape() != nullptr
                       ? std::pair(reader->attributeValue("x"), reader->exactText("x"))
                       : std::pair(QVariant("none"), QString());
        };
        GisFeatureRequest part;
        part.fields = QStringList{"x"};
        part.extent = {0, 0, 2, 2};
        part.order = {{"name"}};
        part.tolerance = 1;
        const std::pair<const char*, Way> ways[] = {
            {"on demand",
             [&] {
                 return shown(layer.query({0, 0, 2, 2}).value(0));
             }},
            {"without the field",
             [&] { return layer.setFields(QStringList{"name"}), shown(layer.shapeForFeatureId(1)); }},
            {"by its id",
             [&] { return layer.open(), layer.setFields(std::nullopt), shown(layer.shapeForFeatureId(1)); }},
            {"all of a table", [&] { return read(GisFeatureReader::fromSource(m_path, "vals", {})); }},
            {"a request", [&] { return read(GisFeatureReader::fromSource(m_path, "vals", part)); }},
            {"a request to the layer", [&] { return read(whole.read(part)); }},
        };
        const auto& shape = *whole.getShape(1);
        for (const auto& [name, way] : ways) {
            EXPECT_EQ(way(), std::pair(shape.attributeValue("x"), whole.exactText(shape, "x"))) << name;
        }
    }
    static bool set(GisLayerOgrVector& layer, const QVariant& value, const char* field = "x") {
        auto attributes = layer.getShape(1)->attributes();
        attributes[field] = value;
        return layer.setShapeAttributesEdit(1, attributes);
    }
};

TEST_F(PostGisValues, AreSavedAsTheyAreOrNotAtAll) {
    sql("DROP DOMAIN IF EXISTS d1, d2 CASCADE; CREATE DOMAIN d1 AS numeric(8,3); CREATE DOMAIN d2 AS d1; CREATE OR "
        "REPLACE FUNCTION up() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN NEW.x = upper(NEW.x); RETURN NEW; END'");
    const struct {
        const char* type;
        QVariant value;
        const char* reason; ///< "" where it is saved
        const char* saved;
    } rows[] = {
        {"timestamp", clockTime, "", "2031-05-06 07:08:09"},
        {"timestamp", moment, "has a time zone", ""},
        {"timestamp", "2031-05-06T07:08:09.123456+02:00", "has a time zone", ""},
        {"timestamptz", clockTime, "has no time zone", ""},
        {"timestamptz", clockTime.date(), "has no time zone", ""},
        {"timestamptz", "2031-05-06T07:08:09.123456+02:00", "", "2031-05-06 05:08:09.123456+00"},
        {"timetz", "07:08:09+02", "", "07:08:09+02"},
        {"date", QDate(-44, 3, 15), "", "0044-03-15 BC"},
        {"interval", "1 day 02:03:04.5", "", "1 day 02:03:04.5"},
        {"interval", "0.1234567 s", "6 decimals", ""},
        {"numeric(6,-2)", 1200, "", "1200"},
        {"numeric(6,-2)", 1234.0, "more digits", ""},
        {"numeric(5,2)", 3 * 1.1, "", "3.30"},
        {"numeric(20,0)", "12345678901234567891", "", "12345678901234567891"},
        {"float8", "12345678901234567891", "more digits", ""},
        {"timestamp", "2031-05-06T07:08:09,123456", "", "2031-05-06 07:08:09.123456"},
        {"time", "12:30.5", "", "12:30:30"},
        {"d2", "1.2345", "3 decimals", ""},
        {"d2", "1.234", "", "1.234"},
        {"money", "1.239", "2 decimals", ""},
        {"numeric(5,1)[]", QVariantList{1.5, 1.25}, "would hold '{1.5,1.3}' instead of '{1.5,1.25}'", ""},
        {"real[]", QVariantList{1.0 / 3.0}, "more digits", ""},
        {"varchar(3)[]", QStringList{"a,b", "c\"d"}, "", "{\"a,b\",\"c\\\"d\"}"},
        {"name", QString(80, 'a'), "would hold 'aaa", ""},
        {"\"char\"", "abc", "would hold 'a' instead of 'abc'", ""},
        {"text", "a", "feature 1: the field 'x' would hold 'A' instead of 'a'", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.type << " " << qPrintable(row.value.toString()));
        GisLayerOgrVector layer(tableOf(row.type), "vals");
        if (row.type == std::string("text")) {
            sql("CREATE TRIGGER up BEFORE UPDATE ON vals FOR EACH ROW EXECUTE FUNCTION up()");
        }
        ASSERT_TRUE(layer.open() && layer.beginEdit() && set(layer, row.value));
        EXPECT_EQ(layer.commitEdit(), row.reason[0] == '\0');
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(row.reason));
        EXPECT_EQ(x(), row.saved);
    }
}

TEST_F(PostGisValues, AreReadToTheLastDigit) {
    sql("DROP TYPE IF EXISTS date_kind CASCADE; CREATE TYPE date_kind AS ENUM ('x'); DROP DOMAIN IF EXISTS "
        "int4positive CASCADE; CREATE DOMAIN int4positive AS text");
    const struct {
        const char* type;
        const char* value;
        QVariant attribute;
        const char* text; ///< "" where the attribute is all
    } rows[] = {
        {"numeric(15,2)", "1234567890123.45", 1234567890123.45, ""},
        {"numeric", "1.5", 1.5, ""},
        {"numeric(30,12)", "123456789012345678.123456789012", 123456789012345678.1, "123456789012345678.123456789012"},
        {"numeric(20,0)", "12345678901234567891", 12345678901234567891.0, "12345678901234567891"},
        {"numeric", "1e-400", 0.0, "0.00"},
        {"float8", "0.1::float8 + 0.2::float8", 0.1 + 0.2, ""},
        {"numeric[]", "'{1,0.12345678901234567}'", QVariantList{1.0, 0.12345678901234567}, "{1,0.12345678901234567}"},
        {"int[]", "'{1,NULL}'", QVariantList{1, 0}, "{1,NULL}"},
        {"int[]", "'{}'", QVariantList(), ""},
        {"text[]", R"('{"a,b","q\"x",""}')", QStringList{"a,b", "q\"x", ""}, R"({"a,b","q\"x",""})"},
        {"text[]", R"('{"c:\\d","null",e}')", QStringList{"c:\\d", "null", "e"}, R"({"c:\\d","null",e})"},
        {"text[]", "'{}'", QStringList(), "{}"},
        {"numeric(5,0)", "'NaN'", QVariant(), "NaN"},
        {"numeric(12,0)", "'NaN'", QVariant(), "NaN"},
        {"int4range", "'[1,5)'", "[1,5)", ""},
        {"daterange", "'[2031-01-01,2031-02-01)'", "[2031-01-01,2031-02-01)", ""},
        {"int2vector", "'1 2'", "1 2", ""},
        {"oid", "7", 7, ""},
        {"date_kind", "'x'", "x", ""},
        {"int4positive", "'0012'", "0012", ""},
        {"timestamp", "'2031-05-06 07:08:09'", clockTime, ""},
        {"timestamptz", "'2031-05-06 07:08:09.000001Z'", moment, "2031-05-06 07:08:09.000001+00"},
        {"timestamp", "'infinity'", QVariant(), "infinity"},
        {"date", "'0044-03-15 BC'", QDate(-44, 3, 15), "0044-03-15 BC"},
        {"time", "'07:08:09.123456'", QTime(7, 8, 9, 123), "07:08:09.123456"},
        {"timetz", "'07:08:09.123456+02'", "07:08:09.123456+02", ""},
        {"interval", "'1 day 02:03:04.5'", "1 day 02:03:04.5", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.type << " " << row.value);
        // As servers before 12 are by themselves.
        GisLayerOgrVector layer(tableOf(row.type, row.value) +
                                    " options='-c extra_float_digits=0 -c DateStyle=German -c "
                                    "IntervalStyle=iso_8601'",
                                "vals");
        ASSERT_TRUE(layer.open());
        EXPECT_EQ(layer.getShape(1)->attributeValue("x"), row.attribute);
        const QString text = layer.exactText(*layer.getShape(1), "x");
        EXPECT_THAT(text.toStdString(), testing::StartsWith(row.text));
        EXPECT_EQ(text.isEmpty(), row.text[0] == '\0');
        expectTheSameInParts(layer);
        GisFeatureRequest nulls;
        nulls.filter = GisFeatureFilter::fromText("x IS NULL");
        EXPECT_NE(GisFeatureReader::fromSource(m_path, "vals", nulls)->next(), row.attribute.isValid());

        // What nobody edited is no conflict, comes back as it was, and is not written.
        const std::string before = x();
        ASSERT_TRUE(layer.beginEdit() && set(layer, "b", "name"));
        ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        ASSERT_TRUE(layer.beginEdit() && set(layer, "c", "name"));
        sql("DELETE FROM vals");
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("by someone else"));
        ASSERT_TRUE(layer.resolveConflict(0, Cartolith::Core::Layers::GisEditConflict::Choice::Ours));
        ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_EQ(x(), before);

        // On demand, too, it is known as the very row that was read.
        GisLayerOgrOnDemand part(m_path, "vals");
        ASSERT_TRUE(part.open() && part.beginEdit() && part.deleteShapeEdit(part.shapeForFeatureId(1)->id()));
        EXPECT_TRUE(part.commitEdit()) << part.lastError().toStdString();
    }
}

TEST_F(PostGisValues, OfAnotherTypeAreNoConflictWithOneself) {
    const struct {
        const char* type;
        QVariant first, same, second;
    } rows[] = {
        {"int", "8", 8, 9},
        {"numeric(5,2)", 3 * 1.1, "3.3", 4},
        {"numeric(30,12)", "123456789012345678.123456789012", "123456789012345678.1234567890120",
         "123456789012345678.123456789013"},
        {"timestamptz", "2031-05-06T09:08:09+02:00", moment, "2031-05-06T07:08:09.000001Z"},
        {"timestamptz", "2031-05-06T09:08:09.123456+02:00", "2031-05-06T07:08:09.1234560Z",
         "2031-05-06T07:08:09.123457Z"},
        {"jsonb", "{\"a\":1}", "{\"a\":1}", "{\"a\":2}"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.type);
        GisLayerOgrVector layer(tableOf(row.type), "vals");
        ASSERT_TRUE(layer.open());
        for (const QVariant* const value : {&row.first, &row.same, &row.second}) {
            const std::string before = x();
            ASSERT_TRUE(layer.beginEdit() && set(layer, *value) && layer.commitEdit())
                << layer.lastError().toStdString();
            EXPECT_EQ(x() == before, value == &row.same);
            sql("UPDATE vals SET name = name || 'x'"); // by someone else
        }
        const std::pair<const char*, QVariant> further[] = {{"t0", 8}, {"x", row.first}, {"t0", 9}, {"x", row.second}};
        for (const auto& [field, value] : further) { // nor after a commit of another column
            ASSERT_TRUE(layer.beginEdit() && set(layer, value, field) && layer.commitEdit())
                << layer.lastError().toStdString();
            sql("UPDATE vals SET name = name || 'x'");
        }
    }
}

/// Whatever else is in a table, every way of reading finds all of an extent, and all of a value.
TEST_F(PostGisValues, AreFoundBesideColumnsOfAnyNameAndKind) {
    const struct {
        const char* columns; ///< beside "id" and the date "d"
        const char* layer;
    } rows[] = {
        {"g geography(Point,4326)", "vals"},
        {"g geography(Point,4326), ogc_fid int", "vals"},
        {"g geometry(Point,4326), ogc_fid int, c0 text", "vals"},
        {"g geography(Point,4326), n int, p geometry", "vals"},
        {"p geometry, n int, g geography(Point,4326)", "vals(g)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.columns);
        sql(std::string("DROP TABLE IF EXISTS vals; CREATE TABLE vals (id serial PRIMARY KEY, ") + row.columns +
            ", d date DEFAULT '0044-03-15 BC')");
        sql("INSERT INTO vals (g) SELECT ST_SetSRID(ST_Point(x, 60), 4326) FROM generate_series(-100, 80, 20) x");
        const QDate ides(-44, 3, 15);
        GisLayerOgrVector whole(m_path, row.layer);
        GisLayerOgrOnDemand part(m_path, row.layer);
        ASSERT_TRUE(whole.open() && part.open());
        GisFeatureRequest request;
        request.extent = {-101, 59, 81, 61};
        const auto expectAll = [&](auto& layer) {
            const auto shapes = layer.query(*request.extent);
            EXPECT_EQ(shapes.size(), 10);
            for (const auto* const shape : shapes) {
                EXPECT_EQ(shape->attributeValue("d"), ides);
                EXPECT_EQ(layer.exactText(*shape, "d"), "0044-03-15 BC");
            }
        };
        expectAll(whole);
        expectAll(part);
        for (const char* const filter : {"", "d IS NOT NULL"}) {
            request.filter = *filter == 0 ? request.filter : GisFeatureFilter::fromText(filter);
            int count = 0;
            for (const auto reader = GisFeatureReader::fromSource(m_path, row.layer, request); reader->next();
                 ++count) {
                EXPECT_EQ(reader->exactText("d"), "0044-03-15 BC") << filter;
            }
            EXPECT_EQ(count, 10) << filter;
        }
    }
}

TEST_F(PostGisValues, ClockTimesBecomeAColumnWithoutZones) {
    using namespace Cartolith::Core::Layers;
    for (const bool isMixed : {false, true}) {
        auto made = GisLayerVector::createInMemory("made", Cartolith::Core::Shapes::GisShapeType::Point, {});
        made->addAttributeDefinition(Defs::GisAttributeDefinition("a,b='\"", QMetaType::QDateTime));
        made->addShape(shapeOf("POINT (1 2)", {{"a,b='\"", clockTime}}));
        made->addShape(shapeOf("POINT (1 2)", {{"a,b='\"", isMixed ? moment : QVariant()}}));
        if (isMixed) {
            GisVectorSaveOptions options;
            options.existing = GisVectorSaveOptions::Existing::Replace;
            EXPECT_THROW(made->saveAs(m_path, options), std::runtime_error);
        } else {
            ASSERT_TRUE(made->saveAs(m_path, {}));
        }
        EXPECT_EQ(
            sql("WITH r AS (SELECT pg_typeof(\"a,b='\"\"\")::text || \"a,b='\"\"\"::text AS x FROM made WHERE fid "
                "= 1) SELECT x FROM r"),
            "timestamp without time zone2031-05-06 07:08:09");
    }
}

} // namespace
