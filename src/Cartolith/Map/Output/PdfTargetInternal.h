#pragma once

#include <Cartolith/Map/Output/PdfGroupsInternal.h>
#include <Cartolith/Map/Output/VectorTargetInternal.h>

class QPainter;
class QPainterPath;

namespace Cartolith::Map::Output::Internal {

/// A map on a page of QPdfWriter. The painter's units are pixels of the sheet, of which the page counts
/// `steps`: coordinates are whole numbers of those, which are short.
class PdfTarget : public VectorTarget {
public:
    static constexpr int steps = 8;

    /// What is drawn is cut at the frame.
    PdfTarget(QPainter& painter, const QRectF& frame, PdfGroups& groups);

    double step() const override { return 1.0 / steps; }
    void beginLayer(const MapRenderJob::Layer& layer) override;
    void endLayer() override;
    void area(std::span<const double> rings, std::span<const qsizetype> ends, const Symbol& symbol,
              QPointF origin) override;
    void line(std::span<const double> parts, std::span<const qsizetype> ends,
              const Raster::Stroke& stroke) override;
    void marker(qsizetype style, const Symbol::Marker& marker, QPointF place) override;
    void picture(const QRectF& frame, const QImage& image) override;
    void labels(std::span<const Labels::PlacedLabel> labels) override;

private:
    void draw(const QPainterPath& path, const QColor& fill, const Raster::Stroke& stroke);

    QPainter& m_painter;
    const QRectF m_frame;
    PdfGroups& m_groups;
    bool m_isGroup = false; // the layer that is open
};

} // namespace Cartolith::Map::Output::Internal
