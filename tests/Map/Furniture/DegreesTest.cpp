#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/Furniture/DegreeFrame.h>
#include <Cartolith/Map/Furniture/NorthArrow.h>
#include <Cartolith/Map/Furniture/ScaleBar.h>
#include <Cartolith/Map/Graticule.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/Projection.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Furniture;
using CoordinateSystems::CoordinateSystemFactory;
using Shapes::GisExtent;

namespace {

TEST(Tmp, Look) {
    for (const char* crs : {"EPSG:4326", "EPSG:8857", "EPSG:3857", "EPSG:3035", "+proj=ortho +lat_0=40 +lon_0=10", "+proj=robin +lon_0=150", "EPSG:3413", "EPSG:32633", "+proj=lcc +lat_1=44 +lat_2=49 +lat_0=46.5 +lon_0=3", "EPSG:2154"}) {
        const auto system = CoordinateSystemFactory::fromUserInput(crs);
        const auto area = CoordinateSystemFactory::areaOfUse(*system);
        const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
        GisExtent e = area && area->width() < 359 ? Projection::meshIn(*area, *degrees, *system).extent : Projection::meshIn({-180,-85,180,85}, *degrees, *system).extent;
        const MapView view(e, QRectF(0, 0, 1000, 600));
        const Graticule g(*system, view);
        printf("%s area %s steps %g %g lines %d outline %d box %g %g %g %g\n", crs, area ? qPrintable(area->toString()) : "none", g.meridianStep(), g.parallelStep(), int(g.lines().size()), int(g.worldOutline().size()), g.worldOutline().boundingRect().x(), g.worldOutline().boundingRect().y(), g.worldOutline().boundingRect().width(), g.worldOutline().boundingRect().height());
        const DegreeFrame fr(g, view.frame(), 12); for (const auto& l : fr.labels()) printf(" %d:%s@%.0f,%.0f", int(l.side), qPrintable(l.text), l.place.x(), l.place.y());
        NorthArrow n(system.get(), view);
        printf("\n north %g %s\n", n.angle().value_or(999), qPrintable(n.problem()));
        for (auto u : {ScaleUnits::Metric, ScaleUnits::Imperial, ScaleUnits::Degrees}) {
            const ScaleBar b(ScaleBar::metersPerPixel(view, GroundScale(system)), u, 200, 12);
            for (auto& t : b.ticks()) printf(" %g:%s", t.pixels, qPrintable(t.label));
            printf("\n");
        }
    }
}

} // namespace
