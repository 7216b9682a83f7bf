#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>

#include <gdal_priv.h>
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

using Layers::GisLayerChange;
using Layers::GisLayerChanges;
using Kind = GisLayerChange;

/// A setter as a row: what it tells, and when it is called again with the same value.
template <typename SomeLayer>
struct Setter {
    const char* name;
    std::function<void(SomeLayer&)> set;
    GisLayerChanges told;
    GisLayerChanges toldAgain;
};

/// Each is called twice; the style's setters are two of them.
template <typename SomeLayer>
void expectTold(SomeLayer& layer, const char* kind, const QList<Setter<SomeLayer>>& rows) {
    SCOPED_TRACE(kind);
    QList<GisLayerChanges> heard;
    int contentHeard = 0;
    const auto changes = layer.onChanged([&](GisLayerChanges told) { heard.append(told); });
    const auto content = layer.onContentChanged([&] { ++contentHeard; });
    for (const Setter<SomeLayer>& row : rows) {
        for (const GisLayerChanges& expected : {row.told, row.toldAgain}) {
            heard.clear();
            contentHeard = 0;
            const quint64 revision = layer.contentRevision();
            row.set(layer);
            const QList<GisLayerChanges> once{expected};
            EXPECT_EQ(heard, expected == GisLayerChanges() ? QList<GisLayerChanges>() : once) << row.name;
            EXPECT_EQ(contentHeard, expected.testFlag(Kind::Content) ? 1 : 0) << row.name;
            EXPECT_EQ(layer.contentRevision() > revision, contentHeard == 1) << row.name;
        }
    }
}

template <typename SomeLayer>
QList<Setter<SomeLayer>> commonSetters() {
    using CoordinateSystems::CoordinateSystemFactory;
    GisLayerStyle other;
    other.setLineColor("#111111");
    return {
        {"name", [](auto& l) { l.setName("other"); }, Kind::Name, {}},
        {"visible", [](auto& l) { l.setVisible(false); }, Kind::Visibility, {}},
        {"least scale", [](auto& l) { l.setMinVisibleScale(10); }, Kind::Visibility, {}},
        {"no least scale", [](auto& l) { l.setMinVisibleScale(nan); }, Kind::Visibility, {}},
        {"greatest scale", [](auto& l) { l.setMaxVisibleScale(10); }, Kind::Visibility, {}},
        {"colour", [](auto& l) { l.style().setFillColor("#ABCDEF"); }, Kind::Look, {}},
        {"candidates", [](auto& l) { l.style().setLabelMaxCandidatesPerFeature(99); }, Kind::Look, {}},
        {"style", [other](auto& l) { l.style() = other; }, Kind::Look, {}},
        {"a copy of it",
         [](auto& l) {
             GisLayerStyle copy = l.style();
             copy.setFillColor("#000001");
         },
         {},
         {}},
        {"moved from", [](auto& l) { const GisLayerStyle taken = std::move(l.style()); }, {}, {}},
        {"renderer",
         [](auto& l) { l.setSymbolRenderer(std::make_unique<Symbology::GisSimpleSymbolRenderer>(l.style())); },
         Kind::Look, Kind::Look},
        {"no renderer", [](auto& l) { l.clearSymbolRenderer(); }, Kind::Look, {}},
        {"system", [](auto& l) { l.setCoordinateSystem(CoordinateSystemFactory::fromEpsg(3857)); }, Kind::System, {}},
        {"no system", [](auto& l) { l.setCoordinateSystem(nullptr); }, Kind::System, {}},
        {"open", [](auto& l) { l.setIsOpen(true); }, {}, {}},
        {"said", [](auto& l) { l.markContentDirty(); }, Kind::Content, Kind::Content},
    };
}

