#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Furniture/LegendStack.h>
#include <Cartolith/Map/Furniture/SheetDescription.h>
#include <Cartolith/Map/Graticule.h>
#include <Cartolith/Map/Legend.h>
#include <Cartolith/Map/MapPainter.h>

#include <QImage>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace Cartolith::Map {

/// A map as a picture or a page to show: the map in its frame, degrees around it, lines of longitude and
/// latitude, and what a SheetDescription hangs up beside and on it: texts, legends, scale bars, north arrows,
/// inset maps. Options describe the sheet that is wanted most: title above, legend to the right, a note at
/// the foot.
///
/// The layers themselves are the host's: it draws view() and insetViews(), as pictures for draw(), or with
/// the painter of a page between drawBelow() and drawAbove().
///
/// Making one makes transformations of PROJ, which is slow. Drawing text needs a QGuiApplication.
class CARTOLITH_MAP_EXPORT MapSheet {
public:
    struct Options {
        QSize size{1600, 900};
        QString title;
        QString note; ///< wrapped, to three lines at most
        bool graticule = true;
        bool graticuleAbove = false; ///< over the layers, as pictures want it
        bool degrees = false;        ///< around the frame
        bool northArrow = false;     ///< in the upper right corner of the map
        /// In the lower right corner of the map.
        std::optional<Furniture::ScaleUnits> scaleBar = {};
        /// Of each side of the extent, shown around it.
        double air = 0.02;
        /// Of the picture: symbols and labels are so much larger than at 96.
        double dotsPerInch = 96.0;
        /// The scale at the middle is 1 to this; 0 shows the extent as large as it can be.
        double scaleDenominator = 0.0;
        SheetColours colours;
        std::optional<LegendContent> legend; ///< drawn to the right of the map, which makes room for it
        QList<LegendContent> legends = {};   ///< further ones, below it
    };

    /// What is drawn of one layer.
    struct Content {
        QList<Core::Shapes::GisShape*> shapes; ///< in drawing order
        MapPainter::Styles styles;
        QImage picture = {}; ///< over all of view().pictureFrame(); drawn below the shapes
        LineCasing casing = {};
    };

    /// The extent is in units of the coordinate system; without a system there is no graticule.
    MapSheet(const Options& options, const Core::Shapes::GisExtent& extent,
             std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> system);
    /// The extent is that of everything: what map and insets show that name none.
    MapSheet(Furniture::SheetDescription description, const Core::Shapes::GisExtent& extent,
             std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> system);

    /// For the legends that the description names; Furniture::legendsOf() makes them.
    void setLegends(const QList<Furniture::SheetLegend>& legends) { m_legends = legends; }

    const Furniture::SheetDescription& description() const { return m_description; }
    const MapView& view() const { return m_view; }
    /// Of the inset maps, in the order of the description.
    const QList<MapView>& insetViews() const { return m_insetViews; }
    /// Which items cannot be drawn, and why: a north arrow where north is nowhere, a scale bar without scale.
    QStringList problems() const;

    /// Where items lie on the map, and a millimetre around them, in pixels of the view:
    /// MapRenderJob::Options::closedBoxes keeps labels off them. Needs the legends.
    QList<QRectF> boxesOnMap() const;

    /// Draws everything, later layers on top; the image has the size of the sheet. Insets are pictures over
    /// insetViews(); those that are missing stay empty.
    QImage draw(const QList<Content>& layers, const QList<QImage>& insets = {}) const;

    /// \name In pieces
    /// For a painter whose units are the sheet's pixels, of a picture or a page. They leave it as it was.
    /// @{
    /// Paper, sea, and the graticule where it lies below.
    void drawBelow(QPainter& painter) const;
    /// Everything else.
    void drawAbove(QPainter& painter, const QList<QImage>& insets = {}) const;
    /// @}

private:
    Furniture::SheetDescription m_description;
    std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> m_system;
    QList<Furniture::SheetLegend> m_legends;
    MapView m_view;
    QList<MapView> m_insetViews;
    std::optional<Graticule> m_graticule;
};

} // namespace Cartolith::Map
