#include <Cartolith/Core/Layers/Ogr/OgrReadStateInternal.h>

#include <algorithm>

namespace Cartolith::Core::Layers::Internal {

void ReadFeatures::sort() {
    const auto precedes = [](const ReadFeature& a, const ReadFeature& b) { return a.id < b.id; };
    if (!std::is_sorted(m_features.begin(), m_features.end(), precedes)) {
        std::stable_sort(m_features.begin(), m_features.end(), precedes);
    }
    const auto hasSameId = [](const ReadFeature& a, const ReadFeature& b) { return a.id == b.id; };
    const auto kept = std::unique(m_features.rbegin(), m_features.rend(), hasSameId).base();
    m_features.erase(m_features.begin(), kept);
}

const ReadFeature* ReadFeatures::find(qint64 id) const noexcept {
    const auto found =
        std::lower_bound(m_features.begin(), m_features.end(), id,
                         [](const ReadFeature& feature, qint64 wanted) { return feature.id < wanted; });
    return found != m_features.end() && found->id == id ? &*found : nullptr;
}

} // namespace Cartolith::Core::Layers::Internal
