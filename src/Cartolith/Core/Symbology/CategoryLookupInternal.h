#pragma once

#include <Cartolith/Core/Symbology/SymbolValueInternal.h>

#include <QHash>
#include <QSharedData>

#include <map>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

/// Finds the first enabled class whose value equals a feature's, without walking the classes.
///
/// Texts are found by hash, numbers in an ordered table, both with the smallest position that applies. A
/// feature's value of which neither decides, a QDateTime or an infinity say, is compared with each class. The
/// answer is always that of findInOrder().
class CategoryLookup : public QSharedData {
public:
    /// The class gets the next position, counted from 0.
    void append(const QVariant& value, bool enabled);
    /// The position of the class, or -1.
    qsizetype find(const QVariant& featureValue) const;

private:
    struct Entry {
        StoredSymbolValue value;
        qsizetype position;
    };

    qsizetype findInOrder(const SymbolValue& value) const;
    qsizetype findNumber(double number) const;

    qsizetype m_size = 0;
    std::vector<Entry> m_entries;           ///< enabled classes, in order
    QHash<QString, qsizetype> m_classTexts; ///< a word as it stands in a class, and the answer for it
    QHash<QString, qsizetype> m_texts;      ///< normalised texts
    QHash<QString, qsizetype> m_wordTexts;  ///< the same for classes that are not numbers
    bool m_wordReadsAsNumber = false;       ///< one of those, once normalised, would convert
    bool m_hasNumbers = false;              ///< some class converts, if only to NaN
    std::map<double, qsizetype> m_numbers;  ///< by 1 + number, finite ones
};

} // namespace Cartolith::Core::Symbology::Internal
