#include "Layers/Faults.h"
#include "Layers/Saving.h"
#include "TestSeed.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <QDateTime>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <set>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using Layers::GisLayerVector;
using Layers::GisVectorSaveOptions;
using Layers::Defs::GisAttributeDefinition;
using test::Attributes;
using test::replace;
using test::suffixes;
using testing::HasSubstr;

namespace {

std::unique_ptr<GisLayerVector> layerOf(const std::vector<std::pair<const char*, Attributes>>& shapes) {
    auto layer = GisLayerVector::createInMemory("plots", Shapes::GisShapeType::Null, {});
    for (const auto& [wkt, attributes] : shapes) {
        layer->addShape(test::shapeOf(wkt, attributes));
    }
    return layer;
}

class SaveAs : public test::InAFolder {
protected:
    QByteArray bytesOf(const QString& name) const {
        QFile file(at(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static std::string reasonOf(const GisLayerVector& layer, const QString& path, const GisVectorSaveOptions& options) {
        try {
            return layer.saveAs(path, options) ? "saved" : "cancelled";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }
};

TEST_F(SaveAs, GivesTheLayerBackFromEveryFormat) {
    const QDateTime moment(QDate(2024, 2, 29), QTime(23, 59, 58, 250), Qt::OffsetFromUTC, 5400);
    const Attributes full{{"flag", true},
                          {"whole", 2147483647},
                          {"big", qlonglong{9007199254740993}},
                          {"real", 0.1},
                          {"Name", "Zürich, \"ZH\""},
                          {"day", moment.date()},
                          {"moment", moment},
                          {"narrow", 7.12345},
                          {"undeclared", 12345678901.5},
                          {"list", QVariantList{1, 2.5}},
                          {"Längengröße", "in m"},
                          {u"\ufeffk"_qs, u"\ufeffx"_qs}, // not a mark of byte order
                          {"like", "[1.50, {\"a\":1e400}]"}};
    auto layer = layerOf({{"POLYGON ((0 0, 9 0, 9 9, 0 0), (2 1, 8 7, 8 1, 2 1))", full},
                          {"POLYGON ((0 0, 1 0, 1 1, 0 0), (5 5, 6 5, 6 6, 5 5))", {{"Name", ""}}},
                          {"POLYGON ((0.1 0.7, 1e6 0, 1 1.0000000000000002, 0.1 0.7))", {{"real", std::nan("")}}}});
    for (const auto& [name, type] : {std::pair{"flag", QMetaType::Bool},
                                     {"whole", QMetaType::Int},
                                     {"big", QMetaType::LongLong},
                                     {"real", QMetaType::Double},
                                     {"Name", QMetaType::QString},
                                     {"day", QMetaType::QDate},
                                     {"moment", QMetaType::QDateTime}}) {
        layer->addAttributeDefinition(GisAttributeDefinition(name, type));
    }
    GisAttributeDefinition narrow("narrow", QMetaType::Double);
    narrow.setWidth(8);
    narrow.setPrecision(2);
    layer->addAttributeDefinition(narrow);
    layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(4326));
    for (const QString& suffix : suffixes) {
        SCOPED_TRACE(suffix.toStdString());
        const QString path = at("Plots x." + suffix);
        if (suffix != "fgb") {
            layer->insertShapeAt(3, std::make_unique<Shapes::GisShapePolygon>());
        }
        ASSERT_TRUE(layer->saveAs(path));
        GisLayerOgrVector read(path);
        ASSERT_TRUE(read.open());
        ASSERT_EQ(read.count(), 3);
        EXPECT_EQ(read.featureCount(), layer->count()) << "one of them without geometry";
        layer->removeShapeById(4);
        EXPECT_EQ(read.coordinateSystem()->epsgCode(), 4326);
        EXPECT_EQ(read.name(), suffix == "shp" || suffix == "geojsonl" ? "Plots x" : layer->name());
        for (int row = 0; row < 3; ++row) {
            const auto as = [row](const GisLayerVector& from) { return from.rawShapes().at(row)->extent().toString(); };
            EXPECT_EQ(as(read), as(*layer));
        }
        const bool isShapefile = suffix == "shp";
        auto expected = full;
        expected["list"] = suffix.startsWith("geojson") ? QVariant(QVariantList{1.0, 2.5}) : QVariant("[1,2.5]");
        if (suffix == "fgb") {
            expected["day"] = moment.date().startOfDay();
        }
        if (isShapefile) {
            expected["flag"] = 1;
            expected["moment"] = "2024-02-29T23:59:58.250+01:30";
        }
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            const QVariant value =
                read.attributesForRow(0).value(isShapefile ? it.key().left(it.key()[0] == 'L' ? 8 : 10) : it.key());
            EXPECT_EQ(value, it.value()) << it.key().toStdString();
        }
        EXPECT_EQ(read.attributesForRow(1).value("Name", "null"), isShapefile ? "null" : "");
        EXPECT_FALSE(read.attributesForRow(2).contains("real"));
    }
    EXPECT_EQ(files().size(), suffixes.size() + 4) << "and nothing is left behind: " << files().join(" ").toStdString();
}

TEST_F(SaveAs, TakesWithdrawnCodes) {
    for (const int code : {29118, 29183}) {
        const auto layer = layerOf({{"POINT (-50 -20)", {}}});
        layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(code));
        EXPECT_EQ(reasonOf(*layer, at("sad.shp"), replace), "saved") << code;
    }
}

TEST_F(SaveAs, NamesThatAShapefileCutsAlikeStayApart) {
    ASSERT_TRUE(layerOf({{"POINT (1 2)", {{"Anzahl_über", 1}, {"Anzahl_übrig", 2}}}})->saveAs(at("a.shp")));
    GisLayerOgrVector read(at("a.shp"));
    ASSERT_TRUE(read.open());
    QStringList names = read.attributesForRow(0).keys();
    names.sort();
    EXPECT_EQ(names, QStringList({"Anzahl__1", "Anzahl_üb"})) << names.join(' ').toStdString();
}

TEST_F(SaveAs, OldDatesAreWholeInText) {
    const QDateTime early(QDate(1880, 1, 1), QTime(12, 0, 1), Qt::OffsetFromUTC, 3208); // local time of Berlin
    const QDate day(1, 1, 1);
    const QVariantHash hash{{"d", day}};
    const auto layer = layerOf({{"POINT (1 2)", {{"t", early}, {"list", QVariantList{early, hash}}, {"d", day}}}});
    const QDateTime odd(QDate(2020, 1, 1), QTime(23, 59), Qt::OffsetFromUTC, 1200); // no quarter of an hour
    layer->getShape(1)->attributes()["odd"] = odd;
    for (const QString suffix : {"geojsonl", "shp"}) {
        ASSERT_TRUE(layer->saveAs(at("old." + suffix)));
        GisLayerOgrVector read(at("old." + suffix));
        ASSERT_TRUE(read.open());
        EXPECT_EQ(read.attributeValueForRow(0, "t").toDateTime(), early) << qPrintable(suffix);
        EXPECT_EQ(read.attributeValueForRow(0, "odd").toDateTime(), odd) << qPrintable(suffix);
        EXPECT_EQ(read.attributeValueForRow(0, "d").toDate(), day) << qPrintable(suffix);
    }
    EXPECT_TRUE(bytesOf("old.geojsonl").contains(R"(["1880-01-01T11:06:33.000Z",{"d":"0001-01-01"}])"));
    EXPECT_TRUE(bytesOf("old.dbf").contains("00010101"));
}

TEST_F(SaveAs, KeepsEveryBitOfACoordinate) {
    std::mt19937_64 random(test::seed());
    std::uniform_real_distribution<double> any(-1e7, 1e7);
    auto layer = layerOf({});
    for (int i = 0; i < 2000; ++i) {
        layer->addPoint({any(random) / std::pow(10, i % 12), any(random)});
    }
    for (int i = 1; i < 2000; ++i) { // numbers of many zeros or nines, which GDAL cuts
        layer->addShape(test::shapeOf("POINT (0 0)", {{"d", i * 0.1 * (i % 2 == 0 ? 1.1 : 3.0)}}));
        static_cast<Shapes::GisShapePoint&>(*layer->getShape(layer->count())).setX(i * 0.1);
    }
    for (const QString& suffix : suffixes) {
        ASSERT_TRUE(layer->saveAs(at("points." + suffix)));
        GisLayerOgrVector read(at("points." + suffix));
        ASSERT_TRUE(read.open() && read.count() == layer->count());
        for (std::size_t i = 0; i < layer->items().size(); ++i) {
            const auto& given = static_cast<const Shapes::GisShapePoint&>(*layer->items()[i]);
            const auto& found = static_cast<const Shapes::GisShapePoint&>(*read.items()[i]);
            ASSERT_EQ(found.x(), given.x()) << suffix.toStdString() << ", seed " << test::seed();
            ASSERT_EQ(found.y(), given.y()) << suffix.toStdString();
            const double wanted = given.attributeValue("d").toDouble();
            ASSERT_NEAR(found.attributeValue("d").toDouble(), wanted, suffix == "shp" ? 1e-12 : 0.0)
                << qPrintable(suffix);
        }
    }
}

TEST_F(SaveAs, PutsPositionsWhereTheyWereOrRefusesTheSystem) {
    const auto wgs84 = CoordinateSystems::CoordinateSystemFactory::fromEpsg(4326);
    const auto placeOf = [&](const GisLayerVector& layer) {
        const auto& point = static_cast<const Shapes::GisShapePoint&>(*layer.rawShapes().first());
        const auto system = layer.coordinateSystem() != nullptr ? layer.coordinateSystem() : wgs84;
        return CoordinateSystems::CoordinateTransformer(*system, *wgs84).transform(point);
    };
    const struct {
        const char* name;
        const char* system;
        const char* wkt;
        QStringList refusing;
    } rows[] = {
        {"a code", "EPSG:3006", "POINT (500000 6500000)", {}},
        {"none", "", "POINT (10 20)", {}},
        {"no code", "+proj=tmerc +lat_0=10 +lon_0=20 +k=0.9 +ellps=GRS80", "POINT (100000 200000)", {"geojson"}},
        {"degrees of no code", "+proj=longlat +ellps=bessel", "POINT (15 45)", {"geojson"}},
        {"WGS 84 of no code", "OGC:CRS84", "POINT (15 45)", {}},
        {"a code that is not EPSG's", "ESRI:102001", "POINT (15 45)", {}},
        {"a shift of the datum",
         "+proj=tmerc +lon_0=15 +x_0=500000 +ellps=bessel +towgs84=598.1,73.7,418.2,0.202,0.045,-2.455,6.7",
         "POINT (600000 5000000)",
         {"geojson", "shp"}},
        {"a shift by nothing", "+proj=utm +zone=33 +ellps=GRS80 +towgs84=0,0,0", "POINT (5e5 6e6)", {"geojson"}},
        {"a header that grows", "+proj=eqearth +datum=WGS84", "POINT (5 5)", {"geojson", "fgb"}},
        {"no words in a .prj", "+proj=ob_tran +o_proj=longlat +o_lat_p=30", "POINT (5 5)", {"geojson", "shp"}},
    };
    for (const auto& row : rows) {
        const auto layer = layerOf({{row.wkt, {}}});
        layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromUserInput(row.system));
        const auto system = layer->coordinateSystem();
        for (const QString& suffix : suffixes) {
            SCOPED_TRACE(row.name + (" in " + suffix).toStdString());
            const QString path = at("p." + suffix);
            QFile::remove(path);
            const std::string reason = reasonOf(*layer, path, replace);
            if (row.refusing.contains(suffix)) {
                EXPECT_THAT(reason, HasSubstr("no place for its coordinate system '" + system->name().toStdString()));
                EXPECT_FALSE(QFile::exists(path));
                continue;
            }
            ASSERT_EQ(reason, "saved");
            GisLayerOgrVector read(path);
            ASSERT_TRUE(read.open());
            EXPECT_EQ(read.coordinateSystem() == nullptr, system == nullptr && !suffix.startsWith("geojson"));
            if (system != nullptr && system->epsgCode() > 0) {
                EXPECT_EQ(read.coordinateSystem()->epsgCode(), suffix == "geojsonl" ? 4326 : system->epsgCode());
            }
            EXPECT_NEAR(placeOf(read).x(), placeOf(*layer).x(), 1e-8);
            EXPECT_NEAR(placeOf(read).y(), placeOf(*layer).y(), 1e-8);
        }
    }
}

TEST_F(SaveAs, LinesKeepLongitudesBeyondTheDateLine) {
    for (const char* const system : {"EPSG:4326", "EPSG:4979", "OGC:CRS84", "+proj=longlat +datum=WGS84"}) {
        SCOPED_TRACE(system);
        auto layer = GisLayerVector::createInMemory("far", Shapes::GisShapeType::Polyline, {});
        layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromUserInput(system));
        ASSERT_NE(layer->coordinateSystem(), nullptr);
        layer->addShape(test::shapeOf("LINESTRING (170 0, 190 0)"));
        ASSERT_TRUE(layer->saveAs(at("far.geojsonl"), replace));
        GisLayerOgrVector read(at("far.geojsonl"));
        ASSERT_TRUE(read.open());
        ASSERT_EQ(read.count(), 1);
        EXPECT_EQ(read.getShape(1)->toWkt(), "LINESTRING (170 0, 190 0)");
    }
}

