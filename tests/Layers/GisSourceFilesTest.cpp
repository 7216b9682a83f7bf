#include "DataFolder.h"

#include <Cartolith/Core/Layers/GisSourceFiles.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gdal_priv.h>
#include <gtest/gtest.h>

#include <algorithm>

using Cartolith::Core::Layers::GisSourceFiles;

namespace {

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QStringList namesOf(const QString& path) {
    QStringList names;
    for (const QString& file : GisSourceFiles::of(path)) {
        names.append(QFileInfo(file).fileName());
    }
    std::sort(names.begin() + 1, names.end());
    return names;
}

TEST(GisSourceFiles, AreAllThatASourceIsReadFrom) {
    GDALAllRegister();
    const QTemporaryDir folder;
    const QDir dir(folder.path());
    // A Shapefile beside files that have its name and are not its own; a raster with all that may lie beside it.
    const auto layerFile = [&](const QString& name, const char* driver) {
        GDALDataset* const file = GetGDALDriverManager()->GetDriverByName(driver)->Create(
            dir.filePath(name).toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr);
        OGRSpatialReference system;
        system.SetFromUserInput("EPSG:4326");
        file->CreateLayer("roads", &system, wkbPoint);
        GDALClose(file);
    };
    layerFile("roads.shp", "ESRI Shapefile");
    layerFile("roads.gpkg", "GPKG");
    write(dir.filePath("roads.png"), "x");
    write(dir.filePath("roads.mbtiles.part"), "x");
    ASSERT_TRUE(QFile::copy(CARTOLITH_DATA_DIR "/olinda-dem-utm25s.tif", dir.filePath("dem.tif")));
    write(dir.filePath("dem.tif.aux.xml"), "<PAMDataset/>");
    GDALDataset* const raster = GDALDataset::Open(dir.filePath("dem.tif").toUtf8().constData());
    int factor = 2;
    ASSERT_EQ(raster->BuildOverviews("NEAREST", 1, &factor, 0, nullptr, nullptr, nullptr), CE_None);
    GDALClose(raster);
    const QByteArray source = "<SourceFilename relativeToVRT=\"1\">dem.tif</SourceFilename>";
    write(dir.filePath("dem.vrt"),
          R"(<VRTDataset rasterXSize="9" rasterYSize="9"><VRTRasterBand dataType="Int16" band="1">
        <SimpleSource>)" +
              source + "<SourceBand>1</SourceBand></SimpleSource></VRTRasterBand></VRTDataset>");
    write(
        dir.filePath("roads.vrt"),
        R"(<OGRVRTDataSource><OGRVRTLayer name="roads"><SrcDataSource relativeToVRT="1">roads.shp</SrcDataSource></OGRVRTLayer></OGRVRTDataSource>)");
    write(dir.filePath("place.geojson"), R"({"type": "Point", "coordinates": [1, 2]})");
    write(dir.filePath("roads.gpkg-wal"), "");

    const struct {
        const char* name;
        QStringList others;
    } rows[] = {
        {"roads.shp", {"roads.dbf", "roads.prj", "roads.shx"}},
        {"roads.gpkg", {}},
        {"dem.tif", {"dem.tif.aux.xml", "dem.tif.ovr"}},
        {"roads.vrt", {"roads.dbf", "roads.prj", "roads.shp", "roads.shx"}},
        {"dem.vrt", {"dem.tif", "dem.tif.aux.xml", "dem.tif.ovr"}},
        {"place.geojson", {}},
        {"missing.gpkg", {}},
        {"roads.png", {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(namesOf(dir.filePath(row.name)), QStringList(row.name) + row.others) << row.name;
    }
    EXPECT_EQ(GisSourceFiles::of("PG:dbname=nowhere"), QStringList("PG:dbname=nowhere"));
}

} // namespace
