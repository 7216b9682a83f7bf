#include "TestSeed.h"

#include <Cartolith/Core/Layers/Commands/GisAddShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeAttributesCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeGeometryCommand.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Spatial/ISpatialIndex.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <random>
#include <stdexcept>

using namespace Cartolith::Core;
using namespace Layers::Commands;
using Layers::GisLayerVector;
using Shapes::GisShape;
using Shapes::GisShapeType;

namespace {

using Attributes = GisLayerVector::Attributes;
using CommandPtr = std::unique_ptr<GisEditCommand>;

std::unique_ptr<GisShape> shapeOf(const QString& wkt, const Attributes& attributes = {}) {
    auto shape = Serialization::Wkt::GisWktReader::read(wkt);
    shape->attributes() = attributes;
    return shape;
}

/// A layer as a plain list.
struct Model {
    struct Row {
        QString wkt;
        Attributes attributes;
        bool operator==(const Row&) const = default;
    };
    std::vector<Row> rows;
    GisShapeType kind = GisShapeType::Null;
    bool operator==(const Model&) const = default;

    static GisShapeType kindOf(const QString& wkt) { return shapeOf(wkt)->shapeType(); }
};

Model snapshotOf(const GisLayerVector& layer) {
    Model model{{}, layer.shapeType()};
    for (const auto& shape : layer.items()) {
        EXPECT_EQ(shape->id(), static_cast<int>(model.rows.size()) + 1);
        model.rows.push_back({shape->toWkt(), shape->attributes()});
    }
    return model;
}

/// A random edit as the command and as what it does to the plain list, which is unset when it must fail.
struct Edit {
    CommandPtr command;
    std::optional<Model> result;
};

class Edits {
public:
    explicit Edits(unsigned int seed) : m_random(seed) {}
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_random); }

    Edit next(const Model& from, bool mayNest = true, bool deletes = false) {
        const int id = upTo(static_cast<int>(from.rows.size()) + 1); // 0 and the last are no ids
        const auto at = static_cast<std::size_t>(id) - 1;
        const bool known = at < from.rows.size();
        Model after = from;
        switch (deletes ? 1 : upTo(mayNest ? 4 : 3)) {
        case 0: {
            const Model::Row row{wkt(), attributes()};
            const GisShapeType kind = Model::kindOf(row.wkt);
            after.kind = after.rows.empty() || after.kind == kind ? kind : GisShapeType::Null;
            after.rows.push_back(row);
            return {std::make_unique<GisAddShapeCommand>(shapeOf(row.wkt, row.attributes)), after};
        }
        case 1:
            if (known) {
                after.rows.erase(after.rows.begin() + static_cast<std::ptrdiff_t>(at));
            }
            return {std::make_unique<GisDeleteShapeCommand>(id), known ? std::optional(after) : std::nullopt};
        case 2: {
            const Attributes values = attributes();
            if (known) {
                after.rows[at].attributes = values;
            }
            return {std::make_unique<GisUpdateShapeAttributesCommand>(id, values),
                    known ? std::optional(after) : std::nullopt};
        }
        case 3: {
            const Model::Row row{wkt(), attributes()};
            const bool fits = from.kind == GisShapeType::Null || from.kind == Model::kindOf(row.wkt);
            if (known && fits) {
                after.rows[at] = row;
            }
            return {std::make_unique<GisUpdateShapeGeometryCommand>(id, shapeOf(row.wkt, row.attributes)),
                    known && fits ? std::optional(after) : std::nullopt};
        }
        default:
            auto macro = std::make_unique<GisMacroCommand>("Several");
            std::optional<Model> result = from;
            const bool onlyDeletes = upTo(1) == 0;
            for (int i = upTo(onlyDeletes ? 6 : 3); i >= 0; --i) {
                Edit part = next(result.value_or(from), false, onlyDeletes);
                macro->append(std::move(part.command));
                result = result ? part.result : std::nullopt;
            }
            return {std::move(macro), result};
        }
    }

