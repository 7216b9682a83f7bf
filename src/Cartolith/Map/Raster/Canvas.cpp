#include <Cartolith/Map/Drawing/PictureMemoryInternal.h>
#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/Raster/BlendInternal.h>
#include <Cartolith/Map/Raster/Canvas.h>
#include <Cartolith/Map/Raster/CoverageInternal.h>
#include <Cartolith/Map/Raster/FlatPathInternal.h>
#include <Cartolith/Map/Raster/MarkerStamp.h>
#include <Cartolith/Map/Raster/PatternSharesInternal.h>
#include <Cartolith/Map/Raster/RingSignsInternal.h>
#include <Cartolith/Map/Raster/StrokePiecesInternal.h>
#include <Cartolith/Map/Raster/WholeInternal.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Cartolith::Map::Raster {

using Internal::blendOver;
using Internal::product;
using Internal::scaled;

namespace {

/// How far from its line a stroke may be seen.
double reachOf(const Stroke& stroke) {
    constexpr double widest = 1e5; // as lines are drawn
    const double casing = stroke.casing > 0.0 ? stroke.casing : 0.0;
    return std::min(stroke.width * 0.5 + casing, widest) * std::max(stroke.mitreLimit, 2.0) + 2.0;
}

} // namespace

class Canvas::Private {
public:
    Private(const MapView& usedView, QSize size)
        : view(usedView), image(Map::Internal::emptyPicture(size, Qt::transparent)), width(size.width()),
          path(usedView), coverage(size.width(), size.height()), mask(size.width(), size.height()),
          taken(static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height())) {}

    /// Before each call draws: whoever has a copy of the image keeps it as it is.
    void detach() { bits = Map::Internal::ownPixels(image); }
    std::uint32_t* pixels(int row) const { return bits + static_cast<std::ptrdiff_t>(row) * width; }
    std::uint8_t* takenIn(int row) {
        return taken.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(width);
    }

    /// A share that lies over whatever is there.
    void blendStroke(int row, int first, std::uint8_t* shares, int count, std::uint32_t color) {
        std::uint32_t* const to = pixels(row) + first;
        std::uint8_t* const share = takenIn(row) + first;
        for (int i = 0; i < count; ++i) {
            const std::uint32_t drawn = shares[i];
            shares[i] = 0;
            if (drawn == 255) {
                blendOver(to[i], color);
                share[i] = 255;
            } else if (drawn != 0) {
                blendOver(to[i], scaled(color, drawn));
                share[i] = static_cast<std::uint8_t>(share[i] + product(drawn, 255U - share[i]));
            }
        }
    }

    /// A share of an area: first of what no other area has, then over the others. So the shares of neighbours
    /// add up.
    /// `colorAt` gives the colour of each.
    template <typename ColorAt>
    void blendFill(int row, int first, const std::uint8_t* shares, int count, ColorAt colorAt) {
        std::uint32_t* const to = pixels(row) + first;
        std::uint8_t* const before = takenIn(row) + first;
        for (int i = 0; i < count; ++i) {
            const std::uint32_t share = shares[i];
            const std::uint32_t had = before[i];
            if (share == 0) {
                continue;
            }
            const std::uint32_t color = colorAt(i);
            if (share == 255 && (color >> 24 == 255 || had == 0)) { // most of them: the inside
                to[i] = color;
                before[i] = 255;
                continue;
            }
            const std::uint32_t source = scaled(color, share);
            if (had == 0) {
                to[i] = source;
                before[i] = static_cast<std::uint8_t>(share);
            } else if (share + had <= 255) {
                to[i] = sum(to[i], source);
                before[i] = static_cast<std::uint8_t>(share + had);
            } else {
                // So much of what is taken is covered by this one.
                const std::uint32_t covered = (share + had - 255U) * 255U / had;
                to[i] = sum(scaled(to[i], 255U - product(covered, color >> 24)), source);
                before[i] = 255;
            }
        }
    }

    /// Of premultiplied pixels; what is rounded up twice must not run over.
    static std::uint32_t sum(std::uint32_t a, std::uint32_t b) {
        constexpr std::uint32_t two = 0x00FF00FF;
        constexpr std::uint32_t carry = 0x01000100;
        std::uint32_t even = (a & two) + (b & two);
        std::uint32_t odd = ((a >> 8) & two) + ((b >> 8) & two);
        even |= ((even & carry) >> 8) * 255U;
        odd |= ((odd & carry) >> 8) * 255U;
        return (even & two) | ((odd & two) << 8);
    }

    /// Calls function(coordinates) with each part.
    template <typename Function>
    void forEachPart(std::span<const double> coordinates, std::span<const qsizetype> ends,
                     Function function) {
        std::size_t from = 0;
        for (std::size_t i = 0; i < ends.size(); ++i) {
            watch.every(std::size_t{64}, i);
            const std::size_t to = std::clamp(static_cast<std::size_t>(std::max<qsizetype>(ends[i], 0)) * 2,
                                              from, coordinates.size() / 2 * 2);
            function(coordinates.subspan(from, to - from));
            from = to;
        }
    }

    /// Into `rings`, without those that come nowhere near the canvas, which hold nothing that does; how many
    /// they are now.
    std::size_t readRings(std::span<const double> coordinates, std::span<const qsizetype> ends,
                          double margin) {
        std::size_t count = 0;
        forEachPart(coordinates, ends, [&](std::span<const double> part) {
            if (path.read(part, true, watch) && path.right() > -margin && path.bottom() > -margin &&
                path.left() < width + margin && path.top() < image.height() + margin) {
                if (rings.size() == count) {
                    rings.emplace_back();
                }
                rings[count].points.assign(path.points().cbegin(), path.points().cend());
                rings[count].left = path.left();
                rings[count].right = path.right();
                rings[count].top = path.top();
                rings[count].bottom = path.bottom();
                ++count;
            }
        });
        return count;
    }

    void fillRings(std::size_t count, const Fill& fill) {
        detach();
        double left = INFINITY;
        double top = INFINITY;
        double right = -INFINITY;
        double bottom = -INFINITY;
        for (std::size_t i = 0; i < count; ++i) {
            left = std::min(left, rings[i].left);
            right = std::max(right, rings[i].right);
            top = std::min(top, rings[i].top);
            bottom = std::max(bottom, rings[i].bottom);
        }
        if (count == 0 || !coverage.begin(left, top, right, bottom)) {
            return;
        }
        if (count == 1) {
            coverage.add(rings[0].points, 1.0F, watch);
        } else {
            const std::vector<float> signs = Internal::ringSigns(rings, count, watch);
            for (std::size_t i = 0; i < count; ++i) {
                watch.every(std::size_t{64}, i);
                coverage.add(rings[i].points, signs[i], watch);
            }
        }
        const std::uint32_t pixel = qPremultiply(fill.color.rgba());
        if (!fill.pattern.isDrawn()) {
            coverage.end([&](int row, int first, const std::uint8_t* shares, int length) {
                watchRow(length);
                blendFill(row, first, shares, length, [pixel](int /*i*/) { return pixel; });
            });
            return;
        }
        // The pattern is part of the fill's colour, so neighbours meet without seams.
        const Internal::PatternShares pattern(fill.pattern,
                                              view.toPixel(0.0, 0.0) - view.pictureFrame().topLeft());
        const std::uint32_t above = qPremultiply(fill.pattern.color.rgba());
        coverage.end([&](int row, int first, const std::uint8_t* shares, int length) {
            watchRow(length);
            blendFill(row, first, shares, length, [&](int i) {
                std::uint32_t color = pixel;
                blendOver(color, scaled(above, pattern.at(first + i, row)));
                return color;
            });
        });
    }

    void watchRow(int length) const {
        constexpr int isLong = 1024;
        if (length > isLong) {
            watch();
        }
    }

    void endStroke(double lineWidth, QColor color) {
        // Thinner than a pixel is as much paler.
        const auto thin = static_cast<std::uint32_t>(Internal::levelOf(std::min(lineWidth, 1.0)));
        const std::uint32_t pixel = scaled(qPremultiply(color.rgba()), thin);
        mask.end([&](int row, int first, std::uint8_t* shares, int count) {
            watchRow(count);
            blendStroke(row, first, shares, count, pixel);
        });
    }

    template <typename Function>
    void drawStroke(const Stroke& stroke, Function addParts) {
        detach();
        if (stroke.casing > 0.0 && std::isfinite(stroke.casing)) {
            const double wide = stroke.width + 2.0 * stroke.casing;
            addParts(wide);
            endStroke(wide, stroke.casingColor);
        }
        addParts(stroke.width);
        endStroke(stroke.width, stroke.color);
    }

    MapView view;
    Map::Internal::Watch watch;
    QImage image; // rows of four bytes for each pixel leave no gap
    std::uint32_t* bits = nullptr;
    int width;
    Internal::FlatPath path;
    Internal::Coverage coverage;
    Internal::StrokeMask mask;
    std::vector<std::uint8_t> taken; // the share of each pixel that something covers, whatever its opacity
    std::vector<Internal::PixelRing> rings;
};

