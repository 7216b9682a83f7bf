#include "SheetColours.h"

#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>

using Cartolith::Core::Symbology::GisColorRamp;

SheetColours::SheetColours(const Cartolith::Core::Symbology::GisSymbolTheme& theme)
    : paper(theme.backgroundColor), sea(paper),
      seaLine(GisColorRamp::interpolateColor(theme.backgroundColor, theme.textColor, 0.2)),
      ink(theme.textColor),
      faintInk(GisColorRamp::interpolateColor(theme.backgroundColor, theme.textColor, 0.8)) {}
