// The canvas against QPainter and AGG (2.6.1, where Debian has it), all on arrays that are ready: polygons
// with an outline, lines, points, so many that they fill the picture.
#include <Cartolith/Map/Raster/Canvas.h>
#include <Cartolith/Map/Raster/MarkerStamp.h>

#include <QPainter>
#include <benchmark/benchmark.h>

#ifdef HAVE_AGG
#include <agg_path_storage.h>
#include <agg_pixfmt_rgba.h>
#include <agg_rasterizer_outline_aa.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_renderer_outline_aa.h>
#include <agg_renderer_scanline.h>
#include <agg_scanline_u.h>
#endif

#include <cmath>
#include <map>
#include <random>
#include <vector>

using namespace Cartolith::Map;
using namespace Cartolith::Map::Raster;

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
const MapView view({0, 0, width, height}, QRectF(0, 0, width, height));

struct Features {
    std::vector<double> coordinates; // upwards
    std::vector<QList<QPointF>> pixels;
    int vertices;
};

/// Polygons side by side, 9 vertices each, or lines of 6 vertices, twice as long as the cell that each of
/// them has.
const Features& features(bool arePolygons, int count) {
    static std::map<std::pair<bool, int>, Features> all;
    Features& features = all[{arePolygons, count}];
    if (!features.pixels.empty()) {
        return features;
    }
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const double cell = std::sqrt(1.0 * width * height / count);
    const int columns = static_cast<int>(width / cell);
    features.vertices = arePolygons ? 9 : 6;
    for (int i = 0; i < count; ++i) {
        const double x = (i % columns + 0.5) * cell;
        const double y = (i / columns + 0.5) * cell;
        QList<QPointF> part;
        QPointF at(x, y);
        for (int k = 0; k < features.vertices; ++k) {
            if (arePolygons) {
                const double angle = 6.2831853 * (k % (features.vertices - 1)) / (features.vertices - 1);
                at = {x + cell * 0.6 * std::cos(angle), y + cell * 0.6 * std::sin(angle)};
            } else {
                at += QPointF(unit(random) - 0.3, unit(random) - 0.4) * cell * 0.8;
            }
            part.append(at);
            features.coordinates.push_back(at.x());
            features.coordinates.push_back(height - at.y());
        }
        features.pixels.push_back(part);
    }
    return features;
}

std::span<const double> one(const Features& features, std::size_t i) {
    const auto size = static_cast<std::size_t>(features.vertices) * 2;
    return std::span(features.coordinates).subspan(i * size, size);
}

QImage emptyPicture() {
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QColor colorOf(std::size_t i) {
    return QColor(static_cast<int>(i * 37 % 200), 120, static_cast<int>(i * 91 % 256));
}

void polygonsCanvas(benchmark::State& state) {
    const Features& data = features(true, static_cast<int>(state.range(0)));
    const qsizetype ends[] = {data.vertices};
    Stroke outline;
    outline.color = Qt::darkGray;
    for (auto _ : state) {
        Canvas canvas(view);
        for (std::size_t i = 0; i < data.pixels.size(); ++i) {
            canvas.area(one(data, i), ends, colorOf(i), outline);
        }
        benchmark::DoNotOptimize(canvas.image().constBits());
    }
}

void polygonsPainter(benchmark::State& state) {
    const Features& data = features(true, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        QImage image = emptyPicture();
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(Qt::darkGray, 1.0));
        for (std::size_t i = 0; i < data.pixels.size(); ++i) {
            painter.setBrush(colorOf(i));
            painter.drawPolygon(data.pixels[i].constData(), static_cast<int>(data.pixels[i].size()));
        }
    }
}

void linesCanvas(benchmark::State& state) {
    const Features& data = features(false, static_cast<int>(state.range(0)));
    const qsizetype ends[] = {data.vertices};
    Stroke stroke;
    stroke.width = static_cast<double>(state.range(1));
    for (auto _ : state) {
        Canvas canvas(view);
        for (std::size_t i = 0; i < data.pixels.size(); ++i) {
            canvas.stroke(one(data, i), ends, stroke);
        }
        benchmark::DoNotOptimize(canvas.image().constBits());
    }
}

