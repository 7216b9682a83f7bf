#include "Map/Raster/PlainRaster.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Map/LabelMemory.h>
#include <Cartolith/Map/LayerSnapshotBuilder.h>
#include <Cartolith/Map/MapPainter.h>
#include <Cartolith/Map/MapRenderJob.h>

#include <QPainter>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <thread>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using Layers::GisLayerVector;
using Shapes::GisExtent;

namespace {

LayerSnapshot snapshotOf(Layers::GisLayer& layer, const MapView& view) {
    LayerSnapshotBuilder builder(layer, view, nullptr);
    while (!builder.step(std::chrono::seconds(1))) {
    }
    return builder.snapshot();
}

QImage drawn(const MapView& view, const QList<MapRenderJob::Layer>& layers, qint64 budget = 1 << 30) {
    MapRenderJob job(view, layers, {Qt::white, budget});
    EXPECT_EQ(job.run(), MapRenderJob::State::Done);
    EXPECT_EQ(job.progress(), 1.0);
    return job.compose();
}

/// The mean difference of a channel.
double difference(const QImage& a, const QImage& b) {
    qint64 sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            sum += std::abs(qRed(p) - qRed(q)) + std::abs(qGreen(p) - qGreen(q)) + std::abs(qBlue(p) - qBlue(q));
        }
    }
    return static_cast<double>(sum) / (3.0 * a.width() * a.height());
}

std::unique_ptr<GisLayerVector> symbols() {
    auto layer = test::layerOf({"POLYGON ((10 10, 90 10, 90 90, 10 90, 10 10), (40 40, 60 40, 60 60, 40 60, 40 40))",
                                "LINESTRING (0 0, 100 70)", "POINT (20 80)", "POINT (99.9 50)", "POINT (300 50)",
                                "POLYGON ((50 20, 50.1 20, 50 20.1, 50 20))"});
    layer->style().setFillOpacity(255);
    layer->style().setLineWidth(3);
    layer->style().setPointSize(14);
    return layer;
}

TEST(MapRenderJob, DrawsWhatAPainterWould) {
    const auto layer = symbols();
    LineCasing casing;
    casing.colour = Qt::black;
    casing.lines = QStringList{layer->style().lineColor()};
    const MapView flat(GisExtent(0, 0, 100, 100), QRectF(0, 0, 200, 200));
    const struct {
        const char* name;
        MapView view;
    } rows[] = {{"whole", flat}, {"near", flat.zoomed(3.0, {40, 40})}, {"turned", flat.rotated(30, {100, 100})}};
    for (const auto& row : rows) {
        QImage expected(200, 200, QImage::Format_ARGB32_Premultiplied);
        expected.fill(Qt::white);
        QPainter painter(&expected);
        const auto shapes = MapPainter::visibleShapes(*layer, row.view);
        MapPainter(painter, row.view).draw(shapes, MapPainter::stylesFor(*layer, shapes), casing);
        painter.end();
        const QImage image = drawn(row.view, {{snapshotOf(*layer, row.view), 1.0, LayerBlend::Normal, casing}});
        EXPECT_LT(difference(image, expected), 0.8) << row.name;
        EXPECT_GT(difference(image, expected.copy(1, 0, 200, 200)), 0.8) << row.name << ": a pixel to the left";
    }
}

TEST(MapRenderJob, LaysLayersOverEachOtherWhateverTheBudget) {
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 64, 64));
    QList<MapRenderJob::Layer> layers;
    for (int i = 0; i < 5; ++i) {
        const auto layer = symbols();
        layer->style().setFillColor(i % 2 == 0 ? "#3060C0" : "#C08030");
        layers.append({snapshotOf(*layer, view.panned({i * 3.0, 0.0})), i == 2 ? 0.5 : 1.0,
                       i == 3 ? LayerBlend::Multiply : LayerBlend::Normal});
    }
    const QImage image = drawn(view, layers);
    EXPECT_EQ(image, drawn(view, layers, 0));
    EXPECT_EQ(image.size(), QSize(64, 64));

    const auto square = [&](const char* colour, double opacity, LayerBlend blend) {
        const auto layer = test::layerOf({"POLYGON ((-9 -9, 200 -9, 200 200, -9 200, -9 -9))"});
        layer->style().setFillColor(colour);
        layer->style().setFillOpacity(255);
        layer->style().setLineWidth(0);
        return MapRenderJob::Layer{snapshotOf(*layer, view), opacity, blend};
    };
    const struct {
        double opacity;
        LayerBlend blend;
        QRgb expected;
    } rows[] = {{1.0, LayerBlend::Normal, 0xFF408000},   {0.0, LayerBlend::Normal, 0xFFFF80FF},
                {7.0, LayerBlend::Normal, 0xFF408000},   {0.5, LayerBlend::Normal, 0xFF9F807F},
                {1.0, LayerBlend::Multiply, 0xFF404000}, {1.0, LayerBlend::Darken, 0xFF408000},
                {1.0, LayerBlend::Lighten, 0xFFFF80FF}};
    for (const auto& row : rows) {
        const QRgb pixel =
            drawn(view, {square("#FF80FF", 1.0, LayerBlend::Normal), square("#408000", row.opacity, row.blend)})
                .pixel(30, 30);
        EXPECT_LE(std::max({std::abs(qRed(pixel) - qRed(row.expected)), std::abs(qGreen(pixel) - qGreen(row.expected)),
                            std::abs(qBlue(pixel) - qBlue(row.expected))}),
                  1)
            << row.opacity << ' ' << static_cast<int>(row.blend) << ' ' << std::hex << pixel;
    }
}

