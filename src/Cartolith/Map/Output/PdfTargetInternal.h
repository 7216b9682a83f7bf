#pragma once

#include <Cartolith/Map/Output/PdfFormsInternal.h>
#include <Cartolith/Map/Output/VectorTargetInternal.h>

#include <QHash>
#include <QList>

class QPainter;
class QPainterPath;

namespace Cartolith::Map::Output::Internal {

/// A map on a page of QPdfWriter. The painter's units are pixels of the sheet, of which the page counts
/// `steps`: coordinates are whole numbers of those, which are short.
class PdfTarget : public VectorTarget {
public:
    static constexpr int steps = 8;

    /// What is drawn is cut at the frame.
    PdfTarget(QPainter& painter, const QRectF& frame, PdfForms& forms);

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

    /// Once, after all else that is on the page.
    void drawMarkers();

private:
    void draw(const QPainterPath& path, const QColor& fill, const Raster::Stroke& stroke);

    QPainter& m_painter;
    const QRectF m_frame;
    PdfForms& m_forms;
    bool m_isGroup = false;          // the layer that is open
    QHash<qsizetype, int> m_numbers; // of markers, by the layer's styles
    QList<Symbol::Marker> m_markers; // of all layers
};

} // namespace Cartolith::Map::Output::Internal
