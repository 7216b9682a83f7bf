#include <Cartolith/Core/Layers/Commands/GisEditCommand.h>

namespace Cartolith::Core::Layers::Commands {

GisEditCommand::~GisEditCommand() = default;

QString GisEditCommand::text() const {
    return {};
}

} // namespace Cartolith::Core::Layers::Commands
