#pragma once

#include <Cartolith/Core/Layers/Requests/ArrowBufferInternal.h>

#include <ogr_recordbatch.h>

#include <memory>
#include <string>
#include <vector>

/// The structures of Apache Arrow's C data interface, each with all that it points to: whoever has one may
/// move it, or one of its children, and releases it when and where it likes.
namespace Cartolith::Core::Layers::Internal {

struct ArrowRelease {
    template <typename Struct>
    void operator()(Struct* own) const noexcept {
        if (own->release != nullptr) { // else it was moved, or never filled
            own->release(own);
        }
        delete own;
    }
};
template <typename Struct>
using ArrowOwn = std::unique_ptr<Struct, ArrowRelease>;
template <typename Struct>
ArrowOwn<Struct> newOwn() {
    return ArrowOwn<Struct>(new Struct{});
}

struct ArrowArrayParts {
    std::int64_t length = 0;
    std::int64_t nulls = 0;
    std::vector<ArrowBuffer> buffers; ///< the first tells what is there
    std::vector<ArrowOwn<ArrowArray>> children;
};
struct ArrowSchemaParts {
    std::string format;
    std::string name;
    std::vector<std::pair<std::string, std::string>> metadata;
    bool isNullable = true;
    std::vector<ArrowOwn<ArrowSchema>> children;
};

/// The target is not looked at, and stays as it is where they throw.
void fill(ArrowArray& target, ArrowArrayParts parts);
void fill(ArrowSchema& target, ArrowSchemaParts parts);

} // namespace Cartolith::Core::Layers::Internal
