#include "Layers/Saving.h"

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>

#include <algorithm>

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using test::execute;
using test::openToWrite;
using test::replace;
using test::shapeOf;
using testing::HasSubstr;

// What layers and the features of their sources are to each other: several layers of one file, several shapes of one
// feature, features without a shape, and what the model does not hold.
namespace {

using Texts = std::vector<std::string>;

class OgrFeatures : public test::InAFolder {
protected:
    /// A data source of these layers; a feature for each geometry, "" for none, with its number as "n".
    QString make(const char* driver, const QString& name, const std::vector<std::vector<const char*>>& layers,
                 const std::function<void(OGRLayer&)>& prepare = {}) const {
        GDALAllRegister();
        QFile::remove(at(name));
        const std::unique_ptr<GDALDataset> source(GetGDALDriverManager()->GetDriverByName(driver)->Create(
            at(name).toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
        for (const auto& geometries : layers) {
            const QByteArray layerName = "layer" + QByteArray::number(source->GetLayerCount());
            OGRLayer& layer = *source->CreateLayer(layerName.constData(), nullptr, wkbUnknown);
            OGRFieldDefn number("n", OFTInteger);
            EXPECT_EQ(layer.CreateField(&number), OGRERR_NONE);
            if (prepare) {
                prepare(layer);
            }
            for (std::size_t i = 0; i < geometries.size(); ++i) {
                OGRFeature feature(layer.GetLayerDefn());
                feature.SetField(0, static_cast<int>(i));
                OGRGeometry* geometry = nullptr;
                OGRGeometryFactory::createFromWkt(geometries[i], nullptr, &geometry);
                feature.SetGeometryDirectly(geometry);
                EXPECT_EQ(layer.CreateFeature(&feature), OGRERR_NONE);
            }
        }
        return at(name);
    }

    /// The features of a layer as GDAL reads them: geometry and number.
    static Texts featuresOf(const QString& path, const QString& layerName = {}) {
        const std::unique_ptr<GDALDataset> source(GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR));
        OGRLayer* const layer =
            layerName.isEmpty() ? source->GetLayer(0) : source->GetLayerByName(layerName.toUtf8().constData());
        Texts features;
        for (const auto& feature : *layer) {
            const OGRGeometry* const geometry = feature->GetGeometryRef();
            features.push_back((geometry != nullptr ? geometry->exportToWkt() : "none") + " " +
                               feature->GetFieldAsString("n"));
        }
        return features;
    }
};

bool change(GisLayerOgrVector& layer, int id, int n) {
    return layer.beginEdit() && layer.setShapeAttributesEdit(id, {{"n", n}});
}

TEST_F(OgrFeatures, LayersOfOneDatabaseCommitInAnyOrder) {
    const struct {
        const char* name;
        const char* second; ///< the layer that the second one has open
        const char* saves;  ///< which of them saves itself as another file meanwhile
    } rows[] = {{"two tables", "layer1", ""},
                {"one table", "layer0", ""},
                {"two tables, copied", "layer1", "12"},
                {"one table, copied", "layer0", "21"}};
    for (const char* const driver : {"GPKG", "SQLite"}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << driver << ", " << row.name);
            const std::vector<const char*> points{"POINT (1 1)", "POINT (2 2)", "POINT (3 3)"};
            const QString path =
                make(driver, QString("both.") + (driver[0] == 'G' ? "gpkg" : "sqlite"), {points, points});
            GisLayerOgrVector first(path, "layer0");
            GisLayerOgrVector second(path, row.second);
            ASSERT_TRUE(first.open() && second.open());
            for (int round = 0; round < 2; ++round) { // the second goes on from what it read before the first's edits
                ASSERT_TRUE(change(first, 1, 10 + round) && change(second, 2, 20 + round));
                for (const char* which = row.saves; *which != '\0'; ++which) {
                    ASSERT_TRUE((*which == '1' ? first : second).saveAs(at("copy.gpkg"), replace));
                }
                ASSERT_TRUE((round == 1 ? second : first).commitEdit());
                ASSERT_TRUE((round == 1 ? first : second).commitEdit()) << second.lastError().toStdString();
            }
            ASSERT_TRUE(second.beginEdit() && second.addShapeEdit(shapeOf("POINT (4 4)", {{"n", 4}})));
            ASSERT_TRUE(second.commitEdit()) << second.lastError().toStdString();
            EXPECT_THAT(featuresOf(path, "layer0"), testing::Contains("POINT (1 1) 11"));
            EXPECT_THAT(featuresOf(path, row.second), testing::Contains("POINT (2 2) 21"));
            EXPECT_EQ(featuresOf(path, row.second).size(), 4U);
        }
    }
}

