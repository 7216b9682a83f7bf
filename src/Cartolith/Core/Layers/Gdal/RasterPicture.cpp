#include <Cartolith/Core/Layers/Gdal/RasterPictureInternal.h>

#include <QLineF>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

using Resampling = Symbology::GisRasterStyle::Resampling;

namespace {

constexpr int blockPixels = 1 << 20;
constexpr int tileSide = 256;
constexpr double mostCells = 4.0 * blockPixels;

/// The cells that cover the places from `least` to `greatest` along one axis of a raster, with a margin.
struct Axis {
    double start, length;
    int cells;

    Axis(double least, double greatest, double step, int margin, int size, bool mayReachBeyond) {
        double first = std::floor(least) - margin;
        double end = std::floor(greatest) + 1 + margin;
        if (step > 1.0) {
            first = least - (0.5 + margin) * step; // the places are cell centres when they are a step apart
            end = first + (std::round((greatest - least) / step) + 1 + 2 * margin) * step;
        }
        // Cells whose centre lies outside the raster are not there.
        first += step * std::max(0.0, std::ceil(-first / step - 0.5));
        end -= step * std::max(0.0, std::ceil((end - size) / step - 0.5));
        cells = std::max(1, static_cast<int>(std::lround((end - first) / step)));
        start = mayReachBeyond ? first : std::max(first, 0.0);
        length = (mayReachBeyond ? first + cells * step : std::min(end, static_cast<double>(size))) - start;
    }
};

} // namespace

/// The cells of a window of the raster.
struct RasterPicture::Grid {
    RasterWindow window;
    double columnsPerPixel, rowsPerPixel; ///< cells in a pixel of the raster
    std::vector<std::vector<double>> bands;
    std::vector<quint8> mask;   ///< empty without one
    std::vector<double> shades; ///< empty without a light; NaN where there is no height

    std::size_t index(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(window.columns) +
               static_cast<std::size_t>(column);
    }

    /// From the corner, in cells.
    double x(double column) const { return (column - window.left) * columnsPerPixel; }
    double y(double row) const { return (row - window.top) * rowsPerPixel; }
    int columnAt(double column) const {
        return std::clamp(static_cast<int>(x(column)), 0, window.columns - 1);
    }
    int rowAt(double row) const { return std::clamp(static_cast<int>(y(row)), 0, window.rows - 1); }

    /// Between the four cells around a place, given in cells from the corner; those without a value do not
    /// count.
    double between(const std::vector<double>& values, double x, double y) const {
        const double left = std::floor(x - 0.5);
        const double top = std::floor(y - 0.5);
        double sum = 0.0;
        double weights = 0.0;
        for (int i = 0; i < 4; ++i) {
            const int below = i / 2;
            const double column = left + i % 2;
            const double row = top + below;
            const double weight = std::max(0.0, 1.0 - std::abs(x - 0.5 - column)) *
                                  std::max(0.0, 1.0 - std::abs(y - 0.5 - row));
            const double value = values[index(std::clamp(static_cast<int>(column), 0, window.columns - 1),
                                              std::clamp(static_cast<int>(row), 0, window.rows - 1))];
            if (std::isfinite(value)) {
                sum += weight * value;
                weights += weight;
            }
        }
        return sum / weights; // NaN of nothing
    }
};

/// A part of the picture, and where its pixels lie. Aligned, one row of columns and one column of rows say it
/// all; else each pixel has its own.
struct RasterPicture::Block {
    QRect rect;
    bool isAligned;
    std::vector<double> columns, rows; ///< NaN outside of the raster; columns alone where not aligned
    double leftmost = std::numeric_limits<double>::infinity();
    double rightmost = -leftmost;
    double topmost = leftmost;
    double bottommost = -leftmost;
    double columnStep = 1.0, rowStep = 1.0; ///< raster pixels between neighbours

