// Memory that runs out leaves ramps and renderers as they were.

#include "FailingAllocations.h"

#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSymbolContext.h>

#include <gtest/gtest.h>

#include <functional>

using namespace Cartolith::Core::Symbology;

namespace {

TEST(SymbologyOutOfMemory, RampsKeepTheirStops) {
    const GisColorRamp before("ramp", {{0.0, "#fff"}, {0.5, "#888888"}, {1.0, "#000"}});
    const GisColorRampStop between{0.25, "abc"};
    const GisColorRampStop same{0.5, "#123"};
    const QList<GisColorRampStop> others{{0.1, "#012"}, {0.1, "#345"}, {0.9, "#678"}};
    const struct {
        const char* name;
        std::function<void(GisColorRamp&)> act;
    } rows[] = {
        {"addStop", [&](GisColorRamp& ramp) { ramp.addStop(between); }},
        {"addStop in place of another", [&](GisColorRamp& ramp) { ramp.addStop(same); }},
        {"setStops", [&](GisColorRamp& ramp) { ramp.setStops(others); }},
        {"normalizeStops", [](GisColorRamp& ramp) { ramp.normalizeStops(); }},
    };
    for (const auto& row : rows) {
        const int failures = test::failEachAllocation(
            [&] { return before; }, row.act,
            [&](const GisColorRamp& ramp, int n) { EXPECT_EQ(ramp, before) << row.name << ", allocation " << n; });
        EXPECT_GE(failures, CARTOLITH_TEST_OWN_MALLOC) << row.name;
    }
}

/// A renderer of so many classes, made by its own operations; and the legend row of each of these values.
template <typename Renderer, typename Add>
void addingKeepsTheOthers(const char* name, Add add) {
    constexpr int classes = 20; // tables grow more than once
    const auto rowsOf = [](const Renderer& renderer) {
        QList<qsizetype> rows;
        for (int i = 0; i <= classes; ++i) {
            for (const QVariant& value : {QVariant(i), QVariant(QString("text %1").arg(i))}) {
                const QHash<QString, QVariant> attributes{{"f", value}};
                rows.append(renderer.legendIndexForFeature(GisSymbolContext(attributes)));
            }
        }
        return rows;
    };
    Renderer plain;
    for (int i = 0; i < classes; ++i) {
        Renderer next = plain;
        add(next, i);
        const QList<qsizetype> before = rowsOf(plain);
        const qsizetype size = plain.legendItems().size();
        test::failEachAllocation([&] { return plain; }, [&](Renderer& renderer) { add(renderer, i); },
                                 [&](Renderer& renderer, int n) {
                                     ASSERT_EQ(rowsOf(renderer), before) << name << ' ' << i << ", allocation " << n;
                                     ASSERT_EQ(renderer.legendItems().size(), size) << name << ' ' << i;
                                     add(renderer, i);
                                     ASSERT_EQ(rowsOf(renderer), rowsOf(next)) << name << ' ' << i << ", again";
                                 });
        plain = next;
    }
}

TEST(SymbologyOutOfMemory, RenderersKeepTheirClasses) {
    addingKeepsTheOthers<GisCategorizedSymbolRenderer>("categories", [](auto& renderer, int i) {
        renderer.setFieldName("f");
        renderer.addClass({i % 2 == 0 ? QVariant(i) : QVariant(QString("text %1").arg(i)), QString(), {}, true});
    });
    addingKeepsTheOthers<GisGraduatedSymbolRenderer>("ranges", [](auto& renderer, int i) {
        renderer.setFieldName("f");
        GisGraduatedSymbolRange range;
        range.lower = i;
        range.upper = i + 1;
        renderer.addRange(range);
    });
    addingKeepsTheOthers<GisRuleBasedSymbolRenderer>("rules", [](auto& renderer, int i) {
        GisSymbolRule rule;
        rule.fieldName = "f";
        rule.value = i;
        renderer.addRule(rule);
    });
}

} // namespace
