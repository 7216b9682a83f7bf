// A style for each of a million features, by each kind of renderer; beside the categorized one the walk over
// its classes that it must agree with. Times are for each feature.

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;
using Shapes::GisShapePoint;

constexpr int classCount = 1000;

QString className(unsigned int number) {
    return QStringLiteral("Land use class %1").arg(number);
}

/// With the name of a class, a name that only equals one once it is trimmed and folded, a number from 0 to
/// 1,200, and that number as a text.
const std::vector<GisShapePoint>& features() {
    static const std::vector<GisShapePoint> made = [] {
        std::mt19937 random(1);
        std::vector<GisShapePoint> points;
        for (int i = 0; i < 1'000'000; ++i) {
            const unsigned int number = static_cast<unsigned int>(random()) % 1200;
            GisShapePoint& point = points.emplace_back(0, 0);
            point.attributes().insert("name", className(number));
            point.attributes().insert("variant", className(number).toUpper() + ' ');
            point.attributes().insert("value", static_cast<double>(number));
            point.attributes().insert("text", QString::number(number));
        }
        return points;
    }();
    return made;
}

void styleAll(benchmark::State& state, const GisSymbolRenderer& renderer) {
    const std::vector<GisShapePoint>& all = features();
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(renderer.styleForFeature(GisSymbolContext(all[next])));
        next = next + 1 < all.size() ? next + 1 : 0;
    }
}

void simple(benchmark::State& state) {
    styleAll(state, GisSimpleSymbolRenderer(GisLayerStyle()));
}

GisCategorizedSymbolRenderer categories(const QString& field) {
    GisCategorizedSymbolRenderer renderer(field);
    const QStringList colors = GisColorRampRegistry::ramp("Unique").colors(classCount);
    for (int i = 0; i < classCount; ++i) {
        const QVariant value = field == "value" || field == "text"
                                   ? QVariant(static_cast<double>(i))
                                   : QVariant(className(static_cast<unsigned int>(i)));
        renderer.addClass({value, {}, GisClassificationEngine::styleWithColor({}, colors.at(i)), true});
    }
    return renderer;
}

void categorized(benchmark::State& state, const char* field) {
    styleAll(state, categories(field));
}

/// Each class compared as it stands, converted again for every feature.
void categorizedWalk(benchmark::State& state, const char* field) {
    const GisCategorizedSymbolRenderer renderer = categories(field);
    const std::vector<GisShapePoint>& all = features();
    std::size_t next = 0;
    for (auto _ : state) {
        const QVariant value = all[next].attributes().value(field);
        GisLayerStyle style = renderer.defaultStyle();
        for (const GisCategorizedSymbolClass& symbolClass : renderer.classes()) {
            if (symbolClass.enabled && GisCategorizedSymbolRenderer::valuesEqual(symbolClass.value, value)) {
                style = symbolClass.style;
                break;
            }
        }
        benchmark::DoNotOptimize(style);
        ++next;
    }
}

void graduated(benchmark::State& state, const char* field) {
    GisGraduatedSymbolRenderer renderer(field);
    const auto ranges = GisClassificationEngine::equalInterval({0, 1200}, 12);
    for (const GisGraduatedSymbolRange& range : GisClassificationEngine::graduatedRanges(
             ranges, GisColorRampRegistry::defaultRamp(), {}, GisColorRampMode::Continuous, false)) {
        renderer.addRange(range);
    }
    styleAll(state, renderer);
}

void ruleBased(benchmark::State& state) {
    GisRuleBasedSymbolRenderer renderer;
    for (int i = 11; i >= 0; --i) {
        renderer.addRule({"value", GisSymbolRuleOperator::GreaterOrEqual, 100.0 * i, {}, {}, true});
    }
    styleAll(state, renderer);
}

void copyStyle(benchmark::State& state) {
    const GisLayerStyle style;
    for (auto _ : state) {
        benchmark::DoNotOptimize(GisLayerStyle(style));
    }
}

/// What each copy would cost if its fields were not shared.
void copyStyleAndChange(benchmark::State& state) {
    const GisLayerStyle style;
    for (auto _ : state) {
        GisLayerStyle copy = style;
        copy.setFillOpacity(7);
        benchmark::DoNotOptimize(copy);
    }
}

constexpr int million = 1'000'000;

} // namespace

BENCHMARK(simple)->Iterations(million);
BENCHMARK_CAPTURE(categorized, same text, "name")->Iterations(million);
BENCHMARK_CAPTURE(categorized, other case and blanks, "variant")->Iterations(million);
BENCHMARK_CAPTURE(categorized, numbers, "value")->Iterations(million);
BENCHMARK_CAPTURE(categorized, numbers as text, "text")->Iterations(million);
BENCHMARK_CAPTURE(categorizedWalk, same text, "name")->Iterations(1000);
BENCHMARK_CAPTURE(categorizedWalk, numbers, "value")->Iterations(1000);
BENCHMARK_CAPTURE(graduated, numbers, "value")->Iterations(million);
BENCHMARK_CAPTURE(graduated, numbers as text, "text")->Iterations(million);
BENCHMARK(ruleBased)->Iterations(million);
BENCHMARK(copyStyle);
BENCHMARK(copyStyleAndChange);