private:
    QString wkt() {
        const QString text = upTo(4) == 0 ? "LINESTRING (%1 0, %1 9)" : "POINT (%1 5)";
        return text.arg(upTo(99));
    }
    Attributes attributes() { return upTo(2) == 0 ? Attributes() : Attributes{{"n", upTo(99)}, {"name", "x"}}; }

    std::mt19937 m_random;
};

TEST(GisLayerVectorEditing, AgreesWithAListOfSnapshots) {
    for (unsigned int round = 0; round < 60; ++round) {
        const unsigned int seed = test::seed() + round;
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Edits edits(seed);
        auto layer = GisLayerVector::createInMemory("test", GisShapeType::Null, {});
        for (int i = static_cast<int>(round % 4); i > 0; --i) {
            layer->addShape(shapeOf(QString("POINT (%1 1)").arg(i), {{"n", i}}));
        }
        const Model initial = snapshotOf(*layer);
        std::vector<Model> states{initial};
        std::size_t now = 0;
        int calls = 0;
        const auto subscription = layer->onContentChanged([&] {
            ++calls;
            EXPECT_EQ(layer->canUndoEdit(), layer->isDirty());
        });
        ASSERT_TRUE(layer->beginEdit());
        for (int step = 0; step < 80; ++step) {
            const quint64 revision = layer->contentRevision();
            calls = 0;
            const int kind = edits.upTo(9);
            if (kind < 3) {
                ASSERT_EQ(layer->undoEdit(), now > 0);
                now -= now > 0 ? 1U : 0U;
            } else if (kind < 5) {
                ASSERT_EQ(layer->redoEdit(), now + 1 < states.size());
                now += now + 1 < states.size() ? 1U : 0U;
            } else {
                Edit edit = edits.next(states[now]);
                ASSERT_EQ(layer->executeEditCommand(std::move(edit.command)), edit.result.has_value());
                if (edit.result) {
                    states.resize(++now);
                    states.push_back(*edit.result);
                }
            }
            ASSERT_EQ(snapshotOf(*layer), states[now]) << "step " << step;
            ASSERT_EQ(layer->canUndoEdit(), now > 0);
            ASSERT_EQ(layer->canRedoEdit(), now + 1 < states.size());
            ASSERT_EQ(layer->isDirty(), now > 0);
            ASSERT_EQ(layer->query({-1, -1, 100, 100}).size(), layer->count());
            ASSERT_EQ(calls, layer->contentRevision() > revision ? 1 : 0);
        }
        if (round % 5 == 0) {
            ASSERT_TRUE(layer->commitEdit());
            EXPECT_EQ(snapshotOf(*layer), states[now]);
        } else {
            ASSERT_TRUE(layer->rollbackEdit());
            EXPECT_EQ(snapshotOf(*layer), initial);
        }
        EXPECT_FALSE(layer->isEditing() || layer->isDirty() || layer->canUndoEdit() || layer->canRedoEdit());
    }
}

/// What the layer answers, against what it would with an index built anew.
void expectAnswersOfANewIndex(GisLayerVector& layer, Edits& edits) {
    for (int i = 0; i < 3; ++i) {
        const double x = edits.upTo(100);
        const double y = edits.upTo(60);
        const Cartolith::Core::Shapes::GisExtent window(x, y, x + edits.upTo(60), y + edits.upTo(60));
        const auto index = layer.createSpatialIndex();
        index->build(layer.rawShapes());
        ASSERT_EQ(layer.query(window), index->search(window));
    }
    ASSERT_EQ(layer.extent().xMax(), layer.calculateExtent().xMax());
    ASSERT_EQ(layer.extent().yMin(), layer.calculateExtent().yMin());
}

