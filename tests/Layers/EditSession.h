#pragma once

#include <Cartolith/Core/Layers/Commands/GisAddShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeAttributesCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeGeometryCommand.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisVectorSaveOptions.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>

#include <QDir>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace test {

/// Edits of a layer as bytes say, with undo, redo, macros, commit, rollback and opening again, each done to a plain
/// list as well. Answers of the layer, its shapes and its file are what the list says.
class EditSession {
    using Layer = Cartolith::Core::Layers::GisLayerOgrVector;
    using Command = Cartolith::Core::Layers::Commands::GisEditCommand;

    struct Row {
        bool isPoint;
        int x;
        int n; ///< below 0: none
        bool operator==(const Row&) const = default;
        bool operator<(const Row& other) const {
            return std::tie(isPoint, x, n) < std::tie(other.isPoint, other.x, other.n);
        }
    };
    struct State {
        std::vector<Row> rows;
        int kind = 0; ///< 1 lines, 2 points, 0 both
    };

public:
    EditSession(const QString& folder, bool isDatabase)
        : m_path(QDir(folder).filePath(isDatabase ? "session.gpkg" : "session.geojson")) {}

    /// What differs, or "".
    std::string run(const unsigned char* data, std::size_t size) {
        m_at = data;
        m_end = data + size;
        start();
        int files = 0;
        while (m_at < m_end && m_problem.empty() && files < 6) {
            const int act = next(16);
            if (act < 10) {
                edit(act);
            } else if (act < 12) {
                undo();
            } else if (act < 14) {
                redo();
            } else {
                ++files;
                end(act == 14);
            }
            compare();
        }
        end(true);
        m_layer.reset();
        return m_problem;
    }

private:
    int next(int count) { return m_at < m_end ? *m_at++ % count : 0; }

    void require(bool holds, const std::string& what) {
        if (!holds && m_problem.empty()) {
            m_problem = what;
            m_problem += ' ';
            m_problem += m_layer != nullptr ? qPrintable(m_layer->lastError()) : "";
        }
    }

    static std::unique_ptr<Cartolith::Core::Shapes::GisShape> shapeOf(const Row& row) {
        auto shape = Cartolith::Core::Serialization::Wkt::GisWktReader::read(
            row.isPoint ? QString("POINT (%1 1)").arg(row.x) : QString("LINESTRING (%1 0, 0 7)").arg(row.x));
        shape->attributes() = attributesOf(row);
        return shape;
    }

    static QHash<QString, QVariant> attributesOf(const Row& row) {
        return row.n < 0 ? QHash<QString, QVariant>() : QHash<QString, QVariant>{{"n", row.n}};
    }

    static std::vector<Row> rowsOf(const Layer& layer) {
        std::vector<Row> rows;
        for (const auto& shape : layer.items()) {
            const auto extent = shape->extent();
            const bool isPoint = shape->shapeType() == Cartolith::Core::Shapes::GisShapeType::Point;
            const QVariant n = shape->attributes().value("n");
            rows.push_back({isPoint, qRound(isPoint ? (extent.xMin() + extent.xMax()) / 2 : extent.xMax()),
                            n.isValid() ? n.toInt() : -1});
        }
        return rows;
    }

    void start() {
        const Cartolith::Core::Layers::GisVectorSaveOptions replace{
            Cartolith::Core::Layers::GisVectorSaveOptions::Existing::Replace, "session", {}};
        auto made = Cartolith::Core::Layers::GisLayerVector::createInMemory(
            "session", Cartolith::Core::Shapes::GisShapeType::Null, {});
        for (int i = 0; i < 4; ++i) {
            made->addShape(shapeOf({i % 2 == 0, i, i}));
        }
        made->saveAs(m_path, replace);
        open();
    }

    void open() {
        m_layer = std::make_unique<Layer>(m_path);
        require(m_layer->open(), "open");
        if (m_layer->getAttributeDefinition("n") == nullptr) { // GeoJSON without features has no fields
            m_layer->addAttributeDefinition(Cartolith::Core::Layers::Defs::GisAttributeDefinition("n", QMetaType::Int));
        }
        m_now = {rowsOf(*m_layer), 0};
        for (const Row& row : m_now.rows) {
            note(row, &row - m_now.rows.data());
        }
        require(m_layer->beginEdit(), "begin");
        m_before = m_now;
    }

    /// The kind of a layer that gets a row, with so many there.
    void note(const Row& row, std::ptrdiff_t count) {
        const int kind = row.isPoint ? 2 : 1;
        m_now.kind = count == 0 || m_now.kind == kind ? kind : 0;
    }