Canvas::Canvas(const MapView& view)
    : d(std::make_unique<Private>(view, view.isUsable() ? view.pictureFrame().size() : QSize(0, 0))) {}
Canvas::~Canvas() = default;
Canvas::Canvas(Canvas&& other) noexcept = default;
Canvas& Canvas::operator=(Canvas&& other) noexcept = default;

QImage Canvas::image() const {
    return d->image;
}

void Canvas::setWatch(std::function<void()> watch) {
    d->watch = Map::Internal::Watch(std::move(watch));
}

void Canvas::fill(std::span<const double> rings, std::span<const qsizetype> ringEnds, const Fill& fill) {
    if (!d->image.isNull() && fill.isDrawn()) {
        d->fillRings(d->readRings(rings, ringEnds, 0.0), fill);
    }
}

void Canvas::stroke(std::span<const double> parts, std::span<const qsizetype> partEnds, const Stroke& stroke,
                    bool areClosed) {
    if (d->image.isNull() || !(stroke.width > 0.0) || !std::isfinite(stroke.width)) {
        return;
    }
    d->drawStroke(stroke, [&](double width) {
        d->forEachPart(parts, partEnds, [&](std::span<const double> part) {
            if (d->path.read(part, areClosed, d->watch)) {
                addStroke(d->mask, d->path.points(), areClosed, stroke, width, d->watch);
            }
        });
    });
}

