#include "../TestSeed.h"
#include "Layers/ArrowRows.h"
#include "Layers/RandomFilters.h"
#include "Layers/Saving.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Serialization/GisWkbReader.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <random>
#include <thread>

using namespace Cartolith::Core;
using Layers::GisFeatureFilter;
using Layers::GisFeatureReader;
using Layers::GisFeatureRequest;
using Layers::GisLayerOgrVector;
using Shapes::GisExtent;
using test::draw;
using State = GisFeatureReader::State;

namespace {

/// A feature of an answer as a text.
QString feature(qint64 id, const QHash<QString, QVariant>& attributes, const Shapes::GisShape* shape) {
    QStringList values;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        values.append(QStringLiteral("%1=%2:%3").arg(it.key(), it->typeName(), it->toString()));
    }
    values.sort();
    return QStringLiteral("%1 {%2} %3").arg(id).arg(values.join("|"), shape ? shape->toWkt() : QString("-"));
}

QStringList answer(GisFeatureReader& reader) {
    QStringList features;
    for (bool isTaken = false; reader.next(); isTaken = !isTaken) {
        const auto attributes = reader.attributes();
        const auto shape = isTaken ? reader.takeShape() : nullptr;
        features.append(feature(reader.featureId(), attributes, isTaken ? shape.get() : reader.shape()));
        EXPECT_EQ(reader.attributes(), attributes);
    }
    EXPECT_EQ(reader.state(), State::AtEnd);
    return features;
}

/// The same through Arrow.
QStringList arrowAnswer(std::unique_ptr<GisFeatureReader> reader) {
    test::Released<ArrowArrayStream> stream;
    GisFeatureReader::toArrow(std::move(reader), stream, {"ge\"om", "i'd", 7, 1 << 20, {}});
    QStringList features;
    const int code = test::forEachBatch(stream, [&](const test::ArrowColumnView& batch) {
        for (qint64 row = 0; row < batch.length(); ++row) {
            QHash<QString, QVariant> attributes;
            qint64 id = 0;
            std::unique_ptr<Shapes::GisShape> shape;
            for (const test::ArrowColumnView& column : batch.children()) {
                const QVariant value = column.variant(row);
                if (column.name() == "i'd") {
                    id = value.toLongLong();
                } else if (column.name() == "ge\"om") {
                    shape = Serialization::Wkb::GisWkbReader::read(value.toByteArray());
                } else if (value.isValid()) {
                    attributes.insert(column.name(), value);
                }
            }
            features.append(feature(id, attributes, shape.get()));
        }
    });
    EXPECT_EQ(code, 0) << stream.get_last_error(&stream);
    return features;
}

QStringList ofLayer(GisLayerOgrVector& layer, const GisFeatureRequest& request) {
    return answer(*layer.read(request));
}

QStringList ofSource(const QString& path, const GisFeatureRequest& request) {
    return answer(*GisFeatureReader::fromSource(path, {}, request));
}

/// The same from the layer's shapes, one after the other.
QStringList plainAnswer(const GisLayerOgrVector& layer, const GisFeatureRequest& request) {
    std::vector<int> rows;
    const QList<qint64> ids = layer.sourceFeatureIds();
    for (int row = 0; row < layer.count(); ++row) {
        const Shapes::GisShape& shape = *layer.items()[static_cast<std::size_t>(row)];
        if ((!request.extent || shape.intersects(*request.extent)) && request.filter.matches(shape) &&
            (!request.featureIds || request.featureIds->contains(ids.at(row)))) {
            rows.push_back(row);
        }
    }
    for (auto key = request.order.crbegin(); key != request.order.crend(); ++key) {
        std::stable_sort(rows.begin(), rows.end(), [&](int a, int b) {
            const QVariant one = layer.attributeValueForRow(a, key->field);
            const QVariant other = layer.attributeValueForRow(b, key->field);
            if (!one.isValid() || !other.isValid()) {
                return one.isValid();
            }
            const auto codes = [](const QVariant& value) { return value.toString().toStdU32String(); };
            const std::partial_ordering order =
                one.typeId() == QMetaType::QString  ? std::partial_ordering(codes(one) <=> codes(other))
                : one.typeId() == QMetaType::Double ? one.toDouble() <=> other.toDouble()
                                                    : std::partial_ordering(one.toLongLong() <=> other.toLongLong());
            return key->direction == Qt::AscendingOrder ? order < 0 : order > 0;
        });
    }
    QStringList features;
    for (const int row : rows) {
        const Shapes::GisShape& shape = *layer.items()[static_cast<std::size_t>(row)];
        QHash<QString, QVariant> attributes = shape.attributes();
        if (request.fields) {
            attributes.removeIf([&](const auto& it) { return !request.fields->contains(it.key()); });
        }
        const auto simplified = shape.simplify(request.tolerance);
        const bool isSimplified = request.tolerance > 0.0 && simplified && !simplified->isEmpty();
        const bool isWanted = request.geometry == GisFeatureRequest::Geometry::Wanted;
        features.append(feature(ids.at(row), attributes,
                                !isWanted      ? nullptr
                                : isSimplified ? simplified.get()
                                               : &shape));
    }
    return request.limit ? features.mid(0, static_cast<qsizetype>(*request.limit)) : features;
}

