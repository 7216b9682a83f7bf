#include "DataFolder.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Factory = GisSymbolRendererFactory;
using Layers::GisLayerStyle;
using Layers::GisLayerVector;

namespace {

std::unique_ptr<GisLayerVector> layerOf(const QList<QVariant>& values) {
    auto layer = GisLayerVector::createInMemory("test", Shapes::GisShapeType::Point, {});
    layer->addAttributeDefinition(Layers::Defs::GisAttributeDefinition("declared"));
    for (const QVariant& value : values) {
        layer->addPoint({1, 2});
        layer->items().back()->attributes().insert("f", value);
    }
    return layer;
}

QStringList labels(const GisSymbolRenderer& renderer) {
    QStringList result;
    for (const GisSymbolLegendItem& item : renderer.legendItems()) {
        result.append(item.label);
    }
    return result;
}

TEST(GisSymbolRendererFactory, Categories) {
    const QVariant null = QVariant(QMetaType(QMetaType::QString));
    const double nan = std::nan("");
    const auto layer = layerOf({"b", 10, null, "B ", 9.5, nan, "a", "10.0", QVariant(), "straße", nan});
    layer->style().setLineWidth(7);
    const auto renderer = Factory::categorized(*layer, "f", GisColorRampRegistry::ramp("Unique"));
    EXPECT_EQ(labels(*renderer), (QStringList{"9.5", "10", "a", "b", "straße", "Other or no value"}));
    const QStringList colors = GisColorRampRegistry::ramp("Unique").colors(5);
    for (qsizetype i = 0; i < 5; ++i) {
        EXPECT_EQ(renderer->classes().at(i).style.fillColor(), colors.at(i));
        EXPECT_EQ(renderer->classes().at(i).style.lineWidth(), 7) << "on top of the layer's style";
    }
    EXPECT_EQ(renderer->countedLegendItems(layer->rawShapes()).constLast().count, 4)
        << "the nulls, and NaN, which equals nothing";
    EXPECT_EQ(renderer->defaultStyle(), layer->style());
}

TEST(GisSymbolRendererFactory, RangesAndRulesFromNumbersWithNulls) {
    const auto layer = layerOf({0, QVariant(), "10", " ", 4.0, std::nan(""), QVariant(QMetaType(QMetaType::Double))});
    GisClassificationSettings settings;
    settings.method = GisClassificationMethod::EqualInterval;
    settings.classCount = 2;
    settings.ramp = GisColorRampRegistry::ramp("Plasma");
    settings.reversed = true;
    const auto graduated = Factory::graduated(*layer, "f", settings);
    EXPECT_EQ(labels(*graduated), (QStringList{"0 - 5", "5 - 10", "Other or no value"}));
    EXPECT_EQ(graduated->ranges().constFirst().style.fillColor(), "#F0F921");
    EXPECT_EQ(graduated->classificationMode(), settings.method);

    const auto rules = Factory::ruleBased(*layer, "f", settings);
    EXPECT_EQ(labels(*rules), (QStringList{"5 - 10", "0 - 5", "Other or no value"}));
    for (const Shapes::GisShape* shape : layer->rawShapes()) {
        const GisSymbolContext context(*shape);
        EXPECT_EQ(rules->styleForFeature(context), graduated->styleForFeature(context)) << shape->id();
    }
    settings.ramp = {};
    EXPECT_EQ(Factory::graduated(*layer, "f", settings)->ranges().constFirst().style.fillColor(), "#FDE725")
        << "the default ramp";
}

TEST(GisSymbolRendererFactory, MakesAllClassesThatAMethodFinds) {
    using Method = GisClassificationMethod;
    const struct {
        const char* what;
        Method method;
        QList<double> values;
        QList<qsizetype> counts;
    } rows[] = {
        {"the greatest value is a class alone", Method::NaturalBreaks, {1, 2, 3, 100}, {3, 1}},
        {"far from 0", Method::NaturalBreaks, {1e9, 1e9 + 0.25, 1e9 + 2, 1e9 + 2.5}, {2, 2}},
        {"k-means far from 0",
         Method::KMeans,
         QList<double>(100'000, 2e15) << QList<double>(100'000, 2e15 + 1),
         {100'000, 100'000}},
        {"and below it", Method::KMeansSpatial, {-1e9 - 2, -1e9 - 2.5, -1e9, -1e9 - 0.25}, {2, 2}},
        {"deviations far from 0",
         Method::StandardDeviation,
         QList<double>(100'000, 2e15) << QList<double>(100'000, 2e15 + 2),
         {100'000, 100'000}},
        {"on both sides of 0", Method::KMeans, {-3, -2, 2, 3}, {2, 2}},
        {"one value far from 0", Method::KMeans, {1e9, 1e9}, {2}},
        {"no class", Method::KMeans, {}, {}},
    };
    for (const auto& row : rows) {
        GisClassificationSettings settings;
        settings.method = row.method;
        settings.classCount = 2;
        const auto classes = Factory::classes(row.values, settings);
        EXPECT_EQ(GisClassificationEngine::goodnessOfFit(row.values, classes).counts, row.counts) << row.what;
    }
    const auto layer = layerOf({1, 2, 3, 100});
    GisClassificationSettings two;
    two.classCount = 2;
    EXPECT_EQ(labels(*Factory::graduated(*layer, "f", two)), (QStringList{"1 - 100", "100", "Other or no value"}));
    EXPECT_EQ(labels(*Factory::ruleBased(*layer, "f", two)), (QStringList{"100", "1 - 100", "Other or no value"}));
}

TEST(GisSymbolRendererFactory, MakesEachKindByItsNumber) {
    const auto layer = layerOf({1, 2, 3});
    for (int number = 0; number < 4; ++number) {
        const auto type = static_cast<GisSymbolRendererType>(number);
        EXPECT_EQ(Factory::create(type, *layer, "f", {})->type(), type);
    }
}

TEST(GisSymbolRendererFactory, SaysWhatIsWrong) {
    const auto numbers = layerOf({1, 2});
    const auto texts = layerOf({QVariant(), "7", "Brazil"});
    const auto nulls = layerOf({QVariant(), QVariant(QMetaType(QMetaType::Double))});
    GisClassificationSettings none;
    none.classCount = 0;
    const struct {
        std::function<void()> make;
        const char* message;
    } rows[] = {
        {[&] { Factory::graduated(*numbers, "F", {}); }, "The layer has no field 'F'."},
        {[&] { Factory::categorized(*numbers, "", {}); }, "The layer has no field ''."},
        {[&] { Factory::ruleBased(*texts, "f", {}); }, "Field 'f' is not numeric: 'Brazil'."},
        {[&] { Factory::graduated(*nulls, "f", {}); }, "Field 'f' has no values to classify."},
        {[&] { Factory::categorized(*nulls, "f", {}); }, "Field 'f' has no values to classify."},
        {[&] { Factory::graduated(*numbers, "declared", {}); }, "Field 'declared' has no values to classify."},
        {[&] { Factory::graduated(*layerOf({std::nan("")}), "f", {}); }, "Field 'f' has no values to classify."},
        {[&] { Factory::graduated(*numbers, "f", none); },
         "The method makes no classes of field 'f' with these settings."},
        {[&] { Factory::create(static_cast<GisSymbolRendererType>(4), *numbers, "f", {}); },
         "Unknown symbol renderer type."},
    };
    for (const auto& row : rows) {
        try {
            row.make();
            ADD_FAILURE() << "no error where this was expected: " << row.message;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), row.message);
        }
    }
}

