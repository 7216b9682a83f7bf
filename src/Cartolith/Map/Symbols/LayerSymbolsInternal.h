#pragma once

#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Symbol.h>

#include <QList>

#include <vector>

namespace Cartolith::Map::Internal {

/// The symbols of a layer's styles, in pixels and on paper alike.
class LayerSymbols {
public:
    /// Halos and casings of lines lie below all lines of a layer.
    enum class Round { Halos, Casings, Symbols };

    /// The watch is asked before each style.
    LayerSymbols(const LayerSnapshot& snapshot, double devicePixelRatio, const LineCasing& casing,
                 const Watch& watch = {});

    qsizetype count() const { return static_cast<qsizetype>(m_symbols.size()); }
    const Symbol& operator[](qsizetype style) const { return m_symbols[static_cast<std::size_t>(style)]; }
    /// Those that draw anything, in their order.
    const QList<Round>& rounds() const { return m_rounds; }
    /// How far the widest symbol reaches, and a little more; in pixels of the device.
    double reach() const { return m_reach; }

private:
    std::vector<Symbol> m_symbols;
    QList<Round> m_rounds;
    double m_reach = 0.0;
};

/// The view, and so many pixels of the device around it.
Core::Shapes::GisExtent around(const MapView& view, double reach);

} // namespace Cartolith::Map::Internal
