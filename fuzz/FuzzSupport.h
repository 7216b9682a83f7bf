#pragma once

#include <QByteArray>

#include <cstdio>
#include <cstdlib>
#include <string>

/// What the fuzzers share. Each is a function of bytes that must neither crash nor contradict itself.
namespace Fuzz {

/// Ends the program, which the fuzzer records as a finding, when the two differ.
inline void requireSame(const std::string& a, const std::string& b, const char* what) {
    if (a != b) {
        std::fprintf(stderr, "%s:\n  %s\n  %s\n", what, a.c_str(), b.c_str());
        std::abort();
    }
}

inline QByteArray bytes(const unsigned char* data, std::size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

} // namespace Fuzz
