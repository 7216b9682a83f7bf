#pragma once

#include <Cartolith/Map/Labels/LabelPainter.h>
#include <Cartolith/Map/Labels/LabelPlaces.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/MapView.h>

#include <QList>

#include <mutex>

namespace Cartolith::Map {

/// What labels keep from one picture of a map to the next: shaped texts, pictures of letters, and places, so
/// that labels stay where they are when the map is panned. Given to jobs, which take turns.
class LabelMemory {
private:
    friend class MapRenderJob;

    std::timed_mutex m_mutex;
    Labels::LabelTexts m_texts;
    Labels::LabelPainter m_painter;
    Labels::LabelPlaces m_places;
    QList<LayerSnapshot> m_snapshots; // that have these places
    QList<bool> m_shown;              // which of their styles had labels
    MapView m_view;
};

} // namespace Cartolith::Map
