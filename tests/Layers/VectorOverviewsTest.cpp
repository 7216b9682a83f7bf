#include "../TestSeed.h"
#include "Layers/Saving.h"

#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisVectorOverviews.h>

#include <cmath>
#include <initializer_list>
#include <map>
#include <random>

using namespace Cartolith::Core;
using Layers::GisVectorOverviews;

namespace {

class VectorOverviews : public test::InAFolder {
protected:
    static constexpr int count = 4000;

    static GDALDatasetUniquePtr openToRead(const QString& path) {
        return GDALDatasetUniquePtr(GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR));
    }

    static OGRGeometryUniquePtr makeGeometry(int kind, double x, double y, double size, std::mt19937& random) {
        std::uniform_real_distribution<double> part(-size, size);
        if (kind == 0) {
            return OGRGeometryUniquePtr(new OGRPoint(x, y));
        }
        OGRLineString line;
        for (int i = 0; i < 40; ++i) {
            const double angle = i * 2.0 * M_PI / 40.0;
            line.addPoint(x + size * std::cos(angle) + part(random) / 20.0, y + size * std::sin(angle));
        }
        if (kind == 1) {
            return OGRGeometryUniquePtr(line.clone());
        }
        auto polygon = OGRGeometryUniquePtr(new OGRPolygon);
        line.addPoint(line.getX(0), line.getY(0));
        OGRLinearRing ring;
        ring.addSubLineString(&line);
        polygon->toPolygon()->addRing(&ring);
        return polygon;
    }

