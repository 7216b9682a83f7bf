// Any text: the style, ramp, renderer or style of a raster that is read from it is written as a text that is
// read and written as the same.
#include "FuzzSupport.h"

#include <Cartolith/Core/Symbology/GisSymbologyJson.h>

#include <stdexcept>

using Cartolith::Core::Symbology::GisSymbologyJson;

namespace {

template <typename Read>
void check(const QJsonObject& json, const char* what, Read read) {
    QJsonObject written;
    try {
        written = read(json);
    } catch (const std::runtime_error&) {
        return;
    }
    const QByteArray text = GisSymbologyJson::toText(written);
    Fuzz::requireSame(GisSymbologyJson::toText(read(GisSymbologyJson::fromText(text))).toStdString(),
                      text.toStdString(), what);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    QJsonObject json;
    try {
        json = GisSymbologyJson::fromText(Fuzz::bytes(data, size));
    } catch (const std::runtime_error&) {
        return 0;
    }
    const auto written = [](const auto& value) { return GisSymbologyJson::toJson(value); };
    check(json, "style", [&](const auto& j) { return written(GisSymbologyJson::styleFromJson(j)); });
    check(json, "ramp", [&](const auto& j) { return written(GisSymbologyJson::rampFromJson(j)); });
    check(json, "renderer", [&](const auto& j) { return written(*GisSymbologyJson::rendererFromJson(j)); });
    check(json, "raster style",
          [&](const auto& j) { return written(GisSymbologyJson::rasterStyleFromJson(j)); });
    return 0;
}
