#pragma once

#include <Cartolith/Map/Export.h>

#include <QColor>
#include <QString>

#include <memory>

class QPainter;
class QRectF;

namespace Cartolith::Map {

/// A small SVG picture as the symbol of points, drawn by Qt Svg.
///
/// Pictures may come from strangers. Shapes, groups and gradients are drawn, and nothing is loaded, whatever
/// the document names. One used by one thread at a time.
class CARTOLITH_MAP_EXPORT SvgMarker {
public:
    /// False where the library was built without Qt Svg.
    static bool isSupported();

    /// `currentColor` in the document is that colour; with it, its opacity is that of the whole picture.
    /// \throws std::runtime_error saying what is wrong, also when isSupported() is not: for what is no SVG
    /// with a size; more than 65,536 characters, 2,000 elements or 16 levels; a document type, links and
    /// texts; dashes; numbers beyond 10,000
    explicit SvgMarker(const QString& text, QColor color = Qt::black);
    ~SvgMarker();

    /// As large as it fits into the box, in its middle. Vectors where the painter's device has these.
    void draw(QPainter& painter, const QRectF& box) const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map
