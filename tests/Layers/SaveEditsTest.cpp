#include "Layers/Faults.h"
#include "Layers/Saving.h"
#include "TestSeed.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QDateTime>
#include <QFileInfo>

#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using Layers::GisLayerVector;
using test::Attributes;
using test::execute;
using test::openToWrite;
using test::shapeOf;
using test::suffixes;
using testing::HasSubstr;

namespace {

/// What is at each feature id.
std::map<qint64, QString> contentOf(const GisLayerOgrVector& layer) {
    std::map<qint64, QString> content;
    const QList<qint64> ids = layer.sourceFeatureIds();
    for (int row = 0; row < layer.count(); ++row) {
        QString& text = content[ids[row]];
        text += layer.rawShapes()[row]->toWkt();
        for (const QString field : {"n", "name"}) {
            const QVariant value = layer.attributeValueForRow(row, field);
            text += value.isValid() ? " " + value.toString() : " -";
        }
    }
    return content;
}

std::map<qint64, QString> contentOf(const QString& path) {
    GisLayerOgrVector layer(path);
    EXPECT_TRUE(layer.open());
    return contentOf(layer);
}

class SaveEdits : public test::InAFolder {
protected:
    QString write(const char* name, const QByteArray& content) const {
        QFile file(at(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    /// A new file of a few lines, some of which are several.
    QString make(const QString& suffix, int count = 9) const {
        auto layer = GisLayerVector::createInMemory("lines", Shapes::GisShapeType::Null, {});
        for (int i = 0; i < count; ++i) {
            layer->addShape(shapeOf(i % 3 == 0 ? QString("MULTILINESTRING ((%1 0, %1 1), (%1 2, %1 3))").arg(i)
                                               : QString("LINESTRING (%1 0, %1 1)").arg(i),
                                    {{"n", i}, {"name", QString("line %1").arg(i)}, {"r", i / 3.0}}));
        }
        for (const QString& old : QDir(m_dir.path()).entryList({"lines.*"}, QDir::Files)) {
            QFile::remove(at(old));
        }
        EXPECT_TRUE(layer->saveAs(at("lines." + suffix)));
        return at("lines." + suffix);
    }

    /// The bytes of all files, which a save that fails must not touch.
    std::map<QString, QByteArray> bytes() const {
        std::map<QString, QByteArray> all;
        for (const QString& name : QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden)) {
            QFile file(at(name));
            all[name] = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        }
        return all;
    }
};

TEST_F(SaveEdits, AFileOpenedAfterwardsIsWhatTheLayerWas) {
    for (const QString& suffix : suffixes) {
        for (unsigned int round = 0; round < 4; ++round) {
            std::mt19937 random(test::seed() + round);
            SCOPED_TRACE(testing::Message() << suffix.toStdString() << ", seed " << test::seed() + round);
            const auto upTo = [&](int most) { return std::uniform_int_distribution<int>(0, most)(random); };
            const auto row = [&] {
                return Attributes{{"n", upTo(999)}, {"name", upTo(3) == 0 ? QVariant() : "edited"}};
            };
            GisLayerOgrVector layer(make(suffix));
            ASSERT_TRUE(layer.open());
            for (int session = 0; session < 4; ++session) {
                const auto before = contentOf(layer);
                ASSERT_TRUE(layer.beginEdit());
                for (int edit = upTo(12); edit > 0; --edit) {
                    const QString wkt = QString("LINESTRING (%1 5, %2 6)").arg(upTo(99)).arg(upTo(99));
                    const int id = 1 + upTo(layer.count());
                    switch (upTo(6)) {
                    case 0: layer.addShapeEdit(shapeOf(wkt, row())); break;
                    case 1: layer.deleteShapeEdit(id); break;
                    case 2: layer.setShapeAttributesEdit(id, row()); break;
                    case 3: layer.setShapeGeometryEdit(id, shapeOf(wkt, layer.attributesForFeatureId(id))); break;
                    case 4: layer.redoEdit(); break;
                    default: layer.undoEdit();
                    }
                }
                if (upTo(3) == 0) {
                    ASSERT_TRUE(layer.rollbackEdit());
                    ASSERT_EQ(contentOf(layer), before);
                }
                ASSERT_TRUE(!layer.isEditing() || layer.commitEdit()) << layer.lastError().toStdString();
                EXPECT_FALSE(layer.isDirty());
                auto expected = contentOf(layer);
                ASSERT_EQ(static_cast<int>(expected.size()), layer.count()) << "every shape has a feature of its own";
                ASSERT_EQ(contentOf(layer.path()), expected) << "session " << session;
                ASSERT_EQ(layer.featureCount(), layer.count());
            }
        }
    }
}

TEST_F(SaveEdits, ALayerCanBeEmptiedAndFilledAgain) {
    for (const QString& suffix : suffixes) {
        GisLayerOgrVector layer(make(suffix));
        ASSERT_TRUE(layer.open() && layer.beginEdit());
        while (layer.deleteShapeEdit(1)) {
        }
        if (suffix == "geojsonl" || suffix == "fgb") {
            EXPECT_FALSE(layer.commitEdit());
            EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("without features"));
            continue;
        }
        ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        GisLayerOgrVector emptied(layer.path());
        ASSERT_TRUE(emptied.open());
        EXPECT_TRUE(contentOf(emptied).empty() && emptied.extent().isEmpty()) << suffix.toStdString();
        ASSERT_TRUE(layer.beginEdit() &&
                    layer.addShapeEdit(shapeOf("LINESTRING (1 2, 3 4)", {{"n", 7}, {"name", "x"}})));
        ASSERT_TRUE(layer.commitEdit()) << suffix.toStdString() << ": " << layer.lastError().toStdString();
        EXPECT_EQ(contentOf(layer.path()), contentOf(layer)) << suffix.toStdString();
        EXPECT_EQ(layer.attributeValueForRow(0, "n"), 7);
    }
}

TEST_F(SaveEdits, WhatWasNotEditedStays) {
    const QString path =
        write("full.geojson", R"({"type":"FeatureCollection","name":"full","source":"survey","features":[
        {"type":"Feature","id":"a","extra":[1],"properties":{"n":1,"o":{"x":[1,null]}},"geometry":{"type":"Point","coordinates":[1,2,3]}},
        {"type":"Feature","id":"b","properties":{"n":2},"geometry":{"type":"MultiPoint","coordinates":[[1,1],[2,2]]}},
        {"type":"Feature","id":"c","properties":{"n":3},"geometry":null},
        {"type":"Feature","id":"d","properties":{"n":4},"geometry":{"type":"GeometryCollection","geometries":[
            {"type":"Point","coordinates":[8,8]},{"type":"LineString","coordinates":[[5,5]]}]}},
        {"type":"Feature","id":"e","properties":{"n":5},"geometry":{"type":"Point","coordinates":[0.1,0.2]}}]})");
    GisLayerOgrVector layer(path);
    ASSERT_TRUE(layer.open());
    ASSERT_EQ(layer.count(), 5);
    using Edit = std::function<bool()>;
    const auto attributes = [&](int id) { return layer.attributesForFeatureId(id); };
    const auto with = [](Attributes values, int n) {
        values["n"] = n;
        return values;
    };
    const struct {
        const char* name;
        Edit edit;
        const char* refusal; ///< none: it is saved
    } rows[] = {
        {"another point for one with Z",
         [&] { return layer.setShapeGeometryEdit(1, shapeOf("POINT (7 7)", attributes(1))); }, "Z or M"},
        {"one of two points", [&] { return layer.deleteShapeEdit(2); }, "several shapes"},
        {"a value of one of two", [&] { return layer.setShapeAttributesEdit(3, with(attributes(3), 9)); },
         "several shapes"},
        {"a collection half read", [&] { return layer.deleteShapeEdit(4); }, "not in the layer"},
        {"its geometry", [&] { return layer.setShapeGeometryEdit(4, shapeOf("POINT (7 7)", attributes(4))); },
         "GEOMETRYCOLLECTION"},
        {"no field",
         [&] {
             return layer.setShapeAttributesEdit(5, {{"m", 1}});
         },
         "'m' is no field"},
        {"its value", [&] { return layer.setShapeAttributesEdit(4, with(attributes(4), 44)); }, nullptr},
        {"a value beside Z", [&] { return layer.setShapeAttributesEdit(1, with(attributes(1), 11)); }, nullptr},
        {"two points at once", [&] { return layer.deleteShapeEdit(2) && layer.deleteShapeEdit(2); }, nullptr},
        {"a plain point", [&] { return layer.setShapeGeometryEdit(3, shapeOf("POINT (0.3 0.4)", attributes(3))); },
         nullptr},
    };
    for (const auto& row : rows) {
        const auto before = bytes();
        ASSERT_TRUE(layer.beginEdit() && row.edit()) << row.name;
        EXPECT_EQ(layer.commitEdit(), row.refusal == nullptr) << row.name << ": " << layer.lastError().toStdString();
        if (row.refusal != nullptr) {
            EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(row.refusal)) << row.name;
            EXPECT_TRUE(bytes() == before && layer.isEditing() && layer.rollbackEdit()) << row.name;
        }
    }
    EXPECT_EQ(layer.skippedFeatures().at(0).featureId, 1) << "the one without geometry is the second now";
}

