#include <Cartolith/Core/Layers/FilterNodeInternal.h>
#include <Cartolith/Core/Layers/FilterValuesInternal.h>
#include <Cartolith/Core/Layers/GisFeatureFilter.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::FilterNode;
using Internal::Truth;
using Kind = FilterNode::Kind;

namespace {

Truth negated(Truth truth) {
    return truth == Truth::Nothing ? truth : truth == Truth::True ? Truth::False : Truth::True;
}

Truth truthOf(bool is) {
    return is ? Truth::True : Truth::False;
}

Truth compared(const QVariant& value, GisFeatureFilter::Comparison comparison, const QVariant& with) {
    using Comparison = GisFeatureFilter::Comparison;
    const std::partial_ordering order = Internal::compareValues(value, with);
    if (order == std::partial_ordering::unordered) {
        return Truth::Nothing;
    }
    switch (comparison) {
    case Comparison::Equal:
        return truthOf(order == 0);
    case Comparison::NotEqual:
        return truthOf(order != 0);
    case Comparison::Less:
        return truthOf(order < 0);
    case Comparison::LessOrEqual:
        return truthOf(order <= 0);
    case Comparison::Greater:
        return truthOf(order > 0);
    case Comparison::GreaterOrEqual:
        return truthOf(order >= 0);
    }
    return Truth::Nothing;
}

using Values = std::function<QVariant(const QString&)>;

Truth truthOf(const FilterNode* node, const Values& values);

/// The least of AND, the greatest of OR, where nothing lies between false and true.
Truth combined(const FilterNode& node, const Values& values) {
    const bool isAnd = node.kind == Kind::And;
    const Truth decisive = isAnd ? Truth::False : Truth::True;
    Truth result = negated(decisive);
    for (const auto& child : node.children) {
        const Truth truth = truthOf(child.get(), values);
        if (truth == decisive) {
            return truth;
        }
        result = truth == Truth::Nothing ? truth : result;
    }
    return result;
}

Truth truthOf(const FilterNode* node, const Values& values) {
    using Comparison = GisFeatureFilter::Comparison;
    if (node == nullptr) {
        return Truth::True;
    }
    switch (node->kind) {
    case Kind::And:
    case Kind::Or:
        return combined(*node, values);
    case Kind::Not:
        return negated(truthOf(node->children.front().get(), values));
    default:
        break;
    }
    const QVariant value = values(node->field);
    switch (node->kind) {
    case Kind::IsNull:
        return truthOf(Internal::isNothing(value));
    case Kind::Like:
        return value.typeId() == QMetaType::QString ? truthOf(node->pattern->matches(value.toString()))
                                                    : Truth::Nothing;
    case Kind::Compare:
        return compared(value, node->comparison, node->values.constFirst());
    default: { // in
        Truth result = Truth::False;
        for (const QVariant& candidate : node->values) {
            const Truth truth = compared(value, Comparison::Equal, candidate);
            if (truth == Truth::True) {
                return truth;
            }
            // A value of a kind that the field's cannot be compared with is not equal; none may be.
            result = Internal::isNothing(value) || Internal::isNothing(candidate) ? Truth::Nothing : result;
        }
        return result;
    }
    }
}

std::shared_ptr<FilterNode> nodeOf(Kind kind, const QString& field = {}) {
    auto node = std::make_shared<FilterNode>();
    node->kind = kind;
    node->field = field;
    return node;
}

} // namespace

GisFeatureFilter GisFeatureFilter::compare(const QString& field, Comparison comparison,
                                           const QVariant& value) {
    auto node = nodeOf(Kind::Compare, field);
    node->comparison = comparison;
    node->values = {value};
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::in(const QString& field, const QList<QVariant>& values) {
    auto node = nodeOf(Kind::In, field);
    node->values = values;
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::between(const QString& field, const QVariant& least,
                                           const QVariant& greatest) {
    return all({compare(field, Comparison::GreaterOrEqual, least),
                compare(field, Comparison::LessOrEqual, greatest)});
}

GisFeatureFilter GisFeatureFilter::like(const QString& field, const QString& pattern,
                                        Qt::CaseSensitivity sensitivity) {
    auto node = nodeOf(Kind::Like, field);
    node->values = {pattern};
    node->sensitivity = sensitivity;
    node->pattern.emplace(pattern, sensitivity);
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::isNull(const QString& field) {
    return GisFeatureFilter(nodeOf(Kind::IsNull, field));
}

GisFeatureFilter GisFeatureFilter::combination(bool isAnd, const QList<GisFeatureFilter>& filters) {
    auto node = nodeOf(isAnd ? Kind::And : Kind::Or);
    for (const GisFeatureFilter& filter : filters) {
        node->add(filter.m_node);
    }
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::all(const QList<GisFeatureFilter>& filters) {
    return combination(true, filters);
}

GisFeatureFilter GisFeatureFilter::any(const QList<GisFeatureFilter>& filters) {
    return combination(false, filters);
}

GisFeatureFilter GisFeatureFilter::negation(const GisFeatureFilter& filter) {
    auto node = nodeOf(Kind::Not);
    node->add(filter.m_node);
    return GisFeatureFilter(std::move(node));
}

QStringList GisFeatureFilter::fields() const {
    QStringList names;
    std::vector<const FilterNode*> open{m_node.get()};
    while (!open.empty()) {
        const FilterNode* const node = open.back();
        open.pop_back();
        if (node == nullptr) {
            continue;
        }
        if (!node->field.isNull() && !names.contains(node->field)) {
            names.append(node->field);
        }
        for (auto it = node->children.rbegin(); it != node->children.rend(); ++it) {
            open.push_back(it->get());
        }
    }
    return names;
}

bool GisFeatureFilter::matches(const std::function<QVariant(const QString&)>& value) const {
    return truthOf(m_node.get(), value) == Truth::True;
}

} // namespace Cartolith::Core::Layers
