#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>
#include <Cartolith/Core/Symbology/GisSymbologyJson.h>

#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;
using Shapes::GisShapeType;
using Json = GisSymbologyJson;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

GisLayerStyle styleOf(const QJsonObject& members) {
    return Json::styleFromJson(members);
}

} // namespace

TEST(GisLayerStyle, WritesWhatIsSetAndBoundsWhatComesIn) {
    QJsonArray many;
    for (int i = 0; i < 100000; ++i) {
        many.append(1);
    }
    QJsonArray first;
    for (int i = 0; i < 32; ++i) {
        first.append(1);
    }
    const struct {
        const char* member;
        QJsonValue given;
        QJsonValue kept; ///< undefined for the default, which is not written
    } rows[] = {
        {"lineDashes", QJsonArray{3, 1.5}, QJsonArray{3, 1.5}},
        {"lineDashes", QJsonArray{"NaN", -1, 1e300}, QJsonArray{0, 0, 10000}},
        {"lineDashes", many, first},
        {"lineDashOffset", "NaN", QJsonValue::Undefined},
        {"lineDashOffset", "-Infinity", -10000},
        {"lineCap", "square", "square"},
        {"lineJoin", "bevel", "bevel"},
        {"lineJoin", 77, 77},
        {"casingColor", "#123456", "#123456"},
        {"casingWidth", -2, QJsonValue::Undefined},
        {"casingWidth", "Infinity", 10000},
        {"fillPattern", "crossedLines", "crossedLines"},
        {"patternColor", "#123456", "#123456"},
        {"patternAngle", -90, 270},
        {"patternAngle", "Infinity", 0},
        {"patternAngle", -1e-30, 0},
        {"patternSpacing", 0, 1},
        {"patternWidth", "NaN", 0},
        {"markerShape", "arrow", "arrow"},
        {"markerShape", "svg", "svg"},
        {"markerSvg", "<svg/>", "<svg/>"},
        {"markerRotation", 725, 5},
        {"markerRotationField", "wind", "wind"},
        {"haloColor", "#123456", "#123456"},
        {"haloWidth", 2, 2},
        {"sizeField", "people", "people"},
        {"sizeFromValue", "NaN", QJsonValue::Undefined},
        {"sizeToValue", "Infinity", 0},
        {"sizeFrom", 3e38, 10000},
        {"sizeTo", "-Infinity", 0},
        {"sizeScaling", "linear", "linear"},
    };
    for (const auto& row : rows) {
        QJsonObject expected = Json::toJson(GisLayerStyle());
        if (!row.kept.isUndefined()) {
            expected[QLatin1String(row.member)] = row.kept;
        }
        const QJsonObject written = Json::toJson(styleOf({{row.member, row.given}}));
        EXPECT_EQ(written, expected) << row.member << " reads as " << Json::toText(written).right(400).toStdString();
        EXPECT_EQ(Json::toJson(styleOf(written)), written) << row.member << " from its own text";
    }
    EXPECT_THROW(styleOf({{"markerShape", "Arrow"}}), std::runtime_error);
}

TEST(GisFeatureSymbol, SizesGrowWithTheValue) {
    const struct {
        const char* name;
        double fromValue, toValue, from, to;
        const char* scaling;
        double value, size;
    } rows[] = {
        {"linear", 0, 10, 2, 12, "linear", 5, 7},
        {"four times the area is twice the size", 0, 16, 0, 20, "area", 4, 10},
        {"below the least", 0, 10, 2, 12, "linear", -5, 2},
        {"above the greatest", 0, 10, 2, 12, "area", 50, 12},
        {"endless", 0, 10, 2, 12, "linear", infinity, 12},
        {"endless down", 0, 10, 2, 12, "area", -infinity, 2},
        {"falling sizes", 0, 10, 12, 2, "linear", 2.5, 9.5},
        {"falling values", 10, 0, 2, 12, "linear", 2.5, 9.5},
        {"one value", 5, 5, 2, 12, "linear", 5, 12},
        {"below the one value", 5, 5, 2, 12, "linear", 4.9, 2},
        {"the whole range of a double", -1.7e308, 1.7e308, 0, 10, "linear", 0, 5},
        {"no number", 0, 10, 2, 12, "area", nan, nan},
    };
    for (const auto& row : rows) {
        const GisLayerStyle style = styleOf({{"sizeField", "v"},
                                             {"sizeFromValue", row.fromValue},
                                             {"sizeToValue", row.toValue},
                                             {"sizeFrom", row.from},
                                             {"sizeTo", row.to},
                                             {"sizeScaling", row.scaling}});
        const double size = GisFeatureSymbol::sizeFor(style, row.value);
        EXPECT_TRUE(std::isnan(row.size) ? std::isnan(size) : std::abs(size - row.size) < 1e-9)
            << row.name << ": " << size;
    }
}