TEST_F(SaveEdits, GeoJsonKeepsItsTextButForWhatWasEdited) {
    const auto set = [](int id, const char* field, const QVariant& value) {
        return [=](GisLayerOgrVector& layer) {
            Attributes values = layer.attributesForFeatureId(id);
            values[field] = value;
            return layer.setShapeAttributesEdit(id, values);
        };
    };
    const auto both = [](auto one, auto other) { return [=](auto& layer) { return one(layer) && other(layer); }; };
    const auto move = [](auto& layer) {
        return layer.setShapeGeometryEdit(1, shapeOf("POINT (7 8)", layer.attributesForFeatureId(1)));
    };
    const auto add = [](auto& layer) { return layer.addShapeEdit(shapeOf("POINT (7 8)", {{"n", 9.5}})); };
    const auto declare = [](auto& layer) {
        using Layers::Defs::GisAttributeDefinition;
        layer.clearAttributeDefinitions();
        layer.addAttributeDefinition(GisAttributeDefinition("r", QMetaType::Int)); // narrower than what is there
        layer.addAttributeDefinition(GisAttributeDefinition("n", QMetaType::Double));
        return true;
    };
    const auto grow = [](auto& layer) {
        return layer.addShapeEdit(shapeOf("POINT (7 8)")) && layer.deleteShapeEdit(1);
    };
    // @ stands for a point as it is, ! for the one that was moved, and ~ for the mark of byte order.
    const struct {
        const char* name;
        const char* file;
        QByteArray before, after; ///< after: the reason for a refusal, if it is no JSON
        std::function<bool(GisLayerOgrVector&)> edit;
    } rows[] = {
        {"ids of several types", "x.geojson",
         R"({"features": [{"id":"five","properties":{"n":1},@},
            {"id":5,"properties":{"n":2},@} , {"id":-7,"properties":{"n":3},@} ] , "type":"FeatureCollection"} )",
         R"({"features": [{"id":"six","properties":{"n":1},@},
            {"id":5,"properties":{"n":9},@} , {"id":-7,"properties":{"n":3},@} ] , "type":"FeatureCollection"} )",
         both(set(2, "n", 9), set(1, "id", "six"))},
        {"what GDAL would write otherwise, and declared types", "x.geojson",
         R"({"type":"FeatureCollection","name":"x","crs":{"type":"name","properties":{"name":"EPSG:25832"}},"features":[
{"properties":{"n":0,"r":2.750,"big":12345678901234567890,"mix":1,"t":"2020-01-01T10:00"},@},
{"properties":{"n":1,"r":-0.0,"mix":"text","u":"é\n\"","ké\"\n":4.50,"d":"2020/01/02"},@}]})",
         R"({"type":"FeatureCollection","name":"x","crs":{"type":"name","properties":{"name":"EPSG:25832"}},"features":[
{"properties":{"n":0,"r":2.750,"big":12345678901234567890,"mix":1,"t":"2020-01-01T10:00"},@},
{"properties":{"n":22.5,"r":-0.0,"mix":"text","u":"é\n\"","ké\"\n":4.50,"d":"2020/01/02"},@},
{ "type": "Feature", "properties": { "n": 9.5 }, "geometry": { "type": "Point", "coordinates": [ 7.0, 8.0 ] } }]})",
         both(both(declare, set(2, "n", 22.5)), add)},
        {"records between separators", "x.geojsons", "\x1e{\"id\":7,\"properties\":{\"n\":1},@}\n\x1e{@}",
         "\x1e{\"id\":7,\"properties\":{\"n\":22.5},@}\n\x1e{@}\n"
         "\x1e{ \"type\": \"Feature\", \"properties\": { \"n\": 9.5 }, \"geometry\": { \"type\": \"Point\", "
         "\"coordinates\": [ 7.0, 8.0 ] } }\n",
         both(both(declare, set(1, "n", 22.5)), add)},
        {"a list with nothing in it", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"properties":{"l":[1,2]},@}]})", "is none for the field 'l'",
         set(1, "l", QVariantList{1, QVariant(QMetaType(QMetaType::Int))})},
        {"names of another encoding", "x.geojson",
         "{\"type\":\"FeatureCollection\",\"features\":[{\"properties\":{\"n\":1,\"\xD6\":1,\"\xDC\":2},@}]}",
         "not written in UTF-8", set(1, "n", 2)},
        {"an id taken away", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"id":"a","x":1,"properties":{},@}]})",
         R"({"type":"FeatureCollection","features":[{"x":1,"properties":{},@}]})", set(1, "id", QVariant())},
        {"an id beside a property of that name", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"id":"a","properties":{"id":"b"},@}]})",
         R"({"type":"FeatureCollection","features":[{"id":"a","properties":{"id":"c"},@}]})", set(1, "id", "c")},
        {"numbers that no type holds", "x.geojson",
         R"(~{"type":"FeatureCollection","x":1e400,"features":[{"id":123456789012345678901234567890,"properties":{"n":1,"m":1e400},@}],"y":123456789012345678901234567890})",
         R"(~{"type":"FeatureCollection","x":1e400,"features":[{"id":123456789012345678901234567890,"properties":{"n":2,"m":1e400},@}],"y":123456789012345678901234567890})",
         set(1, "n", 2)},
        {"texts that look like JSON", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"properties":{"t":"[1.50]","o":{"b":[]}},@},{"properties":{"t":""},@}]})",
         R"({"type":"FeatureCollection","features":[{"properties":{"t":"{\"a\":1e400}","o":{"a":1e400}},@},{"properties":{"t":"", "o": "[1,"},@}]})",
         both(both(set(1, "t", R"({"a":1e400})"), set(1, "o", R"({"a":1e400})")), set(2, "o", "[1,"))},
        {"no properties", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"n":1.50,"t":"\u00e9",@},{"properties":null,@}]})",
         R"({"type":"FeatureCollection","features":[{"n":2.5,"t":"\u00e9",@},{"properties":{"t": "x"},@}]})",
         both(set(1, "n", 2.5), set(2, "t", "x"))},
        {"a box", "x.geojson",
         R"({"type":"FeatureCollection","bbox":[1,2,1,2],"features":[{"bbox":[1,2,1,2],"properties":{},@}]})",
         R"({"type":"FeatureCollection","bbox":[ 7, 8, 7, 8 ],"features":[{"bbox":[ 7.0, 8.0, 7.0, 8.0 ],"properties":{},!}]})",
         move},
        {"numbers of many zeros, in boxes too", "x.geojson",
         R"({"type":"FeatureCollection","bbox":[1,2,1,2],"features":[{"bbox":[1,2,1,2],"properties":{"n":0.5},@}]})",
         R"({"type":"FeatureCollection","bbox":[ 0.30000000000000004, 100000000.12345679, 0.30000000000000004, 100000000.12345679 ],"features":[{"bbox":[ 0.30000000000000004, 100000000.12345679104328156, 0.30000000000000004, 100000000.12345679104328156 ],"properties":{"n":0.30000000000000004},"type":"Feature","geometry":{ "type": "Point", "coordinates": [ 0.30000000000000004, 100000000.12345679104328156 ] }}]})",
         both(set(1, "n", 0.1 + 0.2),
              [](auto& layer) {
                  auto point = std::make_unique<Shapes::GisShapePoint>(0.1 + 0.2, 100000000.123456789);
                  point->attributes() = layer.attributesForFeatureId(1);
                  return layer.setShapeGeometryEdit(1, std::move(point));
              })},
        {"an escaped box", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"b\u0062ox":[1,2,1,2],"properties":{},@}]})",
         R"({"type":"FeatureCollection","features":[{"b\u0062ox":[ 7.0, 8.0, 7.0, 8.0 ],"properties":{},!}]})", move},
        {"members in another case", "x.geojson",
         R"({"type":"FeatureCollection","Features":[
{"ID":"a","Properties":{"n":1,"b":"x"},"x":5,"TYPE":"feature","Geometry":{"type":"Point","coordinates":[1,2.50]}}]})",
         R"({"type":"FeatureCollection","Features":[
{"ID":"c","Properties":{"n":7,"b":"x"},"x":5,"TYPE":"feature","Geometry":{ "type": "Point", "coordinates": [ 7.0, 8.0 ] }}]})",
         both(both(set(1, "n", 7), set(1, "id", "c")), move)},
        {"a feature alone in another case", "x.geojson", R"({"x":5,"Properties":{"n":1,"b":"x"},@})", R"({
"type": "FeatureCollection",
"features": [
{"x":5,"Properties":{"n":7,"b":"x"},@}
]
}
)",
         set(1, "n", 7)},
        {"a feature alone with a member of another's name", "x.geojson",
         R"({"features":[{"properties":{"n":1},@}],"properties":{"n":1},@})", R"({
"type": "FeatureCollection",
"features": [
{"features":[{"properties":{"n":1},@}],"properties":{"n":7},@}
]
}
)",
         set(1, "n", 7)},
        {"a line in another case", "x.geojsonl", "{\"PROPERTIES\":{\"n\":1,\"b\":2},@}\n{@}\n",
         "{\"PROPERTIES\":{\"n\":7,\"b\":2},@}\n{@}\n", set(1, "n", 7)},
        {"one for another", "x.geojson", R"({"type":"FeatureCollection","features":[
            {"properties":{},@}
         ]})",
         R"({"type":"FeatureCollection","features":[
            { "type": "Feature", "properties": { }, "geometry": { "type": "Point", "coordinates": [ 7.0, 8.0 ] } }
         ]})",
         grow},
        {"a feature alone, of no system", "x.geojson", R"({"crs": null,"properties":{"n":1},@})", R"({
"type": "FeatureCollection",
"crs": null,
"features": [
{"crs": null,"properties":{"n":2},@}
]
}
)",
         set(1, "n", 2)},
        {"a geometry alone", "x.geojson", R"({"type":"Point","coordinates":[1,2.50]})", R"({
"type": "FeatureCollection",
"features": [
{ "type": "Feature", "properties": { }, "geometry": { "type": "Point", "coordinates": [ 1.0, 2.5 ] } },
{ "type": "Feature", "properties": { "n": 9.5 }, "geometry": { "type": "Point", "coordinates": [ 7.0, 8.0 ] } }
]
}
)",
         both(declare, add)},
        {"lines with a mark", "x.geojsonl",
         "~{\"id\":\"a\",\"x\":[1.50],\"properties\":{\"n\":1.50,\"m\":1},@}\r\n{\"id\":7,\"properties\":{},@}\n",
         "{\"id\":\"a\",\"x\":[1.50],\"properties\":{\"n\":1.50,\"m\":2},@}\n{\"id\":7,\"properties\":{},@}\n",
         set(1, "m", 2)},
        {"lines with a geometry alone", "x.geojsonl",
         "{\"type\":\"Point\",\"coordinates\":[1,2]}\n{\"properties\":{\"m\":1},@}\n", "is no feature", set(1, "m", 7)},
        {"two features on a line", "x.geojsonl", "{\"properties\":{},@}{\"properties\":{},@}\n",
         "not on lines of their own", move},
        {"two features on the second line", "x.geojsonl",
         "{\"properties\":{},@}\n{\"properties\":{},@} {\"properties\":{},@}", "not on lines of their own", move},
        {"two collections", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"properties":{},@}]}
            {"type":"FeatureCollection","features":[{"properties":{},@}]})",
         "behind its first JSON text", move},
        {"two lists", "x.geojson",
         R"({"type":"FeatureCollection","features":[{"properties":{},@}],"features":[{"properties":{},@}]})",
         "several members 'features'", move},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto whole = [](QByteArray text) {
            return text.replace("@", R"("type":"Feature","geometry":{"type":"Point","coordinates":[1,2.50]})")
                .replace("!", R"("type":"Feature","geometry":{ "type": "Point", "coordinates": [ 7.0, 8.0 ] })")
                .replace("~", "\xEF\xBB\xBF");
        };
        GisLayerOgrVector layer(write(row.file, whole(row.before)));
        std::string reason;
        try {
            layer.open();
            ASSERT_TRUE(layer.beginEdit() && row.edit(layer));
            reason = layer.commitEdit() ? "" : layer.lastError().toStdString();
        } catch (const std::runtime_error& error) {
            reason = error.what();
        }
        const bool isRefused = !row.after.contains('{');
        EXPECT_EQ(!reason.empty(), isRefused) << reason;
        EXPECT_THAT(reason, HasSubstr(isRefused ? row.after.toStdString() : ""));
        EXPECT_EQ(bytes()[row.file].toStdString(), whole(isRefused ? row.before : row.after).toStdString());
    }
}

