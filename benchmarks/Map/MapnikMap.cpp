#ifdef HAVE_MAPNIK
#include "Map/MapnikMap.h"

#include <Cartolith/Core/Serialization/GisWkbWriter.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QTemporaryDir>
#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <mapnik/agg_renderer.hpp>
#include <mapnik/datasource_cache.hpp>
#include <mapnik/font_engine_freetype.hpp>
#include <mapnik/image.hpp>
#include <mapnik/load_map.hpp>
#include <mapnik/map.hpp>
#include <stdexcept>

using namespace Cartolith::Core;

namespace Bench {

namespace {

QByteArray wkbOf(const Shapes::GisShape& shape) {
    using Serialization::Wkb::GisWkbWriter;
    if (const auto* point = dynamic_cast<const Shapes::GisShapePoint*>(&shape)) {
        return GisWkbWriter::writePoint(*point);
    }
    if (const auto* line = dynamic_cast<const Shapes::GisShapePolyline*>(&shape)) {
        return GisWkbWriter::writePolyline(*line);
    }
    return GisWkbWriter::writePolygon(dynamic_cast<const Shapes::GisShapePolygon&>(shape));
}

void write(const Layers::GisLayerVector& layer, const std::string& path) {
    GDALAllRegister();
    GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName("ESRI Shapefile");
    const std::unique_ptr<GDALDataset> file(driver->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
    const char* options[] = {"ENCODING=UTF-8", nullptr};
    OGRLayer* const shapes = file->CreateLayer("shapes", nullptr, wkbUnknown,
                                               const_cast<char**>(options)); // NOLINT: GDAL's signature
    OGRFieldDefn name("name", OFTString);
    shapes->CreateField(&name);
    for (const auto& item : layer.items()) {
        const QByteArray bytes = wkbOf(*item);
        OGRGeometry* shape = nullptr;
        OGRGeometryFactory::createFromWkb(bytes.constData(), nullptr, &shape,
                                          static_cast<size_t>(bytes.size()));
        const std::unique_ptr<OGRFeature, void (*)(OGRFeature*)> feature(
            OGRFeature::CreateFeature(shapes->GetLayerDefn()), OGRFeature::DestroyFeature);
        feature->SetGeometryDirectly(shape);
        feature->SetField(0, item->attributeValue("name").toString().toUtf8().constData());
        if (shapes->CreateFeature(feature.get()) != OGRERR_NONE) {
            throw std::runtime_error("the shapefile could not be written");
        }
    }
}

} // namespace

class MapnikMap::Private {
public:
    QTemporaryDir folder;
    mapnik::Map map{1920, 1080};
};

MapnikMap::MapnikMap(const Layers::GisLayerVector& layer, const std::string& symbolizers)
    : d(std::make_unique<Private>()) {
    const std::string path = d->folder.filePath("shapes.shp").toStdString();
    write(layer, path);
    mapnik::datasource_cache::instance().register_datasources(MAPNIK_PLUGINS);
    mapnik::freetype_engine::register_font("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
    mapnik::load_map_string(d->map,
                            "<Map srs='epsg:4326'><Style name='s'><Rule>" + symbolizers +
                                "</Rule></Style><Layer name='l' srs='epsg:4326'><StyleName>s</StyleName>"
                                "<Datasource><Parameter name='type'>shape</Parameter>"
                                "<Parameter name='file'>" +
                                path + "</Parameter></Datasource></Layer></Map>");
}

MapnikMap::~MapnikMap() = default;

double MapnikMap::draw(const Shapes::GisExtent& extent) {
    d->map.zoom_to_box({extent.xMin(), extent.yMin(), extent.xMax(), extent.yMax()});
    mapnik::image_rgba8 image(1920, 1080);
    mapnik::agg_renderer<mapnik::image_rgba8> renderer(d->map, image);
    renderer.apply();
    const auto drawn = std::count_if(image.begin(), image.end(), [](auto pixel) { return pixel != 0; });
    return static_cast<double>(drawn) / (1920.0 * 1080.0);
}

} // namespace Bench
#endif
