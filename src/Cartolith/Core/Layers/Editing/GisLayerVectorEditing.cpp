// The edit session of GisLayerVector; what commands do is in Commands/.

#include <Cartolith/Core/Layers/Commands/GisAddShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeAttributesCommand.h>
#include <Cartolith/Core/Layers/Commands/GisUpdateShapeGeometryCommand.h>
#include <Cartolith/Core/Layers/Editing/EditHistoryInternal.h>
#include <Cartolith/Core/Layers/Editing/ListPlacesInternal.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QScopeGuard>

#include <algorithm>
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

std::vector<GisLayerVector::TakenShape> GisLayerVector::takeShapesInTurn(const std::vector<int>& ids) {
    // The hosts' own classes, and listeners, are told of each shape.
    if (m_isLocked || !isOfThisLibrary() || !m_history->isRunning()) {
        return {};
    }
    for (std::size_t i = 0; i < m_shapes.size(); ++i) {
        if (m_shapes[i] == nullptr || m_shapes[i]->id() != static_cast<int>(i) + 1) {
            return {};
        }
    }
    std::vector<int> inTurn;
    inTurn.reserve(ids.size());
    for (const int id : ids) {
        inTurn.push_back(id - 1);
    }
    const std::vector<int> positions = Internal::positionsOfTaken(count(), inTurn);
    std::vector<TakenShape> taken(positions.size());
    if (positions.empty()) {
        return taken;
    }
    std::vector<int> rising = positions;
    std::sort(rising.begin(), rising.end());
    shapesTaken(rising);
    for (std::size_t i = 0; i < taken.size(); ++i) {
        std::unique_ptr<GisShape>& place = m_shapes[static_cast<std::size_t>(positions[i])];
        notePlaces(place.get(), nullptr);
        taken[i] = {inTurn[i], std::move(place)};
    }
    Internal::eraseAt(m_shapes, rising);
    reassignShapeIds(static_cast<std::size_t>(rising.front()));
    forgetDerived();
    return taken;
}

bool GisLayerVector::putBack(std::vector<TakenShape>& shapes) {
    if (m_isLocked || !isOfThisLibrary() || !m_history->isRunning()) {
        return false;
    }
    std::vector<int> inTurn;
    inTurn.reserve(shapes.size());
    for (const TakenShape& taken : shapes) {
        inTurn.push_back(taken.position);
    }
    const int all = count() + static_cast<int>(shapes.size());
    const std::vector<int> positions = Internal::positionsOfTaken(all, inTurn);
    if (positions.size() < shapes.size()) {
        return false;
    }
    std::vector<std::pair<int, std::size_t>> rising;
    rising.reserve(shapes.size());
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        rising.emplace_back(positions[i], i);
    }
    std::sort(rising.begin(), rising.end());
    std::vector<int> places;
    places.reserve(rising.size());
    for (const auto& place : rising) {
        places.push_back(place.first);
    }
    reserveShapes(all);
    bool isTyped = hasTypedShape();
    for (auto it = shapes.rbegin(); it != shapes.rend(); ++it) {
        noteShapeType(*it->shape, isTyped);
    }
    Internal::insertAt(m_shapes, places,
                       [&](std::size_t i) { return std::move(shapes[rising[i].second].shape); });
    reassignShapeIds(static_cast<std::size_t>(places.front()));
    shapesPutBack(places);
    for (const int place : places) {
        notePlaces(nullptr, m_shapes[static_cast<std::size_t>(place)].get(), true);
    }
    forgetDerived();
    return true;
}

} // namespace Cartolith::Core::Layers
