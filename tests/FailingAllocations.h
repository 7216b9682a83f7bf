#pragma once

// What happens when memory runs out at the n-th allocation, for every n.
//
// This header replaces the allocation functions of the program, so exactly one source of a program includes it. Under
// the address sanitizer, which has its own malloc(), only `new` fails; what Qt takes by malloc() is always there.

#include "Sanitizers.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <link.h>
#include <new>
#include <utility>
#include <vector>

#define CARTOLITH_TEST_OWN_MALLOC (1 - CARTOLITH_TEST_ADDRESS_SANITIZER)

namespace test {

/// Lets one allocation of this thread fail while it exists: the n-th from now on, counted from 1.
class FailingAllocations {
public:
    /// With names of libraries, only allocations that code in them asks for are counted and fail: a file whose path
    /// contains one of the names, "" for every one and the program itself.
    explicit FailingAllocations(int n, std::initializer_list<const char*> libraries = {}) {
        Search search{&m_ranges, libraries};
        dl_iterate_phdr(&Search::visit, &search);
        m_onlyRanges = libraries.size() > 0;
        m_left = n;
        current() = this;
    }
    ~FailingAllocations() { current() = nullptr; }
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    /// Whether that allocation was asked for.
    bool hasFailed() const noexcept { return m_left <= 0; }

    /// Of an allocation function, with the address it returns to.
    static bool fails(const void* caller) noexcept {
        FailingAllocations* const now = current();
        return now != nullptr && now->m_left > 0 && now->counts(caller) && --now->m_left == 0;
    }

private:
    struct Range {
        std::uintptr_t first;
        std::uintptr_t last;
    };
    struct Search {
        std::vector<Range>* ranges;
        std::initializer_list<const char*> libraries;

        static int visit(dl_phdr_info* info, std::size_t /*size*/, void* data) {
            const auto& search = *static_cast<const Search*>(data);
            for (const char* const name : search.libraries) {
                if (std::strstr(info->dlpi_name, name) == nullptr) {
                    continue;
                }
                for (int i = 0; i < info->dlpi_phnum; ++i) {
                    const auto& part = info->dlpi_phdr[i];
                    if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0) {
                        const std::uintptr_t first = info->dlpi_addr + part.p_vaddr;
                        search.ranges->push_back({first, first + part.p_memsz});
                    }
                }
            }
            return 0;
        }
    };

    bool counts(const void* caller) const noexcept {
        const auto at = reinterpret_cast<std::uintptr_t>(caller);
        for (const Range& range : m_ranges) {
            if (at >= range.first && at < range.last) {
                return true;
            }
        }
        return !m_onlyRanges;
    }
    static FailingAllocations*& current() noexcept {
        static thread_local constinit FailingAllocations* now = nullptr;
        return now;
    }

    std::vector<Range> m_ranges;
    bool m_onlyRanges = false;
    int m_left = 0;
};

/// Calls act(prepare()) again and again, with the first allocation of act() failing, then the second, and so on, until
/// one call needs no more. After each std::bad_alloc it calls check(object, n). Returns how many there were.
template <typename Prepare, typename Act, typename Check>
int failEachAllocation(Prepare prepare, Act act, Check check) {
    for (int n = 1, failures = 0;; ++n) {
        auto object = prepare();
        bool thrown = false;
        bool failed = false;
        {
            const FailingAllocations failing(n);
            try {
                act(object);
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            failed = failing.hasFailed();
        }
        if (thrown) {
            ++failures;
            check(object, n);
        }
        if (!failed) {
            return failures;
        }
    }
}

} // namespace test

#if CARTOLITH_TEST_OWN_MALLOC
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) noexcept {
    if (test::FailingAllocations::fails(__builtin_return_address(0))) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    if (test::FailingAllocations::fails(__builtin_return_address(0))) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) noexcept {
    if (test::FailingAllocations::fails(__builtin_return_address(0))) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_realloc(memory, size);
}
}
#define CARTOLITH_TEST_MALLOC __libc_malloc // counted once
#else
#define CARTOLITH_TEST_MALLOC std::malloc
#endif

// The array and nothrow forms come here as well.
void* operator new(std::size_t size) {
    void* const memory = test::FailingAllocations::fails(__builtin_return_address(0))
                             ? nullptr
                             : CARTOLITH_TEST_MALLOC(size > 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    const auto unit = static_cast<std::size_t>(alignment);
    void* const memory = test::FailingAllocations::fails(__builtin_return_address(0))
                             ? nullptr
                             : std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
