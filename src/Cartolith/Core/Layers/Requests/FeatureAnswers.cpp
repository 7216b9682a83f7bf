#include <Cartolith/Core/Layers/Requests/FeatureAnswersInternal.h>

#include <algorithm>
#include <compare>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

OrderedAnswers::OrderedAnswers(const GisFeatureRequest& request) : m_order(request.order) {
    if (request.limit) {
        m_most = static_cast<std::size_t>(*request.limit);
    }
}

bool OrderedAnswers::isBefore(const Entry& a, const Entry& b) const {
    for (std::size_t i = 0; i < a.keys.size(); ++i) {
        const bool hasNone = a.keys[i].kind() == Comparand::Kind::Nothing;
        if (hasNone != (b.keys[i].kind() == Comparand::Kind::Nothing)) {
            return !hasNone;
        }
        const std::weak_ordering order = orderOf(a.keys[i], b.keys[i]);
        if (std::is_neq(order)) {
            return m_order[static_cast<qsizetype>(i)].direction == Qt::AscendingOrder ? std::is_lt(order)
                                                                                      : std::is_gt(order);
        }
    }
    return a.number < b.number;
}

void OrderedAnswers::add(FeatureAnswer answer) {
    Entry entry{std::move(answer), {}, m_added++};
    for (const GisFeatureRequest::Order& order : std::as_const(m_order)) {
        entry.keys.emplace_back(entry.answer.shape->attributeValue(order.field));
    }
    const auto before = [this](const Entry& a, const Entry& b) { return isBefore(a, b); };
    if (m_most && m_entries.size() == *m_most) {
        if (m_entries.empty() || !isBefore(entry, m_entries.front())) {
            return;
        }
        std::pop_heap(m_entries.begin(), m_entries.end(), before);
        m_entries.pop_back();
    }
    m_entries.push_back(std::move(entry));
    if (m_most) {
        std::push_heap(m_entries.begin(), m_entries.end(), before);
    }
}

void OrderedAnswers::sort() {
    std::sort(m_entries.begin(), m_entries.end(),
              [this](const Entry& a, const Entry& b) { return isBefore(a, b); });
}

bool OrderedAnswers::take(FeatureAnswer& answer) {
    if (m_taken == m_entries.size()) {
        m_entries.clear();
        m_taken = 0;
        return false;
    }
    answer = std::move(m_entries[m_taken++].answer);
    return true;
}

} // namespace Cartolith::Core::Layers::Internal
