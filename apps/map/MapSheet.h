#pragma once

#include "MapPainter.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>

#include <QImage>
#include <QString>

#include <memory>

/// A map as a picture to show: title above, frame around the map, graticule below the shapes, a note at the
/// foot.
class MapSheet {
public:
    struct Options {
        QSize size{1600, 900};
        QString title;
        QString note;
        bool graticule = true;
    };

    /// The extent is in units of the coordinate system; without a system there is no graticule.
    MapSheet(Options options, const Cartolith::Core::Shapes::GisExtent& extent,
             std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> system);

    const MapView& view() const { return m_view; }

    /// Draws everything; the image has the size of the options.
    QImage draw(const QList<Cartolith::Core::Shapes::GisShape*>& shapes,
                const MapPainter::Styles& styles) const;

private:
    static QRectF mapFrame(const Options& options);

    Options m_options;
    std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem> m_system;
    MapView m_view;
};
