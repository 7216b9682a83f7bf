#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>

#include <gtest/gtest.h>

#include <limits>

using namespace Cartolith::Core;
using Layers::GisLayerStyle;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// A layer whose edit hooks answer what the test wants.
class Layer : public Layers::GisLayer {
public:
    Layer() : GisLayer("test") {}
    bool canEdit() const override { return editable; }
    Shapes::GisExtent extent() const override { return {}; }
    bool open() override { return true; }
    void close() override {}

    bool editable = true;
    bool accepts = true;

protected:
    bool beginEditCore() override { return accepts; }
    bool commitEditCore() override { return accepts; }
    bool rollbackEditCore() override { return accepts; }
};

TEST(GisLayerStyle, SettersKeepValuesInTheirRange) {
    GisLayerStyle style;
    struct Row {
        double given, scale, weight;
    };
    for (const Row& row : {Row{-5, 0, 0}, Row{nan, 0, 0}, Row{infinity, 0, infinity}, Row{2.5, 2.5, 2.5}}) {
        style.setLabelMinVisibleScale(row.given);
        style.setLabelMaxVisibleScale(row.given);
        style.setLabelObstacleWeight(row.given);
        style.setLabelRepeatDistance(row.given);
        EXPECT_EQ(style.labelMinVisibleScale(), row.scale) << row.given;
        EXPECT_EQ(style.labelMaxVisibleScale(), row.scale) << row.given;
        EXPECT_EQ(style.labelObstacleWeight(), row.weight) << row.given;
        EXPECT_EQ(style.labelRepeatDistance(), row.weight) << row.given;
    }
    style.setLabelMaxCandidatesPerFeature(0);
    EXPECT_EQ(style.labelMaxCandidatesPerFeature(), 1);
    style.setLabelMaxCandidatesPerFeature(100);
    EXPECT_EQ(style.labelMaxCandidatesPerFeature(), 16);
    style.setFillOpacity(999);
    EXPECT_EQ(style.fillOpacity(), 999);
}

TEST(GisLayer, ScaleRangeIsInclusiveAndIgnoresUnknownScales) {
    Layer layer;
    EXPECT_TRUE(layer.isVisibleAtScale(1e12));
    layer.setMinVisibleScale(-5);
    layer.setMaxVisibleScale(infinity);
    EXPECT_FALSE(layer.hasVisibleScaleRange());
    layer.setMinVisibleScale(1000);
    layer.setMaxVisibleScale(5000);
    struct Row {
        double scale;
        bool visible;
    };
    for (const Row& row : {Row{999, false}, Row{1000, true}, Row{5000, true}, Row{5001, false}, Row{0, true},
                           Row{-1, true}, Row{nan, true}, Row{infinity, true}}) {
        EXPECT_EQ(layer.isVisibleAtScale(row.scale), row.visible) << row.scale;
    }
    layer.setVisible(false);
    EXPECT_FALSE(layer.isVisibleAtScale(0));
}

TEST(GisLayer, EditSessionsFollowTheHooks) {
    Layer layer;
    layer.markContentDirty();
    EXPECT_EQ(layer.contentRevision(), 1U);
    EXPECT_FALSE(layer.isDirty()) << "outside a session";
    EXPECT_FALSE(layer.commitEdit());

    layer.accepts = false;
    EXPECT_FALSE(layer.beginEdit());
    layer.accepts = true;
    layer.editable = false;
    EXPECT_FALSE(layer.beginEdit());
    layer.editable = true;
    EXPECT_TRUE(layer.beginEdit());
    EXPECT_FALSE(layer.beginEdit()) << "already open";

    layer.markContentDirty();
    EXPECT_TRUE(layer.isDirty());
    layer.accepts = false;
    EXPECT_FALSE(layer.commitEdit());
    EXPECT_FALSE(layer.rollbackEdit());
    EXPECT_TRUE(layer.isEditing() && layer.isDirty()) << "a refused end leaves the session open";
    layer.accepts = true;
    EXPECT_TRUE(layer.rollbackEdit());
    EXPECT_FALSE(layer.isEditing() || layer.isDirty());

    layer.beginEdit();
    layer.markContentDirty();
    layer.setIsOpen(false);
    EXPECT_FALSE(layer.isEditing() || layer.isDirty());
}

TEST(GisSimpleSymbolRenderer, ClonesItsStyle) {
    GisLayerStyle style;
    style.setFillColor("#123456");
    const Symbology::GisSimpleSymbolRenderer renderer(style);
    const auto copy = renderer.clone();
    const QHash<QString, QVariant> none;
    EXPECT_EQ(copy->styleForFeature(Symbology::GisSymbolContext(none)), style);
    EXPECT_FALSE(copy->usesFeatureAttributes());
}

} // namespace
