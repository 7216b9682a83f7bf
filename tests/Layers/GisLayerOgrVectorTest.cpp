#include "DataFolder.h"
#include "TestServer.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ogrsf_frmts.h>

#include <cmath>
#include <map>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using testing::HasSubstr;

namespace {

const QString dataDir = QStringLiteral(CARTOLITH_DATA_DIR "/");

class OgrLayer : public testing::Test {
protected:
    QString write(const char* name, const QByteArray& content) const {
        QFile file(m_dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    /// A new data source; the file is complete when the pointer goes.
    std::unique_ptr<GDALDataset> create(const char* driver, const QString& path) const {
        GDALAllRegister();
        return std::unique_ptr<GDALDataset>(GetGDALDriverManager()->GetDriverByName(driver)->Create(
            path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
    }

    QTemporaryDir m_dir;
};

TEST_F(OgrLayer, TakesEveryKindOfGeometryApart) {
    struct Row {
        const char* given;
        const char* expected; ///< the shapes, or what is said of a feature without
        const char* problem = "";
    };
    const std::vector<Row> rows{
        {"POINT ZM (1 2 3 4)", "POINT (1 2)"},
        {"MULTIPOINT ((1 1), EMPTY, (2 2))", "POINT (1 1); POINT (2 2)"},
        {"POLYGON ((0 0, 9 0, 9 9, 0 0), (2 1, 8 1, 8 7, 2 1))",
         "POLYGON ((0 0, 9 0, 9 9, 0 0), (2 1, 8 7, 8 1, 2 1))"},
        {"POLYGON ((0 0, 9 9, 9 0, 0 0), (2 1, 8 7, 8 1, 2 1))",
         "POLYGON ((0 0, 9 9, 9 0, 0 0), (2 1, 8 1, 8 7, 2 1))"},
        {"MULTIPOLYGON Z (((0 0 1, 1 0 1, 1 1 1, 0 0 1)), ((5 5 1, 6 5 1, 6 6 1, 5 5 1)))",
         "POLYGON ((0 0, 1 0, 1 1, 0 0), (5 5, 6 5, 6 6, 5 5))"},
        {"GEOMETRYCOLLECTION (POINT (1 2), LINESTRING (0 0, 1 1), POLYGON ((0 0, 1 0, 1 1, 0 0)),"
         " GEOMETRYCOLLECTION (POINT (3 4), MULTILINESTRING ((2 2, 3 3), (4 4, 5 5))))",
         "POINT (1 2); POINT (3 4); MULTILINESTRING ((0 0, 1 1), (2 2, 3 3), (4 4, 5 5)); "
         "POLYGON ((0 0, 1 0, 1 1, 0 0))"},
        {"TRIANGLE ((0 0, 1 0, 1 1, 0 0))", "POLYGON ((0 0, 1 0, 1 1, 0 0))"},
        {"TIN (((0 0, 1 0, 1 1, 0 0)), ((0 0, 1 1, 0 1, 0 0)))",
         "POLYGON ((0 0, 1 0, 1 1, 0 0), (0 0, 1 1, 0 1, 0 0))"},
        {"GEOMETRYCOLLECTION (POINT (1 2), LINESTRING (3 3))", "POINT (1 2)", "too few vertices"},
        {"LINESTRING (1 1)", "", "too few vertices"},
        {"POLYGON EMPTY", "", "empty geometry"},
        {"no geometry at all", "", "no geometry"},
    };
    QByteArray csv = "row,WKT\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        csv += QByteArray::number(qulonglong{i}) + ",\"" + rows[i].given + "\"\n";
    }
    GisLayerOgrVector layer(write("kinds.csv", csv));
    ASSERT_TRUE(layer.open());
    std::vector<QStringList> shapes(rows.size());
    for (const auto& shape : layer.items()) {
        shapes.at(shape->attributes().value("row").toUInt()).append(shape->toWkt());
    }
    std::map<qint64, QString> problems;
    for (const auto& skipped : layer.skippedFeatures()) {
        problems[skipped.featureId - 1] = skipped.reason; // CSV numbers features from 1
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(shapes[i].join("; "), rows[i].expected) << rows[i].given;
        EXPECT_EQ(problems[static_cast<qint64>(i)], rows[i].problem) << rows[i].given;
    }
    EXPECT_EQ(layer.skippedCount(), 4);
    EXPECT_EQ(layer.sourceFeatureIds().first(3), (QList<qint64>{1, 2, 2})) << "the second is a multipoint";
}

TEST_F(OgrLayer, SkipsInfiniteCoordinatesAndBoundsTheList) {
    QByteArray json = R"({"type":"FeatureCollection","features":[)";
    for (int i = 0; i < 1500; ++i) {
        json += R"({"type":"Feature","properties":{},"geometry":{"type":"Point","coordinates":[1e999,2]}},)";
    }
    json += R"({"type":"Feature","properties":{},"geometry":{"type":"LineString","coordinates":)"
            R"([[0,0],[1,-1e999]]}},{"type":"Feature","properties":{},"geometry":{"type":"Point",)"
            R"("coordinates":[3,2]}}]})";
    GisLayerOgrVector layer(write("infinite.geojson", json));
    ASSERT_TRUE(layer.open());
    EXPECT_EQ(layer.count(), 1);
    EXPECT_EQ(layer.extent().xMin(), 3 - 1e-9);
    EXPECT_EQ(layer.skippedCount(), 1501);
    EXPECT_EQ(layer.skippedFeatures().size(), 1000);
}

TEST_F(OgrLayer, MakesCurvesLinear) {
    const QString path = m_dir.filePath("curve.gpkg");
    {
        const auto source = create("GPKG", path);
        OGRLayer* const target = source->CreateLayer("disc", nullptr, wkbCurvePolygon);
        OGRFeature feature(target->GetLayerDefn());
        OGRGeometry* geometry = nullptr;
        OGRGeometryFactory::createFromWkt(
            "CURVEPOLYGON (CIRCULARSTRING (-5 0, 0 5, 5 0, 0 -5, -5 0), (-1 0, 0 1, 1 0, -1 0))", nullptr, &geometry);
        feature.SetGeometryDirectly(geometry);
        ASSERT_EQ(target->CreateFeature(&feature), OGRERR_NONE);
    }
    GisLayerOgrVector layer(path);
    ASSERT_TRUE(layer.open());
    const auto& parts = static_cast<const Shapes::GisShapePolygon&>(*layer.items().front()).parts();
    ASSERT_EQ(parts.size(), 2);
    EXPECT_GT(parts[0].size(), 30);
    for (const Shapes::GisShapePoint& vertex : parts[0]) {
        EXPECT_NEAR(std::hypot(vertex.x(), vertex.y()), 5.0, 1e-9);
    }
}

TEST_F(OgrLayer, TextsOfGeoJsonAreDatesWhereTheyAreWrittenAsSuch) {
    const struct {
        const char* text;
        QVariant expected = {}; ///< none: the text
    } rows[] = {
        {"2020-01-02", QDate(2020, 1, 2)},
        {R"(2020\/01\/02)", QDate(2020, 1, 2)},
        {"12:30:01.5", QTime(12, 30, 1, 500)},
        {"2020-01-02T10:00", QDateTime(QDate(2020, 1, 2), QTime(10, 0))},
        {"2020-01-02 10:00:00.25+0130", QDateTime(QDate(2020, 1, 2), QTime(10, 0, 0, 250), Qt::OffsetFromUTC, 5400)},
        {"12/5/19"},
        {"10-11-12"},
        {"1:00:00"},
        {"16:10"},
        {"12:30:60"},
        {"2020-02-30"},
        {"2020-01-02T10:00+00:20"}, // GDAL knows quarters of an hour
    };
    const QByteArray feature = R"({"type":"Feature","v":"beside","properties":{"o":{"v":"within"},"w":"2020-01-02",)"
                               R"("v" : "@"},"geometry":{"type":"Point","coordinates":[1,2]}})";
    for (const auto& row : rows) {
        const QVariant expected = row.expected.isValid() ? row.expected : QVariant(row.text);
        const QByteArray one = QByteArray(feature).replace("@", row.text);
        const QByteArray all = R"({"type":"FeatureCollection","v":"beside","features":[)" + one + "]}";
        const QString path = write("x.geojson", all);
        for (const QString& name : {path, "/vsisubfile/0," + path, write("x.geojsonl", one + '\n' + one + '\n'),
                                    write("x.geojsons", '\x1e' + one + "\n\x1e" + one + '\n')}) {
            GisLayerOgrVector layer(name);
            ASSERT_TRUE(layer.open());
            EXPECT_EQ(layer.attributeValueForRow(0, "v"), expected) << name.toStdString();
            EXPECT_TRUE(!name.contains("x.geojsonl") || layer.attributeValueForRow(0, "w") == QDate(2020, 1, 2));
        }
    }
    const QByteArray both =
        QByteArray(feature).replace("@", "2020-01-02") + '\n' + QByteArray(feature).replace("@", "2020-01-02T10:00:00");
    GisLayerOgrVector mixed(write("mixed.geojsonl", both));
    ASSERT_TRUE(mixed.open());
    EXPECT_EQ(mixed.attributeValueForRow(0, "v"), "2020-01-02") << "no moment at midnight";
    const QByteArray line(R"({"type":"Feature","crs":null,"properties":{"V":7,"v":"12/5/19"},"geometry":{"type":)"
                          R"("Point","coordinates":[1,2]}})"
                          "\n");
    GisLayerOgrVector cases(write("cases.geojsonl", line + line));
    ASSERT_TRUE(cases.open());
    EXPECT_EQ(cases.attributeValueForRow(0, "V"), 7);
    EXPECT_EQ(cases.attributeValueForRow(0, "v"), "12/5/19");
    EXPECT_NE(cases.coordinateSystem(), nullptr) << "lines are in one system, whatever a feature says";
}

/// GDAL takes the property "id" of a feature by itself for its own, and loses it where that is below -1.
TEST_F(OgrLayer, OneFeatureIsReadWhateverItsIdSays) {
    const QByteArray feature = R"({"type":"Feature",@"properties":{"id":-5,"d":"12/5/19"},"geometry":)"
                               R"({"type":"Point","coordinates":[1,2]}})";
    const auto with = [&feature](const char* id, const char* more) {
        return QByteArray(feature).replace("-5", id).replace("@", more);
    };
    const struct {
        const char* name;
        const char* file;
        QByteArray text;
        qint64 id;
        int epsg;
    } rows[] = {
        {"-1", "x.geojson", with("-1", ""), -1, 4326},
        {"below", "x.geojson", with("-2", ""), -2, 4326},
        {"beyond 32 bits", "x.geojson", with("-2147483649", ""), -2147483649, 4326},
        {"in a line", "x.geojsonl", with("-5", "") + '\n', -5, 4326},
        {"under another name", "x.txt", with("-5", ""), -5, 4326},
        {"behind a mark of byte order", "x.geojson", "\xEF\xBB\xBF" + with("-5", ""), -5, 4326},
        {"in a system", "x.geojson", with("-5", R"("crs":{"type":"EPSG","properties":{"code":3857}},)"), -5, 3857},
        {"in none", "x.geojson", with("-5", R"("crs":null,)"), -5, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        GisLayerOgrVector layer(write(row.file, row.text));
        ASSERT_TRUE(layer.open());
        ASSERT_EQ(layer.count(), 1);
        EXPECT_EQ(layer.attributeValueForRow(0, "id").toLongLong(), row.id);
        EXPECT_EQ(layer.attributeValueForRow(0, "d"), "12/5/19");
        EXPECT_EQ(layer.name(), "x");
        EXPECT_EQ(layer.coordinateSystem() != nullptr ? layer.coordinateSystem()->epsgCode() : 0, row.epsg);
        if (!layer.canEdit() || row.epsg != 4326) {
            continue;
        }
        ASSERT_TRUE(layer.beginEdit() && layer.setShapeAttributesEdit(1, {{"id", row.id}, {"d", "changed"}}));
        EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_TRUE(layer.open() && layer.attributeValueForRow(0, "d") == "changed");
    }
}

TEST_F(OgrLayer, ASystemThatGeoJsonDoesNotNameIsNone) {
    const struct {
        const char* crs;
        bool isSystem;
    } rows[] = {
        {"null", false},
        {R"("EPSG:3857")", false},
        {R"({"type":"name"})", false},
        {R"({"type":"name","properties":{"name":"of the town, 1950"}})", false},
        {R"({"type":"name","properties":{"name":"urn:ogc:def:crs:OGC:1.3:CRS84"}})", true},
        {R"({"type":"EPSG","properties":{"code":4326}})", true},
    };
    for (const auto& row : rows) {
        GisLayerOgrVector layer(write("crs.geojson", QByteArray(R"({"type":"FeatureCollection","features":[{"type":)"
                                                                R"("Feature","properties":{"crs":1},"geometry":)"
                                                                R"({"type":"Point","coordinates":[1,2]}}],"crs":)") +
                                                         row.crs + '}'));
        ASSERT_TRUE(layer.open());
        EXPECT_EQ(layer.coordinateSystem() != nullptr, row.isSystem) << row.crs;
    }
}

TEST_F(OgrLayer, CountsTextsOfAnotherEncodingAndKeepsNamesApart) {
    GisLayerOgrVector layer(write("latin1.csv", "WKT,GR\xD6,GR\xDC,name\nPOINT (1 2),1,2,M\xFCn\nPOINT (3 4),1,2,M\n"));
    ASSERT_TRUE(layer.open());
    EXPECT_EQ(layer.attributeValueForRow(0, "GRÖ"), "1");
    EXPECT_EQ(layer.attributeValueForRow(0, "GRÜ"), "2");
    EXPECT_EQ(layer.notKept().otherTexts, 1);
}

TEST_F(OgrLayer, TypesItsValuesAndLeavesNullsOut) {
    const QDateTime utc(QDate(2020, 2, 29), QTime(23, 59, 58, 250), Qt::UTC);
    const QDateTime east(QDate(2020, 2, 29), QTime(12, 0), Qt::OffsetFromUTC, (5 * 60 + 30) * 60);
    struct Row {
        const char* name;
        OGRFieldType type;
        OGRFieldSubType subtype;
        const char* text;
        QVariant expected;
        const char* defaultText = nullptr;
        QVariant expectedDefault = {};
    };
    const std::vector<Row> rows{
        {"flag", OFTInteger, OFSTBoolean, "1", true},
        {"int", OFTInteger, OFSTNone, "-7", -7, "42", 42},
        {"big", OFTInteger64, OFSTNone, "9007199254740993", qlonglong{9007199254740993}},
        {"real", OFTReal, OFSTNone, "0.1", 0.1, "2.5", 2.5},
        {"text", OFTString, OFSTNone, "Zürich", QString("Zürich"), "'it''s'", QString("it's")},
        {"none", OFTString, OFSTNone, "", QString("")},
        {"date", OFTDate, OFSTNone, "2020/02/29", QDate(2020, 2, 29), "'2019-01-02'", QDate(2019, 1, 2)},
        {"utc", OFTDateTime, OFSTNone, "2020/02/29 23:59:58.250+00", utc, "CURRENT_TIMESTAMP"},
        {"bytes", OFTBinary, OFSTNone, "00FF41", QByteArray::fromHex("00ff41")},
    };
    const QString path = m_dir.filePath("fields.gpkg");
    {
        const auto source = create("GPKG", path);
        OGRLayer* const target = source->CreateLayer("fields", nullptr, wkbPoint);
        for (const Row& row : rows) {
            OGRFieldDefn field(row.name, row.type);
            field.SetSubType(row.subtype);
            field.SetDefault(row.defaultText);
            field.SetNullable(row.type != OFTDate);
            ASSERT_EQ(target->CreateField(&field), OGRERR_NONE) << row.name;
        }
        for (const bool filled : {true, false}) {
            OGRFeature feature(target->GetLayerDefn());
            for (std::size_t i = 0; i < rows.size(); ++i) {
                const int at = static_cast<int>(i);
                if (filled && rows[i].type == OFTBinary) {
                    const QByteArray bytes = rows[i].expected.toByteArray();
                    feature.SetField(at, static_cast<int>(bytes.size()), bytes.constData());
                } else if (filled || rows[i].type == OFTDate) {
                    feature.SetField(at, rows[i].text);
                } else {
                    feature.SetFieldNull(at);
                }
            }
            feature.SetGeometryDirectly(new OGRPoint(1, 2));
            ASSERT_EQ(target->CreateFeature(&feature), OGRERR_NONE);
        }
    }
    GisLayerOgrVector layer(path);
    ASSERT_TRUE(layer.open());
    const auto filled = layer.attributesForRow(0);
    for (const Row& row : rows) {
        const auto* definition = layer.getAttributeDefinition(row.name);
        ASSERT_NE(definition, nullptr) << row.name;
        EXPECT_EQ(definition->type(), row.expected.typeId()) << row.name;
        EXPECT_EQ(filled.value(row.name).typeId(), row.expected.typeId()) << row.name;
        EXPECT_EQ(filled.value(row.name), row.expected) << row.name;
        EXPECT_EQ(definition->defaultValue(), row.expectedDefault) << row.name;
        EXPECT_EQ(definition->isNullable(), row.type != OFTDate) << row.name;
    }
    EXPECT_EQ(layer.attributesForRow(1).keys(), QStringList{"date"}) << "everything else is null";

    GisLayerOgrVector json(write("fields.geojson", R"({"type":"Feature","properties":{"ints":[1,2],
        "reals":[1.5],"texts":["a","b"],"time":"03:04:05","east":"2020-02-29T12:00:00+05:30","null":null},
        "geometry":{"type":"Point","coordinates":[0,0]}})"));
    ASSERT_TRUE(json.open());
    const QHash<QString, QVariant> expected{{"ints", QVariantList{1, 2}},
                                            {"reals", QVariantList{1.5}},
                                            {"texts", QStringList{"a", "b"}},
                                            {"time", QTime(3, 4, 5)},
                                            {"east", east}};
    EXPECT_EQ(json.attributesForRow(0), expected);
    EXPECT_EQ(json.attributeValueForRow(0, "east").toDateTime().offsetFromUtc(), 19800);
}

TEST_F(OgrLayer, ReadsAShapefileWithItsWidthsAndNulls) {
    const QString path = m_dir.filePath("wells.shp");
    {
        const auto source = create("ESRI Shapefile", path);
        OGRSpatialReference srs;
        srs.importFromEPSG(3006);
        OGRLayer* const target = source->CreateLayer("wells", &srs, wkbPoint25D);
        OGRFieldDefn depth("depth", OFTReal);
        depth.SetWidth(12);
        depth.SetPrecision(3);
        target->CreateField(&depth);
        for (const double x : {500000.0, 500100.0}) {
            OGRFeature feature(target->GetLayerDefn());
            feature.SetGeometryDirectly(new OGRPoint(x, 6500000.0, 12.0));
            if (x > 500000.0) {
                feature.SetField(0, 1.5);
            }
            ASSERT_EQ(target->CreateFeature(&feature), OGRERR_NONE);
        }
    }
    GisLayerOgrVector layer(path);
    ASSERT_TRUE(layer.open());
    const auto& definition = layer.attributeDefinitions().first();
    EXPECT_TRUE(definition.width() == 12 && definition.precision() == 3);
    EXPECT_FALSE(layer.attributesForRow(0).contains("depth"));
    EXPECT_EQ(layer.attributeValueForRow(1, "depth"), 1.5);
    EXPECT_EQ(layer.coordinateSystem()->epsgCode(), 3006);
    EXPECT_EQ(layer.extent().toString(), "500000, 6.5e+06, 500100, 6.5e+06") << "as the header says";
}

TEST_F(OgrLayer, ErrorsNameTheFileAndChangeNothing) {
    const QString countries = dataDir + "world-countries.gpkg";
    QFile whole(countries);
    ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
    QByteArray fields; // each feature has one of its own, for which every row would have room
    for (int i = 0; i < 6000; ++i) {
        fields += R"({"type":"Feature","properties":{"p)" + QByteArray::number(i) +
                  R"(":1},"geometry":{"type":"Point","coordinates":[1,2]}})" + '\n';
    }
    struct Row {
        QString path;
        const char* layerName;
        const char* reason;
    };
    const Row rows[] = {
        {write("fields.geojsonl", fields), "", "more room for 6000 fields"},
        {"", "", "the path is empty"},
        {"/nowhere/file.gpkg", "", "No such file"},
        {m_dir.path(), "", "not recognized"},
        {write("text.txt", "hello"), "", "not recognized"},
        {write("grid.asc", "ncols 1\nnrows 1\nxllcorner 0\nyllcorner 0\ncellsize 1\n7\n"), "", "not recognized"},
        {write("half.gpkg", whole.readAll().left(100000)), "", "malformed"},
        {write("open.geojson", R"({"type":"FeatureCollection","features":[{"ty)"), "", "Unterminated"},
        {countries, "no%1such", "there is no layer 'no%1such' (there is: world)"},
    };
    GisLayerOgrVector layer(write("good.csv", "name,WKT\na,POINT (1 2)\n"));
    ASSERT_TRUE(layer.open());
    testing::internal::CaptureStderr();
    for (const Row& row : rows) {
        layer.setPath(row.path);
        layer.setLayerName(row.layerName);
        try {
            layer.open();
            ADD_FAILURE() << row.path.toStdString();
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr("'" + row.path.toStdString() + "'"));
            EXPECT_THAT(error.what(), HasSubstr(row.reason));
        }
        EXPECT_TRUE(layer.isOpen());
        EXPECT_EQ(layer.attributeValueForRow(0, "name"), "a") << row.path.toStdString();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(OgrLayer, ALinkToACoordinateSystemIsNotFollowed) {
    const test::Server server;
    ASSERT_FALSE(server.url().isEmpty());
    const QByteArray text = R"({"type":"FeatureCollection","crs":{"type":"link","properties":{"href":")" +
                            server.url().toUtf8() +
                            R"(system.prj"}},"features":[{"type":"Feature","properties":{},)"
                            R"("geometry":{"type":"Point","coordinates":[500000,6500000]}}]})";
    GisLayerOgrVector layer(write("linked.geojson", text));
    CPLSetThreadLocalConfigOption("GDAL_HTTP_TIMEOUT", "1");
    EXPECT_TRUE(layer.open());
    EXPECT_FALSE(server.wasAsked());
    EXPECT_EQ(layer.coordinateSystem(), nullptr) << "degrees would be a guess";
    ASSERT_EQ(layer.count(), 1);
    ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(1));
    EXPECT_FALSE(layer.commitEdit()) << "the link would get lost";
    EXPECT_FALSE(server.wasAsked());
    CPLSetThreadLocalConfigOption("GDAL_HTTP_TIMEOUT", nullptr);
    QFile file(layer.path());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), text);
}

