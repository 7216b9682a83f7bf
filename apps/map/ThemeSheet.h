#pragma once

#include <QImage>

/// A picture of all built-in themes side by side: each with sample areas (one of them selected), lines,
/// points, a label with its halo, and its ramps.
namespace ThemeSheet {

QImage draw(const QSize& size);

} // namespace ThemeSheet