    Block(const QRect& part, const RasterPlaces& places, const RasterSource& source)
        : rect(part), isAligned(places.isAligned()),
          columns(static_cast<std::size_t>(part.width()) *
                  static_cast<std::size_t>(isAligned ? 1 : part.height())),
          rows(isAligned ? static_cast<std::size_t>(part.height()) : columns.size()) {
        // The inside pixel nearest to the middle, of those before it; else the first one.
        const std::optional<QPoint> middle =
            isAligned ? findAligned(places, source) : findEach(places, source);
        if (middle) {
            measureSteps(places, rect.topLeft() + *middle);
        }
    }

    bool isEmpty() const { return !(leftmost <= rightmost && topmost <= bottommost); }

    void take(double column, double row) {
        leftmost = std::min(leftmost, column);
        rightmost = std::max(rightmost, column);
        topmost = std::min(topmost, row);
        bottommost = std::max(bottommost, row);
    }

    std::optional<QPoint> findAligned(const RasterPlaces& places, const RasterSource& source) {
        const auto inside = [](double place, int size) {
            return place >= 0.0 && place < size ? place : std::numeric_limits<double>::quiet_NaN();
        };
        const auto across = static_cast<std::size_t>(rect.width());
        for (std::size_t x = 0; x < columns.size(); ++x) {
            columns[x] = inside(places.columnOf(rect.left() + static_cast<int>(x)), source.width());
        }
        for (std::size_t y = 0; y < rows.size(); ++y) {
            rows[y] = inside(places.rowOf(rect.top() + static_cast<int>(y)), source.height());
        }
        const auto lastInside = [](const std::vector<double>& line, std::ptrdiff_t end) {
            const auto found =
                std::find_if(line.rend() - end, line.rend(), [](double p) { return p >= 0.0; });
            return static_cast<int>(line.rend() - found) - 1;
        };
        const auto firstInside = [](const std::vector<double>& line) {
            const auto found = std::find_if(line.begin(), line.end(), [](double p) { return p >= 0.0; });
            return static_cast<int>(found - line.begin());
        };
        const QPoint first(firstInside(columns), firstInside(rows));
        const QPoint last(lastInside(columns, rect.width()), lastInside(rows, rect.height()));
        if (last.x() < 0 || last.y() < 0) {
            return std::nullopt;
        }
        take(columns[static_cast<std::size_t>(first.x())], rows[static_cast<std::size_t>(first.y())]);
        take(columns[static_cast<std::size_t>(last.x())], rows[static_cast<std::size_t>(last.y())]);
        const std::size_t half = across * rows.size() / 2;
        const auto halfRow = static_cast<int>(half / across);
        const int inHalfRow = lastInside(columns, static_cast<std::ptrdiff_t>(half % across) + 1);
        if (inHalfRow >= 0 && rows[static_cast<std::size_t>(halfRow)] >= 0.0) {
            return QPoint(inHalfRow, halfRow);
        }
        const int above = lastInside(rows, halfRow);
        return above >= 0 ? QPoint(last.x(), above) : first;
    }