TEST(MapRenderJob, PlacesLabelsOverAllLayers) {
    auto layer = test::layerOf({"POINT (50 50)", "POINT (51 50)", "POINT (20 20)"});
    layer->items()[0]->attributes() = {{"name", "small"}, {"size", 1}};
    layer->items()[1]->attributes() = {{"name", "large"}, {"size", 2}};
    layer->style().setShowLabels(true);
    layer->style().setLabelField("name");
    layer->style().setLabelPriorityField("size");
    layer->style().setLabelMaxCandidatesPerFeature(1);
    layer->style().setLabelMaxVisibleScale(1000);
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 200, 200));
    const QList<MapRenderJob::Layer> layers{{LayerSnapshot()}, {snapshotOf(*layer, view)}};
    const auto memory = std::make_shared<LabelMemory>();
    for (const double scale : {1000.0, 1001.0, 999.0}) {
        MapRenderJob job(view, layers, {Qt::white, 1 << 30, scale, memory});
        job.run();
        const QImage image = job.compose();
        if (scale > 1000.0) {
            EXPECT_EQ(job.labels().size(), 0);
            EXPECT_EQ(image.pixel(112, 92), 0xFFFFFFFF);
            continue;
        }
        ASSERT_EQ(job.labels().size(), 3);
        EXPECT_EQ(job.labels().at(2).place.outcome, Labels::LabelOutcome::NothingToPlace);
        EXPECT_EQ(job.labels().at(0).featureId, 1);
        EXPECT_EQ(job.labels().at(0).layer, 1);
        EXPECT_EQ(job.labels().at(0).place.outcome, Labels::LabelOutcome::NoRoom);
        EXPECT_EQ(job.labels().at(1).place.outcome, Labels::LabelOutcome::Placed);
        int dark = 0;
        for (int x = 106; x < 140; ++x) {
            for (int y = 80; y < 98; ++y) {
                dark += qGray(image.pixel(x, y)) < 100 ? 1 : 0;
            }
        }
        EXPECT_GT(dark, 10) << "letters, right above";
    }
}

TEST(MapRenderJob, ShowsAPartAndStopsWhenItIsTold) {
    QStringList texts;
    for (int i = 0; i < 400; ++i) {
        texts.append(QString("POLYGON ((0 0, %1 0, 1000 1000, 0 %1, 0 0))").arg(1000 + i));
    }
    const auto layer = test::layerOf(texts);
    const MapView view(GisExtent(0, 0, 1000, 1000), QRectF(0, 0, 1000, 1000));
    const LayerSnapshot snapshot = snapshotOf(*layer, view);

    MapRenderJob job(view, {{snapshot}, {snapshot}, {snapshot}});
    EXPECT_EQ(job.compose().pixel(500, 500), 0U) << "nothing is drawn yet";
    std::thread thread([&job] { job.run(); });
    while (job.progress() == 0.0) {
        job.compose();
    }
    EXPECT_NE(job.compose().pixel(500, 500), 0U);
    job.cancel();
    thread.join();
    EXPECT_EQ(job.state(), MapRenderJob::State::Cancelled);
    EXPECT_LT(job.progress(), 1.0);
    EXPECT_EQ(job.run(), MapRenderJob::State::Cancelled) << "once";
}

