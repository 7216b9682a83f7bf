#include <Cartolith/Map/Drawing/PictureBlendInternal.h>
#include <Cartolith/Map/Drawing/SelectionDrawingInternal.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/Output/VectorDrawingInternal.h>
#include <Cartolith/Map/Snapshot/SnapshotLabelsInternal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>

namespace Cartolith::Map::Output::Internal {

bool VectorDrawing::goesOn(double inLayer) {
    constexpr int seldom = 256; // features
    if (!m_progress || m_untilAsked-- > 0) {
        return true;
    }
    m_untilAsked = seldom;
    const auto layers = static_cast<double>(m_drawing.layers.size()) + 1.0; // labels are as much as one
    return m_progress((static_cast<double>(m_done) + inLayer) / layers);
}

bool VectorDrawing::draw() {
    if (!m_drawing.view.isUsable()) {
        return true;
    }
    for (const MapRenderJob::Layer& layer : m_drawing.layers) {
        if (layer.opacity > 0.0) {
            m_target.beginLayer(layer);
            const bool isDone = drawLayer(layer);
            m_target.endLayer();
            if (!isDone) {
                return false;
            }
        }
        ++m_done;
    }
    return drawLabels();
}

bool VectorDrawing::drawLayer(const MapRenderJob::Layer& layer) {
    const LayerSnapshot& snapshot = layer.snapshot;
    const MapView& view = m_drawing.view;
    if (!snapshot.picture().isNull()) {
        drawPicture(snapshot);
        return goesOn(1.0);
    }
    const LayerSymbols symbols(snapshot, view.devicePixelRatio(), layer.casing);
    double reach = symbols.reach();
    if (!layer.selected.isEmpty()) {
        constexpr double air = 2.0; // pixels
        for (const Core::Layers::GisLayerStyle& style : snapshot.styles()) {
            reach =
                std::max(reach, Map::Internal::selectedSymbol(style, view.devicePixelRatio()).reach() + air);
        }
    }
    const Core::Shapes::GisExtent visible = Map::Internal::around(view, reach);
    VectorPath path(view, QRectF(view.pictureFrame()).adjusted(-reach, -reach, reach, reach),
                    m_target.step());
    const double all = static_cast<double>(snapshot.count()) * static_cast<double>(symbols.rounds().size());
    double done = 0.0;
    for (const LayerSymbols::Round round : symbols.rounds()) {
        for (qsizetype i = 0; i < snapshot.count(); ++i, ++done) {
            if (snapshot.meets(i, visible)) {
                drawFeature(snapshot, i, path, symbols, round);
            }
            if (!goesOn(done / all)) {
                return false;
            }
        }
    }
    return drawSelection(layer, visible, path);
}

bool VectorDrawing::drawSelection(const MapRenderJob::Layer& layer, const Core::Shapes::GisExtent& visible,
                                  VectorPath& path) {
    if (layer.selected.isEmpty()) {
        return true;
    }
    const LayerSnapshot& snapshot = layer.snapshot;
    const MapView& view = m_drawing.view;
    std::optional<Symbol> symbol;
    qsizetype style = -1; // of the symbol
    for (qsizetype i = 0; i < snapshot.count(); ++i) {
        if (!goesOn(1.0)) {
            return false;
        }
        if (!layer.selected.contains(snapshot.id(i)) || !snapshot.meets(i, visible)) {
            continue;
        }
        if (style != snapshot.styleNumber(i)) {
            style = snapshot.styleNumber(i);
            symbol = Map::Internal::selectedSymbol(snapshot.style(i), view.devicePixelRatio());
        }
        const auto shape = snapshot.coordinates(i);
        const bool isArea = snapshot.kind(i) == LayerSnapshot::Kind::Area;
        if (snapshot.kind(i) == LayerSnapshot::Kind::Point) {
            const qsizetype own = -1 - style; // no number of the layer's symbols
            m_target.marker(own, symbol->marker, view.toPixel(shape[0], shape[1]));
        } else if (!path.read(shape, snapshot.partEnds(i), isArea)) {
            continue;
        } else if (isArea) {
            m_target.area(path.coordinates(), path.ends(), *symbol, {});
        } else {
            m_target.line(path.coordinates(), path.ends(), symbol->line);
        }
    }
    return true;
}

void VectorDrawing::drawFeature(const LayerSnapshot& snapshot, qsizetype i, VectorPath& path,
                                const LayerSymbols& symbols, LayerSymbols::Round round) {
    const qsizetype style = snapshot.styleNumber(i);
    const Symbol& symbol = symbols[style];
    const LayerSnapshot::Kind kind = snapshot.kind(i);
    const bool isArea = kind == LayerSnapshot::Kind::Area;
    const auto& below = round == LayerSymbols::Round::Halos ? symbol.halo : symbol.casing;
    if (round != LayerSymbols::Round::Symbols && (kind != LayerSnapshot::Kind::Line || !below)) {
        return;
    }
    if (kind != LayerSnapshot::Kind::Point &&
        !path.read(snapshot.coordinates(i), snapshot.partEnds(i), isArea)) {
        return;
    }
    if (round != LayerSymbols::Round::Symbols) {
        drawLine(path, *below);
        return;
    }
    m_target.beginFeature(snapshot.id(i));
    if (kind == LayerSnapshot::Kind::Point) {
        const auto place = snapshot.coordinates(i);
        m_target.marker(style, symbol.marker, m_drawing.view.toPixel(place[0], place[1]));
    } else if (isArea) {
        m_target.area(path.coordinates(), path.ends(), symbol, m_drawing.view.toPixel(0.0, 0.0));
    } else {
        drawLine(path, symbol.line);
    }
    m_target.endFeature();
}

/// Where a line was cut, its dashes go on.
void VectorDrawing::drawLine(const VectorPath& path, const Raster::Stroke& stroke) {
    const auto begins = path.begins();
    const auto isBeginning = [](double begin) { return begin == 0.0; };
    const double period = 2.0 * std::accumulate(stroke.dashes.cbegin(), stroke.dashes.cend(), 0.0);
    if (!(period > 0.0) || std::all_of(begins.begin(), begins.end(), isBeginning)) {
        m_target.line(path.coordinates(), path.ends(), stroke);
        return;
    }
    Raster::Stroke piece = stroke;
    std::size_t from = 0;
    for (std::size_t i = 0; i < begins.size(); ++i) {
        const auto to = static_cast<std::size_t>(path.ends()[i]);
        const std::array<qsizetype, 1> end{static_cast<qsizetype>(to - from)};
        piece.dashOffset = stroke.dashOffset + std::fmod(begins[i], period);
        m_target.line(path.coordinates().subspan(from * 2, (to - from) * 2), end, piece);
        from = to;
    }
}

void VectorDrawing::drawPicture(const LayerSnapshot& snapshot) {
    m_pictures.append(snapshot.layerName());
    const MapView& view = m_drawing.view;
    m_target.picture(view.pictureFrame(),
                     Map::Internal::placed(snapshot.picture(), snapshot.pictureExtent(), view));
}

bool VectorDrawing::drawLabels() {
    const auto hasLabels = [](const MapRenderJob::Layer& layer) { return layer.snapshot.hasLabels(); };
    if (!m_drawing.options.hasLabels ||
        std::none_of(m_drawing.layers.cbegin(), m_drawing.layers.cend(), hasLabels)) {
        return true;
    }
    Labels::LabelTexts texts;
    Map::Internal::SnapshotLabels labels(m_drawing.view, m_drawing.options.scaleDenominator, texts,
                                         m_drawing.options.closedBoxes);
    for (qsizetype i = 0; i < m_drawing.layers.size(); ++i) {
        const LayerSnapshot& snapshot = m_drawing.layers.at(i).snapshot;
        if (snapshot.hasLabels() && !labels.add(i, snapshot, [this] { return goesOn(0.0); })) {
            return false;
        }
    }
    struct Cancelled {};
    labels.labels().setWatch([this] {
        m_untilAsked = 0; // that was milliseconds ago
        if (!goesOn(0.0)) {
            throw Cancelled();
        }
    });
    try {
        labels.labels().place();
    } catch (const Cancelled&) {
        return false;
    }
    m_untilAsked = 0;
    if (!goesOn(0.5)) {
        return false;
    }
    m_target.labels(labels.labels().placedLabels());
    return true;
}

} // namespace Cartolith::Map::Output::Internal
