#pragma once

#include <Cartolith/Core/Export.h>

#include <QString>

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

namespace Cartolith::Core::Layers::Commands {

/// One undoable change of a vector layer. Given to GisLayerVector::executeEditCommand(), which owns it from
/// then on and calls redo() and undo() in turn, always on the same layer.
///
/// A command works through the layer's public shape operations and keeps what it takes out of the layer.
/// Shape ids are positions: a command that names an id means the shape that has it when the command runs, and
/// undo() expects the layer as redo() left it. Changes that pass by the edit history in the middle of a
/// session can therefore make later undos hit other shapes.
class CARTOLITH_CORE_EXPORT GisEditCommand {
public:
    virtual ~GisEditCommand();
    /// What the step does, in English, for "Undo ..." in a menu; empty here.
    virtual QString text() const;
    /// Makes the change, the first time too. False when it cannot be made; the layer is as it was then. The
    /// commands of this library also refuse a second redo() without an undo() in between where it would
    /// overwrite what they keep for undo().
    virtual bool redo(GisLayerVector& layer) = 0;
    /// Takes the change back; false and the layer left alone when it was not made.
    virtual bool undo(GisLayerVector& layer) = 0;

    GisEditCommand(const GisEditCommand&) = delete;
    GisEditCommand& operator=(const GisEditCommand&) = delete;

protected:
    GisEditCommand() = default;
};

} // namespace Cartolith::Core::Layers::Commands
