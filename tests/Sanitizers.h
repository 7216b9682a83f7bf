#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define CARTOLITH_TEST_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define CARTOLITH_TEST_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef CARTOLITH_TEST_ADDRESS_SANITIZER
#define CARTOLITH_TEST_ADDRESS_SANITIZER 0
#endif

namespace test {

/// How often the longest tests repeat themselves: under the sanitizers, which slow them down, a tenth as often. There
/// it is the kind of access that counts, not the number of random cases.
constexpr int repetitions(int count) {
    return CARTOLITH_TEST_ADDRESS_SANITIZER ? count / 10 : count;
}

} // namespace test
