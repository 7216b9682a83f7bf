#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Shapes/GisShapeType.h>
#include <Cartolith/Core/Symbology/GisSymbolContext.h>

#include <QStringList>

namespace Cartolith::Core::Symbology {

/// What a style leaves to each feature: its size by a value, and the rotation of its marker. Renderers choose
/// a style; who draws has it resolved for the feature.
///
/// Nothing throws; may be called from several threads.
class CARTOLITH_CORE_EXPORT GisFeatureSymbol {
public:
    GisFeatureSymbol() = delete;

    /// The fields that resolved() asks a feature for; none when the style is the same for all.
    static QStringList fieldsOf(const Layers::GisLayerStyle& style);

    /// The size in pixels for a value: sizeFrom() at sizeFromValue(), sizeTo() at sizeToValue(), in between
    /// as sizeScaling() says, beyond either the size there. NaN for NaN.
    static double sizeFor(const Layers::GisLayerStyle& style, double value);

    /// The style with the feature's own size (points: pointSize(); lines: lineWidth(); areas: none) and
    /// rotation, which no longer names their fields. Sizes are rounded to an eighth of a pixel or a 256th of
    /// the range, whichever is more, rotations to 2 degrees, so that a million features have few different
    /// styles. A feature without a finite number keeps the style's own size and rotation: with a pointSize()
    /// of 0 it is left out.
    ///
    /// `kind` is the feature's: PointZ counts as Point and so on.
    static Layers::GisLayerStyle resolved(const Layers::GisLayerStyle& style, const GisSymbolContext& context,
                                          Shapes::GisShapeType kind);
};

} // namespace Cartolith::Core::Symbology
