#include "TestSeed.h"

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>

#include <QDateTime>
#include <QTimeZone>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;
using Op = GisSymbolRuleOperator;
using Attributes = QHash<QString, QVariant>;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

GisLayerStyle styled(int number) {
    GisLayerStyle style;
    style.setLineWidth(static_cast<float>(number));
    return style;
}

const GisLayerStyle fallback = styled(-1);

/// The number of the style that a feature with this value gets; -1 for the default style.
int styleOf(const GisSymbolRenderer& renderer, const QVariant& value) {
    const Attributes attributes{{"f", value}};
    return static_cast<int>(renderer.styleForFeature(GisSymbolContext(attributes)).lineWidth());
}

GisCategorizedSymbolRenderer categorized(const QList<QVariant>& values) {
    GisCategorizedSymbolRenderer renderer("f");
    renderer.setDefaultStyle(fallback);
    for (const QVariant& value : values) {
        renderer.addClass({value, {}, styled(static_cast<int>(renderer.classes().size()))});
    }
    return renderer;
}

/// Value equality as it is defined, written down plainly.
bool plainEqual(const QVariant& a, const QVariant& b) {
    if (!a.isValid() && !b.isValid()) {
        return true;
    }
    if (a.metaType() == b.metaType() && a == b) {
        return true;
    }
    bool aIsNumber = false;
    bool bIsNumber = false;
    const double x = 1.0 + a.toDouble(&aIsNumber);
    const double y = 1.0 + b.toDouble(&bIsNumber);
    if (aIsNumber && bIsNumber) {
        return std::abs(x - y) * 1e12 <= std::min(std::abs(x), std::abs(y));
    }
    const auto text = [](const QVariant& v) { return v.isNull() ? QString() : v.toString().trimmed().toCaseFolded(); };
    return text(a) == text(b);
}

/// Values of many types, of which many are equal to each other in one way or another.
QVariant randomValue(std::mt19937& random) {
    static const QDateTime noon(QDate(2026, 1, 17), QTime(12, 0), Qt::UTC);
    // clang-format off
    static const QList<QVariant> values = {
        {}, QVariant(QMetaType(QMetaType::QString)), QVariant(QMetaType(QMetaType::Double)),
        QVariant(QMetaType(QMetaType::Int)), "", " ", "Road", " road ", "ROAD", "straße", "STRASSE", "true", "TRUE",
        true, false, 0, 1, 2U, "2", " 2.0 ", 2.0, 2.0F, 2LL, "2e0", "2\u00a0", QChar('2'), QChar('x'), "x",
        QByteArray("2"), QByteArray("x"), 0.1F, 0.1, "0.1", 1e-13, -1, -1.0, infinity, -infinity, nan, "inf", "NaN",
        1e300, "1E300", quint64(1) << 63, 9.3e18, -0.0, noon, noon.toOffsetFromUtc(3600), noon.date(), QDate(),
        noon.time(), "12:00:00.000", "2026-01-17", QStringList{"a"}, QVariantList{1}, QVariantMap{{"a", 1}}};
    // clang-format on
    if (random() % 4 == 0) { // numbers around the tolerance of one another
        const double base = std::ldexp(1.0, static_cast<int>(random() % 20)) - 1.0;
        return base + static_cast<double>(random() % 9) * 0.3e-12 * (1.0 + base);
    }
    return values.at(static_cast<qsizetype>(random() % static_cast<unsigned>(values.size())));
}

TEST(SymbolRenderers, ValueEquality) {
    // clang-format off
    const struct {
        QVariant a;
        QVariant b;
        bool equal;
    } rows[] = {
        {{}, {}, true}, {"Road", " road ", true}, {2, "2.0", true}, {0, 1e-13, true}, {0, 1.5e-12, false},
        {-1, -1.0 + 1e-13, false}, {"7", 7.000000000001, true}, {7, 7.1, false}, {"abc", 7, false},
        {nan, nan, false}, {infinity, infinity, true}, {infinity, "inf", false}, {true, "TRUE", true},
        {true, 1, true}, {{}, "", true}, {{}, 0, false}, {"straße", "STRAßE", true},
    };
    // clang-format on
    for (const auto& row : rows) {
        const std::string pair = row.a.toString().toStdString() + " and " + row.b.toString().toStdString();
        EXPECT_EQ(GisCategorizedSymbolRenderer::valuesEqual(row.a, row.b), row.equal) << pair;
        EXPECT_EQ(GisRuleBasedSymbolRenderer::valuesEqual(row.b, row.a), row.equal) << pair;
    }
    EXPECT_EQ(GisCategorizedSymbolRenderer::normalizedValue(" A b "), "a b");
    EXPECT_EQ(GisRuleBasedSymbolRenderer::normalizedString(QVariant(QMetaType(QMetaType::Int))), "");
}

