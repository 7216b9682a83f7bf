#pragma once

class QImage;
class QPainter;
class QSize;

/// The small mark on pictures of an unlicensed program: readable, in a corner, over nothing that it would
/// hide.
namespace LicenceMark {

/// Whether pictures need it now, as the library's licence manager says. Ask once for a picture.
bool isNeeded();

/// Draws it into the first corner of a single colour, from the lower right on: over nothing at all. Where
/// there is none, into the lower left, which is never the legend's, and so that what lies below shows
/// through. It grows with the picture; one of less than about 90 by 60 pixels is too small for it and stays
/// as it is.
void draw(QImage& image);

/// Into the lower left corner of a sheet of that size, so that what lies below shows through.
void draw(QPainter& painter, const QSize& sheet);

} // namespace LicenceMark
