#include "MapInput.h"

#include "Arguments.h"
#include "OpenLayer.h"
#include "RasterMapLayer.h"
#include "RenderOptions.h"
#include "StepLog.h"
#include "VectorMapLayer.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>

#include <algorithm>

using namespace Cartolith::Map;
using Cartolith::Core::CoordinateSystems::CoordinateSystem;

namespace {

std::unique_ptr<MapLayer> openLayer(const LayerOptions& options, StepLog& log) {
    if (options.isRaster) {
        return std::make_unique<RasterMapLayer>(options.layer, options.raster, log);
    }
    return std::make_unique<VectorMapLayer>(options.layer, options.symbology, options.labels, log);
}

/// Where one layer is said to be on the earth, all must be.
void requireAllOrNone(const MapInput::MapLayers& layers, const RenderOptions& options) {
    const auto isPlaced = [](const auto& layer) { return layer->system() != nullptr; };
    if (options.system == nullptr && std::none_of(layers.begin(), layers.end(), isPlaced)) {
        return;
    }
    for (std::size_t i = 0; i < layers.size(); ++i) {
        requireSystem(layers[i]->system().get(), options.layers[i].layer.file);
    }
}

MapInput::Input open(const RenderOptions& options, StepLog& log) {
    MapInput::Input input;
    std::shared_ptr<CoordinateSystem> system = options.system;
    for (const LayerOptions& layer : options.layers) {
        input.layers.push_back(openLayer(layer, log));
        input.sources.append(layer.layer.file);
        if (layer.isFirst && system == nullptr) {
            system = input.layers.back()->system();
        }
    }
    requireAllOrNone(input.layers, options);
    input.scene.setCoordinateSystem(system);
    for (const auto& layer : input.layers) {
        layer->setMapSystem(system);
        input.scene.insert(input.scene.count(), layer->entry());
    }
    return input;
}

MapInput::Input load(const RenderOptions& options, StepLog& log) {
    // Whoever names the map file wants what it names.
    MapScene::Loaded loaded = MapScene::load(options.map, MapScene::Sources::Everything);
    Arguments::requireUnread(options.output, loaded.sources);
    log.done("read", QStringLiteral("%1: %2 layers").arg(options.map).arg(loaded.scene.count()));
    for (const QString& problem : std::as_const(loaded.problems)) {
        log.answer("missing", problem);
    }
    if (loaded.scene.view().rotation() != 0.0) {
        log.answer("north", QStringLiteral("the map was turned by %1 degrees; it is drawn with north up")
                                .arg(loaded.scene.view().rotation()));
    }
    if (options.system != nullptr) {
        loaded.scene.setCoordinateSystem(options.system);
        loaded.scene.setView({}); // its numbers are of another system
    }
    return {std::move(loaded.scene), {}, loaded.sources};
}

} // namespace

MapInput::Input MapInput::read(const RenderOptions& options, StepLog& log) {
    return options.map.isEmpty() ? open(options, log) : load(options, log);
}

MapInput::Reading::Reading(const MapLayers& layers) : m_layers(layers) {
    for (const auto& layer : layers) {
        layer->beginReading();
    }
}

MapInput::Reading::~Reading() {
    for (const auto& layer : m_layers) {
        layer->endReading();
    }
}
