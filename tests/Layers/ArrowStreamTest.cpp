#include "Layers/ArrowRows.h"
#include "Layers/Saving.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <limits>

using namespace Cartolith::Core;
using Layers::GisArrowOptions;
using Layers::GisFeatureReader;
using Layers::GisLayerVector;
using Stream = test::Released<ArrowArrayStream>;

namespace {

using Values = QList<QVariant>;

/// A layer of points with one field.
std::unique_ptr<GisLayerVector> layerOf(const Values& values, std::optional<QMetaType::Type> declared = {}) {
    auto layer = GisLayerVector::createInMemory("t", Shapes::GisShapeType::Point, {});
    if (declared) {
        layer->addAttributeDefinition(Layers::Defs::GisAttributeDefinition("f", *declared));
    }
    for (const QVariant& value : values) {
        layer->addShape(test::shapeOf("POINT (1 2)", {{"f", value}}));
    }
    return layer;
}

void open(Stream& stream, GisLayerVector& layer, const GisArrowOptions& options = {}) {
    GisFeatureReader::toArrow(layer.read({}), stream, options);
}

QDateTime at(int hour, Qt::TimeSpec zone) {
    return QDateTime(QDate(2026, 1, 31), QTime(hour, 0, 0, 5), zone);
}

} // namespace

