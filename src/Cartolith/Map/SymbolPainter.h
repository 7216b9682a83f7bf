#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Map/Export.h>

#include <QColor>
#include <QPolygonF>
#include <QStringList>

class QPainter;
class QPainterPath;

namespace Cartolith::Map {

/// A wider line below lines of some colours, which would hardly be seen without.
struct CARTOLITH_MAP_EXPORT LineCasing {
    QColor colour;
    QStringList lines; ///< their colours
};

/// Draws single symbols in pixels as a style says: the shapes of a map and the samples of a legend look alike
/// because both are drawn here. Leaves pen and brush of the painter as the last symbol needed them.
class CARTOLITH_MAP_EXPORT SymbolPainter {
public:
    /// The painter must be active and outlive this object; nobody else sets its pen and brush meanwhile.
    explicit SymbolPainter(QPainter& painter) : m_painter(painter) {}

    void area(const QPainterPath& path, const Core::Layers::GisLayerStyle& style);
    void line(const QPolygonF& line, const Core::Layers::GisLayerStyle& style);
    /// What sets such a line off, to be drawn below it; nothing when there is none for it.
    void casing(const QPolygonF& line, const Core::Layers::GisLayerStyle& style, const LineCasing& casing);
    void point(QPointF centre, const Core::Layers::GisLayerStyle& style);

private:
    enum class Pens { None, Shape, Point };

    void use(Pens pens, const Core::Layers::GisLayerStyle& style);

    QPainter& m_painter;
    Core::Layers::GisLayerStyle m_inUse;
    Pens m_pens = Pens::None;
};

} // namespace Cartolith::Map