/// One line alone is read by another driver, which says a system with heights where there are some.
TEST_F(SaveEdits, LinesKeepLongitudesBeyondTheDateLine) {
    for (const QByteArray z : {"", ",5"}) {
        for (const int lines : {1, 2}) {
            SCOPED_TRACE(testing::Message() << lines << " lines" << z.constData());
            QFile file(at("far.geojsonl"));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            for (int i = 0; i <= lines; ++i) {
                file.write(R"({"type":"Feature","properties":{"n":1},"geometry":{"type":"Point","coordinates":[1,2)" +
                           z + "]}}\n");
            }
            file.close();
            GisLayerOgrVector layer(file.fileName());
            ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1) && layer.commitEdit());
            ASSERT_TRUE(layer.beginEdit() && layer.addShapeEdit(shapeOf("LINESTRING (170.5 10, 190.5 10)")));
            EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
            GisLayerOgrVector again(file.fileName());
            ASSERT_TRUE(again.open());
            ASSERT_EQ(again.count(), lines + 1);
            EXPECT_EQ(again.getShape(lines + 1)->toWkt(), "LINESTRING (170.5 10, 190.5 10)");
        }
    }
}

TEST_F(SaveEdits, AValueThatIsAlmostTheSameIsAnotherOne) {
    const QDateTime noon(QDate(2024, 1, 2), QTime(12, 0), Qt::OffsetFromUTC, 3600);
    const struct {
        const char* name;
        QVariant before, now;
        bool isSame;
    } rows[] = {
        {"a real number beside a whole one", qlonglong{9007199254740993}, 9007199254740992.0, false},
        {"a whole number of another type", qlonglong{5000000000}, 5e9, true},
        {"negative zero", 0.0, -0.0, false},
        {"the same moment elsewhere", noon, noon.toOffsetFromUtc(7200), false},
    };
    for (const QString suffix : {"gpkg", "geojson", "fgb"}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(suffix.toStdString() + ", " + row.name);
            auto memory = GisLayerVector::createInMemory("x", Shapes::GisShapeType::Point, {});
            memory->addShape(shapeOf("POINT (1 2)", {{"v", row.before}}));
            EXPECT_TRUE(memory->saveAs(at("x." + suffix), test::replace));
            GisLayerOgrVector layer(at("x." + suffix));
            ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.setShapeAttributesEdit(1, {{"v", row.now}}));
            const auto before = bytes();
            ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
            EXPECT_EQ(bytes() == before, row.isSame);
            ASSERT_TRUE(layer.open());
            const QVariant found = layer.attributeValueForRow(0, "v");
            EXPECT_EQ(found.toString(), QVariant(row.isSame ? row.before : row.now).toString());
            EXPECT_EQ(std::signbit(found.toDouble()), suffix != "gpkg" && std::signbit(row.now.toDouble()));
        }
    }
}