TEST_F(OgrLayer, CanBeCancelledAndOpenedAgain) {
    GisLayerOgrVector layer(dataDir + "us-counties.gpkg");
    QList<double> steps;
    qsizetype most = 3;
    layer.setProgressCallback([&](double fraction) {
        steps.append(fraction);
        return steps.size() < most;
    });
    EXPECT_FALSE(layer.open());
    EXPECT_FALSE(layer.isOpen() || layer.layerProvider()->isOpen());
    EXPECT_TRUE(layer.count() == 0 && layer.attributeDefinitions().isEmpty() && layer.extent().isEmpty());
    EXPECT_EQ(steps.size(), 3);

    most = 1000;
    EXPECT_TRUE(layer.open() && layer.open()) << "the second time replaces";
    EXPECT_EQ(layer.featureCount(), 3231);
    EXPECT_EQ(layer.count(), 3230) << "one county has no geometry";
    EXPECT_EQ(steps.last(), 1.0);
}

TEST_F(OgrLayer, ChoosesALayerAndFollowsItsName) {
    const QString path = m_dir.filePath("two.gpkg");
    {
        const auto source = create("GPKG", path);
        source->CreateLayer("roads", nullptr, wkbLineString);
        source->CreateLayer("wells", nullptr, wkbPoint);
    }
    EXPECT_EQ(Layers::Providers::GisOgrProvider::layerNames(path), (QStringList{"roads", "wells"}));
    GisLayerOgrVector layer(path);
    for (const auto& [asked, name] : {std::pair{"", "roads"}, {"wells", "wells"}, {"roads", "roads"}}) {
        layer.setLayerName(asked);
        ASSERT_TRUE(layer.open());
        EXPECT_EQ(layer.name(), name);
    }
    layer.setName("mine");
    layer.open();
    EXPECT_EQ(layer.name(), "mine");
}

