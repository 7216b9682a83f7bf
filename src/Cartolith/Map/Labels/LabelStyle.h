#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Labels/LabelFont.h>
#include <Cartolith/Map/Labels/LabelPainter.h>
#include <Cartolith/Map/Labels/LabelSettings.h>

class QVariant;

namespace Cartolith::Core::Layers {
class GisLayerStyle;
}

/// What the label settings of a layer's style mean in pixels of a device, of which `pixelRatio` (as in
/// MapView) go into one of the style's. docs/drawing.md has them in a table.
namespace Cartolith::Map::Labels {

/// Whether features of that style are labelled when the map's scale is 1 to this; both bounds are inclusive,
/// and a scale that is not greater than 0 and finite is within all.
CARTOLITH_MAP_EXPORT bool areLabelsVisible(const Core::Layers::GisLayerStyle& style, double scaleDenominator);

CARTOLITH_MAP_EXPORT LabelFont labelFont(const Core::Layers::GisLayerStyle& style, double pixelRatio);
CARTOLITH_MAP_EXPORT LabelLook labelLook(const Core::Layers::GisLayerStyle& style, double pixelRatio);
/// All but the value of the priority field, which is each feature's own.
CARTOLITH_MAP_EXPORT LabelSettings labelSettings(const Core::Layers::GisLayerStyle& style, double pixelRatio);

/// Of the label field's value: empty for none, numbers as short as they can be read back.
CARTOLITH_MAP_EXPORT QString labelText(const QVariant& value);
/// Of the priority field's value: NaN, which is least, for what is no number.
CARTOLITH_MAP_EXPORT double labelPriority(const QVariant& value);

} // namespace Cartolith::Map::Labels