TEST(GisLayerVectorEditing, AnswersAsWithANewIndex) {
    using Cartolith::Core::Spatial::SpatialIndexType;
    for (const SpatialIndexType type : {SpatialIndexType::RTree, SpatialIndexType::RTreeHilbert,
                                        SpatialIndexType::QuadTree, SpatialIndexType::Linear}) {
        for (unsigned int round = 0; round < 6; ++round) {
            SCOPED_TRACE(testing::Message() << "index " << static_cast<int>(type) << ", round " << round);
            Edits edits(test::seed() + round);
            const auto place = [&](int width) { // many with the same key
                return QString("LINESTRING (%1 %2, %3 %2)").arg(edits.upTo(100)).arg(edits.upTo(60)).arg(width);
            };
            auto layer = GisLayerVector::createInMemory("test", GisShapeType::Null, {});
            layer->setSpatialIndexType(type);
            for (int i = 0; i < 500; ++i) {
                layer->addShape(shapeOf(place(edits.upTo(100))));
            }
            ASSERT_TRUE(layer->beginEdit());
            for (int step = 0; step < 120; ++step) {
                const int id = 1 + edits.upTo(layer->count() - 1);
                const int kind = edits.upTo(7);
                if (kind == 0) {
                    layer->undoEdit();
                } else if (kind == 1) {
                    layer->redoEdit();
                } else if (kind == 2) {
                    ASSERT_TRUE(layer->addShapeEdit(shapeOf(place(edits.upTo(step % 40 == 9 ? 300 : 100)))));
                } else if (kind == 3) {
                    ASSERT_TRUE(layer->deleteShapeEdit(id));
                } else if (kind == 4) {
                    auto macro = std::make_unique<GisMacroCommand>("several");
                    for (int i = 9; i >= 0; --i) {
                        macro->append(std::make_unique<GisDeleteShapeCommand>(1 + edits.upTo(layer->count() - 11)));
                    }
                    ASSERT_TRUE(layer->executeEditCommand(std::move(macro)));
                } else {
                    ASSERT_TRUE(layer->setShapeGeometryEdit(id, shapeOf(place(edits.upTo(100)))));
                }
                expectAnswersOfANewIndex(*layer, edits);
            }
        }
    }
}

/// What a host might write wrongly.
class OddCommand : public GisEditCommand {
public:
    explicit OddCommand(std::function<bool(GisLayerVector&)> redo) : m_redo(std::move(redo)) {}
    bool redo(GisLayerVector& layer) override { return m_redo(layer); }
    bool undo(GisLayerVector& /*layer*/) override { return false; }

private:
    std::function<bool(GisLayerVector&)> m_redo;
};

