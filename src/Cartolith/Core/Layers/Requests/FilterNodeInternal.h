#pragma once

#include <Cartolith/Core/Layers/GisFeatureFilter.h>
#include <Cartolith/Core/Layers/Requests/FilterValuesInternal.h>

#include <algorithm>
#include <compare>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

enum class Truth { False, Nothing, True };

/// A filter, or a part of one.
struct FilterNode {
    enum class Kind { And, Or, Not, Compare, In, Like, IsNull };
    static constexpr int deepest = 100;

    Kind kind = Kind::And;
    QString field;
    GisFeatureFilter::Comparison comparison = GisFeatureFilter::Comparison::Equal;
    Qt::CaseSensitivity sensitivity = Qt::CaseSensitive;
    QList<QVariant> values;            ///< one to compare with, the pattern, or those of a list
    std::vector<Comparand> comparands; ///< the values of a comparison or a list
    /// Of a long list, whose values are numbers all, or texts, and sorted: among its like, a value is looked
    /// up.
    std::optional<Comparand::Kind> sortedKind;
    std::optional<TextPattern> pattern;
    std::vector<std::shared_ptr<const FilterNode>> children; ///< none is null
    int depth = 1;

    void setValues(const QList<QVariant>& given) {
        for (const QVariant& value : given) {
            values.append(canonical(value));
            comparands.push_back(Comparand::constant(values.constLast()));
        }
        constexpr std::size_t many = 8;
        const Comparand::Kind first =
            comparands.empty() ? Comparand::Kind::Nothing : comparands.front().kind();
        const bool isPlain = first == Comparand::Kind::Number || first == Comparand::Kind::Text;
        if (isPlain && comparands.size() >= many &&
            std::all_of(comparands.begin(), comparands.end(),
                        [first](const Comparand& one) { return one.kind() == first; })) {
            std::sort(comparands.begin(), comparands.end(), isBefore);
            sortedKind = first;
        }
    }
    static bool isBefore(const Comparand& a, const Comparand& b) { return std::is_lt(orderOf(a, b)); }

    void add(const std::shared_ptr<const FilterNode>& child) {
        depth = std::max(depth, child->depth + 1);
        if (depth > deepest) {
            throw std::invalid_argument("A filter is more than 100 levels deep.");
        }
        children.push_back(child);
    }
};

} // namespace Cartolith::Core::Layers::Internal
