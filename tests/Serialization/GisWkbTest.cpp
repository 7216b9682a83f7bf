#include "DataFolder.h"
#include "SerializationTestSupport.h"

#include <Cartolith/Core/Serialization/GisWkbReader.h>
#include <Cartolith/Core/Serialization/GisWkbWriter.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Serialization/WkbCursor.h>

#include <QDataStream>
#include <QIODevice>
#include <gmock/gmock.h>
#include <ogrsf_frmts.h>

namespace {

using namespace SerializationTest;
using namespace Cartolith::Core::Serialization;
using namespace Wkb;

const char truncated[] = "runtime_error: Invalid WKB: unexpected end of data.";

/// The geometry as a record of the given type, each record in a random byte order or all little-endian.
QByteArray record(quint32 type, const Parts& parts, std::mt19937_64* random) {
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    const auto header = [&](quint32 code) {
        const bool little = random == nullptr || below(*random, 2) == 0;
        out.setByteOrder(little ? QDataStream::LittleEndian : QDataStream::BigEndian);
        out << quint8{little} << code;
    };
    const auto countIf = [&out](bool wanted, qsizetype count) {
        if (wanted) {
            out << static_cast<quint32>(count);
        }
    };
    header(type);
    countIf(type > 2, parts.size());
    for (const auto& part : parts) {
        if (type > 3) {
            header(type - 3);
        }
        countIf(type == 6, 1);
        countIf(type != 1, part.size());
        std::for_each(part.begin(), part.end(), [&out](const auto& p) { out << p.x() << p.y(); });
    }
    return bytes;
}

std::string readBits(const QByteArray& wkb) {
    return outcome([&] { return bits(*GisWkbReader::read(wkb)); });
}

TEST(Wkb, ReadsOrRejects) {
    const std::pair<const char*, const char*> rows[] = {
        {"01 01000000 000000000000f03f 0000000000000040 ff", "POINT (1 2)"},
        {"01 06000000 01000000 01 02000000", "runtime_error: Invalid MULTIPOLYGON WKB child geometry."},
        {"01 05000000 01000000 00 00000003", "runtime_error: Invalid MULTILINESTRING WKB child geometry."},
        {"01 05000000 01000000 02", "runtime_error: Invalid WKB byte order."},
        {"01 02000000 ffffffff 00", truncated},
        {"01 03000000 ffffffff 00000000", truncated},
        {"01 04000000", "runtime_error: MULTIPOINT WKB is not supported yet."},
        {"01 e9030000", "runtime_error: Unsupported WKB geometry type."},
        {"", "invalid_argument: WKB data cannot be empty."},
    };
    for (const auto& [hex, expected] : rows) {
        const QByteArray wkb = QByteArray::fromHex(hex);
        EXPECT_EQ(outcome([&] { return GisWkbReader::read(wkb)->toWkt().toStdString(); }), expected) << hex;
    }
}

TEST(Wkb, RandomRecordsReadInAnyByteOrderAndDamagedOnesFailCleanly) {
    std::mt19937_64 random(seed());
    for (int i = 0; i < 300; ++i) {
        const quint32 type = std::array{1U, 2U, 3U, 5U, 6U}[static_cast<std::size_t>(i % 5)];
        Parts parts(type < 3 ? 1 : below(random, 4));
        for (auto& part : parts) {
            for (auto n = type == 1 ? 1 : below(random, 5); n > 0; --n) {
                part.append({randomDouble(random), randomDouble(random)});
            }
        }
        const auto shape = type == 1       ? std::make_unique<GisShapePoint>(parts[0][0])
                           : type % 3 == 2 ? shapeOf<GisShapePolyline>(parts)
                                           : shapeOf<GisShapePolygon>(parts);
        QByteArray wkb = record(type, parts, &random);
        SCOPED_TRACE(wkb.toHex().toStdString() + ", seed " + std::to_string(seed()));
        ASSERT_EQ(readBits(wkb), bits(*shape));
        const quint32 written = type == 6 ? 3 : type == 5 && parts.size() == 1 ? 2 : type;
        if (type != 1 || !shape->isEmpty()) {
            ASSERT_EQ(shape->toWkb(), record(written, parts, nullptr));
            const QString text = shape->toWkt(); // further digits are lost only once
            ASSERT_EQ(Wkt::GisWktReader::read(text)->toWkt(), text);
        }
        for (qsizetype at = 0; at < wkb.size(); ++at) {
            ASSERT_TRUE(at == 0 || readBits(wkb.first(at)) == truncated) << at;
            for (const int flip : {0x01, 0x80, 0xff, 0x04}) {
                wkb[at] = static_cast<char>(wkb[at] ^ flip);
                ASSERT_THAT(readBits(wkb), testing::ContainsRegex("^(point|line|polygon|runtime.*WKB)"));
                wkb[at] = static_cast<char>(wkb[at] ^ flip);
            }
        }
    }
}

TEST(Wkb, SpecificReadersAcceptTheirOwnTypeOnly) {
    const auto expectOnly = [](quint32 own, const std::string& name, auto read) {
        for (const quint32 type : {1U, 2U, 3U, 5U, 6U}) {
            const QByteArray wkb = record(type, {{{1, 2}}}, nullptr);
            EXPECT_EQ(outcome([&] { return bits(read(wkb)); }),
                      type == own ? readBits(wkb) : "runtime_error: WKB geometry is not " + name + ".");
        }
    };
    expectOnly(1, "POINT", GisWkbReader::readPoint);
    expectOnly(2, "LINESTRING", GisWkbReader::readLineString);
    expectOnly(5, "MULTILINESTRING", GisWkbReader::readMultiLineString);
    expectOnly(3, "POLYGON", GisWkbReader::readPolygon);
    expectOnly(6, "MULTIPOLYGON", GisWkbReader::readMultiPolygon);
}

TEST(Wkb, CursorKeepsWithin32Bits) {
    const QByteArray header = QByteArray::fromHex("01ffffffff");
    const QByteArray huge = QByteArray::fromRawData(header.constData(), 3'000'000'000); // claims, is not read
    WkbCursor cursor(huge);
    EXPECT_EQ(readHeader(cursor).type, 0xffffffffU);
    EXPECT_THROW(cursor.readPoints(0xffffffffU, true), std::runtime_error);
    EXPECT_EQ(cursor.offset(), 5);
}

TEST(Wkb, CountriesReadInBothByteOrders) {
    GDALAllRegister();
    const GDALDatasetUniquePtr file(GDALDataset::Open(CARTOLITH_DATA_DIR "/world-countries.gpkg"));
    ASSERT_NE(file, nullptr);
    const auto exported = [](const OGRGeometry& geometry, OGRwkbByteOrder order) {
        QByteArray wkb(static_cast<qsizetype>(geometry.WkbSize()), Qt::Uninitialized);
        geometry.exportToWkb(order, reinterpret_cast<unsigned char*>(wkb.data()));
        return wkb;
    };
    for (const auto& feature : *file->GetLayer(0)) {
        OGRPolygon flat;
        for (const auto* polygon : *feature->GetGeometryRef()->toMultiPolygon()) {
            std::for_each(polygon->begin(), polygon->end(),
                          [&flat](const auto* ring) { flat.addRingDirectly(ring->clone()); });
        }
        for (const auto order : {wkbNDR, wkbXDR}) {
            const auto shape = GisWkbReader::read(exported(*feature->GetGeometryRef(), order));
            ASSERT_EQ(shape->toWkb(), exported(flat, wkbNDR));
        }
    }
}

TEST(Wkb, ShapesKeepTheirIdAndOnAThrowTheirGeometry) {
    GisShapePoint point(7, 8);
    GisShapePolyline line;
    GisShapePolygon polygon;
    const std::tuple<GisShape&, const char*, const char*, QByteArray, std::string> rows[] = {
        {point, "POINT (1 2)", "POINT (3)", polygon.toWkb(), "POINT"},
        {line, "LINESTRING (1 2, 3 4)", "MULTILINESTRING ((1 2), (3))", point.toWkb(), "a polyline"},
        {line, "MULTILINESTRING ((1 2, 3 4), (5 6, 7 8))", "LINESTRING (3)", polygon.toWkb(), "a polyline"},
        {polygon, "POLYGON ((0 0, 1 0, 0 0))", "MULTIPOLYGON (((0 0, 1 0)))", line.toWkb(), "a polygon"},
    };
    for (const auto& [shape, wkt, badWkt, badWkb, message] : rows) {
        shape.setId(3);
        shape.fromWkt(wkt);
        EXPECT_THROW(shape.fromWkt(badWkt), std::runtime_error);
        EXPECT_EQ(outcome([&shape = shape, &badWkb = badWkb] { return shape.fromWkb(badWkb), ""; }),
                  "runtime_error: WKB geometry is not " + message + ".");
        shape.fromWkb(shape.toWkb());
        EXPECT_EQ(shape.toWkt(), wkt);
        EXPECT_EQ(shape.id(), 3);
    }
    EXPECT_EQ(outcome([] { return GisShapePoint().toWkb().toStdString(); }),
              "runtime_error: POINT EMPTY cannot be written as standard OGC WKB.");
    EXPECT_EQ(GisShapePoint().toWkt(), "POINT EMPTY");
    EXPECT_EQ(shapeOf<GisShapePolyline>({{{1, 2}}})->toWkt(), "LINESTRING EMPTY");
}

} // namespace