    std::optional<QPoint> findEach(const RasterPlaces& places, const RasterSource& source) {
        const auto width = static_cast<std::size_t>(rect.width());
        std::size_t middle = columns.size();
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (i % width == 0) {
                places.find(rect.left(), rect.top() + static_cast<int>(i / width), rect.width(), &columns[i],
                            &rows[i]);
            }
            if (!(columns[i] >= 0.0 && columns[i] < source.width() && rows[i] >= 0.0 &&
                  rows[i] < source.height())) {
                columns[i] = std::numeric_limits<double>::quiet_NaN();
                continue;
            }
            take(columns[i], rows[i]);
            middle = middle == columns.size() || i <= columns.size() / 2 ? i : middle;
        }
        return isEmpty() ? std::nullopt
                         : std::optional(
                               QPoint(static_cast<int>(middle % width), static_cast<int>(middle / width)));
    }

    void measureSteps(const RasterPlaces& places, const QPoint& at) {
        std::array<QPointF, 3> around;
        const std::array<QPoint, 3> pixels{at, at + QPoint(1, 0), at + QPoint(0, 1)};
        for (std::size_t i = 0; i < around.size(); ++i) {
            double column = 0.0;
            double row = 0.0;
            places.find(pixels[i].x(), pixels[i].y(), 1, &column, &row);
            around[i] = {column, row};
        }
        const QPointF right = around[1] - around[0];
        const QPointF down = around[2] - around[0];
        const auto step = [](double a, double b) {
            const double length = std::hypot(std::isfinite(a) ? a : 0.0, std::isfinite(b) ? b : 0.0);
            constexpr double nearlyOne = 1.0 + 1e-9;
            return length > nearlyOne ? length : 1.0;
        };
        // Where rows do not lie along rows, a place is at most half a cell off: have cells of half the size.
        const double part = places.isAligned() ? 1.0 : 0.5;
        columnStep = step(right.x() * part, down.x() * part);
        rowStep = step(right.y() * part, down.y() * part);
    }
};

bool RasterPicture::goOn(double fractionOfBlock) const {
    return !m_recipe.progress || m_recipe.progress(std::min(1.0, m_done + m_block * fractionOfBlock));
}

RasterWindow RasterPicture::windowOf(const Block& block) const {
    const int margin = m_recipe.light ? 2 : m_recipe.resampling == Resampling::Bilinear ? 1 : 0;
    const bool isNearest = m_recipe.resampling == Resampling::Nearest;
    const Axis across(block.leftmost, block.rightmost, block.columnStep, margin, m_recipe.source.width(),
                      isNearest);
    const Axis down(block.topmost, block.bottommost, block.rowStep, margin, m_recipe.source.height(),
                    isNearest);
    return {across.start, down.start, across.length, down.length, across.cells, down.cells};
}

std::optional<RasterPicture::Grid> RasterPicture::readGrid(const RasterWindow& window) const {
    Grid grid{window, window.columns / window.width, window.rows / window.height, {}, {}, {}};
    const bool isSmaller = window.columns < window.width || window.rows < window.height;
    const auto pick = isSmaller && m_recipe.resampling != Resampling::Nearest ? RasterSource::Pick::Average
                                                                              : RasterSource::Pick::Nearest;
    const auto count = static_cast<double>(m_recipe.bands.size());
    for (const int band : m_recipe.bands) {
        const auto already = static_cast<double>(grid.bands.size());
        const auto progress = [&](double fraction) { return goOn((already + fraction) / count); };
        grid.bands.push_back(m_recipe.source.read(
            band, window, pick, m_recipe.progress ? RasterSource::Progress(progress) : nullptr));
        if (grid.bands.back().empty()) {
            return std::nullopt;
        }
    }
    grid.mask = m_recipe.source.readMask(m_recipe.bands.constFirst(), window);
    for (std::vector<double>& values : grid.bands) {
        for (std::size_t i = 0; i < grid.mask.size(); ++i) {
            values[i] = grid.mask[i] == 0 ? std::numeric_limits<double>::quiet_NaN() : values[i];
        }
    }
    if (m_recipe.light) {
        shade(grid);
    }
    return grid;
}

