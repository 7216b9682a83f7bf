#pragma once

#include <Cartolith/Map/MapSheet.h>

namespace Cartolith::Map::Furniture::Internal {

/// The sheet that the options mean.
SheetDescription standardSheet(const MapSheet::Options& options);
/// Their legends, the first one first.
QList<LegendContent> legendsOf(const MapSheet::Options& options);

} // namespace Cartolith::Map::Furniture::Internal