TEST(GisLayerVectorEditing, OddUsesLoseNothing) {
    GisLayerVector layer("closed.gpkg");
    layer.addShape(shapeOf("POINT (1 1)"));
    layer.addShape(shapeOf("POINT (2 2)"));
    const Model before = snapshotOf(layer);
    EXPECT_FALSE(layer.addShapeEdit(shapeOf("POINT (3 3)")) || layer.undoEdit() || layer.redoEdit()) << "no session";
    ASSERT_TRUE(layer.beginEdit());
    EXPECT_FALSE(layer.beginEdit() || layer.executeEditCommand(nullptr) || layer.addShapeEdit(nullptr) ||
                 layer.setShapeGeometryEdit(1, nullptr) || layer.deleteShapeEdit(-1) || layer.isDirty());
    for (const auto& inner : std::vector<std::function<bool(GisLayerVector&)>>{
             [](auto& l) { return l.deleteShapeEdit(1); }, [](auto& l) { return l.undoEdit(); },
             [](auto& l) { return l.commitEdit(); }, [](auto& l) { return l.rollbackEdit(); },
             [](auto& l) -> bool { throw l.count(); }}) {
        try {
            EXPECT_FALSE(layer.executeEditCommand(std::make_unique<OddCommand>(inner)));
        } catch (int /*count*/) {
        }
        EXPECT_TRUE(layer.isEditing() && snapshotOf(layer) == before && layer.undoText().isEmpty());
    }
    std::vector<CommandPtr> parts;
    parts.push_back(std::make_unique<GisDeleteShapeCommand>(1));
    parts.push_back(std::make_unique<OddCommand>([](auto&) -> bool { throw std::runtime_error("odd"); }));
    EXPECT_THROW(layer.executeEditCommand(std::make_unique<GisMacroCommand>("m", std::move(parts))),
                 std::runtime_error);
    EXPECT_FALSE(layer.executeEditCommand(std::make_unique<GisMacroCommand>("empty")));
    EXPECT_EQ(snapshotOf(layer), before);

    GisDeleteShapeCommand twice(1); // run by hand: the second time would drop what the first has taken
    EXPECT_FALSE(twice.undo(layer));
    EXPECT_TRUE(twice.redo(layer));
    EXPECT_FALSE(twice.redo(layer));
    EXPECT_EQ(layer.count(), 1);
    EXPECT_TRUE(twice.undo(layer));
    EXPECT_FALSE(twice.undo(layer));
    GisAddShapeCommand added(shapeOf("POINT (9 9)"));
    EXPECT_TRUE(!added.undo(layer) && added.redo(layer) && !added.redo(layer) && added.undo(layer) &&
                !added.undo(layer));
    EXPECT_EQ(snapshotOf(layer), before);

    ASSERT_TRUE(layer.setShapeAttributesEdit(2, {{"a", 1}}) && layer.deleteShapeEdit(1) && layer.undoEdit());
    EXPECT_EQ(layer.undoText() + "/" + layer.redoText(), "Update shape attributes/Delete shape");
    ASSERT_TRUE(layer.executeEditCommand(std::make_unique<OddCommand>([](auto&) { return true; })));
    EXPECT_FALSE(layer.undoEdit()) << "it cannot be undone, and stays on the stack";
    EXPECT_TRUE(layer.canUndoEdit() && layer.isDirty() && layer.rollbackEdit()) << "which stops there";
    EXPECT_EQ(layer.attributesForRow(1).value("a"), 1);
    ASSERT_TRUE(layer.beginEdit() && layer.deleteShapeEdit(1));
    layer.close();
    EXPECT_TRUE(!layer.isEditing() && !layer.undoEdit() && layer.count() == 1);
}

TEST(GisLayerVectorEditing, ListenersComeAndGoWhileTheyAreCalled) {
    QStringList heard;
    Layers::GisLayerSubscription survivor;
    {
        auto layer = GisLayerVector::createInMemory("test", GisShapeType::Null, {});
        Layers::GisLayerSubscription once, late;
        once = layer->onContentChanged([&] {
            heard.append("once");
            once.cancel();
            late = layer->onContentChanged([&] { heard.append("late"); });
        });
        const auto throwing = layer->onContentChanged([&] {
            heard.append("throws");
            throw std::runtime_error("ignored");
        });
        survivor = layer->onContentChanged([&] {
            heard.append(QString::number(layer->count()));
            if (layer->count() == 1) {
                layer->addPoint({2, 2}); // told after this call
            }
        });
        (void)layer->onContentChanged([&] { heard.append("dropped"); });
        layer->addPoint({1, 1});
        EXPECT_EQ(heard.join(" "), "once throws 1 throws 2 late");
        heard.clear();
        {
            const Layers::GisLayer::ChangeGroup group(*layer);
            layer->addPoint({3, 3});
            layer->addPoint({4, 4});
            EXPECT_TRUE(heard.isEmpty());
        }
        EXPECT_EQ(heard.join(" "), "throws 4 late");
        auto moved = std::move(late);
        moved = std::move(survivor);
        heard.clear();
        layer->markDirty();
        EXPECT_EQ(heard.join(" "), "throws 4") << "the one assigned over is gone";
        survivor = std::move(moved);
    }
    survivor.cancel(); // the layer is gone
}

} // namespace
