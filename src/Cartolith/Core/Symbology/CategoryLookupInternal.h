#pragma once

#include <Cartolith/Core/Symbology/SymbolValueInternal.h>

#include <QSharedData>
#include <QString>

#include <map>
#include <unordered_map>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

/// Finds the first enabled class whose value equals a feature's, without walking the classes.
///
/// Texts are found by hash, numbers in an ordered table, both with the smallest position that applies. A
/// feature's value of which neither decides, a QDateTime or an infinity say, is compared with each class. The
/// answer is always that of findInOrder().
class CategoryLookup : public QSharedData {
public:
    /// The class gets the next position, counted from 0. Nothing changes when it throws.
    void append(const QVariant& value, bool enabled);
    /// The position of the class, or -1.
    qsizetype find(const QVariant& featureValue) const;

private:
    struct Entry {
        StoredSymbolValue value;
        qsizetype position;
    };

    // Not QHash: where that finds no memory for an entry, the process ends.
    using Texts = std::unordered_map<QString, qsizetype>;

    void add(const QVariant& value, qsizetype position);
    void remove(qsizetype position) noexcept;
    qsizetype findInOrder(const SymbolValue& value) const;
    qsizetype findNumber(double number) const;

    qsizetype m_size = 0;
    std::vector<Entry> m_entries;          ///< enabled classes, in order
    Texts m_classTexts;                    ///< a word as it stands in a class, and the answer for it
    Texts m_texts;                         ///< normalised texts
    Texts m_wordTexts;                     ///< the same for classes that are not numbers
    bool m_wordReadsAsNumber = false;      ///< one of those, once normalised, would convert
    bool m_hasNumbers = false;             ///< some class converts, if only to NaN
    std::map<double, qsizetype> m_numbers; ///< by 1 + number, finite ones
};

} // namespace Cartolith::Core::Symbology::Internal
