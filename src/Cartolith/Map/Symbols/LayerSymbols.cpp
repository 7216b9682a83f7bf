#include <Cartolith/Map/Symbols/LayerSymbolsInternal.h>

#include <algorithm>

namespace Cartolith::Map::Internal {

LayerSymbols::LayerSymbols(const LayerSnapshot& snapshot, double devicePixelRatio, const LineCasing& casing,
                           const Watch& watch) {
    bool hasHalos = false;
    bool hasCasings = false;
    m_symbols.reserve(static_cast<std::size_t>(snapshot.styles().size()));
    for (const Core::Layers::GisLayerStyle& style : snapshot.styles()) {
        watch();
        const Symbol& symbol = m_symbols.emplace_back(style, devicePixelRatio, casing);
        m_reach = std::max(m_reach, symbol.reach());
        hasHalos = hasHalos || symbol.halo;
        hasCasings = hasCasings || symbol.casing;
    }
    constexpr double air = 2.0; // soft edges
    m_reach += air;
    if (hasHalos) {
        m_rounds.append(Round::Halos);
    }
    if (hasCasings) {
        m_rounds.append(Round::Casings);
    }
    m_rounds.append(Round::Symbols);
}

Core::Shapes::GisExtent around(const MapView& view, double reach) {
    const double margin = reach * view.unitsPerPixel();
    return view.pictureExtent().inflate(margin, margin);
}

} // namespace Cartolith::Map::Internal
