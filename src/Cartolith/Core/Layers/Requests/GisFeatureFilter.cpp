#include <Cartolith/Core/Layers/GisFeatureFilter.h>
#include <Cartolith/Core/Layers/Requests/FilterNodeInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <algorithm>
#include <compare>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::Comparand;
using Internal::FilterNode;
using Internal::Truth;

namespace {

Truth negated(Truth truth) {
    return truth == Truth::Nothing ? truth : truth == Truth::True ? Truth::False : Truth::True;
}

Truth truthOf(bool is) {
    return is ? Truth::True : Truth::False;
}

Truth compared(const Comparand& value, GisFeatureFilter::Comparison comparison, const Comparand& with) {
    using Comparison = GisFeatureFilter::Comparison;
    const std::partial_ordering order = Internal::compareValues(value, with);
    if (order == std::partial_ordering::unordered) {
        return Truth::Nothing;
    }
    switch (comparison) {
    case Comparison::Equal:
        return truthOf(std::is_eq(order));
    case Comparison::NotEqual:
        return truthOf(std::is_neq(order));
    case Comparison::Less:
        return truthOf(std::is_lt(order));
    case Comparison::LessOrEqual:
        return truthOf(std::is_lteq(order));
    case Comparison::Greater:
        return truthOf(std::is_gt(order));
    case Comparison::GreaterOrEqual:
        return truthOf(std::is_gteq(order));
    }
    return Truth::Nothing;
}

/// The truth of several: one that decides is all there is to say, else what is nothing makes nothing.
template <typename Items, typename Test>
Truth combined(const Items& items, Truth decisive, const Test& test) {
    Truth result = negated(decisive);
    for (const auto& item : items) {
        const Truth truth = test(item);
        if (truth == decisive) {
            return truth;
        }
        result = truth == Truth::Nothing ? truth : result;
    }
    return result;
}

Truth truthOf(const FilterNode& node, const GisFeatureFilter::ValueFunction& values) {
    using Kind = FilterNode::Kind;
    switch (node.kind) {
    case Kind::And:
    case Kind::Or:
        return combined(node.children, truthOf(node.kind == Kind::Or),
                        [&](const auto& child) { return truthOf(*child, values); });
    case Kind::Not:
        return negated(truthOf(*node.children.front(), values));
    case Kind::IsNull:
        return truthOf(Internal::isNothing(values(node.field)));
    case Kind::Like: {
        const QVariant value = values(node.field);
        return value.typeId() == QMetaType::QString && !value.isNull()
                   ? truthOf(node.pattern->matches(value.toString()))
                   : Truth::Nothing;
    }
    case Kind::Compare:
        return compared(Comparand(values(node.field)), node.comparison, node.comparands.front());
    case Kind::In: {
        const Comparand value(values(node.field));
        if (node.sortedKind == value.kind()) {
            return truthOf(std::binary_search(node.comparands.begin(), node.comparands.end(), value,
                                              FilterNode::isBefore));
        }
        return combined(node.comparands, Truth::True, [&](const Comparand& candidate) {
            return compared(value, GisFeatureFilter::Comparison::Equal, candidate);
        });
    }
    }
    return Truth::Nothing;
}

std::shared_ptr<FilterNode> nodeOf(FilterNode::Kind kind, const QString& field = {}) {
    auto node = std::make_shared<FilterNode>();
    node->kind = kind;
    node->field = field;
    return node;
}

} // namespace

GisFeatureFilter GisFeatureFilter::compare(const QString& field, Comparison comparison,
                                           const QVariant& value) {
    auto node = nodeOf(FilterNode::Kind::Compare, field);
    node->comparison = comparison;
    node->setValues({value});
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::in(const QString& field, const QList<QVariant>& values) {
    auto node = nodeOf(FilterNode::Kind::In, field);
    node->setValues(values);
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::between(const QString& field, const QVariant& least,
                                           const QVariant& greatest) {
    return all({compare(field, Comparison::GreaterOrEqual, least),
                compare(field, Comparison::LessOrEqual, greatest)});
}

GisFeatureFilter GisFeatureFilter::like(const QString& field, const QString& pattern,
                                        Qt::CaseSensitivity sensitivity) {
    auto node = nodeOf(FilterNode::Kind::Like, field);
    node->values = {pattern};
    node->sensitivity = sensitivity;
    node->pattern.emplace(pattern, sensitivity);
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::isNull(const QString& field) {
    return GisFeatureFilter(nodeOf(FilterNode::Kind::IsNull, field));
}

GisFeatureFilter GisFeatureFilter::none() {
    return in({}, {});
}

GisFeatureFilter GisFeatureFilter::all(const QList<GisFeatureFilter>& filters) {
    auto node = nodeOf(FilterNode::Kind::And);
    for (const GisFeatureFilter& filter : filters) {
        if (!filter.wantsAll()) {
            node->add(filter.m_node);
        }
    }
    if (node->children.size() < 2) {
        return node->children.empty() ? GisFeatureFilter() : GisFeatureFilter(node->children.front());
    }
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::any(const QList<GisFeatureFilter>& filters) {
    auto node = nodeOf(FilterNode::Kind::Or);
    for (const GisFeatureFilter& filter : filters) {
        if (filter.wantsAll()) {
            return {};
        }
        node->add(filter.m_node);
    }
    if (node->children.size() < 2) {
        return node->children.empty() ? none() : GisFeatureFilter(node->children.front());
    }
    return GisFeatureFilter(std::move(node));
}

GisFeatureFilter GisFeatureFilter::negation(const GisFeatureFilter& filter) {
    if (filter.wantsAll()) {
        return none();
    }
    auto node = nodeOf(FilterNode::Kind::Not);
    node->add(filter.m_node);
    return GisFeatureFilter(std::move(node));
}

QStringList GisFeatureFilter::fields() const {
    QStringList names;
    std::vector<const FilterNode*> open;
    if (m_node != nullptr) {
        open.push_back(m_node.get());
    }
    while (!open.empty()) {
        const FilterNode* const node = open.back();
        open.pop_back();
        if (!node->field.isNull()) {
            names.append(node->field);
        }
        for (auto it = node->children.rbegin(); it != node->children.rend(); ++it) {
            open.push_back(it->get());
        }
    }
    names.removeDuplicates();
    return names;
}

bool GisFeatureFilter::matches(const ValueFunction& value) const {
    return m_node == nullptr || truthOf(*m_node, value) == Truth::True;
}

bool GisFeatureFilter::matches(const Shapes::GisShape& shape) const {
    return matches([&shape](const QString& field) { return shape.attributeValue(field); });
}

} // namespace Cartolith::Core::Layers