TEST(GisCategorizedSymbolRenderer, FindsWhatTheOrderedWalkFinds) {
    std::mt19937 random(test::seed());
    for (int round = 0; round < 3000; ++round) {
        GisCategorizedSymbolRenderer renderer("f");
        renderer.setDefaultStyle(fallback);
        const auto count = static_cast<int>(random() % 12);
        const bool textsOnly = round % 3 == 0; // found by their text alone
        while (renderer.classes().size() < count) {
            const QVariant value = randomValue(random);
            if (!textsOnly || value.metaType().id() == QMetaType::QString) {
                const auto number = static_cast<int>(renderer.classes().size());
                renderer.addClass({value, {}, styled(number), random() % 5 != 0});
            }
        }
        for (int question = 0; question < 30; ++question) {
            const QVariant value = randomValue(random);
            int expected = -1;
            for (int i = 0; i < count && expected < 0; ++i) {
                const GisCategorizedSymbolClass& c = renderer.classes().at(i);
                expected = c.enabled && plainEqual(c.value, value) ? i : -1;
            }
            ASSERT_EQ(styleOf(renderer, value), expected)
                << value.typeName() << " '" << qPrintable(value.toString()) << "', seed " << test::seed();
        }
    }
}

TEST(GisCategorizedSymbolRenderer, MissingFieldsAndChangesOfTheClasses) {
    GisCategorizedSymbolRenderer renderer = categorized({"a", "b", "a"});
    const Attributes others{{"F", "a"}};
    EXPECT_EQ(renderer.styleForFeature(GisSymbolContext(others)), fallback) << "names are case-sensitive";
    GisCategorizedSymbolRenderer copy = renderer;
    copy.addClass({QVariant(), {}, styled(9)});
    EXPECT_EQ(copy.styleForFeature(GisSymbolContext(others)).lineWidth(), 9);
    EXPECT_EQ(styleOf(copy, "A "), 0);
    EXPECT_EQ(styleOf(renderer, QVariant()), -1) << "the original did not change with its copy";
    copy.clearClasses();
    EXPECT_EQ(styleOf(copy, "a"), -1);
    copy.addClass({"a", {}, styled(3), false});
    copy.addClass({"a", {}, styled(4)});
    EXPECT_EQ(styleOf(copy, "a"), 4) << "the first is disabled";

    GisCategorizedSymbolRenderer same = categorized({"one of its own"});
    GisRuleBasedSymbolRenderer rules;
    rules.addRule({"f", Op::Contains, "own", {}, styled(5)});
    for (int i = 0; i < 100; ++i) { // the lists move in memory
        same.addClass(same.classes().constFirst());
    }
    for (int i = 0; i < 100; ++i) {
        rules.addRule(rules.rules().constFirst());
    }
    EXPECT_EQ(styleOf(same, "one of its own"), 0);
    EXPECT_EQ(styleOf(rules, "one of its own"), 5);
}

TEST(GisGraduatedSymbolRenderer, TheFirstEnabledRangeThatHoldsTheNumber) {
    std::mt19937 random(test::seed());
    const double bounds[] = {-infinity, -2, 0, 0, 1, 2, 3, 4, 10, infinity, nan};
    const auto pick = [&] { return bounds[random() % std::size(bounds)]; };
    for (int round = 0; round < 5000; ++round) {
        GisGraduatedSymbolRenderer renderer("f");
        renderer.setDefaultStyle(fallback);
        const auto count = static_cast<int>(random() % 6);
        const bool ascending = random() % 2 == 0; // the kind that is searched by halving
        double next = -3;
        for (int i = 0; i < count; ++i) {
            const double lower = ascending ? next : pick();
            next = ascending ? next + static_cast<double>(random() % 4) : pick();
            renderer.addRange({lower, next, random() % 4 != 0, random() % 3 == 0, {}, styled(i), random() % 6 != 0});
        }
        for (const double value : {-3.0, -2.0, -1.0, -0.0, 0.0, 0.5, 1.0, 2.0, 3.0, 4.0, 6.0, 11.0, infinity, nan}) {
            int expected = -1;
            for (int i = 0; i < count && expected < 0 && std::isfinite(value); ++i) {
                const GisGraduatedSymbolRange& r = renderer.ranges().at(i);
                expected = r.enabled && GisGraduatedSymbolRenderer::rangeContains(r, value) ? i : -1;
            }
            ASSERT_EQ(styleOf(renderer, value), expected) << value << ", seed " << test::seed();
        }
    }
    GisGraduatedSymbolRenderer renderer("f");
    renderer.addRange({0, 10, true, false, {}, styled(1)});
    renderer.addRange({10, 20, true, true, {}, styled(2)});
    renderer.setDefaultStyle(fallback);
    EXPECT_EQ(styleOf(renderer, "10"), 2) << "texts that are numbers count";
    EXPECT_EQ(styleOf(renderer, "abc"), -1);
    EXPECT_EQ(styleOf(renderer, QVariant()), -1);
}

