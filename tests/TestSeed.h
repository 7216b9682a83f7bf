#pragma once

#include <cstdlib>

namespace test {

/// Of every random test; fixed, unless CARTOLITH_TEST_SEED says otherwise. Tests print it when they fail.
inline unsigned int seed() {
    const char* const text = std::getenv("CARTOLITH_TEST_SEED");
    return text != nullptr ? static_cast<unsigned int>(std::strtoul(text, nullptr, 10)) : 20260117U;
}

} // namespace test
