#pragma once

#include <Cartolith/Map/Labels/LabelPainter.h>
#include <Cartolith/Map/MapRenderJob.h>
#include <Cartolith/Map/Symbol.h>

#include <QImage>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>

#include <span>

namespace Cartolith::Map::Output::Internal {

/// As Qt has it. `scale` multiplies the coordinates.
QPainterPath pathOf(std::span<const double> parts, std::span<const qsizetype> ends, bool areClosed,
                    double scale = 1.0);

/// Where VectorDrawing draws to. Coordinates are pixels of the sheet, x and y in turn.
class VectorTarget {
public:
    VectorTarget() = default;
    virtual ~VectorTarget() = default;
    VectorTarget(const VectorTarget&) = delete;
    VectorTarget& operator=(const VectorTarget&) = delete;

    /// Places on a grid of this are told apart.
    virtual double step() const = 0;

    /// Between the two, all is drawn by the layer's opacity and blend mode as one.
    virtual void beginLayer(const MapRenderJob::Layer& layer) = 0;
    virtual void endLayer() = 0;
    virtual void beginFeature(qint64 /*id*/) {}
    virtual void endFeature() {}

    /// `origin` is where the map has (0, 0).
    virtual void area(std::span<const double> rings, std::span<const qsizetype> ends, const Symbol& symbol,
                      QPointF origin) = 0;
    virtual void line(std::span<const double> parts, std::span<const qsizetype> ends,
                      const Raster::Stroke& stroke) = 0;
    /// `style` is the number of the symbol in its layer; below 0 of what lies over selected points.
    virtual void marker(qsizetype style, const Symbol::Marker& marker, QPointF place) = 0;
    virtual void picture(const QRectF& frame, const QImage& image) = 0;
    virtual void labels(std::span<const Labels::PlacedLabel> labels) = 0;
};

} // namespace Cartolith::Map::Output::Internal