TEST_F(SaveEdits, IdsThatAreNotUniqueMixNothingUp) {
    for (const QByteArray ids : {"123", "012", "534", "301", "77-", "-0-", "---"}) {
        QByteArray text;
        for (int i = 0; i < ids.size(); ++i) {
            text += (i > 0 ? "," : "") +
                    (R"({"type":"Feature",)" + (ids[i] == '-' ? "" : R"("id":)" + ids.mid(i, 1) + ",")) +
                    R"("properties":{"n":)" + QByteArray::number(i) +
                    R"(},"geometry":{"type":"Point","coordinates":[)" + QByteArray::number(i) + ",0]}}";
        }
        GisLayerOgrVector layer(write("ids.geojson", R"({"type":"FeatureCollection","features":[)" + text + "]}"));
        ASSERT_TRUE(layer.open());
        QMap<int, QString> expected{{0, "POINT (0 0)"}, {1, "POINT (1 0)"}, {2, "POINT (2 0)"}};
        for (int session = 0; session < 4; ++session) {
            const int gone = layer.attributeValueForRow(0, "n").toInt();
            const int moved = layer.attributeValueForRow(1, "n").toInt();
            ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(1) &&
                        layer.setShapeGeometryEdit(1, shapeOf("POINT (5 5)", {{"n", moved}})) &&
                        layer.addShapeEdit(shapeOf("POINT (7 7)", {{"n", 10 + session}})));
            ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
            expected.remove(gone);
            expected[moved] = "POINT (5 5)";
            expected[10 + session] = "POINT (7 7)";
            GisLayerOgrVector saved(layer.path());
            ASSERT_TRUE(saved.open());
            QMap<int, QString> found;
            for (int row = 0; row < saved.count(); ++row) {
                found[saved.attributeValueForRow(row, "n").toInt()] = saved.rawShapes()[row]->toWkt();
            }
            EXPECT_EQ(found, expected) << ids.constData() << ", session " << session;
        }
    }
}

TEST_F(SaveEdits, AFailureLeavesTheSourceAndTheSession) {
    std::shared_ptr<CoordinateSystems::CoordinateSystem> system;
    const auto add = [](GisLayerOgrVector& layer, const QString& wkt, const Attributes& values = {}) {
        return layer.addShapeEdit(shapeOf(wkt, values));
    };
    const struct {
        const char* name;
        std::function<void(GisLayerOgrVector&)> spoil;
        std::function<void(GisLayerOgrVector&)> mend; ///< none: undoing one step will do
        const char* reason;
    } rows[] = {
        {"a text for a number",
         [&](auto& l) {
             add(l, "LINESTRING (0 0, 1 1)", {{"n", "many"}});
         },
         {},
         "'many' is none for the field 'n'"},
        {"a number too large",
         [&](auto& l) {
             l.setShapeAttributesEdit(2, {{"n", 1e30}});
         },
         {},
         "'1e+30'"},
        {"an infinite number",
         [&](auto& l) {
             l.setShapeAttributesEdit(2, {{"r", std::numeric_limits<double>::infinity()}});
         },
         {},
         "'inf' is none for the field 'r'"},
        {"an infinite coordinate",
         [&](auto& l) {
             auto line = shapeOf("LINESTRING (0 0, 1 1)");
             static_cast<Shapes::GisShapePolyline&>(*line).parts()[0][1].setX(std::numeric_limits<double>::infinity());
             l.addShapeEdit(std::move(line));
         },
         {},
         "not finite"},
        {"another coordinate system",
         [](auto& l) { l.setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(3006)); },
         [&](auto& l) { l.setCoordinateSystem(system); }, "coordinate system"},
        {"a protected file", [](auto& l) { QFile::setPermissions(l.path(), QFile::ReadOwner); },
         [](auto& l) { QFile::setPermissions(l.path(), QFile::ReadOwner | QFile::WriteOwner); }, "write-protected"},
        {"somebody else's change",
         [](auto& l) {
             if (l.path().endsWith("gpkg") || l.path().endsWith("sqlite")) {
                 execute(*openToWrite(l.path()), "UPDATE lines SET name = 'theirs' WHERE fid = 1");
                 return;
             }
             QFile file(l.path());
             EXPECT_TRUE(file.open(QIODevice::ReadWrite));
             file.setFileTime(QDateTime::currentDateTime().addSecs(-99), QFileDevice::FileModificationTime);
         },
         [](auto& l) { EXPECT_TRUE(l.rollbackEdit() && l.open() && l.beginEdit() && l.deleteShapeEdit(1)); },
         "changed by someone else"},
    };
    for (const QString& suffix : suffixes) {
        for (const auto& row : rows) {
            SCOPED_TRACE(suffix.toStdString() + ": " + row.name);
            GisLayerOgrVector layer(make(suffix));
            ASSERT_TRUE(layer.open());
            system = layer.coordinateSystem();
            ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(1));
            row.spoil(layer);
            const bool steps = layer.undoText() != "Delete shape";
            const auto before = bytes();
            EXPECT_FALSE(layer.commitEdit());
            EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(row.reason));
            EXPECT_THAT(layer.lastError().toStdString(),
                        HasSubstr("Cannot write '" + layer.path().toStdString() + "'"));
            EXPECT_TRUE(layer.isEditing() && layer.isDirty() && layer.canUndoEdit());
            EXPECT_EQ(bytes(), before);
            EXPECT_EQ(steps, !row.mend);
            if (row.mend) {
                row.mend(layer);
            } else {
                ASSERT_TRUE(layer.undoEdit());
            }
            EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
            EXPECT_TRUE(layer.lastError().isEmpty());
            EXPECT_EQ(contentOf(layer.path()), contentOf(layer));
            EXPECT_EQ(layer.count(), 8);
        }
    }
    for (const QString suffix : {"gpkg", "sqlite", "fgb", "shp"}) {
        GisLayerOgrVector layer(make(suffix));
        ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1) && add(layer, "POINT (1 1)"));
        EXPECT_FALSE(layer.commitEdit()) << "points among lines in " << suffix.toStdString();
        EXPECT_TRUE(layer.undoEdit() && layer.commitEdit()) << layer.lastError().toStdString();
    }
    {
        ASSERT_NE(openToWrite(make("gpkg"))->CreateLayer("rows", nullptr, wkbNone), nullptr);
        GisLayerOgrVector layer(at("lines.gpkg"), "rows");
        ASSERT_TRUE(layer.open() && layer.beginEdit() && add(layer, "POINT (1 1)"));
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("a POINT has no place"));
    }
    {
        GisLayerOgrVector layer(make("gpkg"));
        ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1));
        const std::unique_ptr<GDALDataset> other(GDALDataset::Open(layer.path().toUtf8().constData(), GDAL_OF_UPDATE));
        ASSERT_EQ(other->StartTransaction(), OGRERR_NONE);
        ASSERT_EQ(other->GetLayer(0)->DeleteFeature(2), OGRERR_NONE);
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("locked"));
        other->RollbackTransaction();
        EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
    }
    GisLayerOgrVector csv(write("points.csv", "name,WKT\na,POINT (1 2)\n"));
    EXPECT_FALSE(csv.beginEdit()) << "it is not open";
    ASSERT_TRUE(csv.open() && csv.beginEdit() && csv.commitEdit()) << "there is nothing to save";
    ASSERT_TRUE(csv.beginEdit() && csv.deleteShapeEdit(1));
    EXPECT_FALSE(csv.commitEdit());
    EXPECT_THAT(csv.lastError().toStdString(), HasSubstr("format CSV can be read only"));
}

