#include "Layers/Saving.h"
#include "TestSeed.h"

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>

#include <QFileInfo>
#include <cpl_vsi.h>

#include <atomic>
#include <functional>
#include <map>
#include <random>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>

using namespace Cartolith::Core;
using Layers::GisLayerOgrOnDemand;
using Layers::GisLayerOgrVector;
using Layers::GisLayerVector;
using Shapes::GisExtent;
using Shapes::GisShape;
using test::shapeOf;
using testing::HasSubstr;
using Reading = GisLayerOgrOnDemand::Reading;

namespace {

QString nameOf(const GisShape& shape) {
    return shape.attributeValue("name").toString();
}

/// What a layer answers, for comparison: id, geometry and values of each shape, in the order of ids.
QStringList textsOf(const GisLayerVector& layer, const QList<GisShape*>& shapes) {
    QStringList texts;
    for (const GisShape* shape : shapes) {
        const auto id = layer.featureId(*shape);
        texts.append(QString("%1 %2 %3 %4")
                         .arg(id ? QString::number(*id) : "new", 12)
                         .arg(shape->toWkt(), nameOf(*shape), shape->attributeValue("n").toString()));
    }
    texts.sort();
    return texts;
}

class OnDemand : public test::InAFolder {
protected:
    /// Triangles, whose boxes meet more than they do, points in groups, and lines; of one kind for suffixes
    /// that take no more.
    QString make(const QString& suffix, int count = 300, OGRFieldType number = OFTInteger64) const {
        const std::map<QString, const char*> drivers{{"gpkg", "GPKG"},          {"sqlite", "SQLite"},
                                                     {"fgb", "FlatGeobuf"},     {"geojson", "GeoJSON"},
                                                     {"shp", "ESRI Shapefile"}, {"csv", "CSV"}};
        const QString path = at("data." + suffix);
        GDALAllRegister();
        GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName(drivers.at(suffix));
        const GDALDatasetUniquePtr source(driver->Create(path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
        const char* asWkt[] = {"GEOMETRY=AS_WKT", nullptr};
        OGRLayer* const layer = source->CreateLayer("data", nullptr, suffix == "shp" ? wkbPolygon : wkbUnknown,
                                                    suffix == "csv" ? const_cast<char**>(asWkt) : nullptr);
        OGRFieldDefn n("n", number);
        OGRFieldDefn name("name", OFTString);
        EXPECT_EQ(layer->CreateField(&n) + layer->CreateField(&name), 0);
        source->StartTransaction();
        std::mt19937 random(test::seed());
        for (int i = 0; i < count; ++i) {
            const int x = static_cast<int>(random() % 1000);
            const int y = static_cast<int>(random() % 1000);
            const QString text = suffix == "shp" || i % 3 == 0 ? "POLYGON ((%1 %2, %3 %2, %1 %4, %1 %2))"
                                 : i % 3 == 1                  ? "MULTIPOINT ((%1 %2), (%3 %4))"
                                                               : "LINESTRING (%1 %2, %3 %4)";
            OGRGeometry* geometry = nullptr;
            OGRGeometryFactory::createFromWkt(text.arg(x).arg(y).arg(x + 60).arg(y + 60).toUtf8().constData(), nullptr,
                                              &geometry);
            OGRFeature feature(layer->GetLayerDefn());
            feature.SetGeometryDirectly(geometry);
            feature.SetField("n", i * 1000);
            feature.SetField("name", QString("p%1").arg(i).toUtf8().constData());
            EXPECT_EQ(layer->CreateFeature(&feature), OGRERR_NONE);
        }
        source->CommitTransaction();
        return path;
    }
};

GisExtent randomExtent(std::mt19937& random) {
    const double x = static_cast<double>(random() % 1100) - 20.0;
    const double y = static_cast<double>(random() % 1100) - 20.0;
    const double width = random() % 10 == 0 ? 2000.0 : static_cast<double>(random() % 120);
    return {x, y, x + width, y + width};
}

void expectSameAnswers(GisLayerOgrOnDemand& layer, GisLayerVector& whole, std::mt19937& random, int rounds) {
    for (int i = 0; i < rounds; ++i) {
        const GisExtent extent = randomExtent(random);
        const auto found = layer.query(extent);
        ASSERT_EQ(textsOf(layer, found), textsOf(whole, whole.query(extent))) << extent.toString().toStdString();
        for (int level = 1; i % 10 == 0 && level < 3; ++level) {
            ASSERT_EQ(layer.queryLod(extent, level).size(), whole.queryLod(extent, level).size());
        }
        const Shapes::GisShapePoint point(extent.xMin(), extent.yMin());
        const GisShape* const ours = layer.findShapeAt(point, 5.0);
        const GisShape* const theirs = whole.findShapeAt(point, 5.0);
        ASSERT_EQ(ours != nullptr ? nameOf(*ours) : "-", theirs != nullptr ? nameOf(*theirs) : "-");
    }
}

} // namespace

TEST_F(OnDemand, AnswersAsALayerReadWhole) {
    for (const QString row : {"gpkg", "fgb", "fgb by ids", "sqlite", "geojson", "shp", "csv"}) {
        SCOPED_TRACE(row.toStdString());
        const QString suffix = row.section(' ', 0, 0);
        QFile::remove(at("data.fgb"));
        const QString path = make(suffix, 300, row == suffix ? OFTInteger64 : OFTInteger);
        GisLayerOgrVector whole(path);
        GisLayerOgrOnDemand layer(path);
        ASSERT_TRUE(whole.open() && layer.open());
        EXPECT_EQ(layer.isIndexed(), suffix == "gpkg" || suffix == "fgb");
        EXPECT_EQ(layer.hasStableFeatureIds(), suffix == "gpkg" || suffix == "sqlite");
        EXPECT_EQ(whole.hasStableFeatureIds(), layer.hasStableFeatureIds());
        EXPECT_EQ(layer.featureCount(), 300);
        for (const qint64 budget : {256LL << 20, 300'000LL}) { // all of it, and one window
            ASSERT_TRUE(layer.open());
            layer.setCacheBudget(budget);
            std::mt19937 random(test::seed());
            expectSameAnswers(layer, whole, random, 100);
            const GisShape* const shape = layer.shapeForFeatureId(*whole.featureId(*whole.getShape(17)));
            ASSERT_NE(shape, nullptr);
            EXPECT_EQ(nameOf(*shape), nameOf(*whole.getShape(17)));
            EXPECT_EQ(layer.shapeForFeatureId(123'456), nullptr);
            EXPECT_EQ(layer.shapeForFeatureId(1 - (qint64{1} << 32)), nullptr);
        }
    }
}

TEST_F(OnDemand, WhatIsEditedIsInQueriesAndIsSaved) {
    for (const QString suffix : {"gpkg", "sqlite"}) {
        SCOPED_TRACE(suffix.toStdString());
        const QString path = make(suffix);
        const QString other = at("other." + suffix);
        QFile::copy(path, other);
        GisLayerOgrVector whole(other);
        GisLayerOgrOnDemand layer(path);
        ASSERT_TRUE(whole.open() && layer.open());
        layer.setCacheBudget(300'000);
        std::mt19937 random(test::seed());
        for (int session = 0; session < 4; ++session) {
            ASSERT_TRUE(layer.beginEdit() && whole.beginEdit());
            for (int step = 0; step < 60; ++step) {
                const auto kind = random() % 6;
                const qint64 id = 1 + static_cast<qint64>(random() % 100) * 3; // the polygons
                GisShape* const theirs = whole.shapeForFeatureId(id);
                GisShape* const ours = layer.shapeForFeatureId(id);
                ASSERT_EQ(ours == nullptr, theirs == nullptr);
                const auto text = QString("POINT (%1 %2)").arg(random() % 1000).arg(random() % 1000);
                if (kind == 0) {
                    whole.addShapeEdit(shapeOf(text, {{"name", "new"}}));
                    layer.addShapeEdit(shapeOf(text, {{"name", "new"}}));
                } else if (kind == 1) {
                    ASSERT_EQ(layer.undoEdit(), whole.undoEdit());
                } else if (kind == 2) {
                    ASSERT_EQ(layer.redoEdit(), whole.redoEdit());
                } else if (theirs != nullptr && kind == 3) {
                    ASSERT_TRUE(layer.deleteShapeEdit(ours->id()) && whole.deleteShapeEdit(theirs->id()));
                } else if (theirs != nullptr && kind == 4) {
                    auto values = ours->attributes();
                    values.insert("name", "changed");
                    ASSERT_TRUE(layer.setShapeAttributesEdit(ours->id(), values) &&
                                whole.setShapeAttributesEdit(theirs->id(), values));
                } else if (theirs != nullptr) {
                    const auto moved = shapeOf("POLYGON ((1 1, 9 1, 9 9, 1 1))", ours->attributes());
                    ASSERT_TRUE(layer.setShapeGeometryEdit(ours->id(), moved->clone()) &&
                                whole.setShapeGeometryEdit(theirs->id(), moved->clone()));
                }
                ASSERT_NO_FATAL_FAILURE(expectSameAnswers(layer, whole, random, 1)) << step;
                ASSERT_EQ(layer.isDirty(), whole.isDirty());
            }
            EXPECT_TRUE(layer.addShapeEdit(shapeOf("POINT (1 2)")) && whole.addShapeEdit(shapeOf("POINT (1 2)")));
            EXPECT_THROW(layer.read({}), std::runtime_error) << "the source does not know of the point";
            const bool isKept = session != 1;
            ASSERT_TRUE(isKept ? whole.commitEdit() : whole.rollbackEdit()) << whole.lastError().toStdString();
            ASSERT_TRUE(isKept ? layer.commitEdit() : layer.rollbackEdit()) << layer.lastError().toStdString();
            ASSERT_NO_FATAL_FAILURE(expectSameAnswers(layer, whole, random, 20));
            const auto theirs = whole.read({});
            for (const auto ours = layer.read({}); ours->next();) {
                ASSERT_TRUE(theirs->next());
                ASSERT_EQ(ours->featureId(), theirs->featureId());
            }
            EXPECT_FALSE(theirs->next());
        }
        GisLayerOgrVector saved(path);
        ASSERT_TRUE(saved.open());
        EXPECT_EQ(textsOf(saved, saved.rawShapes()), textsOf(whole, whole.rawShapes()));
    }
}

TEST_F(OnDemand, ASelectionByFeatureIdOutlivesEditsAndSaving) {
    for (const QString& suffix : test::suffixes) {
        SCOPED_TRACE(suffix.toStdString());
        const auto made = GisLayerVector::createInMemory("points", Shapes::GisShapeType::Point, {});
        for (int i = 0; i < 9; ++i) {
            made->addShape(shapeOf(QString("POINT (%1 0)").arg(i), {{"name", QString("p%1").arg(i)}}));
        }
        ASSERT_TRUE(made->saveAs(at("points." + suffix)));
        GisLayerOgrVector layer(at("points." + suffix));
        ASSERT_TRUE(layer.open());
        const auto idOf = [&layer](int row) { return *layer.featureId(*layer.rawShapes()[row]); };
        const qint64 id = idOf(5);
        const auto found = [&layer](qint64 wanted) {
            const GisShape* const shape = layer.shapeForFeatureId(wanted);
            return shape != nullptr ? nameOf(*shape) : "-";
        };
        ASSERT_TRUE(layer.beginEdit());
        const qint64 gone = idOf(2);
        ASSERT_TRUE(layer.deleteShapeEdit(3) && layer.addShapeEdit(shapeOf("POINT (7 7)", {{"name", "new"}})));
        EXPECT_EQ(found(id) + found(gone), "p5-");
        EXPECT_EQ(layer.featureId(*layer.rawShapes().back()), std::nullopt);
        ASSERT_TRUE(layer.undoEdit() && layer.undoEdit());
        EXPECT_EQ(found(id) + found(gone), "p5p2");
        ASSERT_TRUE(layer.redoEdit() && layer.redoEdit() && layer.commitEdit()) << layer.lastError().toStdString();
        if (layer.hasStableFeatureIds()) {
            EXPECT_EQ(found(id) + found(gone), "p5-");
        }
        const QStringList committed = textsOf(layer, layer.rawShapes());
        ASSERT_TRUE(layer.open());
        EXPECT_EQ(textsOf(layer, layer.rawShapes()), committed);
        EXPECT_EQ(layer.featureId(*shapeOf("POINT (1 1)")), std::nullopt);
    }
}

TEST_F(OnDemand, AFeatureCanBeAskedForFirst) {
    for (const QString suffix : {"gpkg", "fgb", "geojson", "shp"}) {
        SCOPED_TRACE(suffix.toStdString());
        const QString path = make(suffix);
        GisLayerOgrVector whole(path);
        GisLayerOgrOnDemand layer(path);
        ASSERT_TRUE(whole.open() && layer.open());
        ASSERT_NE(layer.shapeForFeatureId(6), nullptr);
        EXPECT_EQ(textsOf(layer, {layer.shapeForFeatureId(6)}), textsOf(whole, {whole.shapeForFeatureId(6)}));
        EXPECT_EQ(textsOf(layer, layer.query(whole.extent())), textsOf(whole, whole.query(whole.extent())));
    }
    QFile file(at("twice.geojsonl"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    for (int i = 0; i < 6; ++i) {
        file.write(
            QString(R"({"type":"Feature","id":%1,"properties":{},"geometry":{"type":"Point","coordinates":[%2,0]}})"
                    "\n")
                .arg(i % 3)
                .arg(i)
                .toUtf8());
    }
    file.close();
    GisLayerOgrOnDemand layer(at("twice.geojsonl"));
    ASSERT_TRUE(layer.open());
    EXPECT_THROW(layer.query({-1, -1, 9, 9}), std::runtime_error) << "three features would be missing";
}

TEST_F(OnDemand, IdsBeyond32BitsAreIds) {
    const QString path = make("gpkg", 3);
    test::execute(*test::openToWrite(path), "UPDATE data SET fid = fid + 9000000000");
    GisLayerOgrVector whole(path);
    GisLayerOgrOnDemand layer(path);
    ASSERT_TRUE(whole.open() && layer.open());
    for (GisLayerVector* each : std::initializer_list<GisLayerVector*>{&whole, &layer}) {
        GisShape* const shape = each->shapeForFeatureId(9'000'000'001);
        ASSERT_NE(shape, nullptr);
        EXPECT_EQ(each->featureId(*shape), 9'000'000'001);
        ASSERT_TRUE(each->beginEdit() && each->setShapeAttributesEdit(shape->id(), {{"name", each->name()}}) &&
                    each->commitEdit());
        ASSERT_TRUE(whole.open());
    }
}

TEST_F(OnDemand, FieldsThatWereNotReadAreReadWhenAskedForAndStayWhenSaved) {
    const QString path = make("gpkg");
    GisLayerOgrOnDemand layer(path);
    ASSERT_TRUE(layer.open());
    layer.setFields(QStringList{"name"});
    const auto found = layer.query({0, 0, 100, 100});
    GisShape* const shape = found.front();
    const int row = shape->id() - 1;
    EXPECT_FALSE(shape->attributeValue("n").isValid());
    const QVariant n = layer.attributeValueForRow(row, "n");
    EXPECT_EQ("p" + QString::number(n.toLongLong() / 1000), nameOf(*shape));
    EXPECT_EQ(layer.attributesForFeatureId(shape->id()).size(), 2);
    EXPECT_THROW(layer.setShapeAttributesById(shape->id(), {}), std::runtime_error);
    ASSERT_TRUE(layer.beginEdit());
    EXPECT_EQ(shape->attributeValue("n"), n) << "the last result is complete, and where it was";
    ASSERT_TRUE(layer.setShapeAttributesEdit(shape->id(), {{"n", n}, {"name", "x"}}) && layer.commitEdit());
    EXPECT_EQ(layer.attributesForRow(row), (test::Attributes{{"n", n}, {"name", "x"}}));
}

TEST_F(OnDemand, ReadsNoMoreThanTheBudgetAndKeepsTheLastResult) {
    GisLayerOgrOnDemand layer(make("fgb", 20'000));
    ASSERT_TRUE(layer.open());
    layer.setCacheBudget(1'000'000);
    const auto held = layer.query({0, 0, 60, 60});
    EXPECT_EQ(layer.lastReading(), Reading::Whole);
    const QStringList texts = textsOf(layer, held);
    const auto again = layer.query({10, 10, 50, 50});
    EXPECT_EQ(textsOf(layer, held), texts) << "answered from what was read";
    for (GisShape* shape : again) {
        EXPECT_TRUE(held.contains(shape));
    }
    const auto cut = layer.query({0, 0, 2000, 2000});
    EXPECT_EQ(layer.lastReading(), Reading::Cut);
    EXPECT_GT(cut.size(), 500);
    EXPECT_LT(layer.cachedBytes(), 1'300'000);
    const auto last = layer.query({0, 0, 2000, 2000});
    EXPECT_EQ(layer.rawShapes().size(), last.size()) << "and no shape beside it";
    layer.setCacheBudget(256 << 20);
    EXPECT_GT(layer.query({0, 0, 2000, 2000}).size(), 20'000);
    EXPECT_EQ(layer.lastReading(), Reading::Whole);
}

TEST_F(OnDemand, APictureOfMuchShowsSomeOfItAndSaysHowMuch) {
    struct Row {
        const char* suffix;
        qint64 most;
        bool hasOverviews;
        const char* text;
    };
    for (const Row& row :
         {Row{"gpkg", 50'000, true, "5000 of 5000 features shown"}, Row{"gpkg", 100, true, ""},
          Row{"gpkg", 100, false, "100 of 5000 features shown"}, Row{"fgb", 100, false, "100 of 5000 features shown"},
          Row{"shp", 100, false, "100 of 5000 features shown"},
          Row{"geojson", 100, false, "100 of 5000 features shown"},
          Row{"csv", 100, false, "100 of 5000 features shown"}}) {
        SCOPED_TRACE(testing::Message() << row.suffix << row.most << row.hasOverviews);
        const QString path = make(row.suffix, 5000);
        GisLayerOgrOnDemand layer(path);
        ASSERT_TRUE(layer.open() && (!row.hasOverviews || Layers::GisVectorOverviews::build(path)));
        const GisExtent all(0, 0, 1100, 1100);
        const auto seen = layer.queryPicture(all, 10.0, row.most);
        const auto overviews = Layers::GisVectorOverviews::find(path);
        EXPECT_EQ(overviews.has_value(), row.hasOverviews);
        const int level = overviews ? overviews->levelFor(10.0, all, row.most) : -1;
        EXPECT_EQ(
            seen.text().toStdString(),
            level < 0
                ? row.text
                : QString("%1 of 5000 features shown").arg(overviews->levels()[level].featureCount).toStdString());
        EXPECT_EQ(seen.isWhole, seen.shownCount == 5000);
        for (int quarter = 0; quarter < 4; ++quarter) {
            const double x = quarter % 2 * 550.0;
            const double y = quarter / 2 * 550.0;
            const GisExtent part(x, y, x + 550, y + 550);
            EXPECT_TRUE(std::any_of(seen.shapes.begin(), seen.shapes.end(), [&part](const GisShape* shape) {
                return shape->intersects(part) && nameOf(*shape).startsWith('p');
            }));
        }
        const GisExtent near(100, 100, 140, 140); // has fewer
        const auto namesOf = [](const QList<GisShape*>& shapes) {
            QStringList names;
            std::transform(shapes.begin(), shapes.end(), std::back_inserter(names),
                           [](const GisShape* shape) { return nameOf(*shape); });
            return names.join(' ').toStdString();
        };
        EXPECT_EQ(namesOf(layer.queryPicture(near, 0.01, row.most).shapes), namesOf(layer.query(near)));
        if (row.suffix == std::string("gpkg") && layer.beginEdit()) {
            const int id = layer.shapeForFeatureId(1)->id();
            ASSERT_TRUE(layer.setShapeAttributesEdit(id, {{"name", "edited"}}));
            const auto shapes = layer.queryPicture(all, 10.0, row.most).shapes;
            EXPECT_TRUE(shapes.contains(layer.getShape(id)));
            EXPECT_TRUE(std::none_of(shapes.begin(), shapes.end(),
                                     [](const GisShape* shape) { return nameOf(*shape) == "p0"; }));
            ASSERT_TRUE(layer.rollbackEdit());
        }
        EXPECT_THROW(layer.queryPicture(all, 10.0, 0), std::invalid_argument);
        layer.close();
        for (const QString& name : files()) {
            QFile::remove(at(name));
        }
    }
}

namespace {

/// Files under /vsicounted/, whose reads are counted.
struct Reads {
    static inline int count = 0;
    static inline std::function<void()> atRead;

    static void* open(void* /*data*/, const char* name, const char* access) { return VSIFOpenL(name, access); }
    static int stat(void* /*data*/, const char* name, VSIStatBufL* buffer, int flags) {
        return VSIStatExL(name, buffer, flags);
    }
    static size_t read(void* file, void* buffer, size_t size, size_t items) {
        ++count;
        if (atRead) {
            atRead();
        }
        return VSIFReadL(buffer, size, items, static_cast<VSILFILE*>(file));
    }
    static void install() {
        static const bool isDone = [] {
            VSIFilesystemPluginCallbacksStruct* const calls = VSIAllocFilesystemPluginCallbacksStruct();
            calls->open = open;
            calls->stat = stat;
            calls->read = read;
            calls->tell = [](void* file) { return VSIFTellL(static_cast<VSILFILE*>(file)); };
            calls->seek = [](void* file, vsi_l_offset to, int from) {
                return VSIFSeekL(static_cast<VSILFILE*>(file), to, from);
            };
            calls->eof = [](void* file) { return VSIFEofL(static_cast<VSILFILE*>(file)); };
            calls->close = [](void* file) { return VSIFCloseL(static_cast<VSILFILE*>(file)); };
            VSIInstallPluginHandler("/vsicounted/", calls);
            VSIFreeFilesystemPluginCallbacksStruct(calls);
            return true;
        }();
        static_cast<void>(isDone);
    }
};

} // namespace

TEST_F(OnDemand, IsUsableAfterACancelAtEveryRead) {
    Reads::install();
    for (const QString suffix : {"gpkg", "fgb", "shp"}) {
        SCOPED_TRACE(suffix.toStdString());
        GisLayerOgrOnDemand plain(make(suffix, 60));
        GisLayerOgrOnDemand layer("/vsicounted/" + plain.path());
        const GisExtent all(-1, -1, 2000, 2000);
        ASSERT_TRUE(plain.open() && layer.open());
        const QStringList whole = textsOf(plain, plain.query(all));
        int cancelled = 0;
        for (int at = 1;; ++at) {
            ASSERT_TRUE(layer.open());
            Reads::count = 0;
            Reads::atRead = [&] { Reads::count == at ? layer.cancel() : void(); };
            const auto part = layer.query(all);
            const bool isReached = Reads::count >= at;
            Reads::atRead = {};
            if (!isReached) {
                break;
            }
            EXPECT_EQ(layer.lastReading(), Reading::Cancelled);
            EXPECT_LE(part.size(), whole.size());
            ++cancelled;
            ASSERT_EQ(textsOf(layer, layer.query(all)), whole) << "after a cancel at read " << at;
            EXPECT_EQ(layer.lastReading(), Reading::Whole);
        }
        EXPECT_GT(cancelled, 2);
    }
}

TEST_F(OnDemand, IsCancelledFromAnotherThread) {
    for (const QString suffix : {"gpkg", "sqlite", "geojson"}) {
        GisLayerOgrOnDemand layer(make(suffix, 5000));
        ASSERT_TRUE(layer.open());
        std::atomic<bool> isDone = false;
        std::thread other([&] {
            while (!isDone) {
                layer.cancel();
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        });
        bool isCancelled = false;
        for (int i = 0; i < 100 && !isCancelled; ++i) {
            const double width = 2000.0 + i; // what is in the cache is not read
            isCancelled =
                layer.query({0, 0, width, width}).size() < 20'000 && layer.lastReading() == Reading::Cancelled;
        }
        isDone = true;
        other.join();
        EXPECT_TRUE(isCancelled);
        layer.query({-1, -1, 3000, 3000});
        EXPECT_EQ(layer.lastReading(), Reading::Whole);
        EXPECT_GE(layer.rawShapes().size(), 5000);
    }
}

TEST_F(OnDemand, SaysWhatIsWrongWithTheSource) {
    struct Row {
        const char* name;
        const char* sql; // run by somebody else while the layer is open
        const char* reason;
    };
    const std::vector<Row> rows{
        {"the table vanished", "DROP TABLE data", "no such table"},
        {"a column vanished", "ALTER TABLE data DROP COLUMN name", "no such column"},
        {"a column has another name", "ALTER TABLE data RENAME COLUMN n TO m", "no such column"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        GisLayerOgrOnDemand layer(make("gpkg"));
        ASSERT_TRUE(layer.open());
        const QStringList before = textsOf(layer, layer.query({0, 0, 100, 100}));
        test::execute(*test::openToWrite(layer.path()), row.sql);
        try {
            layer.query({200, 200, 300, 300});
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.reason));
            EXPECT_THAT(error.what(), HasSubstr("data.gpkg"));
        }
        EXPECT_EQ(textsOf(layer, layer.query({0, 0, 100, 100})), before);
        layer.close();
        QFile::remove(layer.path());
    }
    const QString path = make("fgb");
    QFile(path).resize(QFileInfo(path).size() - 3);
    EXPECT_THROW(GisLayerOgrOnDemand(path).open(), std::runtime_error) << "a file cut short";
    GisLayerOgrOnDemand layer(make("gpkg"));
    EXPECT_THROW(layer.saveAs(at("part.gpkg")), std::runtime_error) << "a part of the source";
}

TEST_F(OnDemand, DoesNotOverwriteWhatSomebodyElseHasChanged) {
    GisLayerOgrOnDemand layer(make("gpkg"));
    ASSERT_TRUE(layer.open() && layer.beginEdit());
    const int id = layer.shapeForFeatureId(1)->id();
    ASSERT_TRUE(layer.setShapeAttributesEdit(id, {{"name", "mine"}}));
    test::execute(*test::openToWrite(layer.path()), "UPDATE data SET name = 'theirs' WHERE fid = 1");
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("feature 1 was changed by someone else"));
    ASSERT_TRUE(layer.isEditing() && layer.rollbackEdit());
    EXPECT_EQ(nameOf(*layer.getShape(id)), "p0");
}

#if defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__)
TEST_F(OnDemand, BrowsesWithinItsBudget) {
    const QString path = make("fgb", 60'000); // some 50 MB, read whole
    constexpr rlim_t budget = 16U << 20U;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        GisLayerOgrOnDemand layer(path);
        layer.open();
        layer.setCacheBudget(budget);
        layer.query({0, 0, 30, 30});
        QFile status("/proc/self/statm");
        status.open(QIODevice::ReadOnly);
        const rlim_t used = status.readAll().split(' ').first().toULongLong() * 4096U;
        constexpr rlim_t batch = 3U << 20U; // 256 features, and what the allocator keeps in reserve
        const rlimit most{used + budget + batch, used + budget + batch};
        setrlimit(RLIMIT_AS, &most);
        std::mt19937 random(1);
        qsizetype seen = 0;
        for (int i = 0; i < 400; ++i) {
            const double x = static_cast<double>(random() % 1000);
            const double y = static_cast<double>(random() % 1000);
            seen += layer.query({x, y, x + 30, y + 30}).size();
        }
        _exit(seen > 50'000 ? 0 : 2);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}
#endif
