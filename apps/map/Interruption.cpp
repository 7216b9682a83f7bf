#include "Interruption.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<bool> isInterrupted = false;

} // namespace

void Interruption::watch() {
    std::signal(SIGINT, [](int /*signal*/) { isInterrupted = true; });
    std::signal(SIGTERM, [](int /*signal*/) { isInterrupted = true; });
}

bool Interruption::isWanted() {
    return isInterrupted;
}
