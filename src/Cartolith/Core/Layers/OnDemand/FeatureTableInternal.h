#pragma once

#include <Cartolith/Core/Layers/Ogr/OgrReadStateInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <QVarLengthArray>

#include <deque>
#include <vector>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers::Internal {

/// A feature whose shapes are in the layer.
struct CachedFeature {
    ReadFeature read;
    QVarLengthArray<Shapes::GisShape*, 1> shapes;
    FieldTexts texts;      ///< what the source has beyond their attributes
    Shapes::GisExtent box; ///< of all of them
    qint64 bytes = 0;
    quint32 windows = 0; ///< that it was read for
    quint64 lastWindow = 0;
    bool isEdited = false; ///< then the layer's list says what it is now
};

/// Features by their ids. They stay where they are, and each search looks at one piece of memory: a window
/// asks for every feature in it, most of which are not there.
class FeatureTable {
public:
    CachedFeature* find(qint64 id) const noexcept;
    /// One of an id that is not there. Where there is no memory, nothing has changed.
    CachedFeature& add(qint64 id);
    void remove(qint64 id) noexcept;
    void clear() noexcept;

    template <typename Function>
    void forEach(const Function& function) const {
        for (const Slot& slot : m_slots) {
            if (slot.feature != nullptr) {
                function(*slot.feature);
            }
        }
    }

private:
    struct Slot {
        qint64 id = 0;
        CachedFeature* feature = nullptr;
    };
    std::size_t homeOf(qint64 id) const noexcept;
    std::size_t placeOf(qint64 id) const noexcept;
    void grow();

    std::vector<Slot>
        m_slots; // a power of two of them, at most half of them taken; the first free one ends a search
    std::size_t m_count = 0;
    std::deque<CachedFeature> m_features;
    std::vector<CachedFeature*> m_unused; // of these; has room for all
};

} // namespace Cartolith::Core::Layers::Internal