/// Areas, lines with casings, stars with halos, pictures with gradients, and names of all.
QList<MapRenderJob::Layer> eachKind(const MapView& view) {
    QStringList texts[4];
    for (int i = 0; i < 6; ++i) {
        const int x = 10 * i;
        texts[0].append(QString("POLYGON ((%1 5, %2 15, %1 40, %1 5))").arg(x).arg(x + 25));
        texts[1].append(QString("LINESTRING (%1 35, %2 50, 95 %2)").arg(x).arg(x + 30));
        texts[2].append(QString("POINT (%1 60)").arg(x + 5));
        texts[3].append(QString("POINT (%1 80)").arg(2 * x));
    }
    QList<MapRenderJob::Layer> layers;
    for (const QStringList& part : texts) {
        const auto layer = test::layerOf(part);
        for (const auto& item : layer->items()) {
            item->attributes().insert("n", QString("Name %1").arg(item->id()));
        }
        Layers::GisLayerStyle& style = layer->style();
        style.setShowLabels(true);
        style.setLabelField("n");
        style.setLabelHaloEnabled(true);
        style.setPointSize(12);
        style.setHaloWidth(2);
        style.setMarkerShape(layers.size() == 3 ? Layers::MarkerShape::Svg : Layers::MarkerShape::Star);
        style.setMarkerSvg(
            R"svg(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 9 9"><linearGradient id="g"><stop offset="0"
               stop-color="red"/><stop offset="1"/></linearGradient><rect width="9" height="9" fill="url(#g)"/></svg>)svg");
        style.setCasingWidth(2);
        layers.append({snapshotOf(*layer, view)});
    }
    layers[1].selected = {2};
    layers[2].opacity = 0.5;
    return layers;
}

TEST(MapRenderJob, CancelledAtAnyLookShowsWholeLayersOnly) {
    const MapView view(GisExtent(0, 0, 100, 100), QRectF(0, 0, 120, 120));
    const QList<MapRenderJob::Layer> layers = eachKind(view);
    for (const qint64 budget : {1 << 30, 0}) {
        MapRenderJob::Options options{Qt::white, budget};
        QList<QImage> whole; // of the first layers, of all, and with names
        for (qsizetype i = 0; i <= layers.size() + 1; ++i) {
            options.hasLabels = i > layers.size();
            MapRenderJob job(view, layers.first(std::min(i, layers.size())), options);
            job.run();
            whole.append(job.compose());
            ASSERT_TRUE(i == 0 || whole.at(i) != whole.at(i - 1)) << i;
        }
        options.labelMemory = std::make_shared<LabelMemory>();
        qsizetype shown = 0;
        int looks = 0;
        for (int last = 0;; ++last) {
            looks = 0;
            options.goesOn = [&] { return looks++ < last; };
            MapRenderJob job(view, layers, options);
            if (job.run() == MapRenderJob::State::Done) {
                break;
            }
            ASSERT_EQ(job.state(), MapRenderJob::State::Cancelled) << last;
            ASSERT_TRUE(job.labels().isEmpty() && job.progress() <= 1.0) << last;
            const qsizetype found = whole.indexOf(job.compose());
            ASSERT_GE(found, shown) << "look " << last << ": no whole layers, or fewer than before";
            shown = found;
        }
        EXPECT_GT(looks, 100) << "in shapes, markers, names";
        EXPECT_GE(shown, layers.size());
        options.goesOn = nullptr;
        MapRenderJob later(view, layers, options);
        later.run();
        EXPECT_EQ(later.compose(), whole.last()) << "what cancelled jobs left in the memory of labels";
    }
}

TEST(MapRenderJob, DrawsAnAreaOfVeryManyVertices) {
    constexpr int vertices = 100'000;
    constexpr int size = 60;
    const MapView view(GisExtent(0, 0, size, size), QRectF(0, 0, size, size));
    const struct {
        const char* name;
        double depth; // of the teeth, pixels
        double levels;
    } rows[] = {{"smooth, vertices within half a pixel of the last are passed over", 0.0004, 4.0},
                {"a thicket", 3.0, 1.0}};
    for (const auto& row : rows) {
        test::Ring ring;
        QString text = "POLYGON ((";
        for (int i = 0; i <= vertices; ++i) {
            const double angle = 6.283185307179586 * (i % vertices) / vertices;
            const double radius = 22.0 + (i % 2) * row.depth + 3.0 * std::sin(7.0 * angle);
            ring.emplace_back(30.0 + radius * std::cos(angle), 30.0 - radius * std::sin(angle));
            text += QString("%1 %2,").arg(ring.back().x(), 0, 'f', 9).arg(size - ring.back().y(), 0, 'f', 9);
        }
        text.back() = ')';
        const auto layer = test::layerOf({text + ')'});
        layer->style().setFillColor("#000000");
        layer->style().setFillOpacity(255);
        layer->style().setLineWidth(0);
        const QImage image = drawn(view, {{snapshotOf(*layer, view)}});
        double worst = 0.0;
        for (int y = 0; y < size; ++y) {
            const test::Ring inRow = test::cutAt(test::cutAt(ring, 2, 0, y), 3, 0, y);
            for (int x = 0; x < size; ++x) {
                const double expected = 255.0 * (1.0 - test::fillShare({inRow}, 1, x, y));
                worst = std::max(worst, std::abs(qGray(image.pixel(x, y)) - expected));
            }
        }
        EXPECT_LE(worst, row.levels) << row.name;
    }
}

