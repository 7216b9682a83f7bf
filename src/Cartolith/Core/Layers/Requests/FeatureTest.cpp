#include <Cartolith/Core/Layers/Requests/FeatureTestInternal.h>
#include <Cartolith/Core/Shapes/AttributeSlot.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <algorithm>

namespace Cartolith::Core::Layers::Internal {

using Shapes::Internal::AttributeRow;

FeatureTest::FeatureTest(const GisFeatureRequest& request, const std::optional<Shapes::GisExtent>& extent)
    : m_extent(extent), m_filter(request.filter), m_columns(request.filter.fields()) {
    if (request.featureIds) {
        m_ids.emplace(request.featureIds->cbegin(), request.featureIds->cend());
        std::sort(m_ids->begin(), m_ids->end());
        m_ids->erase(std::unique(m_ids->begin(), m_ids->end()), m_ids->end());
    }
}

bool FeatureTest::wantsId(qint64 id) const {
    return !m_ids || std::binary_search(m_ids->begin(), m_ids->end(), id);
}

QVariant FeatureTest::valueOf(const Shapes::AttributeSlot& slot, const AttributeRow& row,
                              const QString& field) const {
    const qsizetype which = row.isNull() ? -1 : m_columns.indexOf(field);
    if (which < 0) {
        return slot.value(field);
    }
    const int column = m_columns.in(row)[static_cast<std::size_t>(which)];
    return column < 0 ? QVariant() : row.value(column);
}

bool FeatureTest::wants(const Shapes::AttributeSlot& attributes) const {
    if (m_filter.wantsAll()) {
        return true;
    }
    const AttributeRow row = attributes.row();
    return m_filter.matches([&](const QString& field) { return valueOf(attributes, row, field); });
}

bool FeatureTest::wants(const Shapes::GisShape& shape) const {
    return !m_extent || shape.intersects(*m_extent);
}

} // namespace Cartolith::Core::Layers::Internal