class GisFeatureReaderTest : public test::InAFolder {
protected:
    static const QStringList fields;
    static const QStringList texts;

    /// Rows of all kinds, some without geometry where the format has such.
    QString make(const QString& suffix, int rows, std::mt19937& random) const {
        GDALAllRegister();
        static const QHash<QString, const char*> drivers{{"gpkg", "GPKG"},
                                                         {"sqlite", "SQLite"},
                                                         {"geojson", "GeoJSON"},
                                                         {"fgb", "FlatGeobuf"},
                                                         {"shp", "ESRI Shapefile"}};
        const QString path = at("t." + suffix);
        const bool isShapefile = suffix == "shp";
        const GDALDatasetUniquePtr source(GetGDALDriverManager()
                                              ->GetDriverByName(drivers.value(suffix))
                                              ->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
        const char* options[] = {suffix == "sqlite" ? "LAUNDER=NO" : "SPATIAL_INDEX=YES", nullptr};
        OGRSpatialReference system;
        system.importFromEPSG(32632);
        OGRLayer& layer = *source->CreateLayer("t\"'x", &system, isShapefile ? wkbMultiPoint : wkbUnknown,
                                               const_cast<char**>(options));
        const OGRFieldType types[] = {OFTInteger, OFTInteger64, OFTReal,    OFTString,
                                      OFTString,  OFTDate,      OFTInteger, OFTDateTime};
        for (int i = 0; i < fields.size(); ++i) {
            OGRFieldDefn field(fields[i].toUtf8().constData(), types[i]);
            field.SetSubType(fields[i] == "is" ? OFSTBoolean : OFSTNone);
            if (!isShapefile || field.GetType() != OFTDateTime) {
                EXPECT_EQ(layer.CreateField(&field), OGRERR_NONE);
            }
        }
        EXPECT_EQ(layer.StartTransaction(), OGRERR_NONE);
        for (int i = 0; i < rows; ++i) {
            addRow(layer, random, suffix);
        }
        EXPECT_EQ(layer.CommitTransaction(), OGRERR_NONE);
        return path;
    }

    static void addRow(OGRLayer& layer, std::mt19937& random, const QString& suffix) {
        OGRFeature row(layer.GetLayerDefn());
        const auto is = [&] { return draw(random, 5) != 0; };
        for (int i = 0; i < row.GetFieldCount(); ++i) {
            const OGRFieldDefn& field = *row.GetFieldDefnRef(i);
            if (!is()) {
                continue;
            }
            if (field.GetSubType() == OFSTBoolean) {
                row.SetField(i, draw(random, 2));
            } else if (field.GetType() == OFTInteger) {
                row.SetField(i, draw(random, 12));
            } else if (field.GetType() == OFTInteger64) {
                row.SetField(i, GIntBig{9007199254740990} + draw(random, 6));
            } else if (field.GetType() == OFTReal) {
                const double reals[] = {0.0, -0.5, 0.1, 10.0, 1234.5678, 9007199254740992.0};
                row.SetField(i, reals[draw(random, suffix == "shp" ? 4 : 6)]);
            } else if (field.GetType() == OFTString) {
                row.SetField(i, texts.at(draw(random, static_cast<int>(texts.size()))).toUtf8().constData());
            } else {
                row.SetField(i, 2020 + draw(random, 3), 2, 28, 12, 0, 0, 100);
            }
        }
        if (is() || suffix == "fgb") {
            row.SetGeometryDirectly(geometry(random, suffix == "shp"));
        }
        ASSERT_EQ(layer.CreateFeature(&row), OGRERR_NONE);
    }

    static OGRGeometry* geometry(std::mt19937& random, bool isPoints) {
        const double x = draw(random, 100);
        const double y = draw(random, 100);
        const double size = draw(random, 20);
        char wkt[300];
        switch (isPoints ? 3 : draw(random, 4)) {
        case 0: std::snprintf(wkt, sizeof wkt, "POINT (%.17g %.17g)", x, y); break;
        case 1: // of which the box meets more than the line does
            std::snprintf(wkt, sizeof wkt, "LINESTRING (%.17g %.17g, %.17g %.17g, %.17g %.17g)", x, y, x + size,
                          y + 0.01, x + size, y + size);
            break;
        case 2:
            std::snprintf(wkt, sizeof wkt, "POLYGON ((%.17g %.17g, %.17g %.17g, %.17g %.17g, %.17g %.17g))", x, y,
                          x + size + 1, y, x, y + size + 1, x, y);
            break;
        default: std::snprintf(wkt, sizeof wkt, "MULTIPOINT ((%.17g %.17g), (%.17g %.17g))", x, y, x + size, y + size);
        }
        OGRGeometry* made = nullptr;
        OGRGeometryFactory::createFromWkt(wkt, nullptr, &made);
        return made;
    }

    static GisFeatureRequest randomRequest(std::mt19937& random, test::RandomFilters& filters, int rows) {
        GisFeatureRequest request;
        const auto is = [&](int share) { return draw(random, share) == 0; };
        if (is(2)) {
            const double x = draw(random, 100);
            const double y = draw(random, 100);
            const double odd[] = {-HUGE_VAL, HUGE_VAL, std::nan(""), -1e308, 1e308, 1e-320, x, y};
            request.extent = is(5) ? GisExtent(odd[draw(random, 8)], odd[draw(random, 8)], odd[draw(random, 8)],
                                               odd[draw(random, 8)])
                                   : GisExtent(x, y, x + draw(random, 30), y + draw(random, 30));
        }
        if (!is(3)) {
            request.filter = filters.next();
        }
        if (is(4)) {
            request.featureIds.emplace();
            for (int i = draw(random, 40); i > 0; --i) {
                request.featureIds->append(draw(random, rows * 2) - 1 - (is(4) ? qint64{1} << 32 : 0));
            }
        }
        if (is(2)) {
            request.fields.emplace();
            for (int i = draw(random, 3); i > 0; --i) {
                request.fields->append(filters.pick(fields));
            }
        }
        for (int i = is(2) ? draw(random, 3) : 0; i > 0; --i) {
            const char* const keys[] = {"n", "big", "x", "t", "is"};
            request.order.append({keys[draw(random, 5)], is(2) ? Qt::AscendingOrder : Qt::DescendingOrder});
        }
        if (is(3)) {
            request.limit = draw(random, 20);
        }
        request.tolerance = is(3) ? 3.0 : 0.0;
        request.geometry = is(5) ? GisFeatureRequest::Geometry::NotWanted : GisFeatureRequest::Geometry::Wanted;
        return request;
    }

    /// The layer in memory and the source give what a plain loop finds.
    void compare(const QString& path, int rows, int requests, std::mt19937& random) const {
        GisLayerOgrVector layer(path);
        layer.open();
        ASSERT_GT(layer.count(), rows / 2);
        test::RandomFilters filters(random, fields + QStringList{"missing"},
                                    {0, 5, 7, 0.1, 10.0, -0.5, QVariant::fromValue<qlonglong>(9007199254740993),
                                     9007199254740992.0, true, QVariant(), "10", "a", "Ärger", "x' OR 1=1 --",
                                     "2021-02-28", QDate(2021, 2, 28), QString(QChar(0xD800)), "\"t\""});
        qsizetype given = 0;
        for (int i = 0; i < requests; ++i) {
            const GisFeatureRequest request = randomRequest(random, filters, rows);
            SCOPED_TRACE(QStringLiteral("request %1 of seed %2: %3")
                             .arg(i)
                             .arg(test::seed())
                             .arg(request.filter.toText())
                             .toStdString());
            const QStringList expected = plainAnswer(layer, request);
            ASSERT_EQ(ofLayer(layer, request), expected);
            ASSERT_EQ(ofSource(path, request), expected);
            ASSERT_EQ(arrowAnswer(i % 2 == 0 ? layer.read(request) : GisFeatureReader::fromSource(path, {}, request)),
                      expected);
            given += expected.size();
        }
        EXPECT_GT(given, requests);
    }
};

const QStringList GisFeatureReaderTest::fields{"n", "big", "x", "t", "se\"l'", "day", "is", "when"};
const QStringList GisFeatureReaderTest::texts{
    "", "a", "A", "ärger", "Ärger", "10", "9", "007", "a%b_", "x' OR 1=1 --", "ö", "2021-02-28", "☃", "\"t\""};

class OfEachFormat : public GisFeatureReaderTest, public testing::WithParamInterface<const char*> {};

} // namespace