void linesPainter(benchmark::State& state) {
    const Features& data = features(false, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        QImage image = emptyPicture();
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(
            QPen(Qt::black, static_cast<double>(state.range(1)), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        for (const QList<QPointF>& line : data.pixels) {
            painter.drawPolyline(line.constData(), static_cast<int>(line.size()));
        }
    }
}

#ifdef HAVE_AGG
using Pixels = agg::pixfmt_bgra32_pre;
using Base = agg::renderer_base<Pixels>;

void polygonsAgg(benchmark::State& state) {
    const Features& data = features(true, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        QImage image = emptyPicture();
        agg::rendering_buffer buffer(image.bits(), width, height, static_cast<int>(image.bytesPerLine()));
        Pixels pixels(buffer);
        Base base(pixels);
        agg::renderer_scanline_aa_solid<Base> fills(base);
        agg::rasterizer_scanline_aa<> rasterizer;
        agg::scanline_u8 scanline;
        agg::line_profile_aa profile(1.0, agg::gamma_none());
        agg::renderer_outline_aa<Base> outlines(base, profile);
        agg::rasterizer_outline_aa<agg::renderer_outline_aa<Base>> lines(outlines);
        outlines.color(agg::rgba8(128, 128, 128));
        for (std::size_t i = 0; i < data.pixels.size(); ++i) {
            const QList<QPointF>& ring = data.pixels[i];
            agg::path_storage path;
            path.move_to(ring[0].x(), ring[0].y());
            for (qsizetype k = 1; k + 1 < ring.size(); ++k) {
                path.line_to(ring[k].x(), ring[k].y());
            }
            path.close_polygon();
            const QColor color = colorOf(i);
            fills.color(agg::rgba8(static_cast<unsigned>(color.red()), static_cast<unsigned>(color.green()),
                                   static_cast<unsigned>(color.blue())));
            rasterizer.reset();
            rasterizer.add_path(path);
            agg::render_scanlines(rasterizer, scanline, fills);
            lines.add_path(path);
        }
    }
}

void linesAgg(benchmark::State& state) {
    const Features& data = features(false, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        QImage image = emptyPicture();
        agg::rendering_buffer buffer(image.bits(), width, height, static_cast<int>(image.bytesPerLine()));
        Pixels pixels(buffer);
        Base base(pixels);
        agg::line_profile_aa profile(static_cast<double>(state.range(1)), agg::gamma_none());
        agg::renderer_outline_aa<Base> outlines(base, profile);
        agg::rasterizer_outline_aa<agg::renderer_outline_aa<Base>> lines(outlines);
        lines.round_cap(true);
        lines.line_join(agg::outline_round_join);
        outlines.color(agg::rgba8(0, 0, 0));
        agg::path_storage path;
        for (const QList<QPointF>& line : data.pixels) {
            path.remove_all();
            path.move_to(line[0].x(), line[0].y());
            for (qsizetype k = 1; k < line.size(); ++k) {
                path.line_to(line[k].x(), line[k].y());
            }
            lines.add_path(path);
        }
    }
}
#endif

void pointsCanvas(benchmark::State& state) {
    const Features& data = features(false, static_cast<int>(state.range(0)));
    std::vector<double> places;
    for (std::size_t i = 0; i < data.pixels.size(); ++i) {
        const auto line = one(data, i);
        places.push_back(line[0]);
        places.push_back(line[1]);
    }
    for (auto _ : state) {
        Canvas canvas(view);
        canvas.markers(places, MarkerStamp(8.0, Qt::red, 0.9, Qt::black));
        benchmark::DoNotOptimize(canvas.image().constBits());
    }
}

void pointsPainter(benchmark::State& state) {
    const Features& data = features(false, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        QImage image = emptyPicture();
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(Qt::red);
        painter.setPen(QPen(Qt::black, 0.9));
        for (const QList<QPointF>& line : data.pixels) {
            painter.drawEllipse(line.front(), 4.0, 4.0);
        }
    }
}

constexpr int few = 100000;
constexpr int many = 1000000;
BENCHMARK(polygonsCanvas)->Arg(few)->Arg(many)->Unit(benchmark::kMillisecond);
BENCHMARK(polygonsPainter)->Arg(few)->Arg(many)->Unit(benchmark::kMillisecond);
BENCHMARK(linesCanvas)->ArgsProduct({{few, many}, {1, 3}})->Unit(benchmark::kMillisecond);
BENCHMARK(linesPainter)->ArgsProduct({{few}, {1, 3}})->Unit(benchmark::kMillisecond);
#ifdef HAVE_AGG
BENCHMARK(polygonsAgg)->Arg(few)->Arg(many)->Unit(benchmark::kMillisecond);
BENCHMARK(linesAgg)->ArgsProduct({{few, many}, {1, 3}})->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(pointsCanvas)->Arg(few)->Arg(many)->Unit(benchmark::kMillisecond);
BENCHMARK(pointsPainter)->Arg(few)->Unit(benchmark::kMillisecond);

} // namespace
