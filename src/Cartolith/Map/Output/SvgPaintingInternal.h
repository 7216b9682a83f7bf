#pragma once

#include <Cartolith/Map/Output/SvgWriter.h>

#include <functional>

namespace Cartolith::Map::Output::Internal {

/// What a QPainter draws, as elements of an SVG: paths, text as text, pictures; cut where the painter's clip
/// is a rectangle. For titles and legends, which know only painters. Its units are pixels of the sheet.
void paintSvg(SvgWriter& svg, QSizeF sheet, const std::function<void(QPainter&)>& draw);

} // namespace Cartolith::Map::Output::Internal