TEST_P(OfEachFormat, AnswersAsAPlainLoop) {
    std::mt19937 random(test::seed());
    const QString path = make(GetParam(), 200, random);
    compare(path, 200, 150, random);
}

INSTANTIATE_TEST_SUITE_P(GisFeatureReader, OfEachFormat, testing::Values("gpkg", "sqlite", "geojson", "fgb", "shp"),
                         [](const auto& row) { return std::string(row.param); });

// SQLite keeps whatever it is given.
TEST_F(GisFeatureReaderTest, AnswersOfColumnsWithOtherTypesThanTheyDeclare) {
    for (const char* const suffix : {"gpkg", "sqlite"}) {
        SCOPED_TRACE(suffix);
        std::mt19937 random(test::seed());
        const QString path = make(suffix, 150, random);
        const QString key = QLatin1String(suffix) == QLatin1String("gpkg") ? "fid" : "ogc_fid";
        const char* const odd[] = {"n = '7up'",   "n = 5000000000", "n = 7.5",
                                   "is_ = 2",     "big = 'x'",      "x = 'ten'",
                                   "x = x'3130'", "t = 10",         "t = 'a'||char(0)||'b'",
                                   "t = x'61'",   "day = 'none'",   "\"se\"\"l'\" = x'61FF62'"};
        {
            const GDALDatasetUniquePtr source = test::openToWrite(path);
            int row = 1;
            for (const char* const change : odd) {
                const QString set = QString(change).replace("is_", "\"is\"");
                for (int i = 0; i < 5; ++i, row += 2) {
                    test::execute(*source, QStringLiteral("UPDATE \"t\"\"'x\" SET %1 WHERE %2 = %3")
                                               .arg(set, key)
                                               .arg(row)
                                               .toUtf8()
                                               .constData());
                }
            }
        }
        compare(path, 100, 100, random);
    }
}