TEST(GisFeatureSymbol, ResolvesWhatIsLeftToTheFeature) {
    const GisLayerStyle style = styleOf({{"sizeField", "v"},
                                         {"sizeToValue", 10},
                                         {"sizeFrom", 0},
                                         {"sizeTo", 10},
                                         {"sizeScaling", "linear"},
                                         {"markerRotation", 30},
                                         {"markerRotationField", "r"}});
    const double none = -1.0; // as it is in the style
    const struct {
        const char* name;
        GisShapeType kind;
        QVariant value, turn;
        double pointSize, lineWidth, rotation;
    } rows[] = {
        {"a point", GisShapeType::Point, 3, 90, 3, none, 120},
        {"a point with height", GisShapeType::PointZ, 3, -90, 3, none, 300},
        {"a line", GisShapeType::Polyline, 3, 90, none, 3, none},
        {"an area", GisShapeType::Polygon, 3, 90, none, none, none},
        {"a text that is a number", GisShapeType::Point, "3", "10", 3, none, 40},
        {"a text that is none", GisShapeType::Point, "x", "x", none, none, none},
        {"nothing", GisShapeType::Point, {}, {}, none, none, none},
        {"a null number", GisShapeType::Point, QVariant(QMetaType(QMetaType::Double)), {}, none, none, none},
        {"NaN", GisShapeType::Point, nan, nan, none, none, none},
        {"infinity is no size", GisShapeType::Point, infinity, infinity, none, none, none},
        {"a little more", GisShapeType::Point, 3.05, 90.9, 3, none, 120},
    };
    for (const auto& row : rows) {
        const QHash<QString, QVariant> attributes{{"v", row.value}, {"r", row.turn}};
        GisLayerStyle expected = style;
        expected.setSizeField({});
        expected.setMarkerRotationField({});
        expected.setPointSize(row.pointSize < 0 ? style.pointSize() : static_cast<float>(row.pointSize));
        expected.setLineWidth(row.lineWidth < 0 ? style.lineWidth() : static_cast<float>(row.lineWidth));
        expected.setMarkerRotation(row.rotation < 0 ? style.markerRotation() : static_cast<float>(row.rotation));
        EXPECT_EQ(GisFeatureSymbol::resolved(style, GisSymbolContext(attributes), row.kind), expected) << row.name;
    }
    EXPECT_EQ(GisFeatureSymbol::fieldsOf(style), (QStringList{"v", "r"}));
    EXPECT_EQ(GisFeatureSymbol::fieldsOf({}), QStringList());
}

TEST(GisSymbolRendererFactory, SizesByAFieldAndByClasses) {
    auto layer = Layers::GisLayerVector::createInMemory("test", GisShapeType::Point, Shapes::GisExtent());
    for (const double value : {4.0, 1.0, 16.0, 9.0}) {
        auto shape = Serialization::Wkt::GisWktReader::read("POINT (1 2)");
        shape->attributes().insert("v", value);
        layer->addShape(std::move(shape));
    }
    layer->style() = styleOf({{"markerShape", "star"}, {"fillPattern", "lines"}, {"fillOpacity", 0}});
    const GisLayerStyle sized = GisSymbolRendererFactory::sized(*layer, "v", 5, 20)->style();
    EXPECT_EQ(sized.markerShape(), Layers::MarkerShape::Star) << "on top of the layer's style";
    EXPECT_EQ(GisFeatureSymbol::sizeFor(sized, 1), 5);
    EXPECT_EQ(GisFeatureSymbol::sizeFor(sized, 4), 10) << "sizes to each other as the roots";
    EXPECT_EQ(GisFeatureSymbol::sizeFor(sized, 16), 20);
    EXPECT_THROW(GisSymbolRendererFactory::sized(*layer, "w", 5, 20), std::invalid_argument);

    GisClassificationSettings settings;
    settings.classCount = 3;
    settings.firstSize = 4;
    settings.lastSize = 10;
    const auto graduated = GisSymbolRendererFactory::graduated(*layer, "v", settings);
    for (qsizetype i = 0; i < 3; ++i) {
        const GisLayerStyle& style = graduated->ranges().at(i).style;
        EXPECT_EQ(style.pointSize(), 4.0F + 3.0F * static_cast<float>(i));
        EXPECT_EQ(style.patternColor(), style.fillColor()) << "where the fill is not seen";
    }
}