void RasterPicture::shade(Grid& grid) const {
    const std::vector<double>& heights = grid.bands.front();
    const RasterWindow& window = grid.window;
    const double cellWidth = window.width / window.columns;
    const double cellHeight = window.height / window.rows;
    const auto& metres = m_recipe.metres;
    // A cell further along a row is a metres and b metres further on the map; c and d down a column.
    const double a = metres.xPerColumn * cellWidth;
    const double b = metres.yPerColumn * cellWidth;
    const double c = metres.xPerRow * cellHeight;
    const double d = metres.yPerRow * cellHeight;
    const double area = a * d - b * c;
    constexpr double radians = std::numbers::pi / 180.0;
    const double altitude = m_recipe.light->altitude * radians;
    const double azimuth = m_recipe.light->azimuth * radians;
    const double lightX = std::sin(azimuth) * std::cos(altitude);
    const double lightY = std::cos(azimuth) * std::cos(altitude);
    grid.shades.assign(heights.size(), std::numeric_limits<double>::quiet_NaN());
    for (int row = 0; row < window.rows; ++row) {
        for (int column = 0; column < window.columns; ++column) {
            const double here = heights[grid.index(column, row)];
            if (!std::isfinite(here)) {
                continue;
            }
            const auto height = [&](int dx, int dy) {
                const double value = heights[grid.index(std::clamp(column + dx, 0, window.columns - 1),
                                                        std::clamp(row + dy, 0, window.rows - 1))];
                return std::isfinite(value) ? value : here;
            };
            // Horn's weights (1981).
            const double across = (height(1, -1) + 2 * height(1, 0) + height(1, 1) - height(-1, -1) -
                                   2 * height(-1, 0) - height(-1, 1)) /
                                  8.0 * m_recipe.light->zFactor;
            const double down = (height(-1, 1) + 2 * height(0, 1) + height(1, 1) - height(-1, -1) -
                                 2 * height(0, -1) - height(1, -1)) /
                                8.0 * m_recipe.light->zFactor;
            const double slopeX = (across * d - down * b) / area;
            const double slopeY = (down * a - across * c) / area;
            const double light = (std::sin(altitude) - slopeX * lightX - slopeY * lightY) /
                                 std::sqrt(1.0 + slopeX * slopeX + slopeY * slopeY);
            grid.shades[grid.index(column, row)] = std::max(0.0, light);
        }
    }
}

QRgb RasterPicture::pixel(const Grid& grid, double column, double row) const {
    constexpr QRgb none = 0;
    const double x = grid.x(column);
    const double y = grid.y(row);
    const std::size_t nearest = grid.index(grid.columnAt(column), grid.rowAt(row));
    const int opacity = grid.mask.empty() ? 255 : grid.mask[nearest];
    if (opacity == 0) {
        return none;
    }
    std::array<double, 3> values{};
    for (std::size_t band = 0; band < grid.bands.size(); ++band) {
        values[band] = grid.bands[band][nearest];
        if (!std::isfinite(values[band])) {
            return none;
        }
        if (m_recipe.resampling == Resampling::Bilinear) {
            values[band] = grid.between(grid.bands[band], x, y);
        }
    }
    QRgb colour = m_recipe.colours.colour(values.data());
    if (!grid.shades.empty() && qAlpha(colour) != 0) {
        const double level =
            m_recipe.isRelief ? 1.0 : std::sin(m_recipe.light->altitude * std::numbers::pi / 180.0);
        colour = RasterColours::shaded(colour, grid.between(grid.shades, x, y), level);
    }
    if (opacity == 255 && qAlpha(colour) == 255) {
        return colour;
    }
    const int alpha = qAlpha(colour) * opacity / 255;
    return qPremultiply(qRgba(qRed(colour), qGreen(colour), qBlue(colour), alpha));
}

void RasterPicture::drawEach(const Block& block, const Grid& grid, QImage& image) const {
    const QRect& rect = block.rect;
    for (int y = 0; y < rect.height(); ++y) {
        auto* const line = reinterpret_cast<QRgb*>(image.scanLine(rect.top() + y)) + rect.left();
        for (int x = 0; x < rect.width(); ++x) {
            const auto row = static_cast<std::size_t>(y);
            const std::size_t i = row * static_cast<std::size_t>(rect.width()) + static_cast<std::size_t>(x);
            const double column = block.columns[block.isAligned ? static_cast<std::size_t>(x) : i];
            const double place = block.rows[block.isAligned ? row : i];
            if (std::isfinite(column) && std::isfinite(place)) {
                line[x] = pixel(grid, column, place);
            }
        }
    }
}

