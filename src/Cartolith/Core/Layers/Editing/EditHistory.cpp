#include <Cartolith/Core/Layers/Editing/EditHistoryInternal.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <QScopedValueRollback>

#include <iterator>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// The layer has its kind of before again unless keep() was called: taking out what was added does not do it.
class KindGuard {
public:
    explicit KindGuard(GisLayerVector& layer) : m_layer(layer), m_kind(layer.shapeType()) {}
    ~KindGuard() {
        if (!m_kept) {
            m_layer.setShapeType(m_kind);
        }
    }
    KindGuard(const KindGuard&) = delete;
    KindGuard& operator=(const KindGuard&) = delete;
    bool keep() { return m_kept = true; }

private:
    GisLayerVector& m_layer;
    Shapes::GisShapeType m_kind;
    bool m_kept = false;
};

} // namespace

bool EditHistory::execute(GisLayerVector& layer, std::unique_ptr<Commands::GisEditCommand> command) {
    if (m_running || command == nullptr) {
        return false;
    }
    Steps step;
    step.push_back({std::move(command), layer.shapeType()});
    const QScopedValueRollback<bool> running(m_running, true);
    const QScopedValueRollback<bool> changes(m_runningChanges, false); // those of one that fails are gone
    KindGuard kind(layer);
    if (!step.back().command->redo(layer)) {
        return false;
    }
    kind.keep();
    step.back().changesGeometry = m_runningChanges;
    m_geometrySteps += m_runningChanges ? 1 : 0;
    m_undo.splice(m_undo.end(), step);
    m_redo.clear();
    return true;
}

template <typename Function>
bool EditHistory::move(Steps& from, Steps& to, const Function& function) {
    if (m_running || from.empty()) {
        return false;
    }
    Steps step;
    step.splice(step.end(), from, std::prev(from.end()));
    const QScopedValueRollback<bool> running(m_running, true);
    const QScopedValueRollback<bool> changes(m_runningChanges, false);
    bool done = false;
    try {
        done = function(step.back());
    } catch (...) {
        from.splice(from.end(), step);
        throw;
    }
    Steps& target = done ? to : from;
    target.splice(target.end(), step);
    return done;
}

bool EditHistory::undo(GisLayerVector& layer) {
    return move(m_undo, m_redo, [this, &layer](const Step& step) {
        KindGuard kind(layer);
        if (!step.command->undo(layer)) {
            return false;
        }
        layer.setShapeType(step.kindBefore);
        m_geometrySteps -= step.changesGeometry && m_geometrySteps > 0 ? 1 : 0; // none: cleared meanwhile
        return kind.keep();
    });
}

bool EditHistory::redo(GisLayerVector& layer) {
    return move(m_redo, m_undo, [this, &layer](const Step& step) {
        KindGuard kind(layer);
        if (!step.command->redo(layer)) {
            return false;
        }
        m_geometrySteps += step.changesGeometry ? 1 : 0;
        return kind.keep();
    });
}

void EditHistory::clear() {
    m_undo.clear();
    m_redo.clear();
    m_geometrySteps = 0;
}

} // namespace Cartolith::Core::Layers::Internal
