#pragma once

#include <Cartolith/Map/Output/SvgWriter.h>
#include <Cartolith/Map/Output/VectorTargetInternal.h>

#include <QHash>
#include <QSet>

namespace Cartolith::Map::Output::Internal {

/// A map as groups of SVG, named by layer and feature.
class SvgTarget : public VectorTarget {
public:
    /// What is drawn is cut at the frame; `decimals` are the writer's.
    SvgTarget(SvgWriter& svg, const QRectF& frame, int decimals);

    double step() const override { return m_step; }
    void beginLayer(const MapRenderJob::Layer& layer) override;
    void endLayer() override;
    void beginFeature(qint64 id) override;
    void endFeature() override;
    void area(std::span<const double> rings, std::span<const qsizetype> ends, const Symbol& symbol,
              QPointF origin) override;
    void line(std::span<const double> parts, std::span<const qsizetype> ends,
              const Raster::Stroke& stroke) override;
    void marker(qsizetype style, const Symbol::Marker& marker, QPointF place) override;
    void picture(const QRectF& frame, const QImage& image) override;
    void labels(std::span<const Labels::PlacedLabel> labels) override;

private:
    int addSymbol(const Symbol::Marker& marker);
    void label(const Labels::PlacedLabel& label);

    SvgWriter& m_svg;
    const QRectF m_frame;
    double m_step;
    QHash<qsizetype, int> m_symbols; // of the layer's styles
    QSet<qint64> m_ids;              // of the layer's features
    bool m_isNamed = false;          // the feature that is open
};

} // namespace Cartolith::Map::Output::Internal
