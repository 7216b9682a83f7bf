#include "SerializationTestSupport.h"

#include <Cartolith/Core/Serialization/GisGeoJsonReader.h>
#include <Cartolith/Core/Serialization/GisGeoJsonWriter.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>

#include <QLocale>
#include <QStringList>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

namespace {

using namespace SerializationTest;
using Reader = Cartolith::Core::Serialization::GeoJson::GisGeoJsonReader;
using Writer = Cartolith::Core::Serialization::GeoJson::GisGeoJsonWriter;
using Cartolith::Core::Serialization::Wkt::GisWktReader;

std::string rewritten(const QString& json) {
    return outcome([&] { return Reader::read(json)->toGeoJson().toStdString(); });
}

/// By way of Qt's objects, which read(QString) avoids where it can.
std::string plain(const QString& json) {
    return outcome([&] { return bits(*Reader::read(Reader::parseJsonObject(json))); });
}

void expectSameAsPlain(const QString& json) {
    ASSERT_EQ(outcome([&] { return bits(*Reader::read(json)); }), plain(json))
        << "for '" << json.toStdString() << "', seed " << seed();
}

QString typed(const QString& type, const QString& coordinates) {
    return QStringLiteral(R"({"type":"%1","coordinates":%2})").arg(type, coordinates);
}

TEST(GeoJson, ReadsOrRejects) {
    const std::string invalid = "runtime_error: Invalid GeoJSON";
    const std::string parse = invalid + ": ";
    const std::pair<QString, std::string> rows[] = {
        {typed("Point", "[1,2,3]"), R"({"coordinates":[1,2],"type":"Point"})"},
        {typed("Point", "[-0.0,-0]"), R"({"coordinates":[0,0],"type":"Point"})"},
        {typed("Point", "[1]"), invalid + " coordinate."},
        {typed("Point", R"(["1",2])"), invalid + " coordinate value."},
        {typed("Point", "[1,null]"), invalid + " coordinate value."},
        {typed("LineString", "[]"), R"({"coordinates":[],"type":"LineString"})"},
        {typed("LineString", "[[1,2],3]"), invalid + " coordinate array."},
        {typed("LineString", "[1,2]"), invalid + " coordinate array."},
        {typed("MultiLineString", "[[[1,2],[3,4]],[[5,6],[7,8]]]"),
         R"({"coordinates":[[[1,2],[3,4]],[[5,6],[7,8]]],"type":"MultiLineString"})"},
        {typed("MultiLineString", "[[[1,2]]]"), R"({"coordinates":[[1,2]],"type":"LineString"})"},
        {typed("MultiLineString", "[7]"), invalid + " MultiLineString coordinates."},
        {typed("Polygon", "[[[0,0],[1,0],[1,1]],[]]"),
         R"({"coordinates":[[[0,0],[1,0],[1,1],[0,0]],[]],"type":"Polygon"})"},
        {typed("Polygon", "[{}]"), invalid + " Polygon coordinates."},
        {typed("MultiPolygon", "[[[[0,0],[1,0],[0,0]]],[],[[[5,5],[6,5],[5,5]]]]"),
         R"({"coordinates":[[[0,0],[1,0],[0,0]],[[5,5],[6,5],[5,5]]],"type":"Polygon"})"},
        {typed("MultiPolygon", "[1]"), invalid + " MultiPolygon coordinates."},
        {typed("MultiPolygon", "[[1]]"), invalid + " MultiPolygon ring coordinates."},
        {typed("Feature", "[]"), "runtime_error: Unsupported GeoJSON geometry type: Feature"},
        {typed("point", "[1,2]"), "runtime_error: Unsupported GeoJSON geometry type: point"},
        {typed(QString(9000, 'P'), "[1,2]"),
         "runtime_error: Unsupported GeoJSON geometry type: " + std::string(500, 'P') + "... (9000 characters)"},
        {R"({"coordinates":[1,2]})", parse + "missing geometry type."},
        {R"({"type":7,"coordinates":[1,2]})", parse + "missing geometry type."},
        {R"({"type":"Point"})", parse + "missing coordinates."},
        {R"({"type":"Point","coordinates":{}})", parse + "missing coordinates."},
        {"[1,2]", parse + "root is not an object."},
        {"{", parse + "unterminated object"},
        {"", parse + "illegal value"},
    };
    for (const auto& [json, expected] : rows) {
        EXPECT_EQ(rewritten(json), expected) << json.toStdString();
    }
}

TEST(GeoJson, SpecificReadersAcceptTheirOwnTypeOnly) {
    const std::pair<QString, QString> types[] = {{"Point", "[1,2]"},
                                                 {"LineString", "[[1,2]]"},
                                                 {"MultiLineString", "[[[1,2]]]"},
                                                 {"Polygon", "[[[1,2]]]"},
                                                 {"MultiPolygon", "[[[[1,2]]]]"}};
    const auto expectOnly = [&types](const QString& own, auto read) {
        for (const auto& [type, coordinates] : types) {
            const QString json = typed(type, coordinates);
            EXPECT_EQ(outcome([&] { return bits(read(Reader::parseJsonObject(json))); }),
                      type == own ? plain(json) : "runtime_error: GeoJSON geometry is not " + own.toStdString() + ".");
        }
    };
    expectOnly("Point", Reader::readPoint);
    expectOnly("LineString", Reader::readLineString);
    expectOnly("MultiLineString", Reader::readMultiLineString);
    expectOnly("Polygon", Reader::readPolygon);
    expectOnly("MultiPolygon", Reader::readMultiPolygon);
}

TEST(GeoJson, ShapesKeepTheirIdAndOnAThrowTheirGeometry) {
    GisShapePoint point(7, 8);
    GisShapePolyline line;
    GisShapePolygon polygon;
    const QString pointJson = typed("Point", "[1,2]");
    const std::string rejected = "runtime_error: GeoJSON geometry is not ";
    const std::tuple<GisShape&, const char*, QString, std::string> rows[] = {
        {point, "POINT (1 2)", typed("LineString", "[[1,2]]"), rejected + "Point."},
        {point, "POINT (1 2)", "[1,2", "runtime_error: Invalid GeoJSON: missing geometry type."},
        {line, "LINESTRING (1 2, 3 4)", pointJson, rejected + "a polyline."},
        {line, "MULTILINESTRING ((1 2, 3 4), (5 6, 7 8))", pointJson, rejected + "a polyline."},
        {polygon, "POLYGON ((0 0, 1 0, 0 0))", pointJson, rejected + "a polygon."},
    };
    for (const auto& [shape, wkt, bad, message] : rows) {
        shape.setId(3);
        shape.fromGeoJson(GisWktReader::read(wkt)->toGeoJson());
        EXPECT_EQ(outcome([&shape = shape, &bad = bad] { return shape.fromGeoJson(bad), ""; }), message);
        EXPECT_EQ(shape.toWkt(), wkt);
        EXPECT_EQ(shape.id(), 3);
    }
    EXPECT_EQ(outcome([] { return GisShapePoint(1, NAN).toGeoJson().toStdString(); }),
              "runtime_error: Empty POINT cannot be written as GeoJSON geometry.");
}

TEST(GeoJson, WhatIsWrittenReadsBackBitForBitInAnyLocale) {
    std::mt19937_64 random(seed());
    const QLocale before;
    const std::string cBefore = std::setlocale(LC_ALL, nullptr);
    const QLocale locales[] = {QLocale::c(), QLocale(QLocale::German, QLocale::Germany),
                               QLocale(QLocale::Arabic, QLocale::Egypt)};
    ASSERT_NE(locales[2].toString(1.5), "1.5");
    if (std::getenv("LOCPATH") != nullptr) { // the build has made this locale
        ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
        ASSERT_EQ(std::strtod("1,5", nullptr), 1.5);
    }
    for (int i = 0; i < 3000; ++i) {
        QLocale::setDefault(locales[i % 3]);
        Parts parts(below(random, 3) + 1);
        for (auto& part : parts) {
            for (auto n = below(random, 5); n >= 0; --n) {
                const double x = randomDouble(random);
                const double y = randomDouble(random);
                part.append({std::isfinite(x) ? x + 0.0 : 1.5, std::isfinite(y) ? y + 0.0 : -2.5});
            }
        }
        const auto line = shapeOf<GisShapePolyline>(parts);
        ASSERT_EQ(bits(*Reader::read(line->toGeoJson())), bits(*line)) << "seed " << seed();
        ASSERT_EQ(bits(*Reader::read(parts[0][0].toGeoJson())), bits(parts[0][0])) << "seed " << seed();
        for (auto& ring : parts) {
            ring = Writer::ensureClosed(ring);
        }
        const auto polygon = shapeOf<GisShapePolygon>(parts);
        ASSERT_EQ(bits(*Reader::read(polygon->toGeoJson())), bits(*polygon)) << "seed " << seed();
        const QString wkt = polygon->toWkt(); // further digits are lost only once
        ASSERT_EQ(GisWktReader::read(wkt)->toWkt(), wkt) << "seed " << seed();
    }
    QLocale::setDefault(before);
    std::setlocale(LC_ALL, cBefore.c_str());
}

TEST(GeoJson, OddAndRandomTextReadsAsByWayOfObjects) {
    const QStringList odd =
        QString("0 -0 -0.0 0.000 0e5 -0e99999 00 01 -01 1. .5 -.5 -. - + +1 1e 1e+ 1e5 1E-5 1.e3 1e999 "
                "-1e999 1e-400 "
                "-1e-400 2e-324 3e-324 5e-324 9007199254740993 -9007199254740993 9223372036854775807 "
                "9223372036854775808 -9223372036854775809 18446744073709551616 1e18 1e19 0x10 nan inf 1_0 ٣ "
                "1.7976931348623157e308 1.7976931348623159e308 2.2250738585072011e-308 "
                "123456789012345678901234567890 "
                "0.1e1 100e-2 1.0 true null \"1\" [] {} [1] {\"a\":1} é")
            .split(' ') +
        QStringList{QString(70, '3'), "0." + QString(400, '3'), "0." + QString(30, '0') + "1"};
    std::mt19937_64 random(seed());
    const auto any = [&random](const auto& list) { return list[below(random, list.size())]; };
    const auto blank = [&] {
        const QStringList usual = {"", "", "", " ", "\n", "\r\t"};
        return below(random, 300) == 0 ? QString("\u00a0") : any(usual);
    };
    const auto number = [&] {
        const auto digits = static_cast<int>(below(random, 25));
        return below(random, 60) == 0 ? any(odd)
                                      : QString::number(randomDouble(random), "geg"[below(random, 3)], digits);
    };
    const auto array = [&](const auto& self, int depth) -> QString {
        QStringList items;
        for (auto n = depth == 0               ? 2 + below(random, 8) / 7
                      : below(random, 12) == 0 ? 0
                                               : 1 + below(random, 3);
             n > 0; --n) {
            items += blank() + (depth > 0 ? self(self, depth - 1) : number()) + blank();
        }
        return "[" + items.join(',') + "]";
    };
    const QStringList types = {"Point", "LineString", "Polygon", "MultiPolygon", "MultiLineString", "MultiPoint"};
    const QStringList extras = {R"("bbox":[1,2])", R"("type":"Point")", R"("coordinates":[1,2])", R"("\u0074ype":"x")",
                                R"("a":"é\"")"};
    const QString noise = QString("[]{},:\"\\ -+.e0?\u00e9") + QChar(0) + QChar(0xd800) + QChar(0xfeff);
    for (const QString& text : odd) {
        expectSameAsPlain(typed("Point", "[7," + text + "]"));
        expectSameAsPlain(typed("LineString", "[[1,2],[" + text + ",7," + text + "]]"));
    }
    int read = 0;
    for (int i = 0; i < 20000; ++i) {
        const auto type = below(random, 6);
        const int depth = below(random, 20) == 0 ? 2 : std::array{0, 1, 2, 3, 2, 1}[static_cast<std::size_t>(type)];
        QStringList members = {"\"type\"" + blank() + ":" + blank() + "\"" + types[type] + "\"",
                               "\"coordinates\":" + array(array, depth)};
        if (below(random, 10) == 0) {
            members.insert(below(random, 3), any(extras));
        }
        if (below(random, 2) == 0) {
            members.swapItemsAt(0, 1);
        }
        QString text = blank() + "{" + members.join(blank() + ",") + blank() + "}" + blank();
        if (i % 3 == 0) {
            for (auto edits = below(random, 3); edits > 0; --edits) {
                text.replace(below(random, text.size() + 1), below(random, 3), any(noise));
            }
        } else if (i % 29 == 0) {
            text.truncate(below(random, text.size()));
        }
        ASSERT_NO_FATAL_FAILURE(expectSameAsPlain(text));
        read += plain(text).starts_with("runtime") ? 0 : 1;
    }
    EXPECT_GT(read, 5000); // the texts are not mostly nonsense
}

TEST(GeoJson, HostileTextFailsCleanly) {
    constexpr qsizetype size = 1'000'000;
    const std::pair<QString, std::string> rows[] = {
        {typed("Polygon", QString(size, '[')), "runtime_error: Invalid GeoJSON: too deeply nested document"},
        {typed("Point", "[1," + QString(size, '7') + "]"), "runtime_error: Invalid GeoJSON: illegal number"},
        {"{\"type\":\"" + QString(size, 'P'), "runtime_error: Invalid GeoJSON: unterminated string"},
        {typed("LineString", "[" + QString("[1,2],").repeated(size / 10)).chopped(1),
         "runtime_error: Invalid GeoJSON: unterminated array"},
    };
    for (const auto& [json, expected] : rows) {
        EXPECT_EQ(rewritten(json), expected) << json.first(40).toStdString();
    }
    const QString precise = typed("Point", "[1,0." + QString(size, '3') + "]");
    EXPECT_EQ(rewritten(precise), R"({"coordinates":[1,0.3333333333333333],"type":"Point"})");
}

} // namespace