void RasterPicture::drawRows(const Block& block, const Grid& grid, QImage& image) const {
    const auto isInside = [](double place) { return std::isfinite(place); };
    // Inside, the places go from one end to the other without a gap.
    const auto first = std::find_if(block.columns.cbegin(), block.columns.cend(), isInside);
    const auto end = std::find_if_not(first, block.columns.cend(), isInside);
    std::vector<int> cells(static_cast<std::size_t>(end - first));
    std::transform(first, end, cells.begin(), [&](double column) { return grid.columnAt(column); });
    std::vector<double> values(cells.size() * grid.bands.size());
    const auto left = static_cast<int>(first - block.columns.cbegin());
    for (int y = 0; y < block.rect.height(); ++y) {
        const double row = block.rows[static_cast<std::size_t>(y)];
        if (!isInside(row)) {
            continue;
        }
        const std::size_t from = grid.index(0, grid.rowAt(row));
        double* value = values.data();
        for (const std::vector<double>& band : grid.bands) {
            value = std::transform(cells.cbegin(), cells.cend(), value,
                                   [cell = band.data() + from](int c) { return cell[c]; });
        }
        m_recipe.colours.colours(values.data(), cells.size(),
                                 reinterpret_cast<QRgb*>(image.scanLine(block.rect.top() + y)) +
                                     block.rect.left() + left);
    }
}

bool RasterPicture::drawBlock(const QRect& rect, QImage& image) {
    const Block block(rect, m_recipe.places, m_recipe.source);
    if (block.isEmpty()) {
        return true;
    }
    RasterWindow window = windowOf(block);
    // A tile that holds the seam of the world spans the raster from end to end: only its parts do not.
    constexpr int smallest = 8;
    const auto tooMany = [&] { return static_cast<double>(window.columns) * window.rows > mostCells; };
    if (tooMany() && std::max(rect.width(), rect.height()) > smallest) {
        const QSize half((rect.width() + 1) / 2, (rect.height() + 1) / 2);
        for (const QPoint& corner : {QPoint(0, 0), QPoint(half.width(), 0), QPoint(0, half.height()),
                                     QPoint(half.width(), half.height())}) {
            const QRect part = QRect(rect.topLeft() + corner, half).intersected(rect);
            if (!part.isEmpty() && !drawBlock(part, image)) {
                return false;
            }
        }
        return true;
    }
    if (tooMany()) {
        const double share = std::sqrt(mostCells / (static_cast<double>(window.columns) * window.rows));
        window.columns = std::max(1, static_cast<int>(window.columns * share));
        window.rows =
            std::max(1, static_cast<int>(std::min(window.rows * share, mostCells / window.columns)));
    }
    const std::optional<Grid> grid = readGrid(window);
    if (!grid) {
        return false;
    }
    const bool isPlain = block.isAligned && m_recipe.resampling != Resampling::Bilinear &&
                         grid->mask.empty() && grid->shades.empty();
    isPlain ? drawRows(block, *grid, image) : drawEach(block, *grid, image);
    return true;
}

QImage RasterPicture::draw(const QSize& size) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) {
        throw std::runtime_error("There is not enough memory for the picture.");
    }
    image.fill(Qt::transparent);
    const QSize step = m_recipe.places.isAligned()
                           ? QSize(size.width(), std::max(1, blockPixels / size.width()))
                           : QSize(tileSide, tileSide);
    const double all = static_cast<double>(size.width()) * size.height();
    for (int y = 0; y < size.height(); y += step.height()) {
        for (int x = 0; x < size.width(); x += step.width()) {
            const QRect rect = QRect(QPoint(x, y), step).intersected(image.rect());
            m_block = static_cast<double>(rect.width()) * rect.height() / all;
            if (!goOn(0.0) || !drawBlock(rect, image)) {
                return {};
            }
            m_done += m_block;
        }
    }
    return goOn(0.0) ? image : QImage();
}

} // namespace Cartolith::Core::Layers::Internal