TEST(GisSymbolRendererFactory, EveryMethodPutsEveryCountryWithAValueInAClass) {
    Layers::GisLayerOgrVector countries(CARTOLITH_DATA_DIR "/world-countries.gpkg");
    ASSERT_TRUE(countries.open());
    for (int method = 1; method <= 10; ++method) {
        GisClassificationSettings settings;
        settings.method = static_cast<GisClassificationMethod>(method);
        settings.interval = method == 1 ? 5.0 : 0.5;
        const auto renderer = Factory::graduated(countries, "lifeExp", settings);
        for (const Shapes::GisShape* country : countries.rawShapes()) {
            const GisSymbolContext context(*country);
            const bool isDefault = renderer->legendItems().at(renderer->legendIndexForFeature(context)).isDefault;
            EXPECT_EQ(isDefault, context.attribute("lifeExp").isNull()) << method << " " << country->id();
        }
    }
}

TEST(GisDefaultSymbolStyles, TextAndLinesStandOutFromWhatTheyLieOn) {
    EXPECT_EQ(GisDefaultSymbolStyles::names(),
              (QStringList{"SoftProfessional", "ClassicGIS", "Dark", "Blueprint", "MidnightBlue", "Monochrome"}));
    const auto contrast = GisColorPerception::contrast;
    for (const GisSymbolTheme& theme : GisDefaultSymbolStyles::themes()) {
        SCOPED_TRACE(theme.name.toStdString());
        EXPECT_GE(contrast(theme.textColor, theme.backgroundColor), 4.5);
        EXPECT_GE(contrast(theme.lineStyle.lineColor(), theme.backgroundColor), 3.0);
        EXPECT_GE(contrast(theme.areaStyle.lineColor(), theme.backgroundColor), 3.0) << "outline of areas";
        EXPECT_GE(contrast(theme.areaStyle.lineColor(), theme.areaStyle.fillColor()), 2.0) << "between areas";
        for (const QString& color : theme.lineRamp.colors(100)) {
            EXPECT_GE(contrast(color, theme.backgroundColor), 3.0) << qPrintable(color);
        }
        EXPECT_GE(GisColorPerception::leastDifference(theme.lineRamp.colors(5)), 7.0);
        EXPECT_GE(contrast(theme.pointStyle.pointColor(), theme.backgroundColor), 3.0);
        for (const GisLayerStyle& style : {theme.pointStyle, theme.lineStyle, theme.areaStyle}) {
            EXPECT_GE(contrast(style.labelColor(), theme.backgroundColor), 4.5);
            EXPECT_GE(contrast(style.labelColor(), style.labelHaloColor()), 4.5);
            EXPECT_GE(contrast(style.labelColor(), theme.areaStyle.fillColor()), 4.5) << "labels lie on areas";
            EXPECT_GE(contrast(style.selectedLineColor(), theme.backgroundColor), 3.0);
        }
        double previous = 0.0;
        for (const QString& color : theme.ramp.colors(5)) {
            EXPECT_GE(contrast(color, theme.backgroundColor), std::max(1.2, previous)) << qPrintable(color);
            previous = contrast(color, theme.backgroundColor); // towards the far end it stands out ever more
        }
    }
    EXPECT_EQ(GisDefaultSymbolStyles::theme(" midnight BLUE").name, "MidnightBlue");
    EXPECT_THROW(GisDefaultSymbolStyles::theme("Neon"), std::invalid_argument);
}

} // namespace
