#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Raster/Stroke.h>

#include <QPainter>
#include <QPointF>
#include <QSizeF>
#include <QString>

#include <memory>
#include <span>

class QIODevice;
class QImage;
class QPainterPath;

namespace Cartolith::Map::Output {

struct SvgPage {
    QSizeF size;               ///< pixels
    double dotsPerInch = 96.0; ///< pixels in 25.4 mm: how large the picture is on paper
    QString title = {};
    int decimals = 2; ///< of a coordinate in pixels, from 0 to 6
};

/// One line of text, from the beginning of its baseline on.
struct SvgText {
    QString text;
    QPointF baseline;
    double rotation = 0.0; ///< degrees, clockwise about the beginning
    QString family;
    double size = 12.0; ///< pixels
    bool isBold = false;
    bool isItalic = false;
    QColor color = Qt::black;
    double haloWidth = 0.0; ///< to each side, in pixels; drawn below the letters by readers of `paint-order`
    QColor haloColor = Qt::white;
    double length = 0.0; ///< pixels that it has to fill whatever font the reader has; 0 leaves it its own
};

/// A part of a text that does not stand on one straight line.
struct SvgTextPiece {
    QString text;
    QPointF baseline;
    double rotation = 0.0;
    double length = 0.0;
};

/// SVG 1.1, written as it is drawn: groups for layers and features, paths, symbols, texts as text, pictures
/// as PNG. Choose it over QSvgGenerator for files that other programs edit: that one knows no groups, no
/// symbols and no names.
///
/// Coordinates are pixels, x and y in turn, y downwards. A part with a coordinate that is not finite, or
/// beyond 1e12, is left out; vertices that are the same when rounded are written once. Names and texts may
/// hold anything: characters that XML has not become U+FFFD.
/// Memory is 64 KB, the names of layers, and a picture while it is written. Every call may throw
/// std::runtime_error "the output could not be written: ..."; then the output is of no use. It is complete
/// after finish() only. One writer is used by one thread at a time.
class CARTOLITH_MAP_EXPORT SvgWriter {
public:
    /// The device is open, and outlives the writer.
    /// \throws std::invalid_argument for a page without a size
    SvgWriter(QIODevice& device, const SvgPage& page);
    ~SvgWriter();
    SvgWriter(const SvgWriter&) = delete;
    SvgWriter& operator=(const SvgWriter&) = delete;

    /// A group with the name as its id, as far as ids may hold it; a further one of that name gets a number.
    /// Editors show the whole name. Opacity is that of the group as one, from 0 to 1.
    /// \throws std::invalid_argument for a mode that SVG does not have
    void beginLayer(const QString& name, double opacity = 1.0,
                    QPainter::CompositionMode mode = QPainter::CompositionMode_SourceOver);
    /// A group with the id "LAYER.ID". A feature is begun once in a layer: ids must differ.
    void beginFeature(qint64 id);
    /// What follows is cut at the rectangle.
    void beginClip(const QRectF& frame);
    /// What follows is cut at the outlines of areas.
    void beginClip(std::span<const double> rings, std::span<const qsizetype> ringEnds);
    /// Ends what was begun last. \throws std::logic_error when nothing is open
    void end();

    /// Rings one after the other; `ringEnds` are the numbers of vertices up to the end of each. A ring in an
    /// odd number of others is a hole.
    void fill(std::span<const double> rings, std::span<const qsizetype> ringEnds, QColor color);
    /// Lines, or the outlines of rings when they are closed.
    void stroke(std::span<const double> parts, std::span<const qsizetype> partEnds,
                const Raster::Stroke& stroke, bool areClosed = false);
    /// The fill and its outline as one path. By Qt::WindingFill, rings of one direction are filled as one
    /// area however they overlap.
    void area(std::span<const double> rings, std::span<const qsizetype> ringEnds, QColor color,
              const Raster::Stroke& outline, Qt::FillRule rule = Qt::OddEvenFill);

    /// A symbol to be used many times, around (0, 0); its number. Paths of several areas go by even and odd,
    /// curves stay curves.
    int addSymbol(const QPainterPath& path, QColor color, const Raster::Stroke& outline);
    /// Likewise, of all that is drawn around the middle until its end(), so many times as large.
    int beginSymbol(QPointF middle = {}, double larger = 1.0);
    /// \throws std::out_of_range for a symbol that was not added
    void marker(int symbol, QPointF place, double rotation = 0.0, double scale = 1.0);

    /// Halos below all texts of a group that is still to come; its number for beginTexts(). Every reader that
    /// draws outlines of letters draws them; each text stands in the file once.
    int addHalo(QColor color, double width);
    /// The group, once for each halo. \throws std::out_of_range for a halo that was not added
    void beginTexts(int halo);
    void text(const SvgText& text);
    /// The same in pieces, on a curve, without the halo of its own. The whole text stands behind them, not
    /// drawn, where it begins: that one is found and copied, the pieces are not.
    void text(const SvgText& text, std::span<const SvgTextPiece> pieces);
    void image(const QRectF& frame, const QImage& image);

    /// Ends all that is open, and the file; what comes after this is not written.
    void finish();

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Map::Output
