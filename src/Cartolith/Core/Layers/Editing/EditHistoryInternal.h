#pragma once

#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>
#include <Cartolith/Core/Shapes/GisShapeType.h>

#include <list>
#include <memory>

namespace Cartolith::Core::Layers::Internal {

/// The undo and the redo stack of a vector layer. While a command runs, it refuses everything but clear().
class EditHistory {
public:
    bool isRunning() const noexcept { return m_running; }
    bool canUndo() const noexcept { return !m_undo.empty(); }
    bool canRedo() const noexcept { return !m_redo.empty(); }
    /// Whether the layer's geometry may be another one than before the first step.
    bool changesGeometry() const noexcept { return m_geometrySteps > 0 || m_runningChanges; }
    /// Called when a running command has changed geometry.
    void noteGeometryChange() noexcept { m_runningChanges = true; }
    QString undoText() const { return canUndo() ? m_undo.back().command->text() : QString(); }
    QString redoText() const { return canRedo() ? m_redo.back().command->text() : QString(); }

    /// As the operations of GisLayerVector of these names.
    bool execute(GisLayerVector& layer, std::unique_ptr<Commands::GisEditCommand> command);
    bool undo(GisLayerVector& layer);
    bool redo(GisLayerVector& layer);
    void clear();

private:
    struct Step {
        std::unique_ptr<Commands::GisEditCommand> command;
        Shapes::GisShapeType kindBefore; ///< of the layer: taking a shape out does not bring it back
        bool changesGeometry = false;
    };
    using Steps = std::list<Step>; // to be moved from one to the other, nothing fails
    /// Moves the top of one stack to the other when the function on it succeeds.
    template <typename Function>
    bool move(Steps& from, Steps& to, const Function& function);

    Steps m_undo;
    Steps m_redo;
    bool m_running = false;
    bool m_runningChanges = false; // geometry, by the command that is running
    qsizetype m_geometrySteps = 0; // of those that can be undone
};

} // namespace Cartolith::Core::Layers::Internal