void Canvas::area(std::span<const double> rings, std::span<const qsizetype> ringEnds, const Fill& fill,
                  const Stroke& outline) {
    if (d->image.isNull()) {
        return;
    }
    const bool hasOutline = outline.width > 0.0 && std::isfinite(outline.width);
    const std::size_t count = d->readRings(rings, ringEnds, hasOutline ? reachOf(outline) : 0.0);
    // What is smaller than a pixel lies below its outline.
    constexpr double least = 1.0;
    const auto isTiny = [](const Internal::PixelRing& ring) {
        return ring.right - ring.left < least && ring.bottom - ring.top < least;
    };
    const bool isHidden =
        hasOutline && outline.width >= least && outline.color.alpha() == 255 &&
        std::all_of(d->rings.cbegin(), d->rings.cbegin() + static_cast<std::ptrdiff_t>(count), isTiny);
    if (!isHidden && fill.isDrawn()) {
        d->fillRings(count, fill);
    }
    if (hasOutline) {
        d->drawStroke(outline, [&](double width) {
            for (std::size_t i = 0; i < count; ++i) {
                d->watch.every(std::size_t{64}, i);
                const Internal::PixelRing& ring = d->rings[i];
                if (isTiny(ring)) {
                    const double y = (ring.top + ring.bottom) * 0.5;
                    d->mask.addCapsule({ring.left, y}, {ring.right, y}, std::max(width, 1.0) * 0.5);
                } else {
                    addStroke(d->mask, ring.points, true, outline, width, d->watch);
                }
            }
        });
    }
}

void Canvas::markers(std::span<const double> places, const MarkerStamp& stamp) {
    const int side = stamp.side();
    if (d->image.isNull() || side == 0) {
        return;
    }
    d->detach();
    const QPointF corner = d->view.pictureFrame().topLeft();
    const int width = d->image.width();
    const int height = d->image.height();
    const double reach = side;
    const std::size_t between = 65'536 / static_cast<std::size_t>(side) + 1;
    for (std::size_t i = 0; i + 1 < places.size(); i += 2) {
        d->watch.every(between, i / 2);
        const QPointF p = d->view.toPixel(places[i], places[i + 1]) - corner;
        if (!(p.x() > -reach && p.y() > -reach && p.x() < width + reach && p.y() < height + reach)) {
            continue; // so are those that are not finite
        }
        const double column = std::floor(p.x());
        const double row = std::floor(p.y());
        const QRgb* const pixels = stamp.pixels(static_cast<int>((p.x() - column) * MarkerStamp::steps),
                                                static_cast<int>((p.y() - row) * MarkerStamp::steps));
        const int left = static_cast<int>(column) - stamp.reach();
        const int top = static_cast<int>(row) - stamp.reach();
        const int from = std::max(0, -left);
        const int to = std::min(side, width - left);
        for (int y = std::max(0, -top); y < std::min(side, height - top); ++y) {
            std::uint32_t* const line = d->pixels(top + y) + left;
            std::uint8_t* const taken = d->takenIn(top + y) + left;
            const QRgb* const source = pixels + static_cast<std::ptrdiff_t>(y) * side;
            const auto blend = [&](int begin, int end) {
                for (int x = begin; x < end; ++x) {
                    blendOver(line[x], source[x]);
                    taken[x] = std::max(taken[x], static_cast<std::uint8_t>(source[x] >> 24));
                }
            };
            const MarkerStamp::Run& run = stamp.run(pixels, y);
            const int last = std::min<int>(to, run.to);
            const int opaqueFrom = std::clamp<int>(run.opaqueFrom, from, std::max(from, last));
            const int opaqueTo = std::clamp<int>(run.opaqueTo, opaqueFrom, std::max(opaqueFrom, last));
            blend(std::max<int>(from, run.from), std::min(opaqueFrom, last));
            std::copy(source + opaqueFrom, source + opaqueTo, line + opaqueFrom);
            std::fill(taken + opaqueFrom, taken + opaqueTo, std::uint8_t{255});
            blend(std::max<int>(opaqueTo, std::max<int>(from, run.from)), last);
        }
    }
}

} // namespace Cartolith::Map::Raster
