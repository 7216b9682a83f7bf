#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Map/LayerBlend.h>
#include <Cartolith/Map/MapView.h>

#include <QImage>
#include <QPainter>

/// Pictures as layers of others: premultiplied ARGB of the size of a view's pictureFrame().
namespace Cartolith::Map::Internal {

QPainter::CompositionMode compositionMode(LayerBlend blend);

/// A null picture changes nothing.
void layOver(QImage& below, const QImage& picture, double opacity, LayerBlend blend);

/// A picture of an extent, north up, where it lies in a view.
QImage placed(const QImage& picture, const Core::Shapes::GisExtent& extent, const MapView& view);

} // namespace Cartolith::Map::Internal