// Whoever looks for what a picture shows has the extent in the system of the map.
TEST_F(GisFeatureReaderTest, TakesExtentAndShapesToAnotherSystem) {
    using CoordinateSystems::CoordinateSystemFactory;
    std::mt19937 random(test::seed());
    const QString path = make("gpkg", 200, random);
    GisLayerOgrVector layer(path);
    layer.open();
    const struct {
        const char* name;
        int code;
        double unit; // about a metre
    } rows[] = {
        {"degrees", 4326, 1e-5},
        {"turned", 3995, 1.0},
        {"the same", 32632, 1.0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        GisFeatureRequest request;
        request.coordinateSystem = CoordinateSystemFactory::fromEpsg(row.code);
        const CoordinateSystems::CoordinateTransformer transformer(*layer.coordinateSystem(),
                                                                   *request.coordinateSystem);
        qsizetype all = 0;
        for (int i = 0; i < 20; ++i) {
            const auto place = transformer.transform(Shapes::GisShapePoint(draw(random, 100), draw(random, 100)));
            const double size = draw(random, 30) * row.unit;
            request.extent = GisExtent(place.x(), place.y(), place.x() + size, place.y() + size);
            const QStringList found = ofLayer(layer, request);
            EXPECT_EQ(found, ofSource(path, request));
            // A box may meet in one system and not in the other; what is a point does in both.
            qsizetype known = 0;
            for (const auto& shape : layer.items()) {
                const auto moved = transformer.transformShape(*shape);
                const bool meets = moved->intersects(*request.extent);
                const bool isPoint = shape->shapeType() == Shapes::GisShapeType::Point;
                const bool isFound =
                    found.contains(feature(*layer.featureId(*shape), shape->attributes(), moved.get()));
                known += isFound ? 1 : 0;
                EXPECT_TRUE(isFound == meets || (meets && !isPoint)) << qPrintable(moved->toWkt());
            }
            EXPECT_GE(known, found.size());
            all += found.size();
        }
        EXPECT_GT(all, 20);
    }
    GisFeatureRequest request; // a place from which none leads to the layer's zone
    request.coordinateSystem = CoordinateSystemFactory::fromEpsg(4326);
    request.extent = GisExtent(-180, -90, 180, 90);
    EXPECT_EQ(ofSource(path, request).size(), layer.count());
    EXPECT_EQ(layer.read(request)->coordinateSystem(), request.coordinateSystem);
    EXPECT_NEAR(GisFeatureRequest::toleranceForScale(1000.0, *layer.coordinateSystem()), 0.1323, 1e-4);
    EXPECT_NEAR(GisFeatureRequest::toleranceForScale(1000.0, *request.coordinateSystem), 1.1884e-6, 1e-10);
    EXPECT_EQ(GisFeatureRequest::toleranceForScale(-1.0, *request.coordinateSystem), 0.0);
}

TEST_F(GisFeatureReaderTest, LeavesOutWhatHasNoPlaceInTheOtherSystem) {
    auto layer = Layers::GisLayerVector::createInMemory("t", Shapes::GisShapeType::Point, {});
    GisFeatureRequest request;
    request.coordinateSystem = CoordinateSystems::CoordinateSystemFactory::fromEpsg(3857);
    EXPECT_THROW(layer->read(request), std::runtime_error); // from where?
    layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(4326));
    layer->addPoint(Shapes::GisShapePoint(0, 1e30));
    layer->addPoint(Shapes::GisShapePoint(12, 57));
    const auto reader = layer->read(request);
    ASSERT_TRUE(reader->next());
    EXPECT_EQ(reader->featureId(), 2);
    EXPECT_FALSE(reader->next());
    EXPECT_EQ(reader->untransformedCount(), 1);
}