TEST(MapRenderJob, DrawsVeryManyCategories) {
    constexpr int side = 100;
    auto renderer = std::make_unique<Symbology::GisCategorizedSymbolRenderer>("v");
    QStringList squares;
    const auto colourOf = [](int value) { return 0xFF000000U | static_cast<QRgb>(value * 1613 + 7); };
    for (int i = 0; i < side * side; ++i) {
        const int x = i % side;
        const int y = i / side;
        squares.append(QString("POLYGON ((%1 %2, %3 %2, %3 %4, %1 %4, %1 %2))").arg(x).arg(y).arg(x + 1).arg(y + 1));
        Symbology::GisCategorizedSymbolClass category{QString("class %1").arg(i), {}, {}, true};
        category.style.setFillColor(QColor::fromRgb(colourOf(i)).name());
        category.style.setFillOpacity(255);
        category.style.setLineWidth(0);
        renderer->addClass(category);
    }
    const auto layer = test::layerOf(squares);
    for (int i = 0; i < side * side; ++i) { // each has another's
        layer->items()
            .at(static_cast<std::size_t>(i))
            ->attributes()
            .insert("v", QString("class %1").arg(i * 37 % (side * side)));
    }
    layer->setSymbolRenderer(std::move(renderer));
    const MapView view(GisExtent(0, 0, side, side), QRectF(0, 0, 2 * side, 2 * side));
    const QImage image = drawn(view, {{snapshotOf(*layer, view)}});
    int wrong = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const int square = (side - 1 - y / 2) * side + x / 2;
            wrong += image.pixel(x, y) == colourOf(square * 37 % (side * side)) ? 0 : 1;
        }
    }
    EXPECT_EQ(wrong, 0);
}

// Many are drawn as one; what is in between stays in between.
TEST(MapRenderJob, ShowsShapesBelowAPixelInTheirOrder) {
    const QString dot = "POLYGON ((%1 5, %2 5, %2 5.001, %1 5))";
    QStringList texts;
    for (int i = 0; i < 60000; ++i) {
        texts.append(dot.arg(2.5 + i * 1e-7).arg(2.501 + i * 1e-7));
    }
    texts.append("POLYGON ((0 0, 10 0, 10 10, 0 10, 0 0))");
    texts.append(dot.arg(7.5).arg(7.501));
    texts.append("POLYGON ((0 0, 5 0, 5 10, 0 10, 0 0))");
    texts.append(dot.arg(2.5).arg(2.501));
    const auto layer = test::layerOf(texts);
    layer->style().setFillColor("#FFFFFF");
    layer->style().setFillOpacity(255);
    layer->style().setLineColor("#000000");
    layer->style().setLineWidth(1);
    const MapView view(GisExtent(0, 0, 10, 10), QRectF(0, 0, 100, 100));
    const QImage image = drawn(view, {{snapshotOf(*layer, view)}});
    EXPECT_LT(qGray(image.pixel(25, 50)), 200) << "drawn again after the larger one";
    EXPECT_LT(qGray(image.pixel(75, 50)), 200);
    EXPECT_EQ(qGray(image.pixel(30, 50)), 255);
}

TEST(MapRenderJob, WithNothingToDrawIsDone) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const auto layer = symbols();
    const auto empty = test::layerOf({});
    const MapView good(GisExtent(0, 0, 1, 1), QRectF(0, 0, 10, 10));
    const struct {
        const char* name;
        MapView view;
        GisLayerVector& layer;
        QSize size;
    } rows[] = {{"no shapes", good, *empty, {10, 10}},
                {"NaN", MapView(GisExtent(nan, 0, 1, 1), QRectF(0, 0, 10, 10)), *layer, {0, 0}},
                {"no size", good.inFrame(QRectF()), *layer, {0, 0}},
                {"far away", good.panned({1e9, 0}), *layer, {10, 10}}};
    for (const auto& row : rows) {
        const QImage image = drawn(row.view, {{snapshotOf(row.layer, row.view)}});
        EXPECT_EQ(image.size(), row.size) << row.name;
        EXPECT_TRUE(image.isNull() || image.pixel(5, 5) == 0xFFFFFFFF) << row.name;
    }
}

} // namespace
