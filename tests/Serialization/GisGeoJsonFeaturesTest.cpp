#include "DataFolder.h"
#include "FeaturesTestSupport.h"

#include <Cartolith/Core/Serialization/GisGeoJsonFeatureWriter.h>
#include <Cartolith/Core/Serialization/GisGeoJsonReader.h>
#include <Cartolith/Core/Serialization/GisWkbReader.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>

#include <QBuffer>
#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>
#include <ogr_api.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <functional>

namespace {

using namespace FeaturesTest;
using namespace Cartolith::Core::Serialization;
using namespace GeoJson;
using WriteOptions = GisGeoJsonWriteOptions;

std::string readText(const QByteArray& text, const ReadOptions& options = {}) {
    QBuffer device;
    device.setData(text);
    device.open(QIODevice::ReadOnly);
    Trickle trickle(text, seed());
    const std::string all = readAll(device, options);
    EXPECT_EQ(readAll(trickle, options), all) << text.left(500).toStdString();
    return all;
}

QByteArray collection(const QByteArray& features) {
    return R"({"type":"FeatureCollection","features":[)" + features + "]}";
}

const QByteArray pointText = R"({"type":"Point","coordinates":[1,2]})";
const QByteArray featureText = R"({"type":"Feature","geometry":)" + pointText + R"(,"properties":{"a":1}})";

TEST(GeoJsonFeatures, ReadsEveryFormOrSaysWhereItFails) {
    const std::string point = "none[null] " + bits(GisShapePoint(1, 2));
    const std::string feature = point + " a=qlonglong[1]\n";
    const std::string one = feature + "1 read, 0 skipped";
    const std::string two = feature + feature + "2 read, 0 skipped";
    const std::string at = "runtime_error: Invalid GeoJSON at byte ";
    const std::string in = "runtime_error: GeoJSON feature ";
    const QByteArray multi = R"({"type":"Feature","geometry":{"type":"MultiPoint","coordinates":[]}})";
    const auto with = [](QByteArray members) { return QByteArray(R"({"type":"Feature",)") + members + "}"; };
    const std::pair<QByteArray, std::string> rows[] = {
        {"", "0 read, 0 skipped"},
        {" \x1e\n", "0 read, 0 skipped"},
        {pointText, point + "\n1 read, 0 skipped"},
        {"\xef\xbb\xbf" + featureText, one},
        {featureText + "\n" + featureText + "\r\n", two},
        {"\x1e" + featureText + "\n\x1e" + featureText + "\n", two},
        {collection(""), "0 read, 0 skipped"},
        {collection(featureText + " ,\n" + featureText), two},
        {collection(featureText) + collection(featureText), two},
        {R"({"bbox":[0,{"features":[]}],"features":[)" + featureText + R"(],"x":"]}\"","type":"FeatureCollection"})",
         one},
        {R"({"type":"Feature","features":[1],"properties":{"a":1},"geometry":)" + pointText + "}", one},
        {with(R"("id":7,"geometry":null)"), "qlonglong[7] nowhere\n1 read, 0 skipped"},
        {with(R"("id":"k","properties":null)"), "QString[\"k\"] nowhere\n1 read, 0 skipped"},
        {with(
             R"("properties":{"b":true,"d":0.5,"e":1e3,"f":9007199254740993,"g":1e20,"n":null,"s":"é","l":[1,null],"m":{"x":{}}})"),
         "none[null] nowhere b=bool[true] d=double[0.5] e=qlonglong[1000] f=qlonglong[9007199254740993] "
         "g=double[1e+20] l=QVariantList[[1,null]] m=QVariantMap[{\"x\":{}}] n=none[null] "
         "s=QString[\"é\"]\n1 read, 0 skipped"},
        {with(R"("geometry":)" + pointText + R"(,"geometry":null)"), "none[null] nowhere\n1 read, 0 skipped"},
        {with(R"("geometry":null,"\u0067eometry":)" + pointText), point + "\n1 read, 0 skipped"},
        {"[]", at + "0: an object is expected"},
        {"{,", at + "1: a string is expected"},
        {R"({"type" 1)", at + "8: a colon is expected"},
        {R"({"type":})", at + "8: a value is expected"},
        {R"({"type":1])", at + "10: a comma is expected"},
        {R"({"a":[1}})", at + "8: brackets do not match"},
        {R"({"a":"b)", at + "7: unterminated string"},
        {R"({"a":[)", at + "6: unexpected end"},
        {featureText + "\n" + featureText.chopped(1), feature + at + "174: unexpected end"},
        {collection(featureText + ","), feature + at + "128: an object is expected"},
        {R"({"features":[]})", at + "15: what has features is no FeatureCollection"},
        {R"({"features":[],"features":[]})", at + "26: features are there twice"},
        {R"({"type":"FeatureCollection"})", at + "28: a FeatureCollection has no features"},
        {collection(featureText + "," + with(R"("id":[])")),
         feature + in + "2 at byte 128: Invalid GeoJSON: id is neither a string nor a number."},
        {collection(R"({"id":tru})"), in + "1 at byte 40: Invalid GeoJSON: illegal value"},
        {"{}", in + "1 at byte 0: Invalid GeoJSON: missing type."},
        {with(R"("geometry":[])"), in + "1 at byte 0: Invalid GeoJSON: geometry is not an object."},
        {with(R"("properties":[])"), in + "1 at byte 0: Invalid GeoJSON: properties is not an object."},
        {with(R"("geometry":{"type":"Point","coordinates":[1]})"), in + "1 at byte 0: Invalid GeoJSON coordinate."},
        {multi, in + "1 at byte 0: Unsupported GeoJSON geometry type: MultiPoint"},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(readText(text), expected) << text.toStdString();
    }
    const ReadOptions skip{.unsupported = ReadOptions::Unsupported::Skip};
    EXPECT_EQ(
        readText(collection(multi + "," + featureText + R"(,{"type":"GeometryCollection","geometries":[]})"), skip),
        feature + "1 read, 2 skipped");
    EXPECT_EQ(readText(collection(R"({"type":"FeatureCollection"})"), skip),
              in + "1 at byte 40: Unsupported GeoJSON geometry type: FeatureCollection");
    const QByteArray twoTypes =
        R"({"type":"FeatureCollection","x":")" + QByteArray(70000, 'a') + R"(","type":"Feature"})";
    EXPECT_TRUE(readText(twoTypes).ends_with("type is there twice"));
    QBuffer closed;
    EXPECT_EQ(readAll(closed), "runtime_error: GeoJSON cannot be read: the device is not open for reading.");
}

