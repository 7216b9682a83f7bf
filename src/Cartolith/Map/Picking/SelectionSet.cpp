#include <Cartolith/Map/Picking/SelectionSet.h>

#include <utility>

namespace Cartolith::Map::Picking {

bool SelectionSet::contains(const Layer& layer, qint64 id) const {
    const auto found = m_ids.find(layer);
    return found != m_ids.cend() && found->second.contains(id);
}

SelectionSet::Ids SelectionSet::ids(const Layer& layer) const {
    const auto found = m_ids.find(layer);
    return found != m_ids.cend() ? found->second : Ids();
}

qsizetype SelectionSet::count() const {
    qsizetype all = 0;
    for (const auto& [layer, ids] : m_ids) {
        all += layer.expired() ? 0 : ids.size();
    }
    return all;
}

void SelectionSet::set(const Layer& layer, const Ids& ids) {
    if (layer == nullptr || this->ids(layer) == ids) {
        return;
    }
    std::erase_if(m_ids, [](const auto& entry) { return entry.first.expired(); });
    if (ids.isEmpty()) {
        m_ids.erase(m_ids.find(layer));
    } else {
        m_ids.insert_or_assign(layer, ids);
    }
    tell(layer);
}

void SelectionSet::add(const Layer& layer, const Ids& ids) {
    set(layer, this->ids(layer) + ids);
}

void SelectionSet::remove(const Layer& layer, const Ids& ids) {
    set(layer, this->ids(layer) - ids);
}

void SelectionSet::toggle(const Layer& layer, const Ids& ids) {
    const Ids before = this->ids(layer);
    set(layer, (before - ids) + (ids - before));
}

void SelectionSet::clear() {
    for (const auto& [key, ids] : std::exchange(m_ids, {})) {
        if (const Layer layer = key.lock()) {
            tell(layer);
        }
    }
}

std::shared_ptr<void> SelectionSet::onChanged(Listener listener) {
    auto kept = std::make_shared<Listener>(std::move(listener));
    std::erase_if(m_listeners, [](const auto& other) { return other.expired(); });
    m_listeners.push_back(kept);
    return kept;
}

void SelectionSet::tell(const Layer& layer) {
    for (const auto& entry : std::vector(m_listeners)) { // which they may change
        if (const auto listener = entry.lock(); listener != nullptr && *listener) {
            (*listener)(layer);
        }
    }
}

} // namespace Cartolith::Map::Picking