    /// The next command, done to the list; null where it must fail.
    std::unique_ptr<Command> command(int act, bool& succeeds) {
        using namespace Cartolith::Core::Layers::Commands;
        const Row row{next(2) == 0, next(100), next(5) - 1};
        const int id = next(static_cast<int>(m_now.rows.size()) + 2); // 0 and one too many are none
        const bool isThere = id >= 1 && id <= static_cast<int>(m_now.rows.size());
        Row* const place = isThere ? &m_now.rows[static_cast<std::size_t>(id) - 1] : nullptr;
        succeeds = isThere;
        switch (act % 4) {
        case 0:
            note(row, std::ssize(m_now.rows));
            m_now.rows.push_back(row);
            succeeds = true;
            return std::make_unique<GisAddShapeCommand>(shapeOf(row));
        case 1:
            if (isThere) {
                m_now.rows.erase(m_now.rows.begin() + id - 1);
            }
            return std::make_unique<GisDeleteShapeCommand>(id);
        case 2:
            if (isThere) {
                place->n = row.n;
            }
            return std::make_unique<GisUpdateShapeAttributesCommand>(id, attributesOf(row));
        default:
            succeeds = isThere && (m_now.kind == 0 || m_now.kind == (row.isPoint ? 2 : 1));
            if (succeeds) {
                *place = row;
            }
            return std::make_unique<GisUpdateShapeGeometryCommand>(id, shapeOf(row));
        }
    }

    void edit(int act) {
        const State before = m_now;
        bool succeeds = true;
        std::unique_ptr<Command> made;
        if (act < 8) {
            made = command(act, succeeds);
        } else { // a macro
            auto macro = std::make_unique<Cartolith::Core::Layers::Commands::GisMacroCommand>("several");
            for (int left = 1 + next(3); left > 0; --left) {
                bool one = true;
                auto part = command(next(4), one);
                if (succeeds) {
                    macro->append(std::move(part));
                }
                succeeds = succeeds && one;
            }
            made = std::move(macro);
        }
        require(m_layer->executeEditCommand(std::move(made)) == succeeds, "execute");
        if (succeeds) {
            m_undo.push_back(before);
            m_redo.clear();
        } else {
            m_now = before;
        }
    }

    void undo() { move(m_undo, m_redo, m_layer->undoEdit(), "undo"); }
    void redo() { move(m_redo, m_undo, m_layer->redoEdit(), "redo"); }
    void move(std::vector<State>& from, std::vector<State>& to, bool answer, const char* what) {
        require(answer == !from.empty(), what);
        if (!from.empty()) {
            to.push_back(m_now);
            m_now = from.back();
            from.pop_back();
        }
    }

    void end(bool commits) {
        require(commits ? m_layer->commitEdit() : m_layer->rollbackEdit(), commits ? "commit" : "rollback");
        m_undo.clear();
        m_redo.clear();
        if (!commits) {
            m_now = m_before;
        }
        compare();
        std::vector<Row> expected = m_now.rows;
        if (next(2) == 0) { // the file has the new ones at its end
            open();
            std::vector<Row> found = m_now.rows;
            std::sort(found.begin(), found.end());
            std::sort(expected.begin(), expected.end());
            require(found == expected, "the file");
        } else {
            require(m_layer->beginEdit(), "begin again");
            m_before = m_now;
        }
    }

    void compare() {
        require(rowsOf(*m_layer) == m_now.rows, "the shapes");
        require(m_layer->canUndoEdit() == !m_undo.empty() && m_layer->canRedoEdit() == !m_redo.empty(), "the stacks");
        require(m_layer->isDirty() == !m_undo.empty(), "dirty");
        Cartolith::Core::Shapes::GisExtent all = m_layer->calculateExtent();
        const Cartolith::Core::Shapes::GisExtent said = m_layer->extent();
        constexpr double wide = 1e-6; // points are wider than the file says
        require(all.isEmpty() || (said.xMin() <= all.xMin() + wide && said.xMax() >= all.xMax() - wide &&
                                  (m_undo.empty() || said.xMax() <= all.xMax() + wide || !m_layer->isDirty() ||
                                   m_layer->metadataExtent().has_value())),
                "the extent");
        require(m_layer->query({-1e9, -1e9, 1e9, 1e9}).size() == std::ssize(m_now.rows), "the query");
        const QList<qint64> ids = m_layer->sourceFeatureIds();
        for (qsizetype i = 0; i < ids.size(); ++i) {
            require(ids[i] == -1 || ids.indexOf(ids[i], i + 1) < 0, "the ids");
        }
    }

    QString m_path;
    std::unique_ptr<Layer> m_layer;
    State m_now;
    State m_before;
    std::vector<State> m_undo;
    std::vector<State> m_redo;
    const unsigned char* m_at = nullptr;
    const unsigned char* m_end = nullptr;
    std::string m_problem;
};

} // namespace test
