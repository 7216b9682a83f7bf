#include <Cartolith/Core/Layers/Commands/GisDeleteShapeCommand.h>
#include <Cartolith/Core/Layers/Commands/GisMacroCommand.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QScopeGuard>

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace Cartolith::Core::Layers::Commands {

GisDeleteShapeCommand* GisMacroCommand::deletion(const std::unique_ptr<GisEditCommand>& command) {
    GisEditCommand& any = *command;
    return typeid(any) == typeid(GisDeleteShapeCommand) ? static_cast<GisDeleteShapeCommand*>(&any) : nullptr;
}

bool GisMacroCommand::isDeletion(const std::unique_ptr<GisEditCommand>& command, bool isDone) {
    const GisDeleteShapeCommand* const deleting = deletion(command);
    return deleting != nullptr && (deleting->m_shape != nullptr) == isDone;
}

GisMacroCommand::GisMacroCommand(const QString& text, std::vector<std::unique_ptr<GisEditCommand>> commands)
    : m_text(text), m_commands(std::move(commands)) {}

GisMacroCommand::~GisMacroCommand() = default;

void GisMacroCommand::append(std::unique_ptr<GisEditCommand> command) {
    m_commands.push_back(std::move(command));
}

QString GisMacroCommand::text() const {
    return m_text;
}

std::size_t GisMacroCommand::redoDeletions(GisLayerVector& layer, std::size_t begin, std::size_t end) {
    std::vector<int> ids;
    for (std::size_t i = begin; i < end; ++i) {
        ids.push_back(deletion(m_commands[i])->m_shapeId);
    }
    auto taken = layer.takeShapesInTurn(ids);
    for (std::size_t i = 0; i < taken.size(); ++i) {
        GisDeleteShapeCommand& command = *deletion(m_commands[begin + i]);
        command.m_position = taken[i].position;
        command.m_shape = std::move(taken[i].shape);
    }
    return taken.size();
}

bool GisMacroCommand::undoDeletions(GisLayerVector& layer, std::size_t begin, std::size_t end) {
    std::vector<GisLayerVector::TakenShape> taken(end - begin);
    const auto swap = [&] { // throws nothing
        for (std::size_t i = begin; i < end; ++i) {
            taken[i - begin].position = deletion(m_commands[i])->m_position;
            std::swap(taken[i - begin].shape, deletion(m_commands[i])->m_shape);
        }
    };
    swap();
    bool done = false;
    const auto giveBack = qScopeGuard([&] {
        if (!done) {
            swap();
        }
    });
    done = layer.putBack(taken);
    for (std::size_t i = begin; done && i < end; ++i) {
        deletion(m_commands[i])->m_shapeId = deletion(m_commands[i])->m_position + 1;
    }
    return done;
}

void GisMacroCommand::redoFrom(GisLayerVector& layer, std::size_t& done) {
    while (done < m_commands.size()) {
        std::size_t end = done;
        while (end < m_commands.size() && isDeletion(m_commands[end], false)) {
            ++end;
        }
        const std::size_t taken = end > done + 1 ? redoDeletions(layer, done, end) : 0;
        if (taken == 0 && !m_commands[done]->redo(layer)) {
            break;
        }
        done += std::max<std::size_t>(taken, 1);
    }
}

void GisMacroCommand::undoFrom(GisLayerVector& layer, std::size_t& left) {
    while (left > 0) {
        std::size_t begin = left;
        while (begin > 0 && isDeletion(m_commands[begin - 1], true)) {
            --begin;
        }
        if (begin + 1 < left && undoDeletions(layer, begin, left)) {
            left = begin;
        } else if (m_commands[left - 1]->undo(layer)) {
            --left;
        } else {
            break;
        }
    }
}

bool GisMacroCommand::redo(GisLayerVector& layer) {
    if (m_commands.empty() || std::count(m_commands.begin(), m_commands.end(), nullptr) > 0) {
        return false;
    }
    std::size_t done = 0;
    try {
        redoFrom(layer, done);
    } catch (...) {
        undoFrom(layer, done);
        throw;
    }
    if (done == m_commands.size()) {
        return true;
    }
    undoFrom(layer, done);
    return false;
}

bool GisMacroCommand::undo(GisLayerVector& layer) {
    std::size_t left = m_commands.size();
    try {
        undoFrom(layer, left);
    } catch (...) {
        redoFrom(layer, left);
        throw;
    }
    if (left == 0) {
        return true;
    }
    redoFrom(layer, left);
    return false;
}

} // namespace Cartolith::Core::Layers::Commands