/// Runs anything while the layer believes that a command changes it.
class Odd : public Layers::Commands::GisEditCommand {
public:
    explicit Odd(std::function<bool(GisLayerVector&)> run) : m_run(std::move(run)) {}
    bool redo(GisLayerVector& layer) override { return m_run(layer); }
    bool undo(GisLayerVector&) override { return false; }

private:
    std::function<bool(GisLayerVector&)> m_run;
};

TEST_F(SaveEdits, NothingChangesTheLayerOrTheFileMeanwhile) {
    for (const QString& suffix : suffixes) {
        SCOPED_TRACE(suffix.toStdString());
        GisLayerOgrVector layer(make(suffix, 300));
        int calls = 0;
        layer.setProgressCallback([&](double) {
            ++calls;
            const bool changed = layer.undoEdit() || layer.redoEdit() || layer.deleteShapeEdit(1) ||
                                 layer.commitEdit() || layer.rollbackEdit() || layer.beginEdit() || layer.open() ||
                                 layer.removeShapeById(1) || layer.insertShapeAt(0, shapeOf("POINT (1 1)")) ||
                                 layer.takeShapeById(1, nullptr);
            EXPECT_FALSE(changed);
            layer.clearShapes();
            layer.clearEditHistory();
            layer.close();
            return true;
        });
        ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1));
        const auto before = bytes();
        EXPECT_FALSE(
            layer.executeEditCommand(std::make_unique<Odd>([](GisLayerVector& inner) { return inner.commitEdit(); })));
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("command is running"));
        EXPECT_EQ(bytes(), before);
        for (int i = 0; i < 299; ++i) {
            layer.setShapeAttributesEdit(i + 1, {{"n", i}});
        }
        calls = 0;
        ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_GT(calls, 0);
        EXPECT_EQ(layer.count(), 299);
        EXPECT_EQ(contentOf(layer.path()), contentOf(layer));
    }
}

TEST_F(SaveEdits, FilesOfAShapefileAreReplacedWhereTheyAreReadOrNotAtAll) {
    const auto moveAndLink = [this](const QString& stored, const QString& name) {
        QDir().mkpath(at("store"));
        QFile::remove(at("store/" + stored));
        return QFile::rename(at(name), at("store/" + stored)) && QFile::link(at("store/" + stored), at(name));
    };
    const struct {
        const char* name;
        std::function<bool()> arrange;
        const char* refusal;
    } rows[] = {
        {"links to other names",
         [&] {
             return moveAndLink("shp-blob.shp", "lines.shp") && moveAndLink("dbf-blob.dbf", "lines.dbf") &&
                    moveAndLink("shx-blob.shx", "lines.shx") && moveAndLink("cpg-blob.cpg", "lines.cpg");
         },
         "does not belong to"},
        {"one link", [&] { return moveAndLink("lines.shp", "lines.shp"); }, "does not belong to"},
        {"a link to another suffix", [&] { return moveAndLink("lines", "lines.shp"); }, "another suffix"},
        {"two tables", [&] { return QFile::copy(at("lines.dbf"), at("lines.DBF")); }, "another case"},
        {"links to the same names",
         [&] {
             return moveAndLink("lines.shp", "lines.shp") && moveAndLink("lines.dbf", "lines.dbf") &&
                    moveAndLink("lines.shx", "lines.shx") && moveAndLink("lines.cpg", "lines.cpg");
         },
         nullptr},
        {"another case", [&] { return QFile::rename(at("lines.dbf"), at("lines.DBF")); }, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        GisLayerOgrVector layer(make("shp"));
        ASSERT_TRUE(row.arrange() && layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1));
        const auto before = bytes();
        EXPECT_EQ(layer.commitEdit(), row.refusal == nullptr) << layer.lastError().toStdString();
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(row.refusal != nullptr ? row.refusal : ""));
        EXPECT_TRUE(row.refusal == nullptr ? contentOf(layer.path()) == contentOf(layer) : bytes() == before);
        for (const QString& name : QDir(m_dir.path()).entryList({"lines.*"})) {
            QFile::remove(at(name));
        }
        QDir(at("store")).removeRecursively();
    }
    make("shp", 3);
    QFile::setPermissions(at("lines.dbf"), QFile::ReadOwner);
    GisLayerOgrVector layer(at("lines.shp"));
    ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1));
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("'lines.dbf' is write-protected"));
    for (const QString suffix : {"geojson", "shp"}) { // somebody else's folder of the name of an interrupted save
        make(suffix);
        write("mine.txt", "mine");
        ASSERT_TRUE(QDir().mkpath(at(".lines." + suffix + ".saved")));
        write(qPrintable(".lines." + suffix + ".saved/other.txt"), "theirs");
        write(qPrintable(".lines." + suffix + ".saved/mine.txt.remove"), "");
        const auto before = bytes();
        EXPECT_EQ(contentOf(at("lines." + suffix)).size(), 9U);
        EXPECT_EQ(bytes(), before) << suffix.toStdString();
    }
}

