#include "../TestSeed.h"
#include "Layers/Saving.h"

#include <Cartolith/Core/Shapes/GisShape.h>

#include <random>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using test::execute;

// A layer is read by columns where that is quick and exact, else feature by feature: a column of dates more makes the
// difference. What is read is the same.
namespace {

class ReadingByColumns : public test::InAFolder {
protected:
    static constexpr const char* names[] = {"columns", "features"};

    static void addFields(OGRLayer& layer, bool isByFeatures) {
        const std::vector<std::pair<const char*, OGRFieldType>> fields{
            {"whole", OFTInteger}, {"big", OFTInteger64}, {"real", OFTReal}, {"text", OFTString},
            {"long", OFTString},   {"raw", OFTBinary},    {"day", OFTDate}};
        for (const auto& [name, type] : fields) {
            OGRFieldDefn field(name, type);
            if (isByFeatures || type != OFTDate) {
                ASSERT_EQ(layer.CreateField(&field), OGRERR_NONE);
            }
        }
    }

    static void addRow(OGRLayer& layer, std::mt19937& random, const char* wkt) {
        static const char* const texts[] = {"", "a", "Göteborg", "twice", "twice", "'\"%\\"};
        OGRFeature feature(layer.GetLayerDefn());
        const auto is = [&] { return random() % 4 != 0; };
        const double reals[] = {0.0, -0.0, 1e300, 0.1, std::numeric_limits<double>::infinity()};
        if (is()) {
            feature.SetField(0, static_cast<int>(random()));
        }
        if (is()) {
            feature.SetField(1, static_cast<GIntBig>(std::uint64_t{random()} << 32U | random()));
        }
        if (is()) {
            feature.SetField(2, reals[random() % std::size(reals)]);
        }
        if (is()) {
            feature.SetField(3, texts[random() % std::size(texts)]);
        }
        if (is()) {
            feature.SetField(4, std::string(random() % 200, 'x').c_str());
        }
        if (is()) {
            feature.SetField(5, static_cast<int>(random() % 5), "\0ab\xff ");
        }
        OGRGeometry* geometry = nullptr;
        OGRGeometryFactory::createFromWkt(wkt, nullptr, &geometry);
        feature.SetGeometryDirectly(geometry);
        ASSERT_EQ(layer.CreateFeature(&feature), OGRERR_NONE);
    }