TEST(GisRuleBasedSymbolRenderer, Operators) {
    const QVariant null = QVariant(QMetaType(QMetaType::Int));
    // clang-format off
    const struct {
        QVariant feature;
        Op op;
        QVariant rule;
        bool meets;
    } rows[] = {
        {"7.0", Op::Equals, 7, true},         {7.000000000001, Op::Equals, 7, true},
        {7.1, Op::Equals, 7, false},          {7.1, Op::NotEquals, 7, true},
        {{}, Op::NotEquals, 7, true},         {"Ankara", Op::StartsWith, " Ank ", true},
        {"ankara", Op::EndsWith, "RA", true}, {"ankara", Op::Contains, "kar", true},
        {"ankara", Op::Contains, "", true},   {{}, Op::StartsWith, "", true},
        {"ankara", Op::Contains, "b", false}, {"abc", Op::GreaterThan, 1000, false},
        {{}, Op::LessThan, 1000, false},      {"1001", Op::GreaterThan, 1000, true},
        {1000, Op::GreaterThan, 1000, false}, {1000, Op::GreaterOrEqual, "1000", true},
        {1000, Op::LessThan, 1000, false},    {1000, Op::LessOrEqual, 1000, true},
        {nan, Op::LessOrEqual, 1, false},     {nan, Op::GreaterOrEqual, 1, false},
        {{}, Op::IsNull, {}, true},           {null, Op::IsNull, {}, true},
        {"", Op::IsNull, {}, false},          {0, Op::IsNull, {}, false},
        {{}, Op::IsNotNull, {}, false},       {null, Op::IsNotNull, {}, false},
        {0, Op::IsNotNull, {}, true},         {1, static_cast<Op>(11), 1, false},
        {1, static_cast<Op>(-1), 1, false},
    };
    // clang-format on
    for (const auto& row : rows) {
        const Attributes attributes{{"f", row.feature}};
        const GisSymbolRule rule{"f", row.op, row.rule, {}, styled(5)};
        EXPECT_EQ(GisRuleBasedSymbolRenderer::evaluateRule(rule, GisSymbolContext(attributes)), row.meets)
            << qPrintable(row.feature.toString() + " " + GisRuleBasedSymbolRenderer::ruleLabel(rule));
        GisRuleBasedSymbolRenderer renderer;
        renderer.setDefaultStyle(fallback);
        renderer.addRule(rule);
        EXPECT_EQ(styleOf(renderer, row.feature), row.meets ? 5 : -1) << "evaluated and chosen alike";
    }
    EXPECT_FALSE(GisRuleBasedSymbolRenderer::compareNumbers(1, 1, Op::Equals)) << "no comparison of order";
    EXPECT_TRUE(GisRuleBasedSymbolRenderer::compareNumbers("2", 1, Op::GreaterThan));
}

TEST(GisRuleBasedSymbolRenderer, TheFirstEnabledRuleWinsAcrossFields) {
    GisRuleBasedSymbolRenderer renderer;
    renderer.setDefaultStyle(fallback);
    renderer.addRule({"f", Op::Equals, 1, {}, styled(0), false});
    renderer.addRule({"g", Op::IsNotNull, {}, {}, styled(1)});
    renderer.addRule({"f", Op::Equals, 1, {}, styled(2)});
    renderer.addRule({"f", Op::GreaterThan, 0, {}, styled(3)});
    const struct {
        Attributes attributes;
        float style;
    } rows[] = {{{{"f", 1}}, 2}, {{{"f", 1}, {"g", 0}}, 1}, {{{"f", 5}}, 3}, {{{"f", -1}}, -1}, {{}, -1}};
    for (const auto& row : rows) {
        EXPECT_EQ(renderer.styleForFeature(GisSymbolContext(row.attributes)).lineWidth(), row.style);
    }
}

