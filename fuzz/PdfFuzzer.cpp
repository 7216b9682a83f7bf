// Any file: what says where its map lies can be added, or it is refused; what was added is found again.
#include "FuzzSupport.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Output/PdfGeoreference.h>

#include <stdexcept>

using namespace Cartolith;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const auto system = Core::CoordinateSystems::CoordinateSystemFactory::fromEpsg(32632);
    static const Map::MapView view({600000, 6400000, 600100, 6400100}, QRectF(0, 0, 10, 10));
    const QByteArray bytes = Fuzz::bytes(data, size);
    QByteArray added;
    try {
        added = Map::Output::PdfGeoreference::update(bytes, view, *system);
    } catch (const std::runtime_error&) {
        return 0;
    } catch (const std::invalid_argument&) { // a page that is smaller than the map
        return 0;
    }
    std::string again = "extended twice";
    try {
        Map::Output::PdfGeoreference::update(bytes + added, view, *system);
    } catch (const std::runtime_error& error) {
        again = error.what();
    }
    Fuzz::requireSame(again, "this PDF cannot be extended: the page has a viewport already",
                      "the second time");
    return 0;
}