TEST_F(SaveAs, AnUndefinedSystemIsNone) {
    ASSERT_TRUE(layerOf({{"POINT (1 2)", {}}})->saveAs(at("p.shp")));
    const struct {
        const char* file;
        const char* text;
        const char* opened;
    } rows[] = {
        {"p.prj",
         R"(GEOGCS["GCS_Undefined_geographic_SRS",DATUM["D_unknown",SPHEROID["unknown",6378137,298.257223563]],)"
         R"(PRIMEM["Greenwich",0],UNIT["Degree",0.0174532925199433]])",
         "p.shp"},
        {"p.geojson",
         R"({"type":"FeatureCollection","crs":{"type":"name","properties":{"name":"urn:ogc:def:crs:EPSG::0"}},)"
         R"("features":[{"type":"Feature","properties":{},"geometry":{"type":"Point","coordinates":[1,2]}}]})",
         "p.geojson"},
    };
    for (const auto& row : rows) {
        QFile file(at(row.file));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(row.text) > 0);
        file.close();
        GisLayerOgrVector layer(at(row.opened));
        ASSERT_TRUE(layer.open());
        EXPECT_EQ(layer.coordinateSystem(), nullptr) << row.file;
    }
}

TEST_F(SaveAs, ADeprecatedSystemOfAFileStaysWhatItIs) {
    // ED50 / France EuroLambert, EPSG:2192, replaced by RGF93 / Lambert-93 with its origin somewhere else.
    ASSERT_TRUE(layerOf({{"POINT (600000 2200000)", {}}})->saveAs(at("old.shp")));
    QFile prj(at("old.prj"));
    ASSERT_TRUE(prj.open(QIODevice::WriteOnly));
    prj.write(R"(PROJCS["ED_1950_France_EuroLambert",GEOGCS["GCS_European_1950",DATUM["D_European_1950",)"
              R"(SPHEROID["International_1924",6378388.0,297.0]],PRIMEM["Greenwich",0.0],)"
              R"(UNIT["Degree",0.0174532925199433]],PROJECTION["Lambert_Conformal_Conic"],)"
              R"(PARAMETER["False_Easting",600000.0],PARAMETER["False_Northing",2200000.0],)"
              R"(PARAMETER["Central_Meridian",2.33722916666667],PARAMETER["Standard_Parallel_1",46.8],)"
              R"(PARAMETER["Scale_Factor",0.99987742],PARAMETER["Latitude_Of_Origin",46.8],UNIT["Meter",1.0]])");
    prj.close();
    const auto degrees = CoordinateSystems::CoordinateSystemFactory::fromEpsg(4230);
    const auto expectIt = [&](const QString& path) {
        GisLayerOgrVector layer(path);
        ASSERT_TRUE(layer.open());
        ASSERT_EQ(layer.coordinateSystem()->epsgCode(), 2192) << qPrintable(path);
        const CoordinateSystems::CoordinateTransformer transformer(*layer.coordinateSystem(), *degrees);
        const auto origin = transformer.transform(static_cast<const Shapes::GisShapePoint&>(*layer.getShape(1)));
        EXPECT_NEAR(origin.x(), 2.33722916666667, 1e-9) << qPrintable(path);
        EXPECT_NEAR(origin.y(), 46.8, 1e-9) << qPrintable(path);
    };
    expectIt(at("old.shp"));
    GisLayerOgrVector old(at("old.shp"));
    ASSERT_TRUE(old.open());
    for (const QString& suffix : suffixes) {
        if (suffix == "geojsonl") {
            continue; // always longitude and latitude
        }
        ASSERT_TRUE(old.saveAs(at("new." + suffix)));
        expectIt(at("new." + suffix));
        GisLayerOgrVector saved(at("new." + suffix));
        ASSERT_TRUE(saved.open() && saved.beginEdit());
        ASSERT_TRUE(saved.addShapeEdit(std::make_unique<Shapes::GisShapePoint>(1, 2)));
        ASSERT_TRUE(saved.commitEdit()) << qPrintable(saved.lastError());
        expectIt(at("new." + suffix));
    }
}

