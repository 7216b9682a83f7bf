#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Graticule.h>
#include <Cartolith/Map/Legend.h>
#include <Cartolith/Map/MapPainter.h>

#include <QImage>
#include <QString>

#include <memory>
#include <optional>

namespace Cartolith::Map {

/// A map as a picture to show: title above, frame around the map, graticule below the shapes, a legend
/// beside it, a note at the foot.
class CARTOLITH_MAP_EXPORT MapSheet {
public:
    struct Options {
        QSize size{1600, 900};
        QString title;
        QString note;
        bool graticule = true;
        /// Of each side of the extent, shown around it.
        double air = 0.02;
        /// Of the picture: symbols and labels are so much larger than at 96.
        double dotsPerInch = 96.0;
        /// The scale at the middle is 1 to this; 0 shows the extent as large as it can be.
        double scaleDenominator = 0.0;
        SheetColours colours;
        std::optional<LegendContent> legend; ///< drawn to the right of the map, which makes room for it
    };

    /// What is drawn of one layer.
    struct Content {
        QList<Core::Shapes::GisShape*> shapes; ///< in drawing order
        MapPainter::Styles styles;
        QImage picture = {}; ///< over all of view().pictureFrame(); drawn below the shapes
        LineCasing casing = {};
    };

    /// The extent is in units of the coordinate system; without a system there is no graticule.
    MapSheet(Options options, const Core::Shapes::GisExtent& extent,
             std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> system);

    const MapView& view() const { return m_view; }

    /// Draws everything, later layers on top; the image has the size of the options.
    QImage draw(const QList<Content>& layers) const;

    /// \name Parts of it
    /// For a map that is drawn otherwise, in pixels of the sheet: first paper, sea and graticule; then, over
    /// the map, frame, legend, title and note.
    /// @{
    void drawBelow(QPainter& painter) const;
    void drawAbove(QPainter& painter) const;
    /// @}

private:
    /// What title, note and margins leave for map and legend.
    static QRectF innerFrame(const Options& options);
    static std::optional<Legend> legendOf(const Options& options);
    static MapView viewOf(const Options& options, const Core::Shapes::GisExtent& extent, const QRectF& frame,
                          const std::shared_ptr<Core::CoordinateSystems::CoordinateSystem>& system);
    static QRectF mapFrame(const Options& options, const std::optional<Legend>& legend);

    std::optional<Graticule> graticule() const;

    Options m_options;
    std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> m_system;
    std::optional<Legend> m_legend;
    MapView m_view;
};

} // namespace Cartolith::Map
