#include <Cartolith/Core/Layers/Editing/ListPlacesInternal.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Cartolith::Core::Shapes::GisShape;

FeatureTrace::Original::Original(std::unique_ptr<const GisShape> before) : shape(std::move(before)) {}

FeatureTrace::Original::~Original() = default;

bool FeatureTrace::Entry::isChanged(const GisShape& now) const {
    return original != nullptr && (original->shape == nullptr || !haveSameAttributes(*original->shape, now) ||
                                   !haveSameGeometry(*original->shape, now));
}

bool FeatureTrace::Entry::isAsRead(const GisShape& now, const QString& field) const {
    return original == nullptr ||
           (original->shape != nullptr &&
            areSame(original->shape->attributeValue(field), now.attributeValue(field)));
}

void FeatureTrace::reset(const QList<qint64>& features) {
    forgetPlaces();
    m_entries.clear();
    m_entries.reserve(static_cast<std::size_t>(features.size()));
    for (const qint64 feature : features) {
        m_entries.push_back({feature});
    }
    m_taken.clear();
}

int FeatureTrace::positionOf(qint64 id, const IdOf& idOf) {
    if (!m_placesAreKnown) {
        m_places.clear();
        for (std::size_t i = 0; i < m_entries.size(); ++i) {
            if (m_entries[i].feature != none) {
                m_places.emplace_back(idOf(m_entries[i].feature), static_cast<int>(i));
            }
        }
        std::sort(m_places.begin(), m_places.end());
        m_placesAreKnown = true;
    }
    const auto found = std::lower_bound(m_places.begin(), m_places.end(), std::pair(id, 0));
    return found != m_places.end() && found->first == id ? found->second : -1;
}

void FeatureTrace::hold(int position, qint64 feature) {
    forgetPlaces();
    const auto at = static_cast<std::size_t>(position);
    if (at == m_entries.size()) {
        m_entries.emplace_back();
    }
    m_entries[at] = {feature};
}

void FeatureTrace::makeRoom(int count) {
    const auto wanted = static_cast<std::size_t>(count);
    if (wanted > m_entries.capacity()) {
        m_entries.reserve(std::max(wanted, 2 * m_entries.capacity()));
    }
}

FeatureTrace::Entry FeatureTrace::entryFor(const GisShape& shape) {
    Entry entry;
    const auto found = m_taken.find(&shape);
    if (found != m_taken.end()) {
        const Taken& taken = found->second;
        if (haveSameAttributes(*taken.copy, shape) && haveSameGeometry(*taken.copy, shape)) {
            entry = taken.entry;
        }
        m_taken.erase(found);
    }
    return entry;
}

void FeatureTrace::inserted(int position, const GisShape& shape) {
    forgetPlaces();
    m_entries.insert(m_entries.begin() + position, entryFor(shape));
}

void FeatureTrace::taken(const std::vector<int>& positions, const Shapes& shapes) {
    forgetPlaces();
    std::unordered_map<const GisShape*, Taken> copies;
    for (const int position : positions) {
        const Entry& entry = m_entries[static_cast<std::size_t>(position)];
        const GisShape& shape = *shapes[static_cast<std::size_t>(position)];
        if (entry.feature != none) {
            copies.emplace(&shape, Taken{entry, shape.clone()});
        }
    }
    m_taken.reserve(m_taken.size() + copies.size()); // so that what follows needs no memory
    for (const int position : positions) {
        m_taken.erase(shapes[static_cast<std::size_t>(position)].get());
    }
    m_taken.merge(copies);
    eraseAt(m_entries, positions);
}

void FeatureTrace::putBack(const std::vector<int>& positions, const Shapes& shapes) {
    forgetPlaces();
    insertAt(m_entries, positions,
             [&](std::size_t i) { return entryFor(*shapes[static_cast<std::size_t>(positions[i])]); });
}

void FeatureTrace::taken(int position, const GisShape& shape) {
    forgetPlaces();
    const auto entry = m_entries.begin() + position;
    if (entry->feature != none) {
        m_taken.insert_or_assign(&shape, Taken{*entry, shape.clone()});
    } else {
        m_taken.erase(&shape);
    }
    m_entries.erase(entry);
}

void FeatureTrace::changed(int position, const GisShape& shape) {
    Entry& entry = m_entries[static_cast<std::size_t>(position)];
    if (entry.original != nullptr) {
        return;
    }
    if (entry.feature != none) {
        entry.original.reset(new Original(shape.clone()));
    } else {
        entry.original = m_unknown;
    }
}

void FeatureTrace::allChanged() {
    for (Entry& entry : m_entries) {
        entry.original = m_unknown;
    }
}

void FeatureTrace::allReplaced(int count) {
    forgetPlaces();
    m_entries.assign(static_cast<std::size_t>(count), Entry());
    m_taken.clear();
}

void FeatureTrace::forgetTaken() {
    m_taken.clear();
}

} // namespace Cartolith::Core::Layers::Internal
