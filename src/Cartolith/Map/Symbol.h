#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Raster/Fill.h>
#include <Cartolith/Map/Raster/Stroke.h>

#include <QColor>
#include <QPainterPath>
#include <QPen>
#include <QStringList>

#include <memory>
#include <optional>

class QPainter;

namespace Cartolith::Map {

class SvgMarker;

/// A wider line below lines of some colours, which would hardly be seen without.
struct CARTOLITH_MAP_EXPORT LineCasing {
    QColor colour;
    QStringList lines; ///< their colours
};

/// A style as a drawing needs it, whatever it draws on: colours read, sizes within bounds and in pixels of
/// the device. What a style leaves to each feature (GisFeatureSymbol) is resolved before.
struct CARTOLITH_MAP_EXPORT Symbol {
    struct CARTOLITH_MAP_EXPORT Marker {
        Core::Layers::MarkerShape shape = Core::Layers::MarkerShape::Circle;
        double size = 0.0;
        double rotation = 0.0; ///< degrees clockwise
        QColor color;
        Raster::Stroke outline = {}; ///< of width 0 where there is none
        double haloWidth = 0.0;      ///< beyond the outline
        QColor haloColor = {};
        std::shared_ptr<const SvgMarker> svg = {}; ///< null where it is none, or one that cannot be read

        /// Turned, around (0, 0), y downwards; of an SVG marker the circle around it.
        QPainterPath path() const;
        /// How far it reaches from its place.
        double reach() const;
        /// A circle, filled and outlined, and nothing else.
        bool isPlain() const;
        /// With the painter's hints; pen and brush are left as they were.
        void paint(QPainter& painter, QPointF place) const;
    };

    /// `pixels` of the device make one of the style's. A casing of the style's own comes before the other.
    explicit Symbol(const Core::Layers::GisLayerStyle& style, double pixels = 1.0,
                    const LineCasing& others = {});

    Raster::Fill fill;                           ///< of areas
    Raster::Stroke line;                         ///< of lines and outlines; its own casing is not used
    std::optional<Raster::Stroke> casing;        ///< of lines, below all lines of a layer
    std::optional<Raster::Stroke> outlineCasing; ///< of areas, each below its outline
    std::optional<Raster::Stroke> halo;          ///< of lines, below all casings
    Marker marker;                               ///< of points

    /// How far the symbols of lines and points reach beyond their places.
    double reach() const;

    /// Qt's way to say it.
    static QPen penOf(const Raster::Stroke& stroke);
    /// Paints the pattern on an area; `origin` is the place of the map's (0, 0) on the painter. Patterns too
    /// fine for lines and dots of their own are a colour.
    static void paint(QPainter& painter, const QPainterPath& area, const Raster::Pattern& pattern,
                      QPointF origin);
};

} // namespace Cartolith::Map
