#pragma once

class QImage;

/// The small mark on pictures of an unlicensed program: readable, in a corner, over nothing that it would
/// hide.
namespace LicenceMark {

/// Whether pictures need it now, as the library's licence manager says. Ask once for a picture.
bool isNeeded();

/// Draws it into the lower right corner, about a fifth of the picture wide at most. A picture too small for
/// it stays as it is.
void draw(QImage& image);

} // namespace LicenceMark