TEST_F(SaveEdits, TheTableOfAShapefileKeepsWhatWasNotEdited) {
    struct Column {
        const char* name;
        char type, width, decimals;
    };
    const auto table = [](const std::vector<Column>& columns, const std::vector<QByteArray>& records) {
        QByteArray heads;
        int length = 1;
        for (const auto& [name, type, width, decimals] : columns) {
            heads += QByteArray(name).leftJustified(11, '\0') + type + QByteArray(4, '\0') + width + decimals +
                     QByteArray(14, '\0');
            length += width;
        }
        const int start = 33 + static_cast<int>(heads.size());
        QByteArray bytes = QByteArray("\3\1\1\1") + static_cast<char>(records.size()) + QByteArray(3, '\0');
        for (const int size : {start, length}) {
            bytes.append(static_cast<char>(size)).append(static_cast<char>(size >> 8));
        }
        bytes += QByteArray(17, '\0') + '\x58' + QByteArray(2, '\0') + heads + '\r';
        for (const QByteArray& record : records) {
            bytes += ' ' + record;
        }
        return bytes;
    };
    const std::vector<Column> plain{{"n", 'C', 5, 0}, {"flag", 'L', 1, 0}, {"real", 'F', 8, 3}, {"x", 'N', 3, 0}};
    std::vector<Column> memo = plain;
    memo[3].type = 'M';
    const std::vector<QByteArray> three{"one  T    1.50  1", "two  ?    2.50  2", "threeF-0.0      3"};
    const std::vector<Column> odd{
        {"aa", 'C', 3, 0}, {"aa", 'C', 3, 0}, {"AA", 'C', 3, 0}, {"eleven byte", 'C', 3, 0}, {"big", 'N', 19, 0}};
    const struct {
        const char* name;
        std::vector<Column> columns;
        std::vector<QByteArray> before;
        std::vector<QByteArray> after; ///< none: it is refused
        Attributes edit;               ///< of the second
        const char* reason;
        const char* encoding = nullptr; ///< in a file of its own
    } rows[] = {
        {"texts, logical values, numbers",
         plain,
         {"\xe9ne  T    1.50  1", " two ?    2.50  2", "threeF-0.0      3"},
         {"\xe9ne  T    1.50  1", "2nd  Y    2.50  2", "threeF-0.0      3"},
         {{"n", "2nd"}, {"flag", "Y"}},
         ""},
        {"no logical value", plain, three, {}, {{"flag", "x"}}, "'flag' takes"},
        {"a memo", memo, three, {}, {{"n", "2nd"}}, "'x' is of the type 'M'"},
        {"names that GDAL would change, numbers that are real ones to it",
         odd,
         {"a  b  c  d  9223372036854775807", "e   f g  h         123456789012", "                              1"},
         {"a  b  c  d  9223372036854775807", "e   f new!!        123456789012", "                              1"},
         {{"AA", "new"}, {"eleven byte", "!!"}},
         ""},
        {"a character that the encoding does not have, behind a byte that is none there",
         plain,
         {"\x81    T    1.50  1", three[1], three[2]},
         {},
         {{"n", "é日"}},
         "'é日' of the field 'n' cannot be saved: the encoding"},
        {"an encoding that GDAL does not know", plain, three, {}, {{"n", "q€"}}, "is not known", "ANSI 1252"},
        {"ASCII in that",
         plain,
         {"\x80ne  T    1.50  1", three[1], three[2]},
         {"\x80ne  T    1.50  1", "2nd  ?    2.50  2", three[2]},
         {{"n", "2nd"}},
         "",
         "ANSI 1252"},
        {"fewer records than shapes", plain, {2, three[0]}, {}, {{"n", "2nd"}}, "it has 2 records for 3 shapes"},
        {"more", plain, {4, three[0]}, {}, {{"n", "2nd"}}, "it has 4 records for 3 shapes"},
    };
    for (const QString& stem : {QString("lines"), QString(".hidden")}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(stem.toStdString() + ": " + row.name);
            for (const QString& name : files()) {
                QFile::remove(at(name));
            }
            GisLayerOgrVector made(make("shp", 3));
            ASSERT_TRUE(made.open() && made.saveAs(at(stem + ".shp"), test::replace));
            write(qPrintable(stem + ".dbf"), table(row.columns, row.before) + '\x1a');
            QFile::remove(at(stem + ".cpg"));
            if (row.encoding != nullptr) {
                write(qPrintable(stem + ".cpg"), row.encoding);
            }
            write(qPrintable(stem + ".prj"), "LOCAL system 7");
            write(qPrintable(stem + ".qpj"), "of another program");
            write(qPrintable(stem + ".n.atx"), "an index");
            GisLayerOgrVector layer(at(stem + ".shp"));
            ASSERT_TRUE(layer.open() && layer.beginEdit());
            Attributes values = layer.attributesForFeatureId(2);
            values.insert(row.edit);
            ASSERT_TRUE(layer.setShapeAttributesEdit(2, values));
            const auto before = bytes();
            EXPECT_EQ(layer.commitEdit(), row.reason[0] == '\0');
            EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(row.reason));
            auto expected = before;
            if (!row.after.empty()) {
                const QByteArray now = table(row.columns, row.after);
                const QByteArray found = bytes()[stem + ".dbf"];
                for (qsizetype i = 4; i < now.size(); ++i) { // behind the date
                    const bool isKnown = i < 32 || (i - 32) % 32 < 12 || i >= 32 * (1 + std::ssize(row.columns));
                    ASSERT_TRUE(!isKnown || found[i] == now[i]) << "byte " << i << ": " << found.toStdString();
                }
                expected.erase(stem + ".n.atx");
                expected[stem + ".dbf"] = found;
            }
            EXPECT_EQ(bytes(), expected);
        }
    }
    QFile::remove(at(".hidden.dbf"));
    GisLayerOgrVector layer(at(".hidden.shp"));
    ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1));
    ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
    EXPECT_FALSE(QFile::exists(at(".hidden.dbf")));
    EXPECT_EQ(contentOf(layer.path()), contentOf(layer));
}

TEST_F(SaveEdits, WhatGdalReadsWithAWarningStaysAsItIs) {
    for (const char* const suffix : {"sqlite", "gpkg"}) {
        SCOPED_TRACE(suffix);
        GisLayerOgrVector layer(make(suffix));
        const auto sql = [&](const char* statement) { return execute(*openToWrite(layer.path()), statement); };
        sql("ALTER TABLE lines ADD COLUMN moment DATETIME");
        sql("UPDATE lines SET n = 'many', moment = '2024-01-01T12:00:00.123456Z' WHERE fid = 2");
        ASSERT_TRUE(layer.open() && layer.beginEdit());
        Attributes values = layer.attributesForFeatureId(2);
        values["name"] = "edited";
        Attributes others = layer.attributesForFeatureId(3);
        others["n"] = 77; // another column
        const std::string name = others["name"].toString().toStdString();
        ASSERT_TRUE(layer.setShapeAttributesEdit(2, values) && layer.setShapeAttributesEdit(3, others));
        ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_EQ(sql("SELECT ifnull(name, '') || n FROM lines WHERE fid = 3"), name + "77");
        EXPECT_EQ(sql("SELECT name || n || moment FROM lines WHERE fid = 2"), "editedmany2024-01-01T12:00:00.123456Z");
    }
}

