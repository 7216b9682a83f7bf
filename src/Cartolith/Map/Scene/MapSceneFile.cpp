#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisOgrProvider.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSymbologyJson.h>
#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Scene/JsonMembersInternal.h>
#include <Cartolith/Map/Scene/MapSceneInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using Symbology::GisSymbologyJson;

namespace Cartolith::Map {

namespace {

constexpr qint64 largestFile = qint64{64} << 20;
constexpr qsizetype mostLayers = 10'000;
constexpr int formatVersion = 1;
constexpr std::array<const char*, 6> blendTexts{"normal",  "multiply", "screen",
                                                "overlay", "darken",   "lighten"};

using Internal::fail;
using Internal::text;
using Members = Internal::JsonMembers;

/// What a layer was opened from.
struct Source {
    const char* kind;
    QString path;
    QString layer;
};

Source sourceOf(const Layers::GisLayer& layer) {
    if (const auto* const onDemand = dynamic_cast<const Layers::GisLayerOgrOnDemand*>(&layer)) {
        return {"onDemand", onDemand->path(), onDemand->layerName()};
    }
    if (const auto* const vector = dynamic_cast<const Layers::GisLayerOgrVector*>(&layer)) {
        return {"vector", vector->path(), vector->layerName()};
    }
    if (dynamic_cast<const Layers::GisLayerGdalRaster*>(&layer) != nullptr) {
        const auto* const provider = layer.layerProvider();
        return {"raster", provider != nullptr ? provider->source() : QString(), QString()};
    }
    return {"", {}, {}};
}

bool isFile(const QString& path) {
    if (path.contains(QChar(u'\0'))) { // of which Qt would print that it is no name
        return false;
    }
    const QFileInfo info(path);
    return info.isFile() || info.isDir(); // no device, which may never end
}

QString systemText(const CoordinateSystem& system) {
    return system.epsgCode() > 0 ? QStringLiteral("EPSG:%1").arg(system.epsgCode()) : system.definition();
}

QJsonObject casingJson(const LineCasing& casing) {
    return {{text("color"), casing.colour.name(QColor::HexArgb)},
            {text("lines"), QJsonArray::fromStringList(casing.lines)}};
}

QJsonObject entryJson(const MapScene::Entry& entry, const QDir& folder) {
    const Layers::GisLayer& layer = *entry.layer;
    const Source source = sourceOf(layer);
    if (source.path.isEmpty()) {
        throw std::invalid_argument(QStringLiteral("the layer '%1' has no source that a map file could name")
                                        .arg(layer.name())
                                        .toStdString());
    }
    const QString path = isFile(source.path)
                             ? folder.relativeFilePath(QFileInfo(source.path).absoluteFilePath())
                             : Layers::Providers::GisOgrProvider(source.path).source();
    QJsonObject json{{text("name"), layer.name()},
                     {text("kind"), text(source.kind)},
                     {text("source"), path},
                     {text("visible"), layer.visible()},
                     {text("minVisibleScale"), layer.minVisibleScale()},
                     {text("maxVisibleScale"), layer.maxVisibleScale()},
                     {text("opacity"), entry.opacity},
                     {text("blend"), text(blendTexts.at(static_cast<std::size_t>(entry.blend)))}};
    if (!source.layer.isEmpty()) {
        json.insert(text("layer"), source.layer);
    }
    if (layer.coordinateSystem() != nullptr) {
        json.insert(text("crs"), systemText(*layer.coordinateSystem()));
    }
    if (!entry.casing.lines.isEmpty()) {
        json.insert(text("casing"), casingJson(entry.casing));
    }
    if (const auto* const raster = dynamic_cast<const Layers::GisLayerRaster*>(&layer)) {
        json.insert(text("rasterStyle"), GisSymbologyJson::toJson(raster->rasterStyle()));
        return json;
    }
    json.insert(text("style"), GisSymbologyJson::toJson(layer.style()));
    if (layer.symbolRenderer() != nullptr) {
        json.insert(text("renderer"), GisSymbologyJson::toJson(*layer.symbolRenderer()));
    }
    return json;
}

std::shared_ptr<CoordinateSystem> systemFrom(const QString& definition, const QString& where) {
    auto system = CoordinateSystemFactory::fromUserInput(definition);
    if (system == nullptr) {
        fail(where, QStringLiteral("'%1' is not a coordinate system that GDAL and PROJ know.")
                        .arg(definition.left(80)));
    }
    return system;
}

std::shared_ptr<Layers::GisLayer> layerOf(const QString& kind, const QString& path, const QString& name,
                                          const QString& where) {
    if (kind == QLatin1String("vector")) {
        return std::make_shared<Layers::GisLayerOgrVector>(path, name);
    }
    if (kind == QLatin1String("onDemand")) {
        return std::make_shared<Layers::GisLayerOgrOnDemand>(path, name);
    }
    if (kind == QLatin1String("raster")) {
        return std::make_shared<Layers::GisLayerGdalRaster>(path);
    }
    fail(where, QStringLiteral("\"%1\" is none of \"vector\", \"onDemand\", \"raster\".").arg(kind.left(40)));
}

class EntryReader {
public:
    EntryReader(const QDir& folder, MapScene::Sources sources) : m_folder(folder), m_sources(sources) {}

