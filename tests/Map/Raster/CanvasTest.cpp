#include "PlainRaster.h"
#include "TestSeed.h"

#include <Cartolith/Map/Raster/Canvas.h>
#include <Cartolith/Map/Raster/MarkerStamp.h>

#include <QPainter>
#include <QPainterPath>
#include <gtest/gtest.h>

#include <functional>
#include <numbers>
#include <random>
#include <stdexcept>

using Cartolith::Map::MapView;
using namespace Cartolith::Map::Raster;
using test::Ring;

namespace {

constexpr int width = 96;
constexpr int height = 64;
const MapView view({0, 0, width, height}, QRectF(0, 0, width, height)); // a unit a pixel, y upwards

/// From pixels to what the canvas takes.
struct Flat {
    std::vector<double> coordinates;
    std::vector<qsizetype> ends;
    explicit Flat(const std::vector<Ring>& parts) {
        for (const Ring& part : parts) {
            for (const QPointF p : part) {
                coordinates.push_back(p.x());
                coordinates.push_back(height - p.y());
            }
            ends.push_back(static_cast<qsizetype>(coordinates.size() / 2));
        }
    }
};

QImage filled(const std::vector<Ring>& rings, QColor color = Qt::black) {
    Canvas canvas(view);
    const Flat flat(rings);
    canvas.fill(flat.coordinates, flat.ends, color);
    return canvas.image();
}

QImage stroked(const std::vector<Ring>& lines, const Stroke& stroke, bool areClosed = false) {
    Canvas canvas(view);
    const Flat flat(lines);
    canvas.stroke(flat.coordinates, flat.ends, stroke, areClosed);
    return canvas.image();
}

Stroke wide(double pixels) {
    Stroke stroke;
    stroke.width = pixels;
    return stroke;
}

/// How many pixels are more than one level off, and the greatest difference.
std::pair<int, double> differences(const QImage& image, const std::function<double(int, int)>& share) {
    int off = 0;
    double worst = 0.0;
    for (int row = 0; row < image.height(); ++row) {
        for (int column = 0; column < image.width(); ++column) {
            const double difference = std::abs(qAlpha(image.pixel(column, row)) - 255.0 * share(column, row));
            off += difference > 1.0 ? 1 : 0;
            worst = std::max(worst, difference);
        }
    }
    return {off, worst};
}

Ring star(QPointF center, double radius, int points, double inner, bool isReversed = false) {
    Ring ring;
    for (int i = 0; i < 2 * points; ++i) {
        const double angle = (isReversed ? -1 : 1) * std::numbers::pi * i / points + 0.3;
        const double r = i % 2 == 0 ? radius : radius * inner;
        ring.emplace_back(center.x() + r * std::cos(angle), center.y() + r * std::sin(angle));
    }
    return ring;
}

Ring shifted(Ring ring, QPointF by) {
    for (QPointF& p : ring) {
        p += by;
    }
    return ring;
}

constexpr double allowed = 0.001; // of the pixels may be off by more than a level

} // namespace

