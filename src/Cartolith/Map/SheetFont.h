#pragma once

#include <QFont>

namespace Cartolith::Map {

/// The letters of everything on a sheet.
inline QFont sheetFont(int pixels, bool bold) {
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPixelSize(pixels);
    font.setBold(bold);
    font.setHintingPreference(QFont::PreferNoHinting); // as long on paper as on the screen
    return font;
}

} // namespace Cartolith::Map
