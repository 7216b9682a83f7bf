#pragma once

#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>

#include <memory>
#include <vector>

namespace Cartolith::Core::Layers::Commands {

class GisDeleteShapeCommand;

/// Several commands as one step: all of them, or none.
///
/// Deletions that follow one another renumber the layer once. They run in order, each on the layer that the
/// one before left. Whoever deletes several shapes goes from the last to the first, so that the ids hold.
class CARTOLITH_CORE_EXPORT GisMacroCommand : public GisEditCommand {
public:
    /// Without commands, or with a null one, redo() is false.
    explicit GisMacroCommand(const QString& text, std::vector<std::unique_ptr<GisEditCommand>> commands = {});
    ~GisMacroCommand() override;
    /// Before the macro is executed.
    void append(std::unique_ptr<GisEditCommand> command);

    QString text() const override;
    /// When one fails, or throws, those before it are undone.
    bool redo(GisLayerVector& layer) override;
    /// From the last to the first; when one fails, those behind it are redone.
    bool undo(GisLayerVector& layer) override;

private:
    /// Forwards or backwards from there as far as they succeed, and the argument goes along.
    void redoFrom(GisLayerVector& layer, std::size_t& done);
    void undoFrom(GisLayerVector& layer, std::size_t& left);
    /// Null for a command of another class, one derived from it included.
    static GisDeleteShapeCommand* deletion(const std::unique_ptr<GisEditCommand>& command);
    static bool isDeletion(const std::unique_ptr<GisEditCommand>& command, bool isDone);
    /// Several deletions in one go: how many were done, and whether all were undone, else none.
    std::size_t redoDeletions(GisLayerVector& layer, std::size_t begin, std::size_t end);
    bool undoDeletions(GisLayerVector& layer, std::size_t begin, std::size_t end);

    QString m_text;
    std::vector<std::unique_ptr<GisEditCommand>> m_commands;
};

} // namespace Cartolith::Core::Layers::Commands