TEST_F(SaveEdits, TheRecordsOfAShapefileKeepWhatWasNotEdited) {
    const auto raw = [](const auto& numbers) {
        return QByteArray(reinterpret_cast<const char*>(numbers.data()),
                          static_cast<qsizetype>(numbers.size() * sizeof numbers[0]));
    };
    const auto record = [&raw](int type, const std::vector<double>& box, const std::vector<int>& counts,
                               const std::vector<double>& rest) {
        return raw(std::vector<int>{type}) + raw(box) + raw(counts) + raw(rest);
    };
    const auto filesOf = [&raw](int type, const std::vector<QByteArray>& records, const std::vector<double>& ranges) {
        const auto big = [](qsizetype bytes) {
            QByteArray word;
            for (int shift = 24; shift >= 0; shift -= 8) {
                word += static_cast<char>(bytes >> shift);
            }
            return word;
        };
        QByteArray shapes;
        QByteArray index;
        for (const QByteArray& one : records) {
            index += big((100 + shapes.size()) / 2) + big(one.size() / 2);
            shapes += big(index.size() / 8) + big(one.size() / 2) + one;
        }
        const auto headed = [&](const QByteArray& body) {
            return big(9994) + QByteArray(20, '\0') + big((100 + body.size()) / 2) + raw(std::vector<int>{1000, type}) +
                   raw(ranges) + body;
        };
        return std::pair{headed(shapes), headed(index)};
    };
    constexpr double none = -1e39;
    const std::vector<double> all{-9, -9, 99, 99, -9, 99, -9, 99}; // larger than it need be
    const struct {
        const char* name;
        int type;
        std::vector<QByteArray> records;
        std::vector<double> after; ///< the ranges without the second
        qint64 withM;
    } rows[] = {
        {"points of which the first has no M",
         11,
         {record(11, {}, {}, {1, 2, 3, none}), record(11, {}, {}, {4, 5, 6, 77.5}),
          record(11, {}, {}, {7, 8, 9, 88.5})},
         {1, 2, 7, 8, 3, 9, 88.5, 88.5},
         3},
        {"lines of which the first has no M",
         23,
         {record(23, {0, 0, 1, 2}, {1, 2, 0}, {0, 0, 1, 2}),
          record(23, {0, 0, 9, 9}, {1, 2, 0}, {0, 0, 9, 9, 7, 8, 7, 8}),
          record(23, {0, 0, 4, 3}, {1, 2, 0}, {0, 0, 4, 3, 5, 6, 5, 6})},
         {0, 0, 4, 3, 0, 0, 5, 6},
         3},
        {"none has M", 21, {3, record(21, {}, {}, {1, 2, none})}, {1, 2, 1, 2, 0, 0, 0, 0}, 0},
        {"a patch with M, and a null shape",
         31,
         {record(31, {0, 0, 1, 1}, {1, 4, 0, 2}, {0, 0, 0, 1, 1, 1, 0, 0, 5, 5, 5, 5, 5, 5, 6, 7, 6, 6, 7, 6}),
          record(31, {0, 0, 1, 1}, {1, 4, 0, 5}, {0, 0, 0, 1, 1, 1, 0, 0, 5, 5, 5, 5, 5, 5}), record(0, {}, {}, {})},
         {0, 0, 1, 1, 5, 5, 6, 7},
         0}, // which GDAL does not read
        {"one that cannot be read",
         3,
         {record(3, {0, 0, 1, 1}, {1, 2, 0}, {0, 0, 1, 1}), record(3, {0, 0, 9, 9}, {1, 2, 0}, {0, 0, 9, 9}),
          record(3, {0, 0, 5, 5}, {2, 2, 0, 2}, {0, 0, 5, 5})},
         {0, 0, 5, 5, 0, 0, 0, 0},
         0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        for (const QString& name : files()) {
            QFile::remove(at(name));
        }
        make("shp", 3);
        const auto before = filesOf(row.type, row.records, all);
        write("lines.shp", before.first);
        write("lines.shx", before.second);
        GisLayerOgrVector layer(at("lines.shp"));
        ASSERT_TRUE(layer.open() && layer.count() >= 2 && layer.beginEdit());
        EXPECT_EQ(layer.notKept().withM, row.withM);
        ASSERT_TRUE(layer.setShapeAttributesEdit(1, {{"n", 77}}) && layer.commitEdit())
            << qPrintable(layer.lastError());
        EXPECT_EQ(bytes()["lines.shp"].toHex(' '), before.first.toHex(' '));
        EXPECT_EQ(bytes()["lines.shx"], before.second);
        ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(2) && layer.commitEdit())
            << qPrintable(layer.lastError());
        const auto after = filesOf(row.type, {row.records[0], row.records[2]}, row.after);
        EXPECT_EQ(bytes()["lines.shp"].toHex(' '), after.first.toHex(' '));
        EXPECT_EQ(bytes()["lines.shx"].toHex(' '), after.second.toHex(' '));
    }
}

TEST_F(SaveEdits, WhatGdalDoesNotKnowOfFlatGeobufIsNotLost) {
    const struct {
        const char* name;
        const char* text; ///< of the first feature
        char type;        ///< of the column; else DateTime
        const char* refusal;
    } rows[] = {
        {"milliseconds", "2020-01-02T03:04:05.123Z", 13, ""},
        {"another way to write it", "2020-01-02T03:04:05.100+00:00", 13, ""},
        {"microseconds", "2020-01-02T03:04:05.123456Z", 13, "feature 0: the value of the field 'text' would become"},
        {"a second that is rounded up", "2020-01-02T03:04:59.9999+05:30", 13,
         "feature 0: the value of the field 'text'"},
        {"no date", "yesterday", 13, "feature 0: the value of the field 'text' would become"},
        {"JSON", "{}", 12, "the field 'text' is of a type"},
        {"text", "{}", 11, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        auto memory = GisLayerVector::createInMemory("x", Shapes::GisShapeType::Point, {});
        memory->addShape(shapeOf("POINT (1 2)", {{"text", row.text}}));
        memory->addShape(shapeOf("POINT (3 4)", {{"text", "2020-01-02T00:00:00Z"}}));
        ASSERT_TRUE(memory->saveAs(at("x.fgb"), test::replace));
        QByteArray file = bytes()["x.fgb"];
        // The only column: behind its name lie width, precision and scale, and the type in the table before.
        const qsizetype place = file.lastIndexOf(char{11}, file.indexOf("text"));
        ASSERT_GT(place, 0);
        file[place] = row.type;
        GisLayerOgrVector layer(write("x.fgb", file));
        ASSERT_TRUE(layer.open() && layer.beginEdit());
        ASSERT_TRUE(layer.setShapeGeometryEdit(2, shapeOf("POINT (5 6)", layer.attributesForFeatureId(2))));
        EXPECT_EQ(layer.commitEdit(), row.refusal[0] == '\0') << qPrintable(layer.lastError());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(row.refusal));
    }
}

TEST_F(SaveEdits, AFlatGeobufKeepsWhatItSaysOfItself) {
    // Two points, without a box and their number; the file and its column have a title, a description and metadata.
    const QByteArray file = QByteArray::fromBase64(
        "ZmdiA2ZnYgHsAAAAJAAAACAAGwAEAAAAGgAAAAAAAAAAAAgAAAAYAAAADAAQABQAIAAAABgAAABEAAAAGAAAACAAAAAoAAAAAAABAAEAAAB4"
        "AAAABQAAAFdlbGxzAAAABwAAAG9mIDE5NTAACwAAAHsiYnkiOiJ1cyJ9AAEAAAAoAAAAAAAAAAAAAAAAABoAFQAEABQACAAMAAAAAAAAAAAA"
        "AAAAABAAGgAAABQAAAAYAAAAIAAAACgAAAAFAAAAAQAAAG4AAAAGAAAATnVtYmVyAAAHAAAAY291bnRlZAAMAAAAeyJ1bml0IjoibSJ9AAAA"
        "AAAAAABUAAAADAAAAAgADAAEAAgACAAAACQAAAAEAAAABgAAAAAAAQAAABIADAAAAAgAAAAAAAAAAAAHABIAAAAAAAABBAAAAAIAAAAAAAAA"
        "AADwPwAAAAAAAABAVAAAAAwAAAAIAAwABAAIAAgAAAAkAAAABAAAAAYAAAAAAAIAAAASAAwAAAAIAAAAAAAAAAAABwASAAAAAAAAAQQAAAAC"
        "AAAAAAAAAAAAFEAAAAAAAAAAQA==");
    GisLayerOgrVector layer(write("x.fgb", file));
    ASSERT_TRUE(layer.open());
    std::set<qsizetype> sizes;
    for (const int n : {7, 8}) {
        ASSERT_TRUE(layer.beginEdit() && layer.setShapeAttributesEdit(1, {{"n", n}}));
        ASSERT_TRUE(layer.addShapeEdit(shapeOf("POINT (70 8)")) && layer.commitEdit()) << qPrintable(layer.lastError());
        EXPECT_EQ(contentOf(layer.path()), contentOf(layer));
        const QByteArray now = bytes()["x.fgb"];
        for (const char* text : {"Wells", "of 1950", R"({"by":"us"})", "Number", "counted", R"({"unit":"m"})"}) {
            EXPECT_TRUE(now.contains(text)) << text;
        }
        sizes.insert(now.size());
        ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(3) && layer.commitEdit());
        GisLayerOgrVector read(layer.path());
        ASSERT_TRUE(read.open() && read.count() == 2);
        EXPECT_LT(read.extent().xMax(), 6);
    }
    EXPECT_EQ(sizes.size(), 1U) << "the header grows once";
}

