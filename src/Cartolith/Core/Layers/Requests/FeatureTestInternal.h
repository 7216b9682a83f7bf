#pragma once

#include <Cartolith/Core/Layers/GisFeatureRequest.h>
#include <Cartolith/Core/Layers/Requests/RowColumnsInternal.h>

#include <optional>
#include <unordered_set>
#include <vector>

namespace Cartolith::Core::Shapes {
class AttributeSlot;
class GisShape;
} // namespace Cartolith::Core::Shapes

namespace Cartolith::Core::Layers::Internal {

/// Which features a request is for.
class FeatureTest {
public:
    /// The extent is in the layer's coordinate system.
    FeatureTest(const GisFeatureRequest& request, const std::optional<Shapes::GisExtent>& extent);

    const std::optional<Shapes::GisExtent>& extent() const noexcept { return m_extent; }
    /// Sorted, each once; unset for all.
    const std::optional<std::vector<qint64>>& ids() const noexcept { return m_ids; }
    const GisFeatureFilter& filter() const noexcept { return m_filter; }

    bool wantsId(qint64 id) const;
    bool wants(const Shapes::AttributeSlot& attributes) const;
    bool wants(const Shapes::GisShape& shape) const;

private:
    QVariant valueOf(const Shapes::AttributeSlot& slot, const Shapes::Internal::AttributeRow& row,
                     const QString& field) const;

    std::optional<Shapes::GisExtent> m_extent;
    std::optional<std::vector<qint64>> m_ids;
    GisFeatureFilter m_filter;
    mutable RowColumns m_columns; // of the fields that the filter looks at
};

} // namespace Cartolith::Core::Layers::Internal
