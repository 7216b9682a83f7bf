#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <utility>
#include <vector>

/// What tells rings apart, however they are stored.
namespace Cartolith::Core::Shapes::Internal {

/// The places of a ring in order, each once in a row, begun and run so that the list comes first of all such
/// lists: the same wherever the ring begins and whichever way it runs, also when it is in one place several
/// times. Linear (K. Booth, 1980).
using RingKey = std::vector<std::pair<double, double>>;

/// Of all vertices. The ring is closed or not.
RingKey vertexKey(const QList<GisShapePoint>& ring);

/// Of those in which the ring turns, spikes left out: the same for every way to store the same boundary.
RingKey cornerKey(const QList<GisShapePoint>& ring);

} // namespace Cartolith::Core::Shapes::Internal
