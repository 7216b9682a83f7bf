#include "Memory/FailingAllocations.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <execinfo.h>
#include <link.h>
#include <unwind.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
}

namespace {

std::atomic<long> live{0};
bool isCounting = false;
bool isWalking = false;
long requests = 0;
long failing = 0;

enum class Module { Ours, Qt, Passed, Foreign };
bool isQtFailing = false;

struct Range {
    std::uintptr_t begin;
    std::uintptr_t end;
    Module module;
};
Range ranges[64];
int rangeCount = 0;

/// The code of the library and of Qt, and what only hands requests on: the C and the C++ library.
int note(dl_phdr_info* info, std::size_t /*size*/, void* /*data*/) {
    const auto has = [info](const char* name) { return std::strstr(info->dlpi_name, name) != nullptr; };
    const bool isQt = has("libQt6");
    const bool isOurs = isQt || has("libCartolith");
    const bool isPassed = has("libstdc++") || has("libgcc") || has("libc.so") || info->dlpi_name[0] == '\0';
    for (int i = 0; (isOurs || isPassed) && i < info->dlpi_phnum && rangeCount < 64; ++i) {
        const auto& part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0) {
            const std::uintptr_t begin = info->dlpi_addr + part.p_vaddr;
            ranges[rangeCount++] = {begin, begin + part.p_memsz,
                                    isQt     ? Module::Qt
                                    : isOurs ? Module::Ours
                                             : Module::Passed};
        }
    }
    return 0;
}

Module moduleOf(std::uintptr_t address) {
    for (int i = 0; i < rangeCount; ++i) {
        if (address >= ranges[i].begin && address < ranges[i].end) {
            return ranges[i].module;
        }
    }
    return Module::Foreign;
}

/// Stacks that have asked since counting began, as hashes; a table that is never full.
constexpr std::size_t room = 1 << 18;
std::uint64_t stacks[room];
long firsts[room / 2];
std::size_t firstCount = 0;

_Unwind_Reason_Code mix(_Unwind_Context* context, void* data) {
    auto& hash = *static_cast<std::uint64_t*>(data);
    hash = (hash ^ static_cast<std::uint64_t>(_Unwind_GetIP(context))) * 0xff51afd7ed558ccdULL;
    hash ^= hash >> 32U;
    return _URC_NO_REASON;
}

void noteStack() {
    std::uint64_t hash = 1;
    isWalking = true;
    _Unwind_Backtrace(mix, &hash);
    isWalking = false;
    std::size_t at = hash % room;
    while (stacks[at] != 0 && stacks[at] != hash) {
        at = (at + 1) % room;
    }
    if (stacks[at] == 0 && firstCount < room / 2) {
        stacks[at] = hash;
        firsts[firstCount++] = requests;
    }
}

/// The first frame that is neither this program's nor the C++ library's tells whose request it is.
_Unwind_Reason_Code look(_Unwind_Context* context, void* data) {
    auto& module = *static_cast<Module*>(data);
    module = moduleOf(static_cast<std::uintptr_t>(_Unwind_GetIP(context)));
    return module == Module::Passed ? _URC_NO_REASON : _URC_END_OF_STACK;
}

bool fails(void* caller) {
    if (!isCounting || isWalking) {
        return false;
    }
    Module module = moduleOf(reinterpret_cast<std::uintptr_t>(caller));
    if (module == Module::Passed) {
        isWalking = true;
        _Unwind_Backtrace(look, &module);
        isWalking = false;
    }
    const bool counts = module == Module::Ours || module == Module::Qt;
    const bool isIt = counts && ++requests == failing;
    if (counts && failing == 0) {
        noteStack();
    }
    isQtFailing = isIt ? module == Module::Qt : isQtFailing;
    if (isIt && std::getenv("CARTOLITH_SHOW_ALLOCATION") != nullptr) {
        void* frames[24];
        isWalking = true;
        backtrace_symbols_fd(frames, backtrace(frames, 24), 2);
        isWalking = false;
    }
    return isIt;
}

void* counted(void* memory) {
    live += memory != nullptr ? 1 : 0;
    return memory;
}

void* none() {
    errno = ENOMEM;
    return nullptr;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return fails(__builtin_return_address(0)) ? none() : counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return fails(__builtin_return_address(0)) ? none() : counted(__libc_calloc(count, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return fails(__builtin_return_address(0)) ? none() : counted(__libc_memalign(alignment, size));
}

void* realloc(void* memory, std::size_t size) {
    if (fails(__builtin_return_address(0))) {
        return none();
    }
    void* const grown = __libc_realloc(memory, size);
    live += memory == nullptr && grown != nullptr ? 1 : 0;
    live -= memory != nullptr && grown == nullptr && size == 0 ? 1 : 0;
    return grown;
}

void free(void* memory) {
    live -= memory != nullptr ? 1 : 0;
    __libc_free(memory);
}

} // extern "C"

namespace test {

void failAllocation(long nth) {
    if (rangeCount == 0) {
        dl_iterate_phdr(note, nullptr);
    }
    if (nth == 0) {
        std::memset(stacks, 0, sizeof stacks);
        firstCount = 0;
    }
    requests = 0;
    failing = nth;
    isCounting = true;
}

long stopFailing() {
    isCounting = false;
    return requests;
}

std::vector<long> requestsOfNewStacks() {
    return {firsts, firsts + firstCount};
}

bool hasFailedInQt() {
    return isQtFailing;
}

long liveBlocks() {
    return live;
}

} // namespace test
