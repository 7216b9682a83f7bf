#pragma once

#include <Cartolith/Core/Export.h>

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <utility>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers {

namespace Internal {
struct FilterNode;
class SqlFilter;
} // namespace Internal

/// Which features are wanted, by their attributes: a small tree of comparisons that is built by the functions
/// here or read from text, and that a data source may answer as well as this library.
///
/// Logic is that of SQL: what is compared with nothing is neither true nor false, NOT leaves it so, AND and
/// OR follow from that, and only what is true is wanted. A missing field is nothing. Comparisons are between
///  - numbers (logical values are 0 and 1), by their exact values whatever their types; NaN is nothing;
///  - texts, by their code points, so that case counts and "10" comes before "9";
///  - dates, times, and dates with times, of which one without a zone is taken as it stands;
///  - a number, a date or a time and a text that can be read as one, as that;
/// all others are between things that cannot be compared, which is nothing as well.
///
/// A value: copies share the tree and are never changed by others. Const members may be called by several
/// threads at once. Trees are at most 100 levels deep.
class CARTOLITH_CORE_EXPORT GisFeatureFilter {
public:
    /// Gives the value of a field, invalid where there is none.
    using ValueFunction = std::function<QVariant(const QString& field)>;
    enum class Comparison { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual };

    /// Wants all features.
    GisFeatureFilter() noexcept = default;

    /// The field on the left, a value on the right. With an invalid value, nothing is wanted.
    static GisFeatureFilter compare(const QString& field, Comparison comparison, const QVariant& value);
    /// Equal to one of the values, as OR of comparisons. When one of them is invalid, or of a type that the
    /// field's value cannot be compared with, "not in" wants no feature. Among many numbers, or many texts, a
    /// value of their kind is looked up in logarithmic time.
    static GisFeatureFilter in(const QString& field, const QList<QVariant>& values);
    /// From the first to the second, both included.
    static GisFeatureFilter between(const QString& field, const QVariant& least, const QVariant& greatest);
    /// A text like the pattern, in which % stands for any text and _ for any character; after a backslash
    /// both, and the backslash, stand for themselves. Case counts, or is ignored as Unicode folds single
    /// characters. What is no text is nothing. Takes at most the product of both lengths.
    static GisFeatureFilter like(const QString& field, const QString& pattern,
                                 Qt::CaseSensitivity sensitivity = Qt::CaseSensitive);
    static GisFeatureFilter isNull(const QString& field);
    /// Of an empty list, all() wants all, any() no feature. \throws std::invalid_argument beyond 100 levels
    static GisFeatureFilter all(const QList<GisFeatureFilter>& filters);
    static GisFeatureFilter any(const QList<GisFeatureFilter>& filters);
    static GisFeatureFilter negation(const GisFeatureFilter& filter);

    /// Reads for example
    ///
    ///     population >= 1e6 AND (name LIKE 'S%' OR "name long" IN ('Chad', 'Mali')) AND NOT iso IS NULL
    ///
    /// Names of fields are words, or stand between double quotes, which are doubled inside; texts stand
    /// between single quotes, which are doubled inside. Operators are = <> != < <= > >= LIKE ILIKE IN
    /// BETWEEN, IS NULL, each of the words with NOT before it, AND, OR, NOT; TRUE, FALSE and NULL are values.
    /// DATE '2026-01-31', TIME '12:00', TIMESTAMP '2026-01-31T12:00:00Z' are values of these types. Words may
    /// be in either case. NOT binds more closely than AND, AND more closely than OR. Linear time. \throws
    /// std::runtime_error with the place, for anything else
    static GisFeatureFilter fromText(const QString& text);
    /// What fromText() reads as the same filter; empty for the one that wants all. Values that can be
    /// compared with nothing become NULL.
    QString toText() const;

    bool wantsAll() const noexcept { return m_node == nullptr; }
    /// The names of all fields that it looks at, each once.
    QStringList fields() const;

    /// Whether a feature is wanted.
    bool matches(const ValueFunction& value) const;
    bool matches(const Shapes::GisShape& shape) const;

private:
    using NodePointer = std::shared_ptr<const Internal::FilterNode>;
    explicit GisFeatureFilter(NodePointer node) noexcept : m_node(std::move(node)) {}
    static GisFeatureFilter none();
    friend class Internal::SqlFilter;

    NodePointer m_node; // null for the one that wants all
};

} // namespace Cartolith::Core::Layers