TEST_F(GisFeatureReaderTest, EndsWhenItIsCancelled) {
    std::mt19937 random(test::seed());
    for (const char* const suffix : {"gpkg", "fgb", "shp"}) {
        SCOPED_TRACE(suffix);
        const QString path = make(suffix, 50, random);
        GisLayerOgrVector layer(path);
        layer.open();
        for (const bool isOrdered : {false, true}) {
            GisFeatureRequest request;
            request.order = isOrdered ? QList<GisFeatureRequest::Order>{{"n"}} : QList<GisFeatureRequest::Order>{};
            request.filter = GisFeatureFilter::fromText("n >= 0 OR n IS NULL");
            for (const auto& reader :
                 {layer.read(request).release(), GisFeatureReader::fromSource(path, {}, request).release()}) {
                const std::unique_ptr<GisFeatureReader> owned(reader);
                EXPECT_TRUE(reader->next());
                std::thread([reader] { reader->cancel(); }).join();
                EXPECT_FALSE(reader->next());
                EXPECT_EQ(reader->state(), State::Cancelled);
                EXPECT_EQ(reader->attributes().size(), 0);
            }
        }
        const auto reader = GisFeatureReader::fromSource(path, {}, {});
        reader->cancel();
        EXPECT_FALSE(reader->next());
        EXPECT_EQ(reader->state(), State::Cancelled);
    }
    // A statement that does not end of itself, behind its first row.
    for (const char* const suffix : {"gpkg", "sqlite"}) {
        SCOPED_TRACE(suffix);
        const QString path = make(suffix, 1, random);
        test::execute(*test::openToWrite(path),
                      "CREATE VIEW slow AS SELECT 1 AS OGC_FID, 1 AS n UNION ALL SELECT x, x FROM (WITH RECURSIVE "
                      "c(x) AS (SELECT 2 UNION ALL SELECT x + 1 FROM c) SELECT x FROM c WHERE x < 0)");
        if (suffix == std::string("gpkg")) {
            test::execute(*test::openToWrite(path),
                          "INSERT INTO gpkg_contents (table_name, identifier, data_type, srs_id) SELECT 'slow', "
                          "'slow', 'attributes', srs_id FROM gpkg_contents LIMIT 1");
        }
        const auto reader = GisFeatureReader::fromSource(path, "slow", {});
        std::atomic<bool> isBack = false;
        std::thread other([&] {
            while (!isBack) {
                reader->cancel();
                std::this_thread::yield();
            }
        });
        EXPECT_FALSE(reader->next());
        isBack = true;
        other.join();
        EXPECT_EQ(reader->state(), State::Cancelled);
    }
}