    /// Clustered, of three kinds and all sizes, now and then without geometry.
    QString makeSource(const char* driver, const char* name) const {
        GDALAllRegister();
        std::mt19937 random(test::seed());
        std::normal_distribution<double> place(0.0, 1000.0);
        std::exponential_distribution<double> size(0.2);
        const QString path = at(name);
        const GDALDatasetUniquePtr made(GetGDALDriverManager()->GetDriverByName(driver)->Create(
            path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
        const char* const options[] = {"SPATIAL_INDEX=NO", nullptr};
        OGRLayer& layer = *made->CreateLayer("things", nullptr, wkbUnknown, const_cast<char**>(options));
        for (const auto& [field, type] : {std::pair("overview_fid", OFTInteger), std::pair("name", OFTString)}) {
            OGRFieldDefn definition(field, type);
            EXPECT_EQ(layer.CreateField(&definition), OGRERR_NONE);
        }
        made->StartTransaction();
        for (int i = 0; i < count; ++i) {
            OGRFeature feature(layer.GetLayerDefn());
            feature.SetField(0, i);
            feature.SetField(1, i % 3 == 0 ? "wood" : "Göteborg");
            const double spread = i % 10 == 0 ? 1.0 : 0.1;
            const double x = place(random) * spread;
            const double y = place(random) * spread;
            if (driver == std::string("FlatGeobuf") || i % 50 != 0) {
                feature.SetGeometry(makeGeometry(i % 3, x, y, size(random), random).get());
            }
            EXPECT_EQ(layer.CreateFeature(&feature), OGRERR_NONE);
        }
        made->CommitTransaction();
        return path;
    }
};

/// Of a line whose end is no place, nothing but its ends would be left.
TEST_F(VectorOverviews, WhatCannotBeMeasuredStaysAsItIs) {
    GDALAllRegister();
    OGRLineString line;
    for (int i = 0; i < 40; ++i) {
        line.addPoint(500.0 + 10.0 * i, i % 2 == 0 ? 0.0 : 900.0);
    }
    line.addPoint(std::nan(""), std::nan(""));
    OGRMultiLineString several;
    several.addGeometry(&line);
    OGRLinearRing ring;
    ring.addSubLineString(&line);
    ring.addPoint(500.0, 0.0);
    OGRPolygon polygon;
    polygon.addRing(&ring);
    for (OGRGeometry* const geometry : std::initializer_list<OGRGeometry*>{&line, &several, &polygon}) {
        SCOPED_TRACE(geometry->getGeometryName());
        const QString path = at(QString("%1.gpkg").arg(geometry->getGeometryName()));
        {
            const GDALDatasetUniquePtr made(GetGDALDriverManager()->GetDriverByName("GPKG")->Create(
                path.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
            OGRLayer& layer = *made->CreateLayer("things", nullptr, wkbUnknown, nullptr);
            made->StartTransaction();
            for (int i = 0; i < count; ++i) {
                OGRFeature feature(layer.GetLayerDefn());
                OGRPoint point(i % 60 * 20.0, i / 60 * 20.0);
                feature.SetGeometry(i == 0 ? geometry : &point);
                EXPECT_EQ(layer.CreateFeature(&feature), OGRERR_NONE);
            }
            made->CommitTransaction();
        }
        ASSERT_TRUE(GisVectorOverviews::build(path));
        const auto overviews = GisVectorOverviews::find(path, "things");
        ASSERT_TRUE(overviews);
        const auto file = openToRead(overviews->path());
        for (const GisVectorOverviews::Level& level : overviews->levels()) {
            OGRLayer& rows = *file->GetLayerByName(level.tableName.toUtf8().constData());
            const OGRFeatureUniquePtr shown(rows.GetFeature(1));
            ASSERT_NE(shown, nullptr);
            EXPECT_EQ(shown->GetGeometryRef()->exportToWkt(), geometry->exportToWkt());
        }
    }
}

TEST_F(VectorOverviews, KeepWhatCanBeSeen) {
    for (const auto& [driver, name] : {std::pair("GPKG", "s.gpkg"), std::pair("FlatGeobuf", "s.fgb")}) {
        SCOPED_TRACE(driver);
        const QString path = makeSource(driver, name);
        ASSERT_TRUE(GisVectorOverviews::build(path));
        const auto overviews = GisVectorOverviews::find(path, "things");
        ASSERT_TRUE(overviews && GisVectorOverviews::find(path));
        const auto source = openToRead(path);
        const auto file = openToRead(overviews->path());
        std::map<GIntBig, OGRFeatureUniquePtr> features;
        for (auto& feature : *source->GetLayer(0)) {
            if (feature->GetGeometryRef() != nullptr) {
                features[feature->GetFID()] = std::move(feature);
            }
        }
        EXPECT_EQ(overviews->featureCount(), static_cast<qint64>(features.size()));
        ASSERT_GT(overviews->levels().size(), 1);
        EXPECT_LE(2 * overviews->levels().first().featureCount, overviews->featureCount() + 100);
        std::map<GIntBig, int> coarser;
        for (const GisVectorOverviews::Level& level : overviews->levels()) {
            const double cell = 4.0 * level.unitsPerPixel;
            std::map<std::pair<qint64, qint64>, double> longest;
            std::map<std::pair<qint64, qint64>, int> kept;
            const auto placeOf = [&](OGRFeature& feature, double& length) {
                OGREnvelope box;
                feature.GetGeometryRef()->getEnvelope(&box);
                length = std::max(box.MaxX - box.MinX, box.MaxY - box.MinY);
                return std::pair(
                    static_cast<qint64>(((box.MinX + box.MaxX) / 2.0 - overviews->extent().xMin()) / cell),
                    static_cast<qint64>(((box.MinY + box.MaxY) / 2.0 - overviews->extent().yMin()) / cell));
            };
            double length = 0.0;
            for (const auto& [id, feature] : features) {
                double& most = longest.try_emplace(placeOf(*feature, length), 0.0).first->second;
                most = std::max(most, length);
            }
            qint64 shown = 0;
            std::map<GIntBig, int> here;
            for (auto& shownFeature : *file->GetLayerByName(level.tableName.toUtf8().constData())) {
                ++shown;
                const GIntBig id = shownFeature->GetFID();
                ++here[id];
                ASSERT_TRUE(features.contains(id));
                OGRFeature& original = *features[id];
                EXPECT_EQ(shownFeature->GetFieldAsInteger("overview_fid"), original.GetFieldAsInteger(0));
                EXPECT_STREQ(shownFeature->GetFieldAsString("name"), original.GetFieldAsString(1));
                const auto place = placeOf(original, length);
                const int rank = kept[place]++;
                EXPECT_TRUE(length >= 8.0 * cell * (1 - 1e-6) || length >= longest[place] * (1 - 1e-6));
                EXPECT_LE(rank, 15);
                // Each vertex of the original lies within half a pixel of what is shown.
                if (length > level.unitsPerPixel && original.GetGeometryRef()->getDimension() == 1) {
                    for (const OGRPoint& vertex : *original.GetGeometryRef()->toLineString()) {
                        EXPECT_LE(vertex.Distance(shownFeature->GetGeometryRef()), level.unitsPerPixel * (0.5 + 1e-6));
                    }
                }
                EXPECT_TRUE(coarser.empty() || coarser.contains(id)) << "not in the finer level";
            }
            EXPECT_EQ(shown, level.featureCount);
            EXPECT_EQ(kept.size(), longest.size()) << "a cell with features shows none";
            coarser = here;
        }
        const auto& levels = overviews->levels();
        EXPECT_EQ(overviews->levelFor(levels[0].unitsPerPixel * 0.9), -1);
        EXPECT_EQ(overviews->levelFor(levels[1].unitsPerPixel), 1);
        EXPECT_EQ(overviews->levelFor(levels[1].unitsPerPixel * 1.9), 1);
        EXPECT_EQ(overviews->levelFor(1e300), levels.size() - 1);
        EXPECT_EQ(overviews->levelFor(std::nan("")), -1);
        const auto whole = overviews->extent();
        const double far = levels[1].unitsPerPixel;
        EXPECT_EQ(overviews->levelFor(far, whole), -1) << "few features";
        EXPECT_EQ(overviews->levelFor(far, whole, overviews->featureCount() - 1), 0);
        EXPECT_EQ(overviews->levelFor(far, whole, 1), 1);
        EXPECT_EQ(overviews->levelFor(far, {whole.xMin(), whole.yMin(), whole.center().x(), whole.yMax()},
                                      overviews->featureCount() - 1),
                  -1)
            << "half of them in sight";
    }
}

TEST_F(VectorOverviews, AreKnownToBeOfAnotherState) {
    const QString path = makeSource("GPKG", "s.gpkg");
    ASSERT_TRUE(GisVectorOverviews::build(path, "things"));
    const QString own = GisVectorOverviews::pathFor(path, "things");
    const auto bytesOf = [](const QString& name) {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    const auto write = [](const QString& name, const QByteArray& bytes) {
        QFile file(name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    };
    const QByteArray good = bytesOf(own);
    struct Row {
        const char* name;
        QByteArray bytes;
    };
    QByteArray damaged = good;
    damaged.replace("units_per_pixel", "units_per_pixei");
    const QString other = makeSource("GPKG", "another.gpkg");
    ASSERT_TRUE(GisVectorOverviews::build(other));
    const QByteArray anothers = bytesOf(GisVectorOverviews::pathFor(other, "things"));
    for (const QString& name : {other, GisVectorOverviews::pathFor(other, "things")}) {
        QFile::remove(name);
    }
    for (const Row& row :
         {Row{"another source's", anothers}, Row{"cut short", good.left(good.size() / 2)},
          Row{"its end lost", good.left(good.size() - 1)}, Row{"a header", good.left(100)}, Row{"nothing", {}},
          Row{"another's columns", damaged}, Row{"the source itself", bytesOf(path)},
          Row{"a virtual source",
              "<OGRVRTDataSource><OGRVRTLayer name=\"cartolith_overviews\"/></OGRVRTDataSource>"}}) {
        write(own, row.bytes);
        EXPECT_FALSE(GisVectorOverviews::find(path, "things")) << row.name;
    }
    // What looks right from outside, and is not when it is read: an error, or what can be read.
    for (const char* const statement :
         {"DROP TABLE level_0", "ALTER TABLE level_0 RENAME COLUMN overview_geom TO g",
          "UPDATE level_0 SET overview_geom = x'4750000000'", "UPDATE cartolith_overviews SET level_count = 1e18",
          "UPDATE cartolith_overviews SET level_table = 'cartolith_overviews'", "DELETE FROM gpkg_geometry_columns",
          "UPDATE level_0 SET overview_fid_ = -overview_fid_"}) {
        SCOPED_TRACE(statement);
        write(own, good);
        test::execute(*test::openToWrite(own), statement);
        Layers::GisFeatureRequest request;
        request.picture = {1e9, 1};
        qint64 shown = 0;
        try {
            for (const auto reader = Layers::GisFeatureReader::fromSource(path, "things", request); reader->next();) {
                EXPECT_TRUE(std::isfinite(reader->shape()->extent().width()));
                ++shown;
            }
        } catch (const std::runtime_error&) {
            continue;
        }
        EXPECT_LE(shown, count);
    }
    write(own, good);
    EXPECT_TRUE(GisVectorOverviews::find(path, "things"));
    EXPECT_FALSE(GisVectorOverviews::find(path, "others"));
    test::execute(*test::openToWrite(path), "UPDATE things SET name = 'road' WHERE fid = 7");
    EXPECT_FALSE(GisVectorOverviews::find(path, "things")) << "the source has changed";

    int calls = 0;
    EXPECT_FALSE(GisVectorOverviews::build(path, "things", [&](double) { return ++calls < 20; }));
    EXPECT_EQ(bytesOf(own), good) << "cancelled";
    EXPECT_EQ(files().size(), 2) << "something is left";
    write(at("none.geojson"), R"({"type":"FeatureCollection","features":[]})");
    EXPECT_THROW(GisVectorOverviews::build(at("none.geojson")), std::runtime_error);
    EXPECT_THROW(GisVectorOverviews::build(at("missing.gpkg")), std::runtime_error);
}

TEST_F(VectorOverviews, OfPointsInOnePlace) {
    const QString path = at("one.geojson");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"type":"MultiPoint","coordinates":[[5,5],[5,5]]})");
    file.close();
    ASSERT_TRUE(GisVectorOverviews::build(path));
    const auto overviews = GisVectorOverviews::find(path);
    ASSERT_TRUE(overviews);
    EXPECT_EQ(overviews->levels().last().featureCount, 1);
}

} // namespace
