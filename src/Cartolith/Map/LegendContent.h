#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Shapes/GisShapeType.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QList>
#include <QString>

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

namespace Cartolith::Map {

class LegendBounds;

/// What a legend says, before it has a place on a picture.
struct CARTOLITH_MAP_EXPORT LegendContent {
    struct Row {
        QString label;
        Core::Layers::GisLayerStyle style;
        qsizetype count = 0;    ///< features drawn so; below 0 when nothing is counted
        bool isDefault = false; ///< features that are in no class
        bool isSize = false;    ///< stands for a size, so the sample is as large as on the map
    };

    QString title;
    QList<Row> rows; ///< in the renderer's order, the default last
    QString smallPrint;
    LineCasing casing;
    Core::Shapes::GisShapeType kind = Core::Shapes::GisShapeType::Polygon;

    /// Of the layer's renderer, with all features of the layer counted. Disabled classes are left out, empty
    /// ones are not; the default style is there when some feature is drawn with it, called "No value" when
    /// none of these has a value. Bounds are rounded as LegendBounds says; labels that somebody wrote stay.
    /// The title is the field's name, or else the layer's, when none is given. Of sizes by value there are
    /// rows at round values, before the default's; a layer of one style has them alone.
    ///
    /// The layer has a renderer.
    static LegendContent of(const Core::Layers::GisLayerVector& layer, const QString& title);

    /// Of what a raster is coloured by: a row for each class, one for each colour, nothing counted.
    static LegendContent of(const LegendBounds& bounds, const QList<QString>& colours, const QString& title);
    /// A continuous ramp: its colours at round values between the two, the greatest first.
    static LegendContent of(const Core::Symbology::GisColorRamp& ramp, bool reversed, double least,
                            double greatest, const QString& title);
};

} // namespace Cartolith::Map
