#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QList>
#include <QPolygonF>

class QPainter;

namespace Cartolith::Core {
namespace Layers {
class GisLayerVector;
}
namespace Shapes {
class GisShape;
class GisShapePoint;
} // namespace Shapes
} // namespace Cartolith::Core

namespace Cartolith::Map {

/// Draws vector layers with a QPainter, for a picture or for a window.
///
/// The three steps are separate so that a caller can time, count or keep their results: which shapes are in
/// view (the layer's index), how each of them looks (the layer's renderer, asked once a shape, or once in all
/// when it does not read the feature), and the drawing itself.
class CARTOLITH_MAP_EXPORT MapPainter {
public:
    /// One style for each shape, or the same for all of them.
    class Styles {
    public:
        const Core::Layers::GisLayerStyle& at(qsizetype i) const {
            return m_styles.at(m_styles.size() == 1 ? 0 : i);
        }
        /// How often the renderer was asked.
        qsizetype asked() const { return m_asked; }

    private:
        friend class MapPainter;
        QList<Core::Layers::GisLayerStyle> m_styles;
        qsizetype m_asked = 0;
    };

    /// The painter must be active and outlive this object.
    MapPainter(QPainter& painter, const MapView& view) : m_painter(painter), m_view(view) {}

    /// The shapes whose box meets the frame, in drawing order. The layer keeps owning them.
    static QList<Core::Shapes::GisShape*> visibleShapes(Core::Layers::GisLayerVector& layer,
                                                        const MapView& view);

    static Styles stylesFor(const Core::Layers::GisLayerVector& layer,
                            const QList<Core::Shapes::GisShape*>& shapes);

    /// Later shapes lie on top. Casings lie below all shapes. Rings are filled by the even-odd rule, so that
    /// holes stay open whichever way they are wound.
    void draw(const QList<Core::Shapes::GisShape*>& shapes, const Styles& styles,
              const LineCasing& casing = {});

private:
    void drawShape(SymbolPainter& symbols, const Core::Shapes::GisShape& shape,
                   const Core::Layers::GisLayerStyle& style) const;
    QPolygonF toPixels(const QList<Core::Shapes::GisShapePoint>& vertices) const;

    QPainter& m_painter;
    MapView m_view;
};

} // namespace Cartolith::Map
