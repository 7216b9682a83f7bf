#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>
#include <Cartolith/Map/SheetColours.h>

#include <algorithm>

using Cartolith::Core::Symbology::GisColorPerception;
using Cartolith::Core::Symbology::GisColorRamp;

namespace Cartolith::Map {

SheetColours::SheetColours(const Cartolith::Core::Symbology::GisSymbolTheme& theme)
    : paper(theme.backgroundColor), sea(paper),
      seaLine(GisColorRamp::interpolateColor(theme.backgroundColor, theme.textColor, 0.2)),
      ink(theme.textColor),
      faintInk(GisColorRamp::interpolateColor(theme.backgroundColor, theme.textColor, 0.8)) {}

double SheetColours::contrast(const QColor& colour) const {
    return std::min(GisColorPerception::contrast(colour.name(), paper.name()),
                    GisColorPerception::contrast(colour.name(), sea.name()));
}

} // namespace Cartolith::Map
