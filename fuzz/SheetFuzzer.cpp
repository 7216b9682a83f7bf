// Any text: the sheet that is read from it is as large as it says, whatever lies on it; drawn again, it is
// the same.
#include "FuzzSupport.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/MapSheet.h>

#include <QGuiApplication>
#include <QImage>

#include <optional>
#include <stdexcept>

using namespace Cartolith;

namespace {

/// Fonts need it.
void beginApplication() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int count = 1;
    static char name[] = "fuzzer";
    static char* arguments[] = {name, nullptr};
    static const auto* const application = new QGuiApplication(count, arguments);
    (void)application;
}

Map::LegendContent legend() {
    Map::LegendContent content;
    content.title = QStringLiteral("Inhabitants");
    for (const char* text : {"to 1,000", "more than anybody has counted"}) {
        Map::LegendContent::Row row;
        row.label = QString::fromLatin1(text);
        content.rows.append(row);
    }
    return content;
}

} // namespace

/// Fontconfig keeps what it has read of the fonts.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig";
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const bool isBegun = (beginApplication(), true);
    static const auto system = Core::CoordinateSystems::CoordinateSystemFactory::fromEpsg(32632);
    (void)isBegun;
    std::optional<Map::Furniture::SheetDescription> description;
    try {
        description = Map::Furniture::SheetDescription::fromJson(Fuzz::bytes(data, size));
    } catch (const std::runtime_error&) {
        return 0;
    }
    const QSize pixels = description->pixels();
    constexpr qint64 most = 500'000; // to draw many of them
    if (qint64{pixels.width()} * pixels.height() > most) {
        return 0;
    }
    Map::MapSheet sheet(*description, {400000, 6000000, 600000, 6200000}, system);
    sheet.setLegends({{QStringLiteral("places"), legend()}});
    (void)sheet.problems();
    const QImage picture = sheet.draw({});
    Fuzz::requireSame(std::to_string(picture.width()) + 'x' + std::to_string(picture.height()),
                      std::to_string(pixels.width()) + 'x' + std::to_string(pixels.height()), "the size");
    if (sheet.draw({}) != picture) {
        Fuzz::requireSame("another picture", "the same picture", "drawn again");
    }
    return 0;
}
