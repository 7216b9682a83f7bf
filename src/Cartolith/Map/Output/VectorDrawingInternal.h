#pragma once

#include <Cartolith/Map/MapDrawing.h>
#include <Cartolith/Map/Output/VectorPathInternal.h>
#include <Cartolith/Map/Output/VectorTargetInternal.h>
#include <Cartolith/Map/Symbols/LayerSymbolsInternal.h>

#include <QStringList>

#include <functional>

namespace Cartolith::Map::Output::Internal {

/// Draws the layers of a map and its labels on a target, feature by feature.
class VectorDrawing {
public:
    /// Told the share that is done; false cancels.
    using Progress = std::function<bool(double)>;

    /// All of them outlive this object.
    VectorDrawing(const MapDrawing& drawing, VectorTarget& target, const Progress& progress)
        : m_drawing(drawing), m_target(target), m_progress(progress) {}

    /// False when it was cancelled.
    bool draw();

    /// The layers that are pictures, drawn up to now.
    const QStringList& pictures() const { return m_pictures; }

private:
    bool drawLayer(const MapRenderJob::Layer& layer);
    using LayerSymbols = Map::Internal::LayerSymbols;
    void drawFeature(const LayerSnapshot& snapshot, qsizetype i, VectorPath& path,
                     const LayerSymbols& symbols, LayerSymbols::Round round);
    /// Over the shapes of the layer.
    bool drawSelection(const MapRenderJob::Layer& layer, const Core::Shapes::GisExtent& visible,
                       VectorPath& path);
    void drawLine(const VectorPath& path, const Raster::Stroke& stroke);
    void drawPicture(const LayerSnapshot& snapshot);
    bool drawLabels();
    bool goesOn(double inLayer);

    const MapDrawing& m_drawing;
    VectorTarget& m_target;
    const Progress& m_progress;
    qsizetype m_done = 0; // layers
    int m_untilAsked = 0;
    QStringList m_pictures;
};

} // namespace Cartolith::Map::Output::Internal
