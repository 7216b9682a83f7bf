#include <Cartolith/Core/Layers/Requests/ArrowStructsInternal.h>

#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// What the private data of a structure are.
template <typename Struct, typename Parts>
struct ArrowHeld {
    explicit ArrowHeld(Parts from) : parts(std::move(from)) {
        for (const auto& child : parts.children) {
            children.push_back(child.get());
        }
    }

    static void release(Struct* own) noexcept {
        delete static_cast<ArrowHeld*>(own->private_data);
        own->release = nullptr;
    }

    Parts parts;
    std::vector<Struct*> children;
    std::vector<const void*> buffers;
    std::string metadata;
};

template <typename Struct, typename Parts>
void hand(Struct& target, Struct filled, std::unique_ptr<ArrowHeld<Struct, Parts>> held) {
    filled.n_children = static_cast<std::int64_t>(held->children.size());
    filled.children = held->children.data();
    filled.release = ArrowHeld<Struct, Parts>::release;
    filled.private_data = held.release();
    target = filled;
}

/// How many pairs, then each with the lengths before its texts; all numbers in the machine's own order.
std::string metadataOf(const std::vector<std::pair<std::string, std::string>>& pairs) {
    std::string bytes;
    const auto number = [&bytes](std::size_t value) {
        const auto small = static_cast<std::int32_t>(value);
        bytes.append(reinterpret_cast<const char*>(&small), sizeof small);
    };
    if (!pairs.empty()) {
        number(pairs.size());
    }
    for (const auto& [key, value] : pairs) {
        number(key.size());
        bytes += key;
        number(value.size());
        bytes += value;
    }
    return bytes;
}

} // namespace

void fill(ArrowArray& target, ArrowArrayParts parts) {
    auto held = std::make_unique<ArrowHeld<ArrowArray, ArrowArrayParts>>(std::move(parts));
    const ArrowArrayParts& kept = held->parts;
    for (ArrowBuffer& buffer : held->parts.buffers) {
        held->buffers.push_back(buffer.finish());
    }
    if (kept.nulls == 0) { // all there
        held->buffers.front() = nullptr;
    }
    ArrowArray array = {};
    array.length = kept.length;
    array.null_count = kept.nulls;
    array.n_buffers = static_cast<std::int64_t>(held->buffers.size());
    array.buffers = held->buffers.data();
    hand(target, array, std::move(held));
}

void fill(ArrowSchema& target, ArrowSchemaParts parts) {
    auto held = std::make_unique<ArrowHeld<ArrowSchema, ArrowSchemaParts>>(std::move(parts));
    held->metadata = metadataOf(held->parts.metadata);
    ArrowSchema schema = {};
    schema.format = held->parts.format.c_str();
    schema.name = held->parts.name.c_str();
    schema.metadata = held->metadata.empty() ? nullptr : held->metadata.c_str();
    schema.flags = held->parts.isNullable ? ARROW_FLAG_NULLABLE : 0;
    hand(target, schema, std::move(held));
}

} // namespace Cartolith::Core::Layers::Internal