TEST_F(SaveAs, AFileOfSomethingElseStays) {
    const auto layer = layerOf({{"POINT (1 2)", {{"name", "a"}}}});
    const GisVectorSaveOptions refuse;
    const struct {
        const char* there; // a link to it where it is named
        const char* saved;
        const GisVectorSaveOptions& options;
        const char* reason;
        const char* target = nullptr;
    } rows[] = {
        {"a.dbf", "a.shp", refuse, "there is such a file: 'a.dbf'"},
        {"a.PRJ", "a.shp", refuse, "there is such a file: 'a.PRJ'"},
        {"A.dbf", "a.shp", refuse, "there is such a file: 'A.dbf'"},
        {"a.SHP", "a.shp", refuse, "'a.SHP' beside it has the same further files"},
        {"a.SHP", "a.shp", replace, "'a.SHP' beside it has the same further files"},
        {"a.shp", "a.SHP", replace, "'a.shp' beside it has the same further files"},
        {"A.dbf", "a.shp", replace, "saved"},
        {"a.tif", "a.shp", refuse, "saved"},
        {"a.GPKG", "a.gpkg", refuse, "saved"},
        {"a.FGB", "a.fgb", replace, "saved"},
        {"a.geojson", "a.geojson", refuse, "it is a link to '", "nothing.geojson"},
        {"a.gpkg", "a.gpkg", replace, "it is a link to '", "nothing.gpkg"},
        {"a.cpg", "a.shp", replace, "'a.cpg' is a link to '", "nothing.cpg"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.there) + " beside " + row.saved);
        for (const QString& name : files()) {
            QFile::remove(at(name));
        }
        QFile file(at(row.there));
        ASSERT_TRUE(row.target != nullptr ? QFile::link(at(row.target), file.fileName())
                                          : file.open(QIODevice::WriteOnly) && file.write("kept") == 4);
        file.close();
        EXPECT_THAT(reasonOf(*layer, at(row.saved), row.options), HasSubstr(row.reason));
        EXPECT_EQ(bytesOf(row.there), row.target != nullptr ? "" : "kept");
        EXPECT_EQ(QFileInfo(file).isSymLink(), row.target != nullptr);
        if (std::string(row.reason) != "saved") {
            EXPECT_EQ(files(), row.target != nullptr ? QStringList() : QStringList(row.there)) << "which lists no link";
        }
        file.remove();
    }
}

