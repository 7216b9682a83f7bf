// The edit session of GisLayerVector; what commands do is in Commands/.

#include <Cartolith/Core/Layers/Commands/GisAddShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeAttributesCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeGeometryCommand.h>
#include <Cartolith/Core/Layers/EditHistoryInternal.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>

#include <QScopeGuard>

#include <utility>

namespace Cartolith::Core::Layers {

using Shapes::GisShape;

bool GisLayerVector::executeEditCommand(std::unique_ptr<Commands::GisEditCommand> command) {
    const ChangeGroup group(*this);
    const bool wasDirty = isDirty();
    bool done = false;
    // What was done and taken back has made the layer dirty.
    const auto settle = qScopeGuard([&] {
        if (done) {
            refreshEditDirtyState();
        } else if (!wasDirty) {
            clearContentDirty();
        }
    });
    done = isEditing() && !m_isLocked && m_history->execute(*this, std::move(command));
    return done;
}

bool GisLayerVector::addShapeEdit(std::unique_ptr<GisShape> shape) {
    return executeEditCommand(std::make_unique<Commands::GisAddShapeCommand>(std::move(shape)));
}

bool GisLayerVector::deleteShapeEdit(int id) {
    return executeEditCommand(std::make_unique<Commands::GisDeleteShapeCommand>(id));
}

bool GisLayerVector::setShapeAttributesEdit(int id, const Attributes& attributes) {
    return executeEditCommand(std::make_unique<Commands::GisUpdateShapeAttributesCommand>(id, attributes));
}

bool GisLayerVector::setShapeGeometryEdit(int id, std::unique_ptr<GisShape> shape) {
    return executeEditCommand(
        std::make_unique<Commands::GisUpdateShapeGeometryCommand>(id, std::move(shape)));
}

bool GisLayerVector::canUndoEdit() const noexcept {
    return isEditing() && m_history->canUndo();
}

bool GisLayerVector::canRedoEdit() const noexcept {
    return isEditing() && m_history->canRedo();
}

QString GisLayerVector::undoText() const {
    return isEditing() ? m_history->undoText() : QString();
}

QString GisLayerVector::redoText() const {
    return isEditing() ? m_history->redoText() : QString();
}

bool GisLayerVector::undoEdit() {
    const ChangeGroup group(*this);
    if (m_isLocked || !canUndoEdit()) {
        return false;
    }
    const bool undone = m_history->undo(*this);
    refreshEditDirtyState();
    return undone;
}

bool GisLayerVector::redoEdit() {
    const ChangeGroup group(*this);
    if (m_isLocked || !canRedoEdit()) {
        return false;
    }
    const bool redone = m_history->redo(*this);
    refreshEditDirtyState();
    return redone;
}

void GisLayerVector::clearEditHistory() {
    if (m_isLocked) {
        return;
    }
    m_geometryDiffers = m_geometryDiffers || m_history->changesGeometry();
    m_history->clear();
    clearContentDirty();
}

void GisLayerVector::refreshEditDirtyState() {
    if (!isEditing()) {
        return;
    }
    if (m_history->canUndo()) {
        markContentDirty();
    } else {
        clearContentDirty();
    }
}

bool GisLayerVector::isCommandRunning() const noexcept {
    return m_history->isRunning();
}

bool GisLayerVector::beginEditCore() {
    if (m_isLocked) {
        return false;
    }
    clearEditHistory();
    return true;
}

bool GisLayerVector::commitEditCore() {
    if (m_isLocked || m_history->isRunning()) {
        return false;
    }
    clearEditHistory();
    return true;
}

bool GisLayerVector::rollbackEditCore() {
    if (m_isLocked || m_history->isRunning()) {
        return false;
    }
    while (canUndoEdit() && undoEdit()) {
    }
    clearEditHistory();
    return true;
}

} // namespace Cartolith::Core::Layers