TEST_F(OgrFeatures, OneOfSeveralRowsOfAnIdIsNotDeleted) {
    const QString path = make("GPKG", "view.gpkg", {{"POINT (1 1)", "POINT (2 2)"}});
    {
        const auto source = openToWrite(path);
        for (const char* const statement :
             {"CREATE VIEW twice AS SELECT fid, geom, n FROM layer0 UNION ALL SELECT fid, geom, n + 5 FROM layer0 "
              "WHERE fid = 1",
              "INSERT INTO gpkg_contents SELECT 'twice', data_type, 'twice', '', last_change, min_x, min_y, max_x, "
              "max_y, srs_id FROM gpkg_contents WHERE table_name = 'layer0'",
              "INSERT INTO gpkg_geometry_columns SELECT 'twice', column_name, geometry_type_name, srs_id, z, m FROM "
              "gpkg_geometry_columns WHERE table_name = 'layer0'"}) {
            execute(*source, statement);
        }
    }
    GisLayerOgrVector layer(path, "twice");
    ASSERT_TRUE(layer.open() && layer.count() == 3);
    EXPECT_FALSE(layer.hasStableFeatureIds());
    ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(static_cast<int>(layer.sourceFeatureIds().indexOf(1)) + 1));
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("feature 1: it is several shapes"));
    Layers::GisLayerOgrOnDemand part(path, "twice");
    EXPECT_THROW(part.open() && !part.query({0, 0, 3, 3}).isEmpty(), std::runtime_error) << "which row is it?";
    part.close();
    execute(*openToWrite(path), "DROP VIEW twice");
    execute(*openToWrite(path), "CREATE VIEW twice AS SELECT a.fid, b.geom, b.n FROM layer0 a JOIN layer0 b ON "
                                "b.fid = 3 - a.fid"); // GDAL finds an index, in which the ids are of other rows
    EXPECT_THROW(Layers::GisLayerOgrOnDemand(path, "twice").open(), std::runtime_error);
    Layers::GisFeatureRequest request;
    request.extent = Shapes::GisExtent(2, 2, 3, 3);
    const auto reader = Layers::GisFeatureReader::fromSource(path, "twice", request);
    ASSERT_TRUE(reader->next());
    EXPECT_EQ(reader->featureId(), 1);
    EXPECT_FALSE(reader->next());
}