TEST_F(OgrLayer, EqualsWhatOgrReads) {
    for (const QString& file : {dataDir + "world-countries.gpkg", dataDir + "us-counties.gpkg"}) {
        GisLayerOgrVector layer(file);
        ASSERT_TRUE(layer.open());
        EXPECT_EQ(layer.coordinateSystem()->epsgCode(), 4326);
        const std::unique_ptr<GDALDataset> source(GDALDataset::Open(file.toUtf8().constData()));
        OGRLayer& plain = *source->GetLayer(0);
        int row = 0;
        int without = 0;
        for (const auto& feature : plain) {
            const OGRGeometry* const geometry = feature->GetGeometryRef();
            if (geometry == nullptr || geometry->IsEmpty()) {
                ++without;
                continue;
            }
            ASSERT_LT(row, layer.count());
            ASSERT_EQ(layer.sourceFeatureIds()[row], feature->GetFID());
            OGREnvelope box;
            geometry->getEnvelope(&box);
            const Shapes::GisExtent extent = layer.items().at(static_cast<std::size_t>(row))->extent();
            ASSERT_TRUE(extent.xMin() == box.MinX && extent.yMin() == box.MinY && extent.xMax() == box.MaxX &&
                        extent.yMax() == box.MaxY)
                << feature->GetFID();
            ++row;
        }
        EXPECT_EQ(layer.count(), row);
        EXPECT_EQ(layer.skippedCount(), without);
    }
}

} // namespace
