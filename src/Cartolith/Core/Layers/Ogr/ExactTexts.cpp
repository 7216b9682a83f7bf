#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace Cartolith::Core::Layers::Internal {

void ExactTexts::add(Place place, QByteArrayView text) {
    m_entries.push_back({place, m_texts.size()});
    m_texts.append(text.data(), static_cast<std::size_t>(text.size()));
    m_texts.push_back('\0');
}

void ExactTexts::sort() {
    std::sort(m_entries.begin(), m_entries.end(),
              [](const Entry& a, const Entry& b) { return a.place < b.place; });
}

QByteArrayView ExactTexts::textOf(const Entry& entry) const {
    const char* const text = m_texts.data() + entry.at; // what a server writes has no U+0000
    return {text, static_cast<qsizetype>(std::strlen(text))};
}

void ExactTexts::forEach(const std::function<void(Place place, QByteArrayView text)>& function) const {
    for (const Entry& entry : m_entries) {
        function(entry.place, textOf(entry));
    }
}

std::vector<ExactTexts::Entry>::const_iterator ExactTexts::from(Place place) const noexcept {
    return std::lower_bound(m_entries.begin(), m_entries.end(), place,
                            [](const Entry& entry, const Place& wanted) { return entry.place < wanted; });
}

FieldTexts ExactTexts::of(qint64 id) const {
    FieldTexts texts;
    for (auto at = from({id, 0}); at != m_entries.end() && at->place.first == id; ++at) {
        texts.emplace_back(at->place.second, textOf(*at).toByteArray());
    }
    return texts;
}

std::optional<QByteArrayView> ExactTexts::find(Place place) const noexcept {
    const auto found = from(place);
    return found != m_entries.end() && found->place == place ? std::optional(textOf(*found)) : std::nullopt;
}

std::vector<qint64> ExactTexts::idsOf(int field, const std::vector<qint64>& ids) const {
    std::vector<qint64> found;
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(found), [&](qint64 id) {
        return find({id, field}).has_value();
    });
    return found;
}

ExactTexts ExactTexts::replacedAt(const std::set<Place>& places, const ExactTexts& now) const {
    ExactTexts replaced;
    for (const Entry& entry : m_entries) {
        if (!places.contains(entry.place)) {
            replaced.add(entry.place, textOf(entry));
        }
    }
    for (const Place& place : places) {
        if (const auto text = now.find(place)) {
            replaced.add(place, *text);
        }
    }
    replaced.sort();
    return replaced;
}

namespace {

/// A number as its digits, without zeros at either end, and the power of ten of the last of them.
struct Decimal {
    bool isNegative = false;
    std::string digits = {}; ///< none for zero
    int exponent = 0;

    friend bool operator==(const Decimal&, const Decimal&) = default;
};

std::optional<Decimal> decimalOf(QByteArrayView view) {
    const QByteArray text = view.toByteArray().trimmed();
    Decimal number;
    qsizetype at = 0;
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        number.isNegative = text[at++] == '-';
    }
    bool hasPoint = false;
    bool hasDigits = false;
    for (; at < text.size() &&
           (QByteArrayView("0123456789").contains(text[at]) || (text[at] == '.' && !hasPoint));
         ++at) {
        if (text[at] == '.') {
            hasPoint = true;
            continue;
        }
        hasDigits = true;
        number.exponent -= hasPoint ? 1 : 0;
        if (text[at] != '0' || !number.digits.empty()) {
            number.digits.push_back(text[at]);
        }
    }
    if (at < text.size() && hasDigits && (text[at] == 'e' || text[at] == 'E')) {
        constexpr qsizetype most = 6; // so that it is no text of any length
        bool isNumber = false;
        const QByteArray exponent = text.mid(at + 1);
        number.exponent += exponent.toInt(&isNumber);
        at = isNumber && exponent.size() <= most ? text.size() : at;
    }
    if (!hasDigits || at != text.size()) {
        return std::nullopt;
    }
    while (!number.digits.empty() && number.digits.back() == '0') {
        number.digits.pop_back();
        ++number.exponent;
    }
    return number.digits.empty() ? Decimal() : number;
}

} // namespace

bool areSameDecimals(QByteArrayView a, QByteArrayView b) {
    const auto one = decimalOf(a);
    return one && one == decimalOf(b);
}

std::optional<bool> hasDecimals(QByteArrayView text, int decimals) {
    const auto number = decimalOf(text);
    return number ? std::optional(number->digits.empty() || number->exponent >= -decimals) : std::nullopt;
}

} // namespace Cartolith::Core::Layers::Internal