TEST_F(OgrFeatures, WhatAnotherLayerHasChangedIsNotOverwritten) {
    using Act = std::function<bool(GisLayerOgrVector&)>;
    const Act attribute = [](auto& layer) { return change(layer, 2, 9); };
    const Act geometry = [](auto& layer) {
        return layer.beginEdit() && layer.setShapeGeometryEdit(2, shapeOf("POINT (7 7)", {{"n", 1}}));
    };
    const Act deletion = [](auto& layer) { return layer.beginEdit() && layer.deleteShapeEdit(2); };
    const std::pair<const char*, Act> acts[] = {
        {"attribute", attribute}, {"geometry", geometry}, {"deletion", deletion}};
    for (const auto& [theirs, act] : acts) {
        for (const auto& [mine, answer] : acts) {
            SCOPED_TRACE(std::string(theirs) + ", " + mine);
            const QString path = make("GPKG", "one.gpkg", {{"POINT (1 1)", "POINT (2 2)", "POINT (3 3)"}});
            GisLayerOgrVector first(path);
            GisLayerOgrVector second(path);
            ASSERT_TRUE(first.open() && second.open() && act(first) && first.commitEdit() && answer(second));
            const Texts before = featuresOf(path);
            EXPECT_FALSE(second.commitEdit());
            EXPECT_THAT(second.lastError().toStdString(),
                        HasSubstr(act == nullptr || std::string(theirs) != "deletion" ? "changed by someone else"
                                                                                      : "no feature 2"));
            EXPECT_EQ(featuresOf(path), before);
            ASSERT_TRUE(second.undoEdit() && second.setShapeAttributesEdit(3, {{"n", 33}}));
            EXPECT_TRUE(second.commitEdit()) << second.lastError().toStdString();
            EXPECT_EQ(featuresOf(path).back(), "POINT (3 3) 33");
        }
    }
    // What the layer takes the table for would not hold: values and coordinates would mean something else.
    const std::pair<const char*, std::vector<const char*>> tables[] = {
        {"its fields were changed by someone else", {"ALTER TABLE layer0 RENAME COLUMN n TO m"}},
        {"its coordinate system was changed by someone else",
         {"UPDATE gpkg_contents SET srs_id = 4326", "UPDATE gpkg_geometry_columns SET srs_id = 4326"}}};
    for (const auto& [reason, statements] : tables) {
        const QString path = make("GPKG", "one.gpkg", {{"POINT (1 1)", "POINT (2 2)"}});
        GisLayerOgrVector layer(path);
        ASSERT_TRUE(layer.open());
        for (const char* const statement : statements) {
            execute(*openToWrite(path), statement);
        }
        ASSERT_TRUE(layer.beginEdit() && layer.addShapeEdit(shapeOf("POINT (5 5)", {{"n", 5}})));
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr(reason));
    }
    // A file in the place of the one that was read: the same features, or others.
    for (const bool same : {true, false}) {
        const QString path = make("GPKG", "one.gpkg", {{"POINT (1 1)", "POINT (2 2)"}});
        GisLayerOgrVector first(path);
        GisLayerOgrVector second(path);
        ASSERT_TRUE(first.open() && second.open() && first.beginEdit() &&
                    (same || first.addShapeEdit(shapeOf("POINT (5 5)", {{"n", 5}}))));
        ASSERT_TRUE(first.saveAs(path, replace) && change(second, 1, 8));
        EXPECT_EQ(second.commitEdit(), same) << second.lastError().toStdString();
        EXPECT_EQ(featuresOf(path).size(), same ? 2U : 3U);
    }
    { // One that comes while the edits are written: they would go with the old one.
        const QString other = make("GPKG", "other.gpkg", {{"POINT (9 9)"}});
        const QString path = make("GPKG", "one.gpkg", {std::vector<const char*>(300, "POINT (1 1)")});
        GisLayerOgrVector layer(path);
        ASSERT_TRUE(layer.open() && layer.beginEdit());
        for (int id = 1; id <= layer.count(); ++id) {
            layer.setShapeAttributesEdit(id, {{"n", 7}});
        }
        layer.setProgressCallback([&](double) { return ::rename(qPrintable(other), qPrintable(path)) == 0; });
        EXPECT_FALSE(layer.commitEdit());
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("another file has taken its place"));
        EXPECT_EQ(featuresOf(path), Texts{"POINT (9 9) 0"});
    }
}

