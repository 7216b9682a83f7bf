#pragma once

/// Ctrl-C and the like as a question, for work that can be broken off in order.
namespace Interruption {

/// From now on, signals that would end the program are only noted.
void watch();
bool isWanted();

} // namespace Interruption
