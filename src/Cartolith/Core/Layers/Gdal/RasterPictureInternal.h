#pragma once

#include <Cartolith/Core/Layers/Gdal/RasterColoursInternal.h>
#include <Cartolith/Core/Layers/Gdal/RasterPlacesInternal.h>
#include <Cartolith/Core/Layers/Gdal/RasterSourceInternal.h>

#include <QImage>
#include <QRect>

#include <functional>
#include <optional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// What a picture is made from.
struct RasterRecipe {
    const RasterSource& source;
    const RasterPlaces& places;
    const RasterColours& colours;
    QList<int> bands;
    Symbology::GisRasterStyle::Resampling resampling;
    std::optional<Symbology::GisHillshade> light; ///< on the heights of the first band
    bool isRelief = false;                        ///< the light alone makes the picture
    Defs::GisRasterWorldTransform metres;         ///< the raster's transform, in metres
    RasterSource::Progress progress;
};

/// Draws a raster block by block. For each block of the picture a window of the raster is read as a grid of
/// cells that lie along the raster's own rows: pixels themselves, or as many cells as the picture has room
/// for; each pixel of the picture then looks its place up in that grid. So the raster is asked for no more
/// than the picture shows, whatever the transform, and memory is bounded by the block.
class RasterPicture {
public:
    explicit RasterPicture(const RasterRecipe& recipe) : m_recipe(recipe) {}

    /// Null when cancelled.
    QImage draw(const QSize& size);

private:
    struct Grid;
    struct Block;

    /// False when cancelled.
    bool drawBlock(const QRect& rect, QImage& image);
    RasterWindow windowOf(const Block& block) const;
    std::optional<Grid> readGrid(const RasterWindow& window) const;
    void shade(Grid& grid) const;
    void drawEach(const Block& block, const Grid& grid, QImage& image) const;
    /// The same, of an aligned block whose pixels show their nearest cell's colour and nothing else.
    void drawRows(const Block& block, const Grid& grid, QImage& image) const;
    QRgb pixel(const Grid& grid, double column, double row) const;
    bool goOn(double fractionOfBlock) const;

    const RasterRecipe& m_recipe;
    double m_done = 0.0;  ///< of the picture
    double m_block = 1.0; ///< share of the block in the picture
};

} // namespace Cartolith::Core::Layers::Internal