    /// Both of one content; a driver with one layer in a file gets two files.
    QStringList make(const char* driver, const QString& suffix, const std::vector<const char*>& geometries,
                     int rows) const {
        GDALAllRegister();
        QStringList paths;
        for (int which = 0; which < 2; ++which) {
            std::mt19937 random(test::seed());
            const QString path = at(names[which] + suffix);
            QFile::remove(path);
            const GDALDatasetUniquePtr source(GetGDALDriverManager()->GetDriverByName(driver)->Create(
                path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
            const char* const options[] = {"SPATIAL_INDEX=NO", nullptr};
            OGRLayer& layer = *source->CreateLayer("t", nullptr, wkbUnknown, const_cast<char**>(options));
            addFields(layer, which == 1);
            for (int i = 0; i < rows; ++i) {
                addRow(layer, random, geometries[static_cast<std::size_t>(i) % geometries.size()]);
            }
            paths.append(path);
        }
        return paths;
    }

    static void expectSame(const GisLayerOgrVector& a, const GisLayerOgrVector& b) {
        ASSERT_EQ(a.count(), b.count());
        EXPECT_EQ(a.featureCount(), b.featureCount());
        EXPECT_EQ(a.skippedCount(), b.skippedCount());
        EXPECT_EQ(a.notKept().withZ, b.notKept().withZ);
        EXPECT_EQ(a.notKept().withCurves, b.notKept().withCurves);
        EXPECT_EQ(a.notKept().collections, b.notKept().collections);
        for (int i = 0; i < a.count(); ++i) {
            const Shapes::GisShape& one = *a.items()[static_cast<std::size_t>(i)];
            const Shapes::GisShape& other = *b.items()[static_cast<std::size_t>(i)];
            ASSERT_EQ(one.toWkb(), other.toWkb()) << "row " << i;
            const auto values = a.attributesForRow(i);
            const auto others = b.attributesForRow(i);
            ASSERT_EQ(values.size(), others.size()) << "row " << i;
            for (auto it = others.cbegin(); it != others.cend(); ++it) {
                const QVariant value = one.attributeValue(it.key());
                ASSERT_TRUE(value == *it && value.metaType() == it->metaType() && value.isNull() == it->isNull())
                    << "row " << i << ", " << it.key().toStdString() << ": " << value.toString().toStdString()
                    << " is not " << it->toString().toStdString();
            }
        }
    }
};

const std::vector<const char*> plain{
    "POINT (1 2)",
    "LINESTRING (0 0, 1 1, 5 2)",
    "MULTILINESTRING ((0 0, 1 1), (2 2, 3 3, 4 4))",
    "POLYGON ((0 0, 9 0, 9 9, 0 0))",
    "MULTIPOLYGON (((0 0, 1 0, 1 1, 0 0)), ((5 5, 6 5, 6 6, 5 5)))",
};
const std::vector<const char*> odd{
    "POLYGON ((0 0, 9 0, 9 9, 0 0), (2 1, 8 1, 8 7, 2 1))",
    "MULTIPOINT (1 1, 2 2)",
    "POINT Z (1 2 3)",
    "CIRCULARSTRING (0 0, 1 1, 2 0)",
    "GEOMETRYCOLLECTION (POINT (1 1), LINESTRING (0 0, 1 1))",
    "TRIANGLE ((0 0, 1 0, 1 1, 0 0))",
    "LINESTRING (0 0, 0 0)",
};

TEST_F(ReadingByColumns, GivesWhatFeaturesGive) {
    std::vector<const char*> all = plain;
    all.insert(all.end(), odd.begin(), odd.end());
    std::vector<const char*> withEmpty = all;
    withEmpty.insert(withEmpty.end(), {"POINT EMPTY", "POLYGON EMPTY", "MULTIPOLYGON (((0 0, 1 0, 1 1, 0 0)), EMPTY)",
                                       "MULTILINESTRING ((0 0, 1 1), EMPTY)"});
    std::vector<const char*> withNone = all;
    withNone.push_back("");
    struct Row {
        const char* name;
        const char* driver;
        const char* suffix;
        const std::vector<const char*>& geometries;
    };
    for (const Row& row : {Row{"GeoPackage", "GPKG", ".gpkg", all}, Row{"FlatGeobuf", "FlatGeobuf", ".fgb", plain},
                           Row{"FlatGeobuf, odd kinds", "FlatGeobuf", ".fgb", all},
                           Row{"empty ones", "GPKG", ".gpkg", withEmpty}, Row{"none", "GPKG", ".gpkg", withNone}}) {
        SCOPED_TRACE(row.name);
        const QStringList paths = make(row.driver, row.suffix, row.geometries, 5000); // more than a batch
        GisLayerOgrVector columns(paths[0]);
        GisLayerOgrVector features(paths[1]);
        ASSERT_TRUE(columns.open() && features.open());
        expectSame(columns, features);
        // A feature read one way is known to be the same when it is read the other way, to save.
        if (columns.path().endsWith(".gpkg")) {
            ASSERT_TRUE(columns.beginEdit());
            for (int id = 1; id <= columns.count(); ++id) { // all shapes of a feature, or none
                auto values = columns.attributesForFeatureId(id);
                if (values.value("whole").toInt() % 8 == 1) {
                    values["whole"] = 7;
                    ASSERT_TRUE(columns.setShapeAttributesEdit(id, values));
                }
            }
            EXPECT_TRUE(columns.commitEdit()) << columns.lastError().toStdString();
        }
    }
}

TEST_F(ReadingByColumns, TakesWhatADatabaseHoldsAgainstItsColumns) {
    const char* const statements[] = {
        "UPDATE t SET whole = 'text', big = '12x', real = 'three', text = 5 WHERE fid = 1",
        "UPDATE t SET whole = 3000000000, big = 1.75, real = 7, text = 1.5 WHERE fid = 2",
        "UPDATE t SET whole = 2.9, text = x'61006263', raw = 'text' WHERE fid = 3",
        "UPDATE t SET text = 'a' || char(0) || 'b', long = x'fffe41' WHERE fid = 4",
        "DELETE FROM t WHERE fid BETWEEN 5 AND 5000",
        "UPDATE t SET fid = 1000000000000 WHERE fid = 5001",
    };
    const QStringList paths = make("GPKG", ".gpkg", plain, 6000);
    for (const QString& path : paths) {
        const auto source = test::openToWrite(path);
        for (const char* const statement : statements) {
            execute(*source, statement);
        }
    }
    GisLayerOgrVector columns(paths[0]);
    GisLayerOgrVector features(paths[1]);
    ASSERT_TRUE(columns.open() && features.open());
    EXPECT_EQ(features.count(), 1004);
    expectSame(columns, features);
    ASSERT_TRUE(columns.beginEdit() && columns.deleteShapeEdit(3) && columns.deleteShapeEdit(1));
    EXPECT_TRUE(columns.commitEdit()) << columns.lastError().toStdString();
}

TEST_F(ReadingByColumns, SeesThatSomebodyHasPutAZeroWhereNothingWas) {
    for (const char* const value : {"whole = 0", "big = 0", "text = ''", "raw = x''", "real = 0.0"}) {
        for (const QString& path : make("GPKG", ".gpkg", plain, 5)) {
            const auto source = test::openToWrite(path);
            execute(*source, "UPDATE t SET whole = NULL, big = NULL, real = NULL, text = NULL, raw = NULL");
            GisLayerOgrVector layer(path);
            ASSERT_TRUE(layer.open());
            execute(*source, QByteArray("UPDATE t SET ").append(value).constData());
            ASSERT_TRUE(layer.beginEdit() && layer.setShapeAttributesEdit(1, {{"long", "mine"}}));
            EXPECT_FALSE(layer.commitEdit()) << value << " in " << path.toStdString();
        }
    }
}

// Columns of 8 bits, which GDAL reads but cannot write. Of a number made so, the rest is another column's value.
TEST_F(ReadingByColumns, FlatGeobufColumnsOfEightBits) {
    GDALAllRegister();
    const QString path = at("bytes.fgb");
    {
        const GDALDatasetUniquePtr made(GetGDALDriverManager()
                                            ->GetDriverByName("FlatGeobuf")
                                            ->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
        OGRLayer& layer = *made->CreateLayer("t", nullptr, wkbPoint, nullptr);
        for (const char* const name : {"a", "b", "c"}) {
            OGRFieldDefn field(name, OFTInteger);
            ASSERT_EQ(layer.CreateField(&field), OGRERR_NONE);
        }
        OGRFeature feature(layer.GetLayerDefn());
        feature.SetField(0, 0x06000107);
        feature.SetField(2, 0x09000203);
        const OGRPoint point(1, 2);
        feature.SetGeometry(&point);
        for (int i = 0; i < 3; ++i) {
            feature.SetFID(OGRNullFID);
            ASSERT_EQ(layer.CreateFeature(&feature), OGRERR_NONE);
        }
    }
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    const QByteArray bytes = file.readAll();
    std::vector<qsizetype> types; // 5 is a number of 32 bits, 1 a byte
    for (qsizetype i = bytes.indexOf('\5', 12); i >= 0; i = bytes.indexOf('\5', i + 1)) {
        types.push_back(i);
    }
    ASSERT_EQ(types.size(), 3U);
    ASSERT_TRUE(file.seek(types.front()) && file.putChar('\1') && file.seek(types.back()) && file.putChar('\1'));
    file.close();
    GisLayerOgrVector layer(path);
    ASSERT_TRUE(layer.open());
    EXPECT_EQ(layer.attributesForRow(2), (GisLayerOgrVector::Attributes{{"a", 7}, {"b", 0x03000206}, {"c", 9}}));
}

TEST_F(ReadingByColumns, IdsOfATableWithoutAColumnForThem) {
    const QString path = make("GPKG", ".gpkg", plain, 5)[0];
    {
        const auto source = test::openToWrite(path);
        execute(*source, "CREATE TABLE w (geom BLOB, whole INTEGER)");
        execute(*source, "INSERT INTO w SELECT geom, whole FROM t");
        execute(*source, "INSERT INTO gpkg_contents (table_name, data_type, identifier, srs_id) "
                         "VALUES ('w', 'features', 'w', -1)");
        execute(*source, "INSERT INTO gpkg_geometry_columns VALUES ('w', 'geom', 'GEOMETRY', -1, 0, 0)");
    }
    GisLayerOgrVector layer(path, "w");
    ASSERT_TRUE(layer.open());
    EXPECT_EQ(layer.sourceFeatureIds(), (QList<qint64>{1, 2, 3, 4, 5}));
}

TEST_F(ReadingByColumns, StartsNoThread) {
    const auto threads = [] { return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(); };
    for (const QString& path : make("GPKG", ".gpkg", plain, 20000)) {
        GisLayerOgrVector layer(path);
        const auto before = threads();
        auto most = before;
        layer.setProgressCallback([&](double) {
            most = std::max(most, threads());
            return true;
        });
        CPLSetThreadLocalConfigOption("GDAL_NUM_THREADS", "4");
        EXPECT_TRUE(layer.open());
        EXPECT_EQ(most, before);
        EXPECT_STREQ(CPLGetThreadLocalConfigOption("GDAL_NUM_THREADS", ""), "4");
        CPLSetThreadLocalConfigOption("GDAL_NUM_THREADS", nullptr);
    }
}

} // namespace
