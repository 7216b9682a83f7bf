#include <Cartolith/Core/Layers/Ogr/OgrReadStateInternal.h>

#include <algorithm>

namespace Cartolith::Core::Layers::Internal {

bool ReadFeatures::sort() {
    const auto precedes = [](const ReadFeature& a, const ReadFeature& b) { return a.id < b.id; };
    if (!std::is_sorted(m_features.begin(), m_features.end(), precedes)) {
        std::stable_sort(m_features.begin(), m_features.end(), precedes);
    }
    const auto hasSameId = [](const ReadFeature& a, const ReadFeature& b) { return a.id == b.id; };
    constexpr quint32 most = (1U << 24U) - 1;
    for (std::size_t i = 1; i < m_features.size(); ++i) {
        if (hasSameId(m_features[i - 1], m_features[i])) {
            m_features[i].shapes =
                std::min<quint32>(most, m_features[i - 1].shapes + m_features[i].shapes) & most;
        }
    }
    const auto kept = std::unique(m_features.rbegin(), m_features.rend(), hasSameId).base();
    const bool areUnique = kept == m_features.begin();
    m_features.erase(m_features.begin(), kept);
    return areUnique;
}

const ReadFeature* ReadFeatures::find(qint64 id) const noexcept {
    const auto found =
        std::lower_bound(m_features.begin(), m_features.end(), id,
                         [](const ReadFeature& feature, qint64 wanted) { return feature.id < wanted; });
    return found != m_features.end() && found->id == id ? &*found : nullptr;
}

} // namespace Cartolith::Core::Layers::Internal