TEST(Canvas, FillsAreTheAreasInPixels) {
    const Ring around = {{-50, -50}, {200, -50}, {200, 200}, {-50, 200}};
    const struct {
        const char* name;
        std::vector<Ring> rings;
        std::size_t shells;
    } rows[] = {
        {"on the borders of pixels", {{{10, 10}, {30, 10}, {30, 20}, {10, 20}}}, 1},
        {"between them", {{{10.3, 10.6}, {30.7, 10.6}, {30.7, 20.1}, {10.3, 20.1}}}, 1},
        {"a star", {star({48, 32}, 28, 5, 0.4)}, 1},
        {"wound the other way", {star({48, 32}, 28, 5, 0.4, true)}, 1},
        {"needles", {star({48, 32}, 31, 23, 0.1)}, 1},
        {"within a pixel", {{{10.2, 10.2}, {10.7, 10.3}, {10.4, 10.8}}}, 1},
        {"a hole", {star({48, 32}, 30, 6, 0.8), star({48, 32}, 15, 4, 0.5)}, 1},
        {"a hole wound like its shell's reverse", {star({48, 32}, 30, 6, 0.8), star({48, 32}, 15, 4, 0.5, true)}, 1},
        {"a wall thinner than a pixel", {star({48, 32}, 30, 40, 1.0), star({48, 32}, 29.6, 40, 1.0)}, 1},
        {"an island in a lake",
         {star({48, 32}, 30, 9, 1.0), star({48, 32}, 8, 9, 1.0, true), star({48, 32}, 20, 9, 1.0)},
         2},
        {"two parts in one pixel, wound differently",
         {{{10, 10}, {20.4, 10}, {20.4, 20}, {10, 20}}, {{20.6, 10}, {20.6, 20}, {30, 20}, {30, 10}}},
         2},
        {"two parts along one edge, wound differently",
         {{{10, 10}, {20.4, 10}, {23.1, 20}, {10, 20}}, {{20.4, 10}, {23.1, 20}, {30, 20}, {30, 10}}},
         2},
        {"beyond all sides", {around}, 1},
        {"far beyond", {{{-1e7, -3e7}, {2e7, 10}, {48, 1e7}}}, 1},
        {"out to the left", {{{-30, 5}, {20, 32}, {-30, 60}}}, 1},
        {"out to the right", {{{130, 5}, {60, 32}, {130, 60}}}, 1},
        {"out above and below", {{{40, -20}, {60, -20}, {50.5, 90}}}, 1},
        {"outside", {{{-20, 5}, {-10, 5}, {-10, 50}}}, 1},
        {"a spike across the hole of the world", {around, star({48, 32}, 20, 7, 0.9)}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const QImage image = filled(row.rings);
        const auto share = [&](int x, int y) {
            // An island counts again: areas of rings that are shells add.
            return test::fillShare(row.rings, row.shells, x, y);
        };
        EXPECT_LE(differences(image, share).first, allowed * width * height);
        EXPECT_LT(differences(image, share).second, 3.0);
    }
    // The comparison sees a quarter of a pixel.
    const Ring ring = star({48, 32}, 28, 5, 0.4);
    const auto share = [&](int x, int y) { return test::fillShare({ring}, 1, x, y); };
    EXPECT_GT(differences(filled({shifted(ring, {0.25, 0})}), share).first, 100);
}

// In time, and not to the end when the host wants no more.
TEST(Canvas, AnAreaMayHaveManyRings) {
    std::vector<Ring> rings;
    for (int i = 0; i < 480 * 320; ++i) {
        const QPointF corner(i % 480 * 0.2 + 0.05, i / 480 * 0.2 + 0.05); // a quarter of each of four pixels
        const double side = i % 2 == 0 ? 0.1 : -0.1;
        rings.push_back({corner, corner + QPointF(side, 0), corner + QPointF(side, 0.1), corner + QPointF(0, 0.1)});
    }
    const MapView nearer = view.inFrame({0, 0, 10 * width, 10 * height}).fitted({0, 0, width, height});
    const auto levelOf = [&](const Flat& flat) {
        Canvas canvas(nearer);
        canvas.fill(flat.coordinates, flat.ends, Qt::black);
        return qAlpha(canvas.image().pixel(484, 324));
    };
    EXPECT_NEAR(levelOf(Flat(rings)), 64, 2);
    rings.push_back({{-50, -50}, {200, -50}, {200, 200}, {-50, 200}});
    const Flat many(rings);
    EXPECT_NEAR(levelOf(many), 191, 2);

    const Flat longOne({star({48, 32}, 30, 200000, 0.9)});
    for (const Flat& flat : {many, longOne}) {
        for (int last = 0; last < 3; ++last) {
            Canvas canvas(nearer);
            canvas.setWatch([looks = 0, last]() mutable {
                if (looks++ == last) {
                    throw std::runtime_error("no more");
                }
            });
            EXPECT_THROW(canvas.fill(flat.coordinates, flat.ends, Qt::red), std::runtime_error) << last;
        }
    }
}

TEST(Canvas, LinesAreDistances) {
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> x(-10, width + 10);
    std::uniform_real_distribution<double> y(-10, height + 10);
    Ring scribble;
    for (int i = 0; i < 40; ++i) {
        scribble.emplace_back(x(random), y(random));
    }
    const struct {
        const char* name;
        Ring line;
        double pixels;
    } rows[] = {
        {"level", {{10, 20.5}, {80, 20.5}}, 1},
        {"upright", {{10.5, 10}, {10.5, 50}}, 3},
        {"nearly level", {{10, 20}, {80, 21}}, 1},
        {"nearly upright", {{10, 50}, {11, 5}}, 2.5},
        {"a corner", {{10, 10}, {60, 30}, {20, 50}}, 5},
        {"thinner than a pixel", {{10, 10}, {60, 30}, {20, 50}}, 0.4},
        {"a dot", {{20.3, 20.8}, {20.3, 20.8}}, 7},
        {"wider than long", {{40, 30}, {44, 31}}, 30},
        {"from far away", {{-3e5, -2e5}, {48, 32}, {4e5, 1e5}}, 4},
        {"past everything", {{-1e6, 40}, {1e6, 40.2}}, 3},
        {"a scribble", scribble, 2},
        {"in a few pixels", {{20.2, 20.3}, {22.1, 21.7}, {20.9, 23.4}, {19.5, 22.2}, {21.4, 20.1}}, 1},
        {"a roundabout far below a pixel",
         {{20.3, 20.5}, {20.29, 20.51}, {20.3, 20.52}, {20.31, 20.51}, {20.3, 20.5}},
         1},
        {"in a corner of the picture", {{-1.5, -0.5}, {1.5, 0.7}, {0.3, 2.2}}, 3},
        {"in the last pixels",
         {{width - 1.8, height - 3.1}, {width + 0.4, height - 0.7}, {width - 3.2, height + 1.0}},
         2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.name << ", seed " << test::seed());
        const QImage image = stroked({row.line}, wide(row.pixels));
        const auto share = [&](int column, int r) { return test::strokeShare(row.line, row.pixels, column, r); };
        EXPECT_LE(differences(image, share).first, allowed * width * height);
        EXPECT_LT(differences(image, share).second, 12.0);
        EXPECT_GT(differences(stroked({shifted(row.line, {0.25, 0.25})}, wide(row.pixels)), share).first, 3);
    }
}

// What reaches out of the picture is cut off there.
TEST(Canvas, MarkersAreTheCutOfALargerPicture) {
    const MapView larger = view.inFrame({-20, -20, width + 40, height + 40});
    const MarkerStamp star(9.0, [](QImage& picture, QPointF place) {
        QPainter painter(&picture);
        painter.fillRect(QRectF(place - QPointF(8, 3), QSizeF(9, 5)), QColor(200, 30, 30));
        painter.fillRect(QRectF(place + QPointF(2, -6), QSizeF(3, 12)), QColor(30, 30, 200, 90));
    });
    for (const MarkerStamp& stamp : {MarkerStamp(8, QColor(20, 90, 20), 1.3, Qt::black), star}) {
        Canvas all(larger);
        Canvas part(view);
        for (int i = 0; i < 200; ++i) {
            const std::array place{(i * 37 % (width + 30)) - 15.3 + 0.01 * i, (i * 53 % (height + 30)) - 14.9};
            all.markers(place, stamp);
            part.markers(place, stamp);
        }
        EXPECT_EQ(part.image(), all.image().copy(20, 20, width, height));
    }
}

// Caps, joins, dashes and casings, each by places that have to be drawn, and others that must not be.
TEST(Canvas, CapsJoinsAndDashes) {
    Stroke round = wide(10);
    Stroke butt = round;
    butt.cap = LineCap::Butt;
    Stroke mitre = butt;
    mitre.join = LineJoin::Mitre;
    Stroke blunt = mitre;
    blunt.mitreLimit = 1.0;
    Stroke roundMitre = mitre;
    roundMitre.cap = LineCap::Round;
    Stroke dashed = wide(2);
    dashed.cap = LineCap::Butt;
    dashed.dashes = {8, 4};
    Stroke moved = dashed;
    moved.dashOffset = -3;
    Stroke odd = dashed;
    odd.dashes = {8};
    Stroke nonsense = dashed;
    nonsense.dashes = {0, -4, NAN, 0};
    const Ring level = {{20, 30}, {70, 30}};
    const Ring corner = {{20, 50}, {50, 50}, {50, 20}};
    const Ring sharp = {{20, 30}, {60, 32}, {20, 34}};
    const Ring square = {{20, 20}, {60, 20}, {60, 50}, {20, 50}};
    const struct {
        const char* name;
        Ring line;
        Stroke stroke;
        bool isClosed;
        std::vector<QPoint> drawn, empty;
    } rows[] = {
        {"round caps", level, round, false, {{16, 29}, {73, 29}, {40, 25}}, {{15, 25}, {14, 29}, {40, 36}}},
        {"butt caps", level, butt, false, {{20, 26}, {69, 33}}, {{18, 29}, {71, 29}}},
        {"a round join", corner, butt, false, {{52, 52}, {45, 50}, {50, 45}}, {{54, 54}, {18, 50}, {50, 18}}},
        {"a mitre join",
         corner,
         mitre,
         false,
         {{54, 54}, {54, 46}, {46, 54}, {49, 49}},
         {{55, 50}, {50, 55}, {40, 40}}},
        {"a mitre join with round caps",
         corner,
         roundMitre,
         false,
         {{54, 54}, {16, 50}, {50, 16}},
         {{14, 50}, {55, 50}}},
        {"a mitre cut off", corner, blunt, false, {{52, 51}, {49, 49}, {54, 46}}, {{54, 54}, {56, 50}}},
        {"too sharp for a mitre", sharp, mitre, false, {{58, 32}, {30, 29}}, {{80, 32}, {70, 32}}},
        {"a closed mitre",
         square,
         mitre,
         true,
         {{15, 15}, {64, 15}, {64, 54}, {15, 54}, {18, 35}},
         {{40, 35}, {14, 14}}},
        {"dashes", level, dashed, false, {{21, 29}, {26, 30}, {33, 29}}, {{29, 29}, {31, 30}, {41, 29}}},
        {"dashes begin later", level, moved, false, {{24, 29}, {29, 29}}, {{20, 29}, {32, 29}}},
        {"an odd list of dashes", level, odd, false, {{22, 29}, {38, 29}}, {{29, 29}, {34, 29}}},
        {"dashes without a length", level, nonsense, false, {{22, 29}, {29, 29}, {60, 29}}, {}},
        {"dashes come from far away", {{-3e11, 30}, {6e11, 30}}, dashed, false, {}, {}},
        {"dashes return",
         {{20, 30}, {5000, 30}, {5000, 3000}, {20, 40}},
         dashed,
         false,
         {{21, 29}, {26, 30}},
         {{29, 29}, {31, 30}}},
        {"a dash ends in a corner", // and the next gap with the line
         {{20, 50}, {28, 50}, {28, 30}},
         dashed,
         false,
         {{21, 49}, {26, 50}, {27, 44}, {28, 39}},
         {{28, 48}, {26, 47}, {27, 35}, {28, 28}}},
        {"dashes go around corners", square, dashed, true, {{20, 20}, {59, 22}, {59, 30}}, {{59, 25}, {30, 19}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const QImage image = stroked({row.line}, row.stroke, row.isClosed);
        for (const QPoint p : row.drawn) {
            EXPECT_GT(qAlpha(image.pixel(p)), 230) << p.x() << ", " << p.y();
        }
        for (const QPoint p : row.empty) {
            EXPECT_LT(qAlpha(image.pixel(p)), 25) << p.x() << ", " << p.y();
        }
    }
    // A casing lies below all parts, and outside of them.
    Stroke cased = wide(4);
    cased.color = Qt::red;
    cased.casing = 2;
    cased.casingColor = Qt::blue;
    const QImage image = stroked({level, {{45, 10}, {45, 50}}}, cased);
    EXPECT_EQ(image.pixelColor(45, 30), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(44, 33), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(30, 33), QColor(Qt::blue));
    EXPECT_EQ(image.pixelColor(41, 32), QColor(Qt::blue));
}

// Neighbours of an area leave nothing between them, opaque or not; what overlaps lies one over the other.
TEST(Canvas, NoSeamsBetweenNeighbours) {
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> shift(-2.0, 2.0);
    constexpr int cells = 12;
    std::vector<std::vector<QPointF>> nodes(cells + 1, std::vector<QPointF>(cells + 1));
    for (int i = 0; i <= cells; ++i) {
        for (int k = 0; k <= cells; ++k) {
            nodes[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)] = {8.0 * i + shift(random) - 2,
                                                                               6.0 * k + shift(random) - 4};
        }
    }
    for (const int opacity : {255, 128}) {
        SCOPED_TRACE(testing::Message() << opacity << ", seed " << test::seed());
        Canvas canvas(view);
        for (std::size_t i = 0; i < cells; ++i) {
            for (std::size_t k = 0; k < cells; ++k) {
                for (const Ring& ring : {Ring{nodes[i][k], nodes[i + 1][k], nodes[i + 1][k + 1]},
                                         Ring{nodes[i][k], nodes[i + 1][k + 1], nodes[i][k + 1]}}) {
                    const Flat flat({ring});
                    canvas.fill(flat.coordinates, flat.ends, QColor((i * 91 + k * 57) % 256, 80, 200, opacity));
                }
            }
        }
        const QImage image = canvas.image();
        int seams = 0;
        for (int row = 8; row < 56; ++row) {
            for (int column = 8; column < 86; ++column) {
                seams += std::abs(qAlpha(image.pixel(column, row)) - opacity) > 3 ? 1 : 0;
            }
        }
        EXPECT_EQ(seams, 0);
    }
    Canvas canvas(view);
    const Flat below({{{10, 10}, {50, 10}, {50, 50}, {10, 50}}});
    const Flat above({{{30, 20.5}, {70, 20.5}, {70, 60}, {30, 60}}});
    canvas.fill(below.coordinates, below.ends, Qt::red);
    canvas.fill(above.coordinates, above.ends, QColor(0, 0, 255, 128));
    EXPECT_EQ(canvas.image().pixelColor(20, 30), QColor(Qt::red));
    EXPECT_NEAR(canvas.image().pixelColor(40, 40).red(), 127, 2);
    EXPECT_NEAR(canvas.image().pixelColor(40, 20).red(), 191, 2); // half of half
    EXPECT_EQ(qAlpha(canvas.image().pixel(40, 20)), 255);
}

// On the whole, the pictures are those of the painter that hosts know.
TEST(Canvas, LooksLikeQPainter) {
    const auto painted = [](const std::function<void(QPainter&)>& draw) {
        QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        draw(painter);
        return image;
    };
    const auto meanDifference = [](const QImage& a, const QImage& b) {
        double sum = 0.0;
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column) {
                sum += std::abs(qAlpha(a.pixel(column, row)) - qAlpha(b.pixel(column, row)));
            }
        }
        return sum / (width * height);
    };
    const Ring ring = star({48, 32}, 28, 5, 0.4);
    const QPolygonF polygon(QList<QPointF>(ring.begin(), ring.end()));
    const QImage fill = painted([&](QPainter& painter) {
        painter.setBrush(Qt::black);
        painter.setPen(Qt::NoPen);
        painter.drawPolygon(polygon);
    });
    EXPECT_LT(meanDifference(filled({ring}), fill), 0.3);
    EXPECT_GT(meanDifference(filled({shifted(ring, {0.5, 0})}), fill), 1.0);
    for (const double pixels : {1.0, 3.0, 8.0}) {
        SCOPED_TRACE(pixels);
        const QImage line = painted([&](QPainter& painter) {
            painter.setPen(QPen(Qt::black, pixels, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.drawPolygon(polygon);
        });
        EXPECT_LT(meanDifference(stroked({ring}, wide(pixels), true), line), 1.5);
        EXPECT_GT(meanDifference(stroked({shifted(ring, {1, 0})}, wide(pixels), true), line), 3.0);
        Stroke mitre = wide(pixels);
        mitre.join = LineJoin::Mitre;
        const QImage pointed = painted([&](QPainter& painter) {
            QPen pen(Qt::black, pixels, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin);
            pen.setMiterLimit(4.0);
            painter.setPen(pen);
            painter.drawPolygon(polygon);
        });
        EXPECT_LT(meanDifference(stroked({ring}, mitre, true), pointed), 1.5);
    }
    const QImage circle = painted([&](QPainter& painter) {
        painter.setBrush(Qt::red);
        painter.setPen(QPen(Qt::black, 1.0));
        painter.drawEllipse(QPointF(20.125, 20.125), 6.0, 6.0);
    });
    Canvas canvas(view);
    const double place[] = {20.125, height - 20.125};
    canvas.markers(place, MarkerStamp(12.0, Qt::red, 1.0, Qt::black));
    EXPECT_LT(meanDifference(canvas.image(), circle), 0.4);
    EXPECT_EQ(canvas.image().pixelColor(20, 20), QColor(Qt::red));
}

// Nothing is left over from one feature to the next, and many vertices make the picture of few.
TEST(Canvas, RepeatsItselfToTheByte) {
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> x(-20, width + 20);
    std::uniform_real_distribution<double> y(-20, height + 20);
    const auto draw = [&](std::mt19937 numbers) {
        Canvas canvas(view);
        for (int i = 0; i < 60; ++i) {
            Ring ring;
            for (int k = 0; k < 5; ++k) {
                ring.emplace_back(x(numbers), y(numbers));
            }
            const Flat flat({ring});
            canvas.area(flat.coordinates, flat.ends, QColor(i * 4, 100, 255 - i * 4, i % 2 == 0 ? 255 : 90),
                        wide(i % 4));
        }
        return canvas.image();
    };
    EXPECT_EQ(draw(random), draw(random));
    Canvas canvas(view);
    const Flat big({{{-10, -10}, {300, -10}, {300, 200}, {-10, 200}}});
    canvas.fill(big.coordinates, big.ends, QColor(0, 0, 0, 1));
    const Flat small({{{40, 30}, {50, 30}, {50, 40}}});
    canvas.fill(small.coordinates, small.ends, Qt::black);
    EXPECT_EQ(qAlpha(canvas.image().pixel(60, 31)), 1);

    Ring fine;
    Ring coarse;
    for (int i = 0; i < 100000; ++i) {
        const double angle = 2.0 * std::numbers::pi * i / 100000;
        fine.emplace_back(48 + 25 * std::cos(angle), 32 + 25 * std::sin(angle));
        if (i % 500 == 0) {
            coarse.push_back(fine.back());
        }
    }
    const QImage many = filled({fine});
    EXPECT_LT(differences(many, [few = filled({coarse})](int column,
                                                         int row) { return qAlpha(few.pixel(column, row)) / 255.0; })
                  .second,
              40.0);
}

TEST(Canvas, TakesWhateverComes) {
    const double nan = std::nan("");
    EXPECT_TRUE(Canvas(MapView()).image().isNull());
    EXPECT_TRUE(Canvas(MapView({0, 0, nan, nan}, {0, 0, 0, 0})).image().isNull());
    const double places[] = {nan, 1, INFINITY, 2, 1e300, 1e300, 30, 30, 1e11, -1e11, 2e11, 3e-5};
    const qsizetype ends[] = {2, 2, 1, 3, 6, 50, -3};
    for (const MapView& any : {MapView(), view}) {
        Canvas canvas(any);
        canvas.fill(places, ends, Qt::red);
        canvas.fill({}, {}, Qt::red);
        canvas.area(places, ends, Qt::red, wide(2));
        for (const double pixels : {nan, -1.0, 0.0, double(INFINITY)}) {
            canvas.stroke(places, ends, wide(pixels));
        }
        canvas.stroke(places, ends, wide(1e9));
        canvas.markers(places, MarkerStamp(nan, Qt::red, -2, Qt::red));
    }
    Canvas canvas(view);
    canvas.markers(places, MarkerStamp(4, Qt::red, 0, Qt::red)); // only one of them is in view
    EXPECT_EQ(canvas.image().pixelColor(30, height - 30), QColor(Qt::red));
    // What is smaller than a pixel is seen as a point of the outline.
    const Flat tiny({{{20.2, 20.2}, {20.6, 20.3}, {20.4, 20.7}}});
    canvas.area(tiny.coordinates, tiny.ends, Qt::blue, wide(1));
    EXPECT_GT(qAlpha(canvas.image().pixel(20, 20)), 200);
    EXPECT_LT(qAlpha(canvas.image().pixel(22, 20)), 10);
}