TEST_F(OgrFeatures, AMultiPointOfSeveralShapesIsSavedWhole) {
    const Texts source{"MULTIPOINT (1 1,2 2) 0", "POINT (3 3) 1", "MULTIPOINT (4 4) 2", "MULTIPOINT (5 5,6 6,7 7) 3"};
    const auto geoJson = [this] {
        return make(
            "GeoJSON", "points.geojson",
            {{"MULTIPOINT ((1 1),(2 2))", "POINT (3 3)", "MULTIPOINT ((4 4))", "MULTIPOINT ((5 5),(6 6),(7 7))"}});
    };
    const QString gpkg =
        make("GPKG", "points.gpkg",
             {{"MULTIPOINT ((1 1),(2 2))", "POINT (3 3)", "MULTIPOINT ((4 4))", "MULTIPOINT ((5 5),(6 6),(7 7))"}});
    for (const QString& path : {geoJson(), gpkg}) {
        SCOPED_TRACE(path.toStdString());
        GisLayerOgrVector layer(path);
        ASSERT_TRUE(layer.open());
        ASSERT_EQ(layer.count(), 7);
        const auto isMoved = [&] { return layer.setShapeGeometryEdit(6, shapeOf("POINT (9 9)", {{"n", 33}})); };
        ASSERT_TRUE(change(layer, 5, 33) && layer.setShapeAttributesEdit(6, {{"n", 33}}));
        EXPECT_FALSE(layer.commitEdit()) << "the third has another value";
        EXPECT_THAT(layer.lastError().toStdString(), HasSubstr("different attributes"));
        ASSERT_TRUE(layer.setShapeAttributesEdit(7, {{"n", 33}}) && isMoved());
        EXPECT_FALSE(layer.commitEdit()) << "one of them has moved";
        ASSERT_TRUE(layer.undoEdit());
        EXPECT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
        EXPECT_EQ(featuresOf(path).back(), "MULTIPOINT (5 5,6 6,7 7) 33");

        for (const char* const suffix : {"gpkg", "sqlite", "geojson", "geojsonl", "fgb", "shp"}) {
            const bool isOneKind =
                suffix == std::string("shp") || suffix[0] == 'f' || suffix[0] == 's' || suffix[1] == 'p';
            const Texts expected{source[0], isOneKind ? "MULTIPOINT (3 3) 1" : source[1],
                                 isOneKind ? "MULTIPOINT (4 4) 2" : "POINT (4 4) 2", "MULTIPOINT (5 5,6 6,7 7) 33"};
            ASSERT_TRUE(layer.saveAs(at(QString("copy.") + suffix), replace));
            EXPECT_EQ(featuresOf(at(QString("copy.") + suffix)), expected) << suffix;
        }
        // Edited one by one: points gone and moved, and others with attributes of their own
        ASSERT_TRUE(layer.beginEdit() && isMoved() && layer.deleteShapeEdit(5) &&
                    layer.setShapeAttributesEdit(2, {{"n", 22}}));
        ASSERT_TRUE(layer.saveAs(at("edited.geojson"), replace));
        EXPECT_EQ(featuresOf(at("edited.geojson")), (Texts{"POINT (1 1) 0", "POINT (2 2) 22", "POINT (3 3) 1",
                                                           "POINT (4 4) 2", "MULTIPOINT (9 9,7 7) 33"}));
    }
}

TEST_F(OgrFeatures, RowsWithoutGeometryAreCopiedAndWhatIsNotKeptIsCounted) {
    const auto fields = [](OGRLayer& layer) {
        OGRFieldDefn withDefault("d", OFTString);
        withDefault.SetDefault("'x'");
        OGRFieldDefn shortInteger("s", OFTInteger);
        shortInteger.SetSubType(OFSTInt16);
        OGRFieldDefn flag("f", OFTInteger);
        flag.SetSubType(OFSTBoolean);
        OGRFieldDefn time("t", OFTDateTime);
        for (OGRFieldDefn* field : {&withDefault, &shortInteger, &flag, &time}) {
            EXPECT_EQ(layer.CreateField(field), OGRERR_NONE);
        }
    };
    const QString path =
        make("GPKG", "all.gpkg",
             {{"", "POINT Z (1 1 5)", "LINESTRING M (0 0 1, 1 1 2)", "POINT EMPTY", "CIRCULARSTRING (0 0, 1 1, 2 0)",
               "LINESTRING (1 1)", "", "GEOMETRYCOLLECTION Z (POINT Z (1 2 3), LINESTRING Z (0 0 0, 1 1 1))",
               "GEOMETRYCOLLECTION (POINT (8 8), LINESTRING (3 3))"}},
             fields);
    for (const char* const time : {"07:08:09.123Z' WHERE fid = 2", "07:08:59.123456Z' WHERE fid = 3"}) {
        execute(*openToWrite(path), (std::string("UPDATE layer0 SET t = '2024-05-06T") + time).c_str());
    }
    GisLayerOgrVector layer(path);
    ASSERT_TRUE(layer.open());
    ASSERT_EQ(layer.count(), 6);
    const auto counts = [&layer] {
        const auto lost = layer.notKept();
        return std::vector<qint64>{lost.withZ,    lost.withM,    lost.withCurves, lost.collections,    lost.incomplete,
                                   lost.defaults, lost.subtypes, lost.fractions,  lost.withoutGeometry};
    };
    EXPECT_EQ(counts(), (std::vector<qint64>{2, 1, 1, 2, 2, 1, 1, 1, 3}));
    ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(1)); // the point with Z
    EXPECT_EQ(counts().front(), 1);
    for (const char* const suffix : {"gpkg", "geojson", "fgb"}) {
        ASSERT_TRUE(layer.saveAs(at(QString("copy.") + suffix))) << suffix;
        Texts without = featuresOf(at(QString("copy.") + suffix));
        without.erase(std::remove_if(without.begin(), without.end(), [](const auto& text) { return text[0] != 'n'; }),
                      without.end());
        EXPECT_EQ(without, suffix[0] == 'f' ? Texts() : Texts({"none 0", "none 3", "none 6"})) << suffix;
    }
    ASSERT_TRUE(layer.commitEdit()) << layer.lastError().toStdString();
    EXPECT_EQ(counts().front(), 1);
    EXPECT_EQ(layer.count(), 5) << "rows do not become shapes";
    QFile::remove(path);
    EXPECT_THROW(layer.saveAs(at("other.gpkg")), std::runtime_error) << "rows are not lost in silence";
    layer.close();
    EXPECT_FALSE(layer.notKept().isAny());
    EXPECT_TRUE(layer.saveAs(at("empty.gpkg")));
}