// Whatever a host puts into the attributes of its shapes comes out as it is, or not at all.
TEST(ArrowStream, GivesValuesOfTheColumnsTypeAndRefusesOthers) {
    using T = QMetaType;
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const QVariant beyond = QVariant::fromValue(std::numeric_limits<qulonglong>::max());
    const QDateTime east(QDate(2026, 1, 31), QTime(13, 0, 0, 5), Qt::OffsetFromUTC, 3600);
    const struct {
        const char* name;
        std::optional<QMetaType::Type> type;
        Values values;
        const char* format;
        Values given = {}; // empty: the values themselves
        const char* refused = nullptr;
    } rows[] = {
        {"logical", T::Bool, {true, QVariant(), false}, "b"},
        {"whole numbers", T::Int, {1, QVariant(), std::numeric_limits<int>::min()}, "i"},
        {"the same number in other types", T::Int, {2.0, true, qlonglong{3}, short{4}}, "i", {2, 1, 3, 4}},
        {"too large", T::Int, {qlonglong{1} << 31}, "i", {}, "2147483648 (qlonglong)"},
        {"not whole", T::LongLong, {0.5}, "l", {}, "0.5 (double)"},
        {"a zero with a sign", T::Int, {-0.0}, "i", {}, "0 (double)"},
        {"no logical value", T::Bool, {2}, "b", {}, "2 (int)"},
        {"beyond 64 bits", T::ULongLong, {qulonglong{7}, beyond}, "l", {}, "of feature 2 "},
        {"real", T::Double, {0.1, -0.0, QVariant()}, "g"},
        {"exactly as real", T::Double, {7, qlonglong{1} << 60}, "g", {7.0, std::ldexp(1.0, 60)}},
        {"not exactly as real", T::Double, {(qlonglong{1} << 53) + 1}, "g", {}, "9007199254740993"},
        {"no number at all", T::Double, {nan}, "g", {nan}},
        {"a text for a number", T::Int, {"7"}, "i", {}, "\"f\" of feature 1 cannot be handed out: QString"},
        {"texts", T::QString, {"", "Å\U0001D11E", QString(QChar(0)) + "b", QVariant()}, "u"},
        {"a number for a text", T::QString, {"a", 7}, "u", {}, "feature 2"},
        {"half a character", T::QString, {QString(QChar(0xD800))}, "u", {}, "surrogate"},
        {"bytes", T::QByteArray, {QByteArray("\0\xff", 2), QByteArray(""), QVariant()}, "z"},
        {"dates", T::QDate, {QDate(1969, 12, 31), QDate(9999, 1, 1), QVariant()}, "tdD"},
        {"no date", T::QDate, {QDate()}, "tdD", {QVariant()}},
        {"a date beyond all", T::QDate, {QDate::fromJulianDay(qint64{1} << 39)}, "tdD", {}, "32 bits"},
        {"a time of the day", T::QTime, {QTime(23, 59, 59, 999)}, "ttm"},
        {"moments", T::QDateTime, {at(12, Qt::UTC), east}, "tsm:UTC", {at(12, Qt::UTC), at(12, Qt::UTC)}},
        {"clocks", T::QDateTime, {QVariant(), at(12, Qt::LocalTime)}, "tsm:"},
        {"some with a zone", T::QDateTime, {at(12, Qt::LocalTime), east}, "tsm:", {}, "with a zone among some without"},
        {"texts in a list",
         T::QStringList,
         {QStringList{"a", ""}, QStringList(), QVariant()},
         "+l",
         {QVariantList{"a", ""}, QVariantList(), QVariant()}},
        {"numbers in a list", T::QVariantList, {QVariantList{1, QVariant()}, QVariantList{2}}, "+l"},
        {"real among them",
         T::QVariantList,
         {QVariantList{1}, QVariantList{0.5}},
         "+l",
         {QVariantList{1.0}, QVariantList{0.5}}},
        {"texts among them", T::QVariantList, {QVariantList{1}, QVariantList{"a"}}, "+l", {}, "feature 1"},
        {"not declared", {}, {QVariant(), qlonglong{5}, 6}, "l", {QVariant(), qlonglong{5}, qlonglong{6}}},
        {"no column for it", T::QVariantMap, {}, nullptr, {}, "\"f\" has values of type QVariantMap"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto layer = layerOf(row.values, row.type);
        Stream stream;
        if (row.format == nullptr) {
            EXPECT_THROW(open(stream, *layer), std::invalid_argument);
            EXPECT_EQ(stream.release, nullptr);
            continue;
        }
        open(stream, *layer);
        Values given;
        const int code = test::forEachBatch(stream, [&](const test::ArrowColumnView& batch) {
            EXPECT_EQ(batch.children().front().format(), row.format);
            for (qint64 i = 0; i < batch.length(); ++i) {
                given.append(batch.children().front().variant(i));
            }
        });
        EXPECT_EQ(code, row.refused != nullptr ? EINVAL : 0);
        if (row.refused != nullptr) {
            EXPECT_THAT(stream.get_last_error(&stream), testing::HasSubstr(row.refused));
            continue;
        }
        const Values& expected = row.given.isEmpty() ? row.values : row.given;
        ASSERT_EQ(given.size(), expected.size());
        for (qsizetype i = 0; i < given.size(); ++i) { // NaN is not equal, and -0.0 is
            EXPECT_EQ(given[i].typeId(), expected[i].typeId());
            EXPECT_TRUE(given[i] == expected[i]
                            ? std::signbit(given[i].toDouble()) == std::signbit(expected[i].toDouble())
                            : std::isnan(given[i].toDouble()) && std::isnan(expected[i].toDouble()));
        }
    }
    const auto mixed = layerOf({at(12, Qt::LocalTime), east}, T::QDateTime);
    GisArrowOptions options;
    options.dateTimes = GisArrowOptions::DateTimes::AsText;
    Stream stream;
    open(stream, *mixed, options);
    test::forEachBatch(stream, [&](const test::ArrowColumnView& batch) {
        EXPECT_EQ(batch.children()[0].variant(0), "2026-01-31T12:00:00.005");
        EXPECT_EQ(batch.children()[0].variant(1), "2026-01-31T13:00:00.005+01:00");
    });
}

// As the library's geometries go to any other program: several parts, holes wherever they stand, nothing at all.
TEST(ArrowStream, GivesGeometriesAsGeoArrowHasThem) {
    const struct {
        const char* shape;
        const char* given;
    } rows[] = {
        {"LINESTRING (0 0, 1 1)", "LINESTRING (0 0,1 1)"},
        {"MULTILINESTRING ((0 0, 1 1), (2 2, 3 3))", "MULTILINESTRING ((0 0,1 1),(2 2,3 3))"},
        {"LINESTRING (0 0, NaN NaN, 1 1)", "LINESTRING (0 0,1 1)"},
        {"POLYGON ((0 0, 4 0, 0 4, 0 0))", "POLYGON ((0 0,4 0,0 4,0 0))"},
        {"POLYGON ((0 0, 4 0, 0 4))", "POLYGON ((0 0,4 0,0 4,0 0))"},
        {"POLYGON ((5 5, 6 5, 5 6, 5 5), (0 0, 4 0, 0 4, 0 0), (1 1, 1 2, 2 1, 1 1))",
         "MULTIPOLYGON (((5 5,6 5,5 6,5 5)),((0 0,4 0,0 4,0 0),(1 1,1 2,2 1,1 1)))"},
        {"POLYGON ((7 7, 8 7, 7 8, 7 7))", "MULTIPOLYGON EMPTY"}, // after its host has emptied it
    };
    const auto layer = GisLayerVector::createInMemory("t", Shapes::GisShapeType::Polygon, {});
    for (const auto& row : rows) {
        layer->addShape(test::shapeOf(row.shape));
    }
    dynamic_cast<Shapes::GisShapePolygon&>(*layer->rawShapes().last()).parts().clear();
    for (const int code : {0, 32632}) {
        layer->setCoordinateSystem(code > 0 ? CoordinateSystems::CoordinateSystemFactory::fromEpsg(code) : nullptr);
        Stream stream;
        open(stream, *layer);
        test::Released<ArrowSchema> schema;
        ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
        EXPECT_STREQ(schema.children[0]->name, "geometry");
        QHash<QByteArray, QByteArray> metadata;
        const char* next = schema.children[0]->metadata;
        const auto number = [&next] {
            qint32 value = 0;
            std::memcpy(&value, std::exchange(next, next + 4), 4);
            return value;
        };
        const auto text = [&](qint32 size) { return QByteArray(std::exchange(next, next + size), size); };
        for (int pairs = number(); pairs > 0; --pairs) {
            const QByteArray key = text(number());
            metadata.insert(key, text(number()));
        }
        EXPECT_EQ(metadata.value("ARROW:extension:name"), "geoarrow.wkb");
        const QJsonObject crs = QJsonDocument::fromJson(metadata.value("ARROW:extension:metadata")).object();
        EXPECT_EQ(crs.value("crs").toObject().value("id").toObject().value("code").toInt(), code);
        EXPECT_EQ(crs.value("crs_type").toString(), code > 0 ? "projjson" : "");
        test::forEachBatch(stream, [&](const test::ArrowColumnView& batch) {
            for (qint64 i = 0; i < batch.length(); ++i) {
                const QByteArray wkb = batch.children()[0].variant(i).toByteArray();
                OGRGeometry* read = nullptr;
                ASSERT_EQ(OGRGeometryFactory::createFromWkb(wkb.constData(), nullptr, &read,
                                                            static_cast<std::size_t>(wkb.size())),
                          OGRERR_NONE);
                const std::unique_ptr<OGRGeometry> geometry(read);
                EXPECT_EQ(geometry->exportToWkt(), rows[i].given);
                EXPECT_EQ(wkb[0], 1); // little-endian
            }
        });
    }
}

// The consumer has the say about when what goes.
TEST(ArrowStream, LetsGoInAnyOrder) {
    auto layer = layerOf({QStringList{"a", "b"}, QStringList{"c"}, QVariant()}, QMetaType::QStringList);
    const GisArrowOptions options{"geometry", "id", 2, 1 << 20, {}};
    Stream first;
    open(first, *layer, options);
    Stream moved;
    static_cast<ArrowArrayStream&>(moved) = std::exchange(static_cast<ArrowArrayStream&>(first), {});
    test::Released<ArrowSchema> schema;
    test::Released<ArrowArray> batches[3];
    ASSERT_EQ(moved.get_schema(&moved, &schema), 0);
    for (auto& batch : batches) {
        ASSERT_EQ(moved.get_next(&moved, &batch), 0);
    }
    EXPECT_EQ(batches[2].release, nullptr); // the end
    moved.let();
    layer.reset();
    { // a child goes on alone
        test::Released<ArrowArray> list;
        test::Released<ArrowSchema> type;
        static_cast<ArrowArray&>(list) = std::exchange(*batches[0].children[1], {});
        static_cast<ArrowSchema&>(type) = std::exchange(*schema.children[1], {});
        batches[0].let();
        schema.let();
        EXPECT_EQ(test::ArrowColumnView(type, list).variant(0), QVariant(QVariantList{"a", "b"}));
    }
    EXPECT_EQ(batches[1].length, 1);

    layer = layerOf({1, 2, 3, 4});
    std::weak_ptr<GisFeatureReader> known;
    {
        Stream begun;
        const std::shared_ptr<GisFeatureReader> reader = layer->read({});
        known = reader;
        GisFeatureReader::toArrow(reader, begun, options);
        test::Released<ArrowArray> batch;
        EXPECT_EQ(begun.get_next(&begun, &batch), 0);
        EXPECT_EQ(batch.length, 2);
    }
    EXPECT_TRUE(known.expired());
}

TEST(ArrowStream, KeepsBatchesWithinTheirBounds) {
    const auto layer = layerOf(Values(100, QString(1000, QChar(0xE5))));
    for (const auto& [rows, bytes, most] : {std::tuple(30, 1 << 20, 30), {1000, 10'000, 5}, {1000, 1, 1}}) {
        Stream stream;
        open(stream, *layer, {"geometry", {}, rows, bytes, {}});
        qint64 all = 0;
        test::forEachBatch(stream, [&, most = most](const test::ArrowColumnView& batch) {
            all += batch.length();
            EXPECT_TRUE(batch.length() == most || (all == 100 && batch.length() < most)) << batch.length();
        });
        EXPECT_EQ(all, 100);
    }
}

TEST(ArrowStream, SaysWhatIsWrong) {
    const auto layer = layerOf({1, 2, 3});
    const struct {
        const char* name;
        GisArrowOptions options;
    } rows[] = {
        {"no rows", {"geometry", {}, 0, 1, {}}},
        {"too many rows", {"geometry", {}, qint64{1} << 31, 1, {}}},
        {"no bytes", {"geometry", {}, 1, 0, {}}},
        {"too many bytes", {"geometry", {}, 1, (1 << 30) + 1, {}}},
        {"ids as a field", {"geometry", "f", 1, 1, {}}},
        {"geometries as a field", {"f", {}, 1, 1, {}}},
        {"half a name", {QString("a") + QChar(0) + "b", {}, 1, 1, {}}},
    };
    for (const auto& row : rows) {
        Stream stream;
        EXPECT_THROW(open(stream, *layer, row.options), std::invalid_argument) << row.name;
    }
    Stream none;
    EXPECT_THROW(GisFeatureReader::toArrow(nullptr, none), std::invalid_argument);

    for (const bool isCancelled : {false, true}) {
        Stream stream;
        const std::shared_ptr<GisFeatureReader> reader = layer->read({});
        GisFeatureReader::toArrow(reader, stream, {"geometry", {}, 1, 1, {}});
        test::Released<ArrowArray> batch;
        ASSERT_EQ(stream.get_next(&stream, &batch), 0);
        EXPECT_EQ(stream.get_last_error(&stream), nullptr);
        isCancelled ? reader->cancel() : layer->clearShapes();
        for (int again = 0; again < 2; ++again) {
            test::Released<ArrowArray> other;
            EXPECT_EQ(stream.get_next(&stream, &other), isCancelled ? ECANCELED : EIO);
            EXPECT_EQ(other.release, nullptr);
            EXPECT_THAT(stream.get_last_error(&stream), testing::HasSubstr(isCancelled ? "cancelled" : "was changed"));
        }
        layer->addShape(test::shapeOf("POINT (1 2)"));
    }
}
