#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QtGlobal>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Of one feature, by field.
using FieldTexts = std::vector<std::pair<int, QByteArray>>;

/// Values of which an attribute is not all that the source holds, as the source writes them: numbers of more
/// digits than a double, times of microseconds, infinity. By feature and field, 24 bytes and the text each.
class ExactTexts {
public:
    using Place = std::pair<qint64, int>; ///< id and field

    /// Between the first of these and sort(), nothing is found.
    void add(Place place, QByteArrayView text);
    void sort();

    /// Calls the function with all of them.
    void forEach(const std::function<void(Place place, QByteArrayView text)>& function) const;
    /// Good until the next change.
    std::optional<QByteArrayView> find(Place place) const noexcept;
    /// Of one feature.
    FieldTexts of(qint64 id) const;
    /// The places of a field among these features.
    std::vector<qint64> idsOf(int field, const std::vector<qint64>& ids) const;
    /// These, but at some places what is found in `now` there, if anything is.
    ExactTexts replacedAt(const std::set<Place>& places, const ExactTexts& now) const;

private:
    struct Entry {
        Place place;
        std::size_t at = 0; ///< where the next one's begins, its text ends
    };
    QByteArrayView textOf(const Entry& entry) const;
    std::vector<Entry>::const_iterator from(Place place) const noexcept;

    std::vector<Entry> m_entries;
    std::string m_texts; ///< one behind the other, each with its end
};

/// Whether two texts are the same decimal number, as 1.50 and 15e-1; false where one is none.
bool areSameDecimals(QByteArrayView a, QByteArrayView b);
/// Whether so many decimals are enough for it; fewer than none cut digits before the point. Unset for a text
/// that is no decimal number.
std::optional<bool> hasDecimals(QByteArrayView text, int decimals);

} // namespace Cartolith::Core::Layers::Internal