TEST_F(SaveEdits, AFlatGeobufWithAnIndexIsComparedToo) {
    GDALAllRegister();
    for (const int count : {1, 16, 17, 300}) {
        QFile::remove(at("index.fgb"));
        GDALDatasetUniquePtr made(
            GetGDALDriverManager()
                ->GetDriverByName("FlatGeobuf")
                ->Create(qPrintable(at("index.fgb")), 0, 0, 0, GDT_Unknown, nullptr)); // its layers have an index
        OGRLayer& points = *made->CreateLayer("index", nullptr, wkbPoint);
        OGRFieldDefn field("n", OFTInteger);
        ASSERT_EQ(points.CreateField(&field), OGRERR_NONE);
        for (int i = 0; i < count; ++i) {
            OGRFeature feature(points.GetLayerDefn());
            feature.SetField(0, i);
            feature.SetGeometryDirectly(new OGRPoint(i * 7 % 31, i % 5));
            ASSERT_EQ(points.CreateFeature(&feature), OGRERR_NONE);
        }
        made.reset();
        GisLayerOgrVector layer(at("index.fgb"));
        ASSERT_TRUE(layer.open() && layer.beginEdit() && (count == 1 || layer.deleteShapeEdit(1)));
        ASSERT_TRUE(layer.addShapeEdit(shapeOf("POINT (1 1)", {{"n", 1}})));
        EXPECT_TRUE(layer.commitEdit()) << count << qPrintable(layer.lastError());
        EXPECT_EQ(contentOf(layer.path()), contentOf(layer));
    }
}

TEST_F(SaveEdits, RowsWithIdsThatStandForNoneElsewhere) {
    GisLayerOgrVector layer(make("gpkg"));
    const auto sql = [&](const char* statement) { return execute(*openToWrite(layer.path()), statement); };
    sql("UPDATE lines SET fid = -1 WHERE fid = 3"); // the id that stands for none elsewhere
    ASSERT_TRUE(layer.open() && layer.beginEdit());
    const int row = 1 + static_cast<int>(layer.sourceFeatureIds().indexOf(-1));
    ASSERT_TRUE(layer.setShapeAttributesEdit(row, {{"n", 1}}));
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("of this id can be deleted, not changed"));
    ASSERT_TRUE(layer.undoEdit() && layer.deleteShapeEdit(row) && layer.commitEdit());
    EXPECT_EQ(sql("SELECT COUNT(*) FROM lines"), "8");

    sql("UPDATE lines SET fid = -9223372036854775808 WHERE fid = 4"); // the id that stands for none here
    ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(5));
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("feature -9223372036854775808: a table with a row"));
    EXPECT_EQ(sql("SELECT COUNT(*) FROM lines"), "8");
}

/// More than a database keeps in memory until the transaction ends.
void addALot(GisLayerOgrVector& layer) {
    for (int i = 0; i < 3000; ++i) {
        layer.addShapeEdit(shapeOf("LINESTRING (0 0, 1 1)", {{"n", i}, {"name", QString(4000, QChar('a' + i % 26))}}));
    }
}

TEST_F(SaveEdits, ALargeTransactionThatFailedOrWasKilledCanBeTriedAgain) {
    for (const QString suffix : {"gpkg", "sqlite"}) {
        SCOPED_TRACE(suffix.toStdString());
        const QString path = make(suffix);
        const QString link = at("link." + suffix);
        ASSERT_TRUE(QFile::link(path, link));
        const auto old = contentOf(path);
        GisLayerOgrVector layer(path);
        ASSERT_TRUE(layer.open() && layer.beginEdit());
        addALot(layer);
        layer.setProgressCallback([](double done) { return done < 0.9; });
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("cancelled"));
        layer.setProgressCallback({});
        ASSERT_TRUE(layer.addShapeEdit(shapeOf("LINESTRING (0 0, 1 1)", {{"nothing", 1}})));
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("'nothing' is no field"));
        EXPECT_EQ(contentOf(path), old);
        ASSERT_TRUE(layer.undoEdit());
        EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_EQ(contentOf(path), contentOf(layer));

        const auto killed = [&] {
            make(suffix);
            if (const pid_t child = ::fork(); child == 0) {
                GisLayerOgrVector victim(path);
                victim.open();
                victim.beginEdit();
                addALot(victim);
                victim.setProgressCallback([](double done) { return done < 0.9 || (::_exit(0), false); });
                victim.commitEdit();
                ::_exit(1);
            } else {
                int status = 0;
                ::waitpid(child, &status, 0);
                EXPECT_EQ(status, 0);
            }
            return QFileInfo(path + "-journal").size() > 0;
        };
        ASSERT_TRUE(killed());
        const auto before = bytes();
        Layers::GisVectorSaveOptions replace;
        replace.existing = Layers::GisVectorSaveOptions::Existing::Replace;
        EXPECT_THROW(GisLayerVector::createInMemory("x", Shapes::GisShapeType::Point, {})->saveAs(link, replace),
                     std::runtime_error)
            << "the old journal would be applied to the new file";
        EXPECT_EQ(bytes(), before);
        for (const QString& name : {path, link}) {
            ASSERT_TRUE(killed());
            GisLayerOgrVector again(name);
            ASSERT_TRUE(again.open() && again.beginEdit());
            EXPECT_EQ(contentOf(again), old);
            EXPECT_TRUE(again.deleteShapeEdit(1) && again.commitEdit()) << again.lastError().toStdString();
            EXPECT_EQ(contentOf(path).size(), 8U);
        }
        QFile::remove(link);
    }
}

TEST_F(SaveEdits, ATimeThatTheClocksHereLeaveOutStays) {
    const QByteArray zone = qgetenv("TZ");
    qputenv("TZ", "Europe/Berlin");
    ::tzset();
    const QDateTime left(QDate(2023, 3, 26), QTime(2, 30));
    for (const QString suffix : {"gpkg", "geojson", "fgb"}) {
        auto memory = GisLayerVector::createInMemory("t", Shapes::GisShapeType::Point, {});
        memory->addShape(shapeOf("POINT (1 2)", {{"t", left}, {"name", "x"}}));
        EXPECT_TRUE(memory->saveAs(at("t." + suffix)));
        GisLayerOgrVector layer(at("t." + suffix));
        for (const int minute : {31, 32}) {
            EXPECT_TRUE(layer.open() && layer.beginEdit());
            EXPECT_EQ(layer.attributeValueForRow(0, "t").toDateTime().time(), QTime(2, minute - 1));
            layer.setShapeAttributesEdit(1, {{"t", QDateTime(left.date(), QTime(2, minute))}, {"name", "y"}});
            EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        }
    }
    zone.isNull() ? qunsetenv("TZ") : qputenv("TZ", zone);
    ::tzset();
}

TEST_F(SaveEdits, AChangeThatLiesBesideADatabaseIsSeenThroughALink) {
    const QString path = make("gpkg");
    ASSERT_TRUE(QFile::link(path, at("link.gpkg")));
    const auto other = openToWrite(path);
    ASSERT_EQ(execute(*other, "PRAGMA journal_mode = WAL"), "wal");
    GisLayerOgrVector layer(at("link.gpkg"));
    ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1));
    execute(*other, "UPDATE lines SET name = 'theirs' WHERE fid = 1");
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("changed by someone else"));
}

TEST_F(SaveEdits, ASavedIndexDoesNotOutliveACommit) {
    const QString path = make("gpkg");
    for (const int left : {8, 7}) {
        GisLayerOgrVector layer(path);
        layer.setUsesIndexFile(true);
        ASSERT_TRUE(layer.open());
        layer.buildSpatialIndex();
        EXPECT_EQ(layer.indexOrigin(), GisLayerOgrVector::IndexOrigin::BuiltAndSaved);
        ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(1) && layer.commitEdit());
        EXPECT_FALSE(QFile::exists(layer.indexFilePath()));
        EXPECT_EQ(layer.query({-1, -1, 99, 99}).size(), left);
        EXPECT_FALSE(QFile::exists(layer.indexFilePath()));
        EXPECT_LT(layer.extent().xMin(), 3);
    }
}

} // namespace
