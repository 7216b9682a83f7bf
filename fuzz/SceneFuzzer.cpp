// Any text: the map that is read from it, its sources missing or not, is written as a text that is read and
// written as the same.
#include "FuzzSupport.h"

#include <Cartolith/Map/MapScene.h>

#include <QFile>
#include <QTemporaryDir>

#include <optional>
#include <stdexcept>

using Cartolith::Map::MapScene;

namespace {

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        std::abort();
    }
}

std::string read(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const QTemporaryDir folder;
    static const QString place = folder.filePath("place.geojson");
    if (!QFile::exists(place)) {
        write(place, R"({"type": "Point", "coordinates": [1, 2]})");
    }
    const QString path = folder.filePath("map.json");
    write(path, Fuzz::bytes(data, size));
    std::optional<MapScene::Loaded> loaded;
    try {
        loaded.emplace(MapScene::load(path));
    } catch (const std::runtime_error&) {
        return 0;
    }
    loaded->scene.save(path);
    const std::string once = read(path);
    MapScene::load(path).scene.save(path);
    Fuzz::requireSame(read(path), once, "written again");
    return 0;
}