template <typename SomeLayer>
QList<Setter<SomeLayer>> vectorSetters() {
    using Shapes::GisShapePoint;
    using Shapes::GisShapeType;
    return commonSetters<SomeLayer>() +
           QList<Setter<SomeLayer>>{
               {"kind", [](auto& l) { l.setShapeType(GisShapeType::Polygon); }, Kind::Schema, {}},
               {"first shape",
                [](auto& l) {
                    l.clearShapes();
                    l.addPoint({1, 2});
                },
                Kind::Content | Kind::Schema,
                {Kind::Content}},
               {"field", [](auto& l) { l.addAttributeDefinition(Layers::Defs::GisAttributeDefinition("n")); },
                Kind::Schema, Kind::Schema},
               {"no fields", [](auto& l) { l.clearAttributeDefinitions(); }, Kind::Schema, {}},
               {"extent",
                [](auto& l) {
                    l.setMetadataExtent({0, 0, 1, 1});
                },
                Kind::Extent,
                {}},
               {"more extent",
                [](auto& l) {
                    l.expandMetadataExtent({0, 0, 2, 2});
                },
                Kind::Extent,
                {}},
               {"no extent", [](auto& l) { l.clearMetadataExtent(); }, Kind::Extent, {}},
           };
}

TEST(GisLayer, SettersTellOnceWhatTheyChanged) {
    GDALAllRegister();
    Layer base;
    expectTold<Layers::GisLayer>(base, "base", commonSetters<Layers::GisLayer>());
    // Two operations are told as one where they are grouped.
    auto rows = vectorSetters<Layers::GisLayerVector>();
    for (auto& row : rows) {
        row.set = [set = row.set](Layers::GisLayerVector& layer) {
            const Layers::GisLayer::ChangeGroup group(layer);
            set(layer);
        };
    }
    Layers::GisLayerOgrVector read((QString()));
    Layers::GisLayerOgrOnDemand onDemand((QString()));
    expectTold<Layers::GisLayerVector>(*Layers::GisLayerVector::createInMemory("v", {}, {}), "vector", rows);
    expectTold<Layers::GisLayerVector>(read, "read", rows);
    expectTold<Layers::GisLayerVector>(onDemand, "on demand", rows);

    Layers::GisLayerGdalRaster raster((QString()));
    Symbology::GisRasterStyle style;
    style.setReversed(true);
    using Raster = Layers::GisLayerRaster;
    expectTold<Raster>(raster, "raster",
                       commonSetters<Raster>() +
                           QList<Setter<Raster>>{
                               {"size", [](auto& l) { l.setRasterSize(3, 4); }, Kind::Extent, {}},
                               {"transform",
                                [](auto& l) {
                                    l.setWorldTransform({1, 0, 0, -1, 5, 5});
                                },
                                Kind::Extent,
                                {}},
                               {"extent",
                                [](auto& l) {
                                    l.setRasterExtent({0, 0, 1, 1});
                                },
                                Kind::Extent,
                                {}},
                               {"style", [&](auto& l) { l.setRasterStyle(style); }, Kind::Look | Kind::Content, {}},
                               {"close", [](auto& l) { l.close(); }, Kind::Content | Kind::Extent, Kind::Content},
                           });
}

TEST(GisLayer, AStepOfEditingTellsAllThatItChangedAtOnce) {
    auto layer = Layers::GisLayerVector::createInMemory("v", {}, {});
    QList<GisLayerChanges> heard;
    const auto listener = layer->onChanged([&](GisLayerChanges told) {
        heard.append(told);
        if (told.testFlag(Kind::Content)) {
            layer->setName(QString::number(layer->contentRevision())); // told after this call
        }
    });
    ASSERT_TRUE(layer->beginEdit() && layer->addShapeEdit(std::make_unique<Shapes::GisShapePoint>(1, 2)));
    EXPECT_EQ(heard, (QList<GisLayerChanges>{Kind::Content | Kind::Schema, Kind::Name}));
    heard.clear();
    ASSERT_TRUE(layer->rollbackEdit());
    EXPECT_EQ(heard, (QList<GisLayerChanges>{Kind::Content | Kind::Schema, Kind::Name}));
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
