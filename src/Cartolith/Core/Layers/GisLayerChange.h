#pragma once

#include <QFlags>

namespace Cartolith::Core::Layers {

/// What of a layer has changed, as GisLayer::onChanged() tells it.
enum class GisLayerChange {
    /// Shapes, attributes, pixels: whatever advances contentRevision(). extent() may be another then.
    Content = 0x01,
    /// Style, renderer, the style of a raster. (That of a raster is content, too.)
    Look = 0x02,
    /// Fields, the kind of shapes, the bands of a raster.
    Schema = 0x04,
    /// visible(), and the scales between which it holds.
    Visibility = 0x08,
    /// The coordinate system.
    System = 0x10,
    /// What is said of the extent without a change of content: the metadata extent of a vector layer, the
    /// place of a raster.
    Extent = 0x20,
    Name = 0x40,
};
Q_DECLARE_FLAGS(GisLayerChanges, GisLayerChange)
Q_DECLARE_OPERATORS_FOR_FLAGS(GisLayerChanges)

} // namespace Cartolith::Core::Layers