TEST_F(GisFeatureReaderTest, EndsWhenItIsCancelledWithinASimplification) {
    auto stairs = std::make_unique<Shapes::GisShapePolyline>(); // simplified in seconds
    stairs->parts().emplaceBack();
    for (int i = 0; i < 120'000; ++i) {
        stairs->parts()[0].emplaceBack(1.5 * ((i + 1) / 2), 1.5 * (i / 2));
    }
    auto layer = Layers::GisLayerVector::createInMemory("t", Shapes::GisShapeType::Polyline, {});
    ASSERT_TRUE(layer->addShape(std::move(stairs)));
    GisFeatureRequest request;
    request.tolerance = 0.8;
    const auto reader = layer->read(request);
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        reader->cancel();
    });
    EXPECT_FALSE(reader->next());
    other.join();
    EXPECT_EQ(reader->state(), State::Cancelled);
}

TEST_F(GisFeatureReaderTest, SaysWhatIsWrong) {
    std::mt19937 random(test::seed());
    const QString path = make("fgb", 300, random);
    GisFeatureRequest request;
    GisLayerOgrVector whole(path);
    ASSERT_TRUE(whole.open());
    request.order = {{"n"}};
    const auto ordered = whole.read(request);
    ASSERT_TRUE(ordered->next());
    whole.clearShapes();
    EXPECT_THROW(ordered->next(), std::runtime_error) << "its shapes have gone";
    request.order = {};
    request.limit = -1;
    EXPECT_THROW(GisFeatureReader::fromSource(path, {}, request), std::invalid_argument);
    request = {};
    request.tolerance = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(GisFeatureReader::fromSource(path, {}, request), std::invalid_argument);
    EXPECT_THROW(GisFeatureReader::fromSource(at("none.gpkg"), {}, {}), std::runtime_error);
    EXPECT_THROW(GisFeatureReader::fromSource(path, "none", {}), std::runtime_error);

    const auto fails = [](GisFeatureReader& reader, const char* reason) {
        try {
            while (reader.next()) {
            }
            ADD_FAILURE() << "it ended well";
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(reason), std::string::npos) << error.what();
            EXPECT_EQ(reader.reason(), QString::fromUtf8(error.what()));
        }
        EXPECT_EQ(reader.state(), State::Failed);
        EXPECT_FALSE(reader.next());
    };
    GisLayerOgrVector layer(path);
    layer.open();
    const auto ofLayer = layer.read({});
    EXPECT_TRUE(ofLayer->next());
    layer.addPoint(Shapes::GisShapePoint(1, 1));
    fails(*ofLayer, "was changed");

    QFile file(path);
    file.resize(file.size() - 2000);
    fails(*GisFeatureReader::fromSource(path, {}, {}), "t.fgb");

    const QString table = make("gpkg", 5000, random);
    const auto ofSource = GisFeatureReader::fromSource(table, {}, {});
    test::execute(*test::openToWrite(table), "DROP TABLE \"t\"\"'x\"");
    fails(*ofSource, "t.gpkg");
}