    /// What went wrong with the source comes to the problems; anything else is thrown.
    void read(const QJsonValue& value, const QString& where, MapScene::Loaded& loaded) const {
        Members members(value, where);
        MapScene::Entry entry;
        const QString name = members.string("name");
        const QString source = members.string("source");
        const QString path = m_folder.filePath(source); // an absolute one stays what it is
        const QString kind = members.string("kind");
        loaded.sources.append(isFile(path) ? path : source);
        entry.layer =
            layerOf(kind, loaded.sources.constLast(), members.string("layer"), members.where("kind"));
        Layers::GisLayer& layer = *entry.layer;
        const QString definition = members.string("crs");
        const auto system = definition.isEmpty() ? nullptr : systemFrom(definition, members.where("crs"));

        layer.setVisible(members.boolean("visible", true));
        layer.setMinVisibleScale(members.number("minVisibleScale", 0.0));
        layer.setMaxVisibleScale(members.number("maxVisibleScale", 0.0));
        entry.opacity = members.number("opacity", 1.0);
        entry.blend = blendFrom(members.string("blend", text(blendTexts[0])), members.where("blend"));
        readCasing(members, entry.casing);
        readLooks(members, layer);
        members.refuseOthers();

        try {
            if (source.isEmpty() || (!isFile(path) && m_sources == MapScene::Sources::Files)) {
                fail(source, text("there is no such file or folder"));
            }
            layer.open();
            if (layer.coordinateSystem() == nullptr) {
                layer.setCoordinateSystem(system);
            }
            if (!name.isEmpty()) {
                layer.setName(name);
            }
        } catch (const std::runtime_error& error) {
            loaded.problems.append(QStringLiteral("%1: %2").arg(name, QString::fromUtf8(error.what())));
            entry.layer.reset();
            entry.missing = value.toObject();
            if (!source.isEmpty() && QDir::isRelativePath(source) &&
                !source.contains(QLatin1Char(':'))) { // no connection
                entry.missing.insert(text("source"), path);
            }
        }
        loaded.scene.insert(loaded.scene.count(), std::move(entry));
    }

private:
    static LayerBlend blendFrom(const QString& name, const QString& where) {
        const auto found = std::find_if(blendTexts.cbegin(), blendTexts.cend(),
                                        [&name](const char* known) { return name == QLatin1String(known); });
        if (found == blendTexts.cend()) {
            fail(where, QStringLiteral("there is no blend mode \"%1\".").arg(name.left(40)));
        }
        return static_cast<LayerBlend>(found - blendTexts.cbegin());
    }

    static void readCasing(Members& members, LineCasing& casing) {
        if (members.has("casing")) {
            Members from(members.object("casing"), members.where("casing"));
            casing.colour = from.colour("color", casing.colour);
            for (const QJsonValue line : from.array("lines")) {
                if (!line.isString()) {
                    fail(from.where("lines"), text("a list of texts is expected."));
                }
                casing.lines.append(line.toString());
            }
            from.refuseOthers();
        }
    }

    static void readLooks(Members& members, Layers::GisLayer& layer) {
        const auto read = [&members](const char* name, const auto& function) {
            if (!members.has(name)) {
                return;
            }
            const QString where = members.where(name);
            try {
                function(members.object(name));
            } catch (const std::runtime_error& error) {
                fail(where, QString::fromUtf8(error.what()));
            }
        };
        if (auto* const raster = dynamic_cast<Layers::GisLayerRaster*>(&layer)) {
            read("rasterStyle", [raster](const QJsonObject& json) {
                raster->setRasterStyle(GisSymbologyJson::rasterStyleFromJson(json));
            });
            return;
        }
        read("style",
             [&layer](const QJsonObject& json) { layer.style() = GisSymbologyJson::styleFromJson(json); });
        read("renderer", [&layer](const QJsonObject& json) {
            layer.setSymbolRenderer(GisSymbologyJson::rendererFromJson(json));
        });
    }

