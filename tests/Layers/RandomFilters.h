#pragma once

#include <Cartolith/Core/Layers/GisFeatureFilter.h>

#include <QDateTime>

#include <random>

namespace test {

/// From 0 to count - 1.
inline int draw(std::mt19937& random, int count) {
    return static_cast<int>(random() % static_cast<unsigned int>(count));
}

/// Filters of all kinds over some fields, with values that are near to those of the rows.
class RandomFilters {
public:
    using Filter = Cartolith::Core::Layers::GisFeatureFilter;

    RandomFilters(std::mt19937& random, QStringList fields, QList<QVariant> values)
        : m_random(random), m_fields(std::move(fields)), m_values(std::move(values)) {}

    Filter next(int depth = 3) {
        const QString field = pick(m_fields);
        switch (draw(m_random, depth > 0 ? 9 : 5)) {
        case 0:
        case 1: return Filter::compare(field, static_cast<Filter::Comparison>(draw(m_random, 6)), pick(m_values));
        case 2: return Filter::in(field, {pick(m_values), pick(m_values), pick(m_values)});
        case 3: {
            const QStringList patterns{"%", "a%", "%ö%", "_", "A\\%", "%'%", "[a-z]*", "%10%", ""};
            return Filter::like(field, pick(patterns),
                                draw(m_random, 2) == 0 ? Qt::CaseSensitive : Qt::CaseInsensitive);
        }
        case 4:
            return draw(m_random, 2) == 0 ? Filter::isNull(field)
                                          : Filter::between(field, pick(m_values), pick(m_values));
        case 5:
        case 6: return Filter::all({next(depth - 1), next(depth - 1)});
        case 7: return Filter::any({next(depth - 1), next(depth - 1)});
        default: return Filter::negation(next(depth - 1));
        }
    }

    template <typename List>
    typename List::value_type pick(const List& list) {
        return list.at(draw(m_random, static_cast<int>(list.size())));
    }

private:
    std::mt19937& m_random;
    QStringList m_fields;
    QList<QVariant> m_values;
};

} // namespace test
