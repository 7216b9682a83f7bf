#pragma once

#include <Cartolith/Map/Labels/GlyphOutlineInternal.h>
#include <Cartolith/Map/Raster/CoverageInternal.h>
#include <Cartolith/Map/Raster/StrokeMaskInternal.h>

#include <QHash>
#include <QRect>

#include <cstdint>
#include <memory>
#include <vector>

namespace Cartolith::Map::Labels::Internal {

/// The shares of pixels that a letter or its halo takes.
struct GlyphPicture {
    QRect box; ///< from the pixel that holds the letter's origin
    std::vector<std::uint8_t> shares;
};

/// Which picture.
struct GlyphKey {
    std::shared_ptr<const GlyphOutline> outline;
    double size;
    double halo; ///< 0 for the letter
    int quarterX, quarterY;

    friend bool operator==(const GlyphKey&, const GlyphKey&) = default;
    friend size_t qHash(const GlyphKey& key, size_t seed = 0) {
        return qHashMulti(seed, key.outline.get(), key.size, key.halo, key.quarterX, key.quarterY);
    }
};

/// Draws each letter once for each size and quarter of a pixel, and keeps its picture within a budget.
class GlyphPictures {
public:
    explicit GlyphPictures(qsizetype budget) : m_budget(budget) {}

    /// Good until the next call.
    const GlyphPicture& picture(const GlyphKey& key);
    qsizetype bytes() const { return m_bytes; }

private:
    GlyphPicture draw(const GlyphKey& key);

    qsizetype m_budget;
    qsizetype m_bytes = 0;
    QHash<GlyphKey, GlyphPicture> m_pictures;
    Contours m_contours;
};

/// All outlines as a line of that radius.
void addHalo(Raster::Internal::StrokeMask& mask, const Contours& contours, std::size_t count, double radius);

/// The box around them; empty when there are none.
QRectF boundsOf(const Contours& contours, std::size_t count);

} // namespace Cartolith::Map::Labels::Internal