TEST_F(SaveAs, ANameThatIsAnAddressToGdalIsAFile) {
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(m_dir.path()));
    for (const QString name : {"file:x.gpkg", "file:x.sqlite", "GeoJSON:x.geojson", "GeoJSONSeq:x.geojsonl"}) {
        SCOPED_TRACE(name.toStdString());
        EXPECT_TRUE(layerOf({{"POINT (1 2)", {{"n", 1}}}})->saveAs(name));
        GisLayerOgrVector layer(name);
        EXPECT_NO_THROW(layer.open());
        EXPECT_TRUE(layer.beginEdit() && layer.setShapeAttributesEdit(1, {{"n", 2}}) && layer.commitEdit())
            << layer.lastError().toStdString();
        EXPECT_TRUE(GisLayerOgrVector(at(name)).open());
    }
    QDir::setCurrent(before);
}

TEST_F(SaveAs, ReplacesOnlyWhenToldAndSaysWhyNot) {
    const auto point = layerOf({{"POINT (1 2)", {{"a", 1}}}});
    const auto mixed = layerOf({{"POINT (1 2)", {}}, {"LINESTRING (0 0, 1 1)", {}}});
    const auto declared = [](const char* name, QMetaType::Type type, const QVariant& value) {
        auto layer = layerOf({{"POINT (1 2)", {{name, value}}}});
        layer->addAttributeDefinition(GisAttributeDefinition(name, type));
        return layer;
    };
    const auto none = layerOf({});
    const auto holed = layerOf({{"POINT (1 2)", {}}});
    holed->insertShapeAt(1, std::make_unique<Shapes::GisShapePoint>());
    const auto infinite = layerOf({{"POINT (1 2)", {}}});
    infinite->addPoint({1, std::numeric_limits<double>::infinity()});
    const auto big = declared("n", QMetaType::LongLong, qlonglong{1000000000000000000});
    const auto unreal = layerOf({{"POINT (1 2)", {{"n", 1.5}}}, {"POINT (1 2)", {{"n", qlonglong{9007199254740993}}}}});
    const QString cut = QString("a") + QChar(0) + "b";
    const auto ended = layerOf({{"POINT (1 2)", {{"n", cut}}}});
    const auto half = layerOf({{"POINT (1 2)", {{"n", QStringList(QString(QChar(0xd800)))}}}});
    const auto endedName = layerOf({{"POINT (1 2)", {{cut, 1}}}});
    const auto endedLayer = GisLayerVector::createInMemory(cut, Shapes::GisShapeType::Point, {});
    const auto numbered = layerOf({{"POINT (1 2)", {{"OGC_fid", 1}}}});
    const auto words = declared("n", QMetaType::Int, "twelve");
    const auto large = declared("n", QMetaType::Int, 3e9);
    const auto broken = declared("n", QMetaType::LongLong, 1.5);
    const auto longText = declared("n", QMetaType::QString, QString(300, 'x'));
    const auto ancient = layerOf({{"POINT (1 2)", {{"n", QDate(-44, 3, 15)}}}});
    const auto noTime = declared("n", QMetaType::QTime, "2:30 PM");
    const auto timely = declared("n", QMetaType::QDate, "2021-02-03T10:00:00");
    const auto far = layerOf({{"POINT (1 2)", {{"n", QDateTime(QDate(12345, 1, 1), QTime(0, 0), Qt::UTC)}}}});
    const auto listed = layerOf({{"POINT (1 2)", {{"n", QVariantList{QVariantMap{{"d", QDate(-44, 3, 15)}}}}}}});
    const auto longNumber = layerOf({{"POINT (1 2)", {{"n", QVariantList{~quint64{0}}}}}});
    const auto endless = layerOf({{"POINT (1 2)", {{"n", QVariantList{std::numeric_limits<double>::infinity()}}}}});
    const auto gap = declared("n", QMetaType::QStringList, QVariantList{"a", QVariant()});
    const auto micro = declared("n", QMetaType::QDateTime, "2024-01-02T03:04:05.123456Z");
    const auto longer = declared("n", QMetaType::Double, "12345678901234567891");
    const auto rounded = declared("n", QMetaType::Double, "9007199254740993");
    const auto strange = layerOf({{"POINT (1 2)", {{"x", QVariant::fromValue(QPair<int, int>(1, 2))}}}});
    const auto stub = layerOf({{"LINESTRING (0 0, 1 1)", {}}, {"MULTILINESTRING ((0 0, 1 1), (5 5))", {}}});
    auto unknown = layerOf({{"POINT (1 2)", {}}});
    unknown->setCoordinateSystem(
        std::make_shared<CoordinateSystems::CoordinateSystem>(0, "?", true, "?", std::nullopt));
    const struct {
        const GisLayerVector& layer;
        const char* name;
        const char* reason;
    } rows[] = {
        {*point, "old", "none of the known formats"},
        {*point, "old.kmz", "none of the known formats (gpkg, sqlite, geojson"},
        {*point, "no/such/folder.gpkg", "no/such"},
        {*point, "folder.geojson", "it is not a file"},
        {*point, "locked.geojson", "write-protected"},
        {*mixed, "old.shp", "one kind"},
        {*none, "old.shp", "there are none"},
        {*none, "old.jsonl", "without features"},
        {*infinite, "old.gpkg", "shape 2: it has a coordinate that is not finite"},
        {*stub, "old.geojson", "shape 2: it has a part of too few vertices"},
        {*holed, "old.fgb", "shape 2: the format wants a geometry"},
        {*noTime, "old.sqlite", "'2:30 PM' is none for the field 'n'"},
        {*timely, "old.gpkg", "'2021-02-03T10:00:00' is none for the field 'n'"},
        {*words, "old.geojson", "shape 1: the value 'twelve' is none for the field 'n' of type Integer"},
        {*large, "old.gpkg", "'3e+09'"},
        {*broken, "old.shp", "'1.5'"},
        {*longText, "old.shp", "truncated"},
        {*big, "old.shp", "'1000000000000000000' of the field 'n' has more than 18 places"},
        {*unreal, "old.gpkg", "shape 2: the value '9007199254740993' is none for the field 'n' of type Real"},
        {*ended, "old.gpkg", "shape 1: the field 'n': a text with the character U+0000"},
        {*half, "old.geojson", "shape 1: the field 'n': a text with half a surrogate pair"},
        {*endedName, "old.fgb", "no field 'a\uFFFDb': a text with the character U+0000"},
        {*endedLayer, "old.gpkg", "the layer's name: a text with the character U+0000"},
        {*numbered, "old.sqlite", "no field 'OGC_fid': the format keeps that name for itself"},
        {*point, ".shp", "nothing before its suffix"},
        {*point, ".fgb", "nothing before its suffix"},
        {*ancient, "old.jsonl", "shape 1: the value '-44-3-15' is none for the field 'n' of type String"},
        {*ancient, "old.shp", "shape 1: "},
        {*far, "old.shp", "'12345-1-1'"},
        {*listed, "old.gpkg", "is none for the field 'n'"},
        {*longNumber, "old.gpkg", "'QVariantList' is none for the field 'n'"},
        {*endless, "old.geojson", "'QVariantList' is none for the field 'n'"},
        {*gap, "old.geojson", "'[\"a\",null]' is none for the field 'n' of type StringList"},
        {*rounded, "old.gpkg", "'9007199254740993' is none for the field 'n' of type Real"},
        {*longer, "old.gpkg", "'12345678901234567891' is none for the field 'n' of type Real"},
        {*micro, "old.gpkg", "'2024-01-02T03:04:05.123456Z' is none for the field 'n' of type DateTime"},
        {*micro, "old.sqlite", "123456Z' is none"},
        {*micro, "old.geojson", "123456Z' is none"},
        {*strange, "old.fgb", "'std::pair<int,int>'"},
        {*unknown, "old.gpkg", "coordinate system"},
    };
    QDir(m_dir.path()).mkdir("folder.geojson");
    for (const char* name :
         {"old.gpkg", "old.geojson", "old.shp", "old.fgb", "old.jsonl", "old.sqlite", "locked.geojson"}) {
        ASSERT_TRUE(point->saveAs(at(name)));
        EXPECT_THAT(reasonOf(*point, at(name), {}), HasSubstr("there is such a file"));
        ASSERT_TRUE(point->saveAs(at(name), replace));
    }
    QFile::setPermissions(at("locked.geojson"), QFile::ReadOwner);
    const QStringList before = files();
    testing::internal::CaptureStderr();
    for (const auto& row : rows) {
        const QByteArray bytes = bytesOf(row.name);
        const std::string reason = reasonOf(row.layer, at(row.name), replace);
        EXPECT_THAT(reason, HasSubstr(row.reason));
        EXPECT_THAT(reason, HasSubstr("Cannot write '" + at(row.name).toStdString() + "'"));
        EXPECT_EQ(bytesOf(row.name), bytes) << row.name;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    for (const double last : {0.5, 1.0}) {
        const auto many = layerOf(std::vector<std::pair<const char*, Attributes>>(512, {"POINT (1 2)", {}}));
        auto cancelling = replace;
        cancelling.progress = [last](double fraction) { return fraction < last; };
        EXPECT_EQ(reasonOf(*many, at("old.shp"), cancelling), "cancelled");
        cancelling.progress = [](double) -> bool { throw std::runtime_error("mine"); };
        EXPECT_EQ(reasonOf(*many, at("old.gpkg"), cancelling), "mine");
    }
    EXPECT_EQ(files(), before);
}

// Neighbours along the curve are near each other: the way through all places is much shorter than in the order of the
// layer, and nothing is lost.
TEST_F(SaveAs, WritesAlongAHilbertCurve) {
    constexpr int side = 32;
    auto layer = GisLayerVector::createInMemory("grid", Shapes::GisShapeType::Null, {});
    std::vector<int> cells(side * side);
    std::iota(cells.begin(), cells.end(), 0);
    std::shuffle(cells.begin(), cells.end(), std::mt19937(test::seed()));
    for (const int cell : cells) {
        layer->addShape(test::shapeOf(QString("POINT (%1 %2)").arg(cell % side).arg(cell / side), {{"cell", cell}}));
    }
    layer->addShape(test::shapeOf("POINT (5 5)", {{"cell", -1}})); // a second one in a place comes after the first
    GisVectorSaveOptions options;
    options.order = GisVectorSaveOptions::Order::Hilbert;
    for (const char* name : {"grid.gpkg", "grid.geojson", "grid.shp"}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(layer->saveAs(at(name), options));
        GisLayerOgrVector saved(at(name));
        ASSERT_TRUE(saved.open());
        const auto shapes = saved.rawShapes();
        ASSERT_EQ(shapes.size(), side * side + 1);
        std::set<int> seen;
        double way = 0.0;
        for (qsizetype i = 0; i < shapes.size(); ++i) {
            const int cell = shapes[i]->attributeValue("cell").toInt();
            EXPECT_TRUE(seen.insert(cell).second && (cell != -1 || seen.contains(5 * side + 5)));
            const auto here = shapes[i]->extent().center();
            EXPECT_EQ(static_cast<int>(std::lround(here.y())) * side + static_cast<int>(std::lround(here.x())),
                      cell < 0 ? 5 * side + 5 : cell);
            way += i > 0 ? std::hypot(here.x() - shapes[i - 1]->extent().center().x(),
                                      here.y() - shapes[i - 1]->extent().center().y())
                         : 0.0;
        }
        EXPECT_LT(way, 1.1 * side * side) << "shuffled it is some 17 times the number of places";
    }
}

} // namespace