TEST(GisRuleBasedSymbolRenderer, Labels) {
    EXPECT_EQ(GisRuleBasedSymbolRenderer::operatorText(static_cast<Op>(11)), "=");
    EXPECT_EQ(GisRuleBasedSymbolRenderer::ruleLabel({"class", Op::Equals, "road", {}, {}}), "class = road");
    EXPECT_EQ(GisRuleBasedSymbolRenderer::ruleLabel({"population", Op::IsNull, 7, {}, {}}), "population is null");
    EXPECT_EQ(GisRuleBasedSymbolRenderer::ruleLabel({"%2", Op::Equals, "%1", {}, {}}), "%2 = %1");
}

TEST(SymbolRenderers, LegendsFollowTheRenderersAndCount) {
    auto simple = std::make_unique<GisSimpleSymbolRenderer>(styled(1));
    auto categories = std::make_unique<GisCategorizedSymbolRenderer>(categorized({"b", "a", QVariant()}));
    categories->addClass({3, "three", styled(3), false});
    auto graduated = std::make_unique<GisGraduatedSymbolRenderer>("f");
    graduated->addRange({0, 2.5, true, false, {}, styled(0)});
    graduated->addRange({2.5, 9, true, true, "many", styled(1)});
    auto rules = std::make_unique<GisRuleBasedSymbolRenderer>();
    rules->addRule({"f", Op::GreaterThan, 2, {}, styled(0)});
    rules->addRule({"f", Op::IsNull, {}, "nothing", styled(1)});

    Shapes::GisShapePoint features[5];
    const QVariant values[] = {"A", 1, 3, QVariant(), "z"};
    QList<Shapes::GisShape*> all{nullptr};
    for (std::size_t i = 0; i < 5; ++i) {
        features[i].attributes().insert("f", values[i]);
        all.append(&features[i]);
    }

    const struct {
        const GisSymbolRenderer* renderer;
        GisSymbolRendererType type;
        const char* legend;
    } rows[] = {
        {simple.get(), GisSymbolRendererType::Simple, "|5"},
        {categories.get(), GisSymbolRendererType::Categorized,
         "b|0; a|1; No value|1; three|0 disabled; Other or no value|3 default"},
        {graduated.get(), GisSymbolRendererType::Graduated, "0 - 2.5|1; many|1; Other or no value|3 default"},
        {rules.get(), GisSymbolRendererType::RuleBased, "f > 2|1; nothing|1; Other or no value|3 default"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.renderer->type(), row.type);
        EXPECT_EQ(row.renderer->usesFeatureAttributes(), row.type != GisSymbolRendererType::Simple);
        const auto copy = row.renderer->clone();
        EXPECT_EQ(copy->type(), row.type);
        QStringList legend;
        for (const GisSymbolLegendItem& item : copy->countedLegendItems(all)) {
            legend.append(QStringLiteral("%1|%2%3%4")
                              .arg(item.label)
                              .arg(item.count)
                              .arg(item.enabled ? "" : " disabled", item.isDefault ? " default" : ""));
        }
        EXPECT_EQ(legend.join("; "), row.legend);
        for (const Shapes::GisShape* feature : all.mid(1)) {
            const GisSymbolContext context(*feature);
            EXPECT_EQ(copy->legendItems().at(copy->legendIndexForFeature(context)).style,
                      row.renderer->styleForFeature(context));
        }
    }
    EXPECT_EQ(rules->legendItems().constFirst().count, -1) << "not counted";
    struct Own : GisSimpleSymbolRenderer {
        qsizetype legendIndexForFeature(const GisSymbolContext& /*context*/) const override { return -1; }
    };
    EXPECT_EQ(Own().countedLegendItems(all).constFirst().count, -1) << "it does not tell";
}

TEST(GisLayerStyle, CopiesPartWhenOneIsChanged) {
    GisLayerStyle original;
    GisLayerStyle copy = original;
    EXPECT_EQ(copy.fillColor().constData(), original.fillColor().constData()) << "shared";
    copy.setFillColor("#112233");
    EXPECT_EQ(original, GisLayerStyle());
    EXPECT_FALSE(copy == original);
    original.setFillColor("#112233");
    EXPECT_EQ(copy, original) << "equal without being shared";
}

} // namespace
