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
    m_symbols.clear();
    double reach = 2.0; // pixels
    bool hasHalos = false;
    bool hasCasings = false;
    for (const Core::Layers::GisLayerStyle& style : snapshot.styles()) {
        const Symbol& symbol = m_symbols.emplace_back(style, view.devicePixelRatio(), layer.casing);
        reach = std::max(reach, symbol.reach() + 2.0);
        if (!layer.selected.isEmpty()) {
            reach =
                std::max(reach, Map::Internal::selectedSymbol(style, view.devicePixelRatio()).reach() + 2.0);
        }
        hasHalos = hasHalos || symbol.halo;
        hasCasings = hasCasings || symbol.casing;
    }
    QList<Round> rounds;
    if (hasHalos) {
        rounds.append(Round::Halos);
    }
    if (hasCasings) {
        rounds.append(Round::Casings);
    }
    rounds.append(Round::Symbols);
    const double margin = reach * view.unitsPerPixel();
    const Core::Shapes::GisExtent visible = view.pictureExtent().inflate(margin, margin);
    VectorPath path(view, QRectF(view.pictureFrame()).adjusted(-reach, -reach, reach, reach),
                    m_target.step());
    const double all = static_cast<double>(snapshot.count()) * static_cast<double>(rounds.size());
    double done = 0.0;
    for (const Round round : std::as_const(rounds)) {
        for (qsizetype i = 0; i < snapshot.count(); ++i, ++done) {
            if (snapshot.meets(i, visible)) {
                drawFeature(snapshot, i, path, round);
            }
            if (!goesOn(done / all)) {
                return false;
            }
        }
    }
    return drawSelection(layer, path);
}

bool VectorDrawing::drawSelection(const MapRenderJob::Layer& layer, VectorPath& path) {
    const LayerSnapshot& snapshot = layer.snapshot;
    const MapView& view = m_drawing.view;
    std::optional<Symbol> symbol;
    qsizetype style = -1; // of the symbol
    for (qsizetype i = 0; i < snapshot.count() && !layer.selected.isEmpty(); ++i) {
        if (!goesOn(1.0)) {
            return false;
        }
        if (!layer.selected.contains(snapshot.id(i))) {
            continue;
        }
        if (style != snapshot.styleNumber(i)) {
            style = snapshot.styleNumber(i);
            symbol = Map::Internal::selectedSymbol(snapshot.style(i), view.devicePixelRatio());
        }
        const double margin = (symbol->reach() + 2.0) * view.unitsPerPixel();
        if (!snapshot.meets(i, view.pictureExtent().inflate(margin, margin))) {
            continue;
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

void VectorDrawing::drawFeature(const LayerSnapshot& snapshot, qsizetype i, VectorPath& path, Round round) {
    const qsizetype style = snapshot.styleNumber(i);
    const Symbol& symbol = m_symbols[static_cast<std::size_t>(style)];
    const LayerSnapshot::Kind kind = snapshot.kind(i);
    const bool isArea = kind == LayerSnapshot::Kind::Area;
    const auto& below = round == Round::Halos ? symbol.halo : symbol.casing;
    if (round != Round::Symbols && (kind != LayerSnapshot::Kind::Line || !below)) {
        return;
    }
    if (kind != LayerSnapshot::Kind::Point &&
        !path.read(snapshot.coordinates(i), snapshot.partEnds(i), isArea)) {
        return;
    }
    if (round != Round::Symbols) {
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
    Map::Internal::SnapshotLabels labels(m_drawing.view, m_drawing.options.scaleDenominator, texts);
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