    QDir m_folder;
    MapScene::Sources m_sources;
};

QJsonObject viewJson(const MapView& view) {
    QJsonObject json{{text("centerX"), view.center().x()},
                     {text("centerY"), view.center().y()},
                     {text("unitsPerPixel"), view.unitsPerPixel()},
                     {text("rotation"), view.rotation()},
                     {text("width"), view.frame().width()},
                     {text("height"), view.frame().height()},
                     {text("devicePixelRatio"), view.devicePixelRatio()}};
    if (const QPointF corner = view.frame().topLeft(); corner != QPointF()) {
        json.insert(text("left"), corner.x());
        json.insert(text("top"), corner.y());
    }
    if (view.dotsPerInch() != view.withDotsPerInch(0.0).dotsPerInch()) {
        json.insert(text("dotsPerInch"), view.dotsPerInch());
    }
    return json;
}

MapView viewFrom(const QJsonValue& value, const QString& where) {
    Members members(value, where);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const QPointF center(members.number("centerX", nan), members.number("centerY", nan));
    const double scale = members.number("unitsPerPixel", nan);
    const double rotation = members.number("rotation", 0.0);
    const QRectF frame(0.0, 0.0, members.number("width", nan), members.number("height", nan));
    const double ratio = members.number("devicePixelRatio", 1.0);
    const QPointF corner(members.number("left", 0.0), members.number("top", 0.0));
    const double dotsPerInch = members.number("dotsPerInch", 0.0);
    members.refuseOthers();
    const double right = frame.width() * scale / 2.0;
    const double up = frame.height() * scale / 2.0;
    const MapView flat({center.x() - right, center.y() - up, center.x() + right, center.y() + up}, frame);
    const MapView view = flat.rotated(rotation, frame.center());
    // The ratio multiplies the frame, which is that of the device already.
    const MapView result = view.inFrame({0.0, 0.0, frame.width() / ratio, frame.height() / ratio});
    const MapView scaled = result.zoomed(1.0 / ratio, result.frame().center())
                               .withDevicePixelRatio(ratio)
                               .inFrame(frame.translated(corner))
                               .withDotsPerInch(dotsPerInch);
    if (!scaled.isUsable()) {
        fail(where, text("there is no such view."));
    }
    return scaled;
}

/// Of a layer that could not be opened; its source is named from this folder.
QJsonObject missingJson(QJsonObject entry, const QDir& folder) {
    const QString source = entry.value(QLatin1String("source")).toString();
    if (QDir::isAbsolutePath(source) && !source.startsWith(QLatin1String("/vsi"))) {
        entry.insert(text("source"), folder.relativeFilePath(source));
    }
    return entry;
}

} // namespace

void MapScene::save(const QString& path) const {
    const QDir folder = QFileInfo(path).absoluteDir();
    QJsonArray layers;
    for (const Private::Kept& kept : d->entries) {
        layers.append(kept.entry.layer != nullptr ? entryJson(kept.entry, folder)
                                                  : missingJson(kept.entry.missing, folder));
    }
    QJsonObject json{{text("kind"), text("map")},
                     {text("version"), formatVersion},
                     {text("background"), d->background.name(QColor::HexArgb)},
                     {text("layers"), layers}};
    if (d->system != nullptr) {
        json.insert(text("crs"), systemText(*d->system));
    }
    if (d->view.isUsable()) {
        json.insert(text("view"), viewJson(d->view));
    }
    const QByteArray bytes = GisSymbologyJson::toText(json);
    Output::OutputFile::write(path, [&bytes](QIODevice& file) { file.write(bytes); });
}

MapScene::Loaded MapScene::load(const QString& path, Sources sources) {
    const QString quoted = QStringLiteral("'%1'").arg(path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(quoted, file.errorString());
    }
    const QByteArray bytes = file.read(largestFile + 1);
    if (bytes.size() > largestFile) {
        fail(quoted, text("a map file has 64 MB at most"));
    }
    try {
        Members members(GisSymbologyJson::fromText(bytes), text("map"));
        if (members.string("kind") != QLatin1String("map") ||
            members.number("version", 0.0) != formatVersion) {
            fail(text("map"), text("this is no map file of version 1."));
        }
        Loaded loaded;
        loaded.scene.setBackground(members.colour("background", Qt::transparent));
        if (members.has("crs")) {
            const QString where = members.where("crs");
            loaded.scene.setCoordinateSystem(systemFrom(members.string("crs"), where));
        }
        if (members.has("view")) {
            const QString where = members.where("view");
            loaded.scene.setView(viewFrom(members.object("view"), where));
        }
        const QJsonArray layers = members.array("layers");
        members.refuseOthers();
        if (layers.size() > mostLayers) {
            fail(text("map.layers"), text("there are more than 10,000 layers."));
        }
        const EntryReader reader(QFileInfo(path).absoluteDir(), sources);
        for (qsizetype i = 0; i < layers.size(); ++i) {
            reader.read(layers.at(i), QStringLiteral("map.layers[%1]").arg(i), loaded);
        }
        return loaded;
    } catch (const std::runtime_error& error) {
        fail(quoted, QString::fromUtf8(error.what()));
    }
}

} // namespace Cartolith::Map