/// They are read again from the source as it is when the layer is saved.
TEST_F(OgrFeatures, RowsWithoutGeometryThatOthersChangedAreNotLostInSilence) {
    const struct {
        const char* name;
        const char* statement;
        bool isSaved;
    } rows[] = {
        {"nothing", "", true},
        {"another attribute", "UPDATE layer0 SET n = 7 WHERE fid = 2", true},
        {"a geometry", "UPDATE layer0 SET geom = (SELECT geom FROM layer0 WHERE fid = 3) WHERE fid = 2", false},
        {"gone", "DELETE FROM layer0 WHERE fid = 2", false},
        {"one more", "INSERT INTO layer0 (n) VALUES (9)", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const QString path = make("GPKG", "rows.gpkg", {{"POINT (1 1)", "", "POINT (2 2)"}});
        GisLayerOgrVector layer(path);
        ASSERT_TRUE(layer.open() && layer.beginEdit() && layer.deleteShapeEdit(1) && layer.commitEdit());
        if (row.statement[0] != '\0') {
            execute(*openToWrite(path), row.statement);
        }
        std::string error;
        try {
            EXPECT_TRUE(layer.saveAs(at("copy.gpkg"), replace));
        } catch (const std::runtime_error& thrown) {
            error = thrown.what();
        }
        EXPECT_EQ(error.empty(), row.isSaved) << error;
        EXPECT_THAT(error, HasSubstr(row.isSaved ? "" : "changed by someone else since it was opened"));
    }
}

TEST_F(OgrFeatures, TheExtentOfTheFileHoldsUntilGeometryDiffers) {
    const QString path = make("GPKG", "extent.gpkg", {{"POINT (0 0)", "POINT (10 10)"}});
    GisLayerOgrVector layer(path);
    const auto far = [] { return shapeOf("POINT (50 50)", {{"n", 5}}); };
    const auto xMax = [&layer] { return layer.extent().xMax(); };
    ASSERT_TRUE(layer.open() && layer.metadataExtent().has_value());
    EXPECT_EQ(xMax(), 10);
    ASSERT_TRUE(change(layer, 1, 7));
    EXPECT_TRUE(layer.metadataExtent().has_value()) << "an attribute is no geometry";
    ASSERT_TRUE(layer.addShapeEdit(far()) && layer.setShapeGeometryEdit(1, shapeOf("POINT (80 0)")));
    EXPECT_NEAR(xMax(), 80, 1e-6);
    ASSERT_TRUE(layer.undoEdit());
    EXPECT_NEAR(xMax(), 50, 1e-6);
    ASSERT_TRUE(layer.undoEdit());
    EXPECT_EQ(xMax(), 10) << "as the file has it";
    ASSERT_TRUE(layer.redoEdit());
    EXPECT_NEAR(xMax(), 50, 1e-6);
    ASSERT_TRUE(layer.rollbackEdit());
    EXPECT_EQ(xMax(), 10);
    ASSERT_TRUE(change(layer, 1, 8) && layer.commitEdit());
    EXPECT_TRUE(layer.metadataExtent().has_value()) << "the geometry is the file's still";

    ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(2) && layer.commitEdit());
    EXPECT_NEAR(xMax(), 0, 1e-6) << "cannot be undone any more";
    ASSERT_TRUE(layer.open() && layer.addShape(far())) << "beside the session";
    EXPECT_NEAR(xMax(), 50, 1e-6);
    layer.setMetadataExtent({0, 0, 1, 1});
    ASSERT_TRUE(layer.beginEdit() && layer.addShapeEdit(far()));
    EXPECT_EQ(xMax(), 1) << "the host says so";
}

} // namespace
