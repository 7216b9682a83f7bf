#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Symbol.h>

#include <QPolygonF>

#include <optional>

class QPainter;
class QPainterPath;

namespace Cartolith::Map {

/// Draws single symbols in pixels as a style says: the shapes of a map and the samples of a legend look alike
/// because both are drawn here. Leaves pen and brush of the painter as the last symbol needed them. What a
/// style leaves to each feature is resolved before.
class CARTOLITH_MAP_EXPORT SymbolPainter {
public:
    /// The painter must be active and outlive this object; nobody else sets its pen and brush meanwhile.
    explicit SymbolPainter(QPainter& painter) : m_painter(painter) {}

    /// The place on the painter from which patterns repeat themselves; (0, 0) at first.
    void setPatternOrigin(QPointF origin) { m_origin = origin; }

    void area(const QPainterPath& path, const Core::Layers::GisLayerStyle& style);
    void line(const QPolygonF& line, const Core::Layers::GisLayerStyle& style);
    /// What lies below all casings; nothing when the style has no halo.
    void halo(const QPolygonF& line, const Core::Layers::GisLayerStyle& style, const LineCasing& casing);
    /// What sets such a line off, to be drawn below it; nothing when there is none for it.
    void casing(const QPolygonF& line, const Core::Layers::GisLayerStyle& style, const LineCasing& casing);
    void point(QPointF centre, const Core::Layers::GisLayerStyle& style);

private:
    const Symbol& symbolOf(const Core::Layers::GisLayerStyle& style);
    void stroke(const QPolygonF& line, const Raster::Stroke& stroke);

    QPainter& m_painter;
    QPointF m_origin;
    Core::Layers::GisLayerStyle m_inUse;
    std::optional<Symbol> m_symbol;
};

} // namespace Cartolith::Map
