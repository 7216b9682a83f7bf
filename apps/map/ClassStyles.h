#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Shapes/GisShapeType.h>
#include <Cartolith/Map/SheetColours.h>

#include <QList>
#include <QString>

#include <optional>

namespace Cartolith::Core::Symbology {
class GisCategorizedSymbolRenderer;
class GisGraduatedSymbolRenderer;
class GisSymbolRenderer;
} // namespace Cartolith::Core::Symbology

/// What the user said of a style; the rest is up to us.
struct GivenStyle {
    std::optional<QString> fill, line, point;
    std::optional<float> width;
    bool hollow = false; ///< areas are not filled

    void applyTo(Cartolith::Core::Layers::GisLayerStyle& style) const;
};

/// Makes classes that have their colours from a ramp fit to lie beside each other on a map: neighbours of one
/// class keep a border between them, and features in no class look like those of none.
class ClassStyles {
public:
    /// Shapes of that kind, on a sheet of those colours.
    ClassStyles(GivenStyle given, const Cartolith::Map::SheetColours& colours,
                Cartolith::Core::Shapes::GisShapeType kind);

    void applyTo(Cartolith::Core::Symbology::GisGraduatedSymbolRenderer& renderer) const;
    void applyTo(Cartolith::Core::Symbology::GisCategorizedSymbolRenderer& renderer) const;

    /// ", the nearest two colours ..." for a report on categories, and a word to the user when they cannot be
    /// told apart. Empty for other renderers, for a single category, and for more than anybody looks at.
    static QString nearestColours(const Cartolith::Core::Symbology::GisSymbolRenderer& renderer);

private:
    /// Opaque, so that it looks the same everywhere; areas and points outlined in a shade of their colour,
    /// and points in ink where neither would stand out from the map.
    Cartolith::Core::Layers::GisLayerStyle
    outlined(const Cartolith::Core::Layers::GisLayerStyle& style) const;
    /// Hollow, or grey where a class looks like paper; lines are thin.
    Cartolith::Core::Layers::GisLayerStyle unclassified(const Cartolith::Core::Layers::GisLayerStyle& base,
                                                        const QList<QString>& classColours) const;

    GivenStyle m_given;
    Cartolith::Map::SheetColours m_colours;
    Cartolith::Core::Shapes::GisShapeType m_kind;
};