TEST(GeoJsonFeatures, EndsEarlyAndLimitsWhatHostileTextMayTake) {
    constexpr qsizetype size = 1'000'000;
    const ReadOptions small{.maxFeatureSize = 500'000};
    const std::string tooLong = "runtime_error: Invalid GeoJSON at byte ";
    const std::tuple<QByteArray, QByteArray, std::string> rows[] = {
        {R"({"type":"Feature","properties":{"a":)", "[", "too deeply nested"},
        {R"({"type":"Feature","geometry":{"type":"Point","coordinates":[)", "7", "the feature is too long"},
        {R"({"type":"FeatureCollection","features":[{"a":")", "é", "the feature is too long"},
        {R"({"type":"LineString","coordinates":[)", "[1,2],", "the feature is too long"},
        {R"({")", "a", "the feature is too long"},
        {R"({"type":"FeatureCollection","features":[{)", R"("a":1,)", "the feature is too long"},
    };
    for (const auto& [start, repeated, message] : rows) {
        Trickle endless(start, seed(), repeated);
        EXPECT_TRUE(QString::fromStdString(readAll(endless, small)).endsWith(QString::fromStdString(message)))
            << start.toStdString();
        EXPECT_LT(endless.handedOut, size);
    }
    EXPECT_TRUE(readText(featureText, {.maxFeatureSize = featureText.size()}).ends_with("1 read, 0 skipped"));
    EXPECT_EQ(readText(featureText, {.maxFeatureSize = featureText.size() - 1}),
              tooLong + std::to_string(featureText.size()) + ": the feature is too long");
    // What lies beside the features does not count, however long.
    EXPECT_TRUE(readText(R"({"type":"FeatureCollection","x":")" + QByteArray(size, 'x') + R"(","features":[]})", small)
                    .ends_with("0 read, 0 skipped"));

    Trickle endless(R"({"type":"FeatureCollection","features":[)" + featureText, seed(), "," + featureText);
    int used = 0;
    const auto counts =
        GisGeoJsonFeatureReader::readFeatures(endless, [&used](GisGeoJsonFeature&&) { return ++used < 10; });
    EXPECT_EQ(counts.read, 10);
    EXPECT_LT(endless.handedOut, size);
}

TEST(GeoJsonFeatures, RandomOnesAreWrittenAndReadBackInEveryLayout) {
    std::mt19937_64 random(seed());
    const auto finite = [&random] {
        const double value = randomDouble(random);
        return std::isfinite(value) ? value + 0.0 : 0.5;
    };
    const std::function<QVariant(int)> value = [&](int depth) -> QVariant {
        switch (below(random, depth > 0 ? 7 : 5)) {
        case 0: return below(random, 2) == 0;
        case 1: return static_cast<qlonglong>(random());
        case 2: return static_cast<double>(random() | 1U) / 0x1p70; // not whole
        case 3: return QString("\"\\{[é\u0001/\n").left(below(random, 9));
        case 4: return depth == 3 ? QVariant() : QVariant::fromValue(nullptr);
        case 5: return QVariantList{value(depth - 1), value(depth - 1)};
        default: return QVariantMap{{"geometry", value(depth - 1)}, {"\"}", value(depth - 1)}};
        }
    };
    for (int i = 0; i < 600; ++i) {
        QBuffer device;
        device.open(QIODevice::ReadWrite);
        GisGeoJsonFeatureWriter writer(device, {.layout = static_cast<WriteOptions::Layout>(i % 3)});
        std::string expected;
        const auto count = below(random, 5);
        writer.begin();
        for (auto n = count; n > 0; --n) {
            GisGeoJsonFeature feature;
            Parts parts(below(random, 4));
            for (auto& part : parts) {
                for (auto points = below(random, 4); points > 0; --points) {
                    part.append({finite(), finite()});
                }
            }
            const auto kind = below(random, 4);
            feature.shape = kind == 0   ? nullptr
                            : kind == 1 ? shapeOf<GisShapePolyline>(parts)
                            : kind == 2 ? std::make_unique<GisShapePoint>(finite(), finite())
                                        : Wkt::GisWktReader::read("POLYGON ((0 0, 1 0, 1.5 1, 0 0))");
            feature.id = std::array{QVariant(), QVariant("é"), QVariant(7LL), QVariant(0.5)}[random() % 4];
            for (auto values = below(random, 4); values > 0; --values) {
                feature.attributes[QString("type\"\n").left(below(random, 7))] = value(3);
            }
            writer.write(feature);
            expected += described(feature);
        }
        writer.end();
        ASSERT_EQ(readText(device.data()), expected + std::to_string(count) + " read, 0 skipped")
            << device.data().toStdString() << ", seed " << seed();
    }
}

TEST(GeoJsonFeatures, ValuesAreWrittenAsJsonHasThem) {
    const QDate date(2026, 1, 17);
    const std::pair<QVariant, const char*> rows[] = {
        {QVariant(), "null"},
        {QVariant::fromValue(nullptr), "null"},
        {QVariant(QMetaType(QMetaType::Int)), "null"},
        {NAN, "null"},
        {-INFINITY, "null"},
        {INFINITY * 1.0F, "null"},
        {0.5F, "0.5"},
        {-0.0, "0"},
        {1e20, "1e+20"},
        {18446744073709551615ULL, "18446744073709552000"},
        {-9223372036854775807LL - 1, "-9223372036854775808"},
        {QVariant::fromValue(-3L), "-3"},
        {QVariant::fromValue(3UL), "3"},
        {QVariantList{NAN, QVariant(), 1}, "[null,null,1]"},
        {QVariantMap{{"a", QVariantHash{{"b", INFINITY}}}}, R"({"a":{"b":null}})"},
        {QStringList{"a", "b"}, R"(["a","b"])"},
        {QString("\"\n"), R"("\"\n")"},
        {QByteArray("\xff\x00z", 3), R"("/wB6")"},
        {date, R"("2026-01-17")"},
        {QTime(1, 2, 3, 4), R"("01:02:03.004")"},
        {QDateTime(date, QTime(1, 2), Qt::UTC), R"("2026-01-17T01:02:00.000Z")"},
        {QDate(), "null"},
        {QDateTime(), "null"},
        {QVariant::fromValue(Wkb::WkbHeader{}), "null"},
    };
    for (const auto& [value, expected] : rows) {
        QBuffer device;
        device.open(QIODevice::WriteOnly);
        GisGeoJsonFeatureWriter writer(device, {.layout = WriteOptions::Layout::NewlineDelimited});
        GisShapePoint nowhere;
        nowhere.setId(3);
        nowhere.attributes()["v"] = value;
        writer.begin();
        writer.write(nowhere);
        writer.end();
        EXPECT_EQ(device.data().toStdString(), R"({"geometry":null,"id":3,"properties":{"v":)" + std::string(expected) +
                                                   "},\"type\":\"Feature\"}\n");
    }
}

TEST(GeoJsonFeatures, WhatCannotBeWrittenIsReported) {
    QBuffer device;
    GisGeoJsonFeatureWriter closed(device);
    EXPECT_THROW(closed.begin(), std::runtime_error);
    QFile full("/dev/full");
    ASSERT_TRUE(full.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    EXPECT_EQ(outcome([&full] { return GisGeoJsonFeatureWriter(full).begin(), ""; }),
              "runtime_error: GeoJSON cannot be written: No space left on device");
    device.open(QIODevice::WriteOnly);
    GisGeoJsonFeatureWriter writer(device, {.layout = WriteOptions::Layout::NewlineDelimited});
    EXPECT_THROW(writer.write(GisShapePoint(1, 2)), std::logic_error);
    EXPECT_THROW(writer.end(), std::logic_error);
    writer.begin();
    EXPECT_THROW(writer.begin(), std::logic_error);
    EXPECT_THROW(writer.write(GisShapePoint(1, INFINITY)), std::runtime_error);
    EXPECT_THROW(writer.write(*shapeOf<GisShapePolyline>({{{1, 2}, {NAN, 3}}})), std::runtime_error);
    EXPECT_TRUE(device.data().isEmpty());
}

QByteArray byRightHandRule(const GisShape& shape) {
    QBuffer device;
    device.open(QIODevice::WriteOnly);
    GisGeoJsonFeatureWriter writer(
        device, {.layout = WriteOptions::Layout::NewlineDelimited, .polygons = WriteOptions::Polygons::RightHandRule});
    writer.begin();
    writer.write(shape);
    const QJsonObject feature = QJsonDocument::fromJson(device.data()).object();
    return QJsonDocument(feature["geometry"].toObject()).toJson(QJsonDocument::Compact);
}

TEST(GeoJsonFeatures, RightHandRuleTellsShellsFromHolesByNesting) {
    const QString a = "0 0, 0 9, 9 9, 9 0, 0 0"; // clockwise
    const std::tuple<QString, const char*, const char*> rows[] = {
        {"", "[]", "Polygon"},
        {a, "[[[0,0],[9,0],[9,9],[0,9],[0,0]]]", "Polygon"},
        {"0 0, 9 0, 9 9", "[[[0,0],[9,0],[9,9],[0,0]]]", "Polygon"},
        {"1 1, 2 1, 2 2, 1 1), (" + a, "[[[0,0],[9,0],[9,9],[0,9],[0,0]],[[1,1],[2,2],[2,1],[1,1]]]", "Polygon"},
        {a + "), (0 0, 9 9, 9 0, 0 0", "[[[0,0],[9,0],[9,9],[0,9],[0,0]],[[0,0],[9,9],[9,0],[0,0]]]", "Polygon"},
        {"0 0, 1 0, 1 1, 0 0), (1 0, 2 0, 2 1, 1 0", "[[[[0,0],[1,0],[1,1],[0,0]]],[[[1,0],[2,0],[2,1],[1,0]]]]",
         "MultiPolygon"},
        {a + "), (1 1, 8 1, 8 8, 1 1), (3 2, 7 2, 7 6, 3 2",
         "[[[[0,0],[9,0],[9,9],[0,9],[0,0]],[[1,1],[8,8],[8,1],[1,1]]],[[[3,2],[7,2],[7,6],[3,2]]]]", "MultiPolygon"},
        {"0 0, 1 0, 1 1, 0 0), (0 0, 1 0, 1 1, 0 0", "[[[[0,0],[1,0],[1,1],[0,0]]],[[[0,0],[1,0],[1,1],[0,0]]]]",
         "MultiPolygon"},
        {"0 0, 3 3, 0 0", "[[[0,0],[3,3],[0,0]]]", "Polygon"},
    };
    // The area of the outer ring overflows.
    const auto huge = Wkt::GisWktReader::read("POLYGON ((-1e200 -1e200, 1e200 -1e200, 1e200 1e200, -1e200 1e200, "
                                              "-1e200 -1e200), (0 0, 0 1, 1 1, 1 0, 0 0))");
    EXPECT_TRUE(byRightHandRule(*huge).contains("[[0,0],[0,1],[1,1],[1,0],[0,0]]"));
    for (const auto& [rings, coordinates, type] : rows) {
        const auto shape = Wkt::GisWktReader::read("POLYGON ((" + rings + "))");
        EXPECT_EQ(byRightHandRule(*shape),
                  R"({"coordinates":)" + QByteArray(coordinates) + R"(,"type":")" + type + "\"}");
    }
    // Real holes, islands and neighbours: the area comes out as it was, and what is written stays as it is.
    GDALAllRegister();
    const GDALDatasetUniquePtr file(GDALDataset::Open(CARTOLITH_DATA_DIR "/world-countries.gpkg"));
    ASSERT_NE(file, nullptr);
    for (const auto& feature : *file->GetLayer(0)) {
        const OGRGeometry& country = *feature->GetGeometryRef();
        QByteArray wkb(static_cast<qsizetype>(country.WkbSize()), Qt::Uninitialized);
        country.exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(wkb.data()));
        const QByteArray text = byRightHandRule(*Wkb::GisWkbReader::read(wkb));
        const OGRGeometryUniquePtr back(OGRGeometry::FromHandle(OGR_G_CreateGeometryFromJson(text.constData())));
        ASSERT_NE(back, nullptr);
        EXPECT_NEAR(OGR_G_Area(OGRGeometry::ToHandle(back.get())), country.toMultiPolygon()->get_Area(), 1e-9);
        EXPECT_EQ(byRightHandRule(*GisGeoJsonReader::read(QString(text))), text);
    }
}

} // namespace
