#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Layers::Commands {

GisMacroCommand::GisMacroCommand(const QString& text, std::vector<std::unique_ptr<GisEditCommand>> commands)
    : m_text(text), m_commands(std::move(commands)) {}

GisMacroCommand::~GisMacroCommand() = default;

void GisMacroCommand::append(std::unique_ptr<GisEditCommand> command) {
    m_commands.push_back(std::move(command));
}

QString GisMacroCommand::text() const {
    return m_text;
}

bool GisMacroCommand::redo(GisLayerVector& layer) {
    if (m_commands.empty() || std::count(m_commands.begin(), m_commands.end(), nullptr) > 0) {
        return false;
    }
    std::size_t done = 0;
    const auto takeBack = [&] {
        while (done > 0 && m_commands[done - 1]->undo(layer)) {
            --done;
        }
    };
    try {
        while (done < m_commands.size() && m_commands[done]->redo(layer)) {
            ++done;
        }
    } catch (...) {
        takeBack();
        throw;
    }
    if (done == m_commands.size()) {
        return true;
    }
    takeBack();
    return false;
}

bool GisMacroCommand::undo(GisLayerVector& layer) {
    std::size_t left = m_commands.size();
    const auto doAgain = [&] {
        while (left < m_commands.size() && m_commands[left]->redo(layer)) {
            ++left;
        }
    };
    try {
        while (left > 0 && m_commands[left - 1]->undo(layer)) {
            --left;
        }
    } catch (...) {
        doAgain();
        throw;
    }
    if (left == 0) {
        return true;
    }
    doAgain();
    return false;
}

} // namespace Cartolith::Core::Layers::Commands
