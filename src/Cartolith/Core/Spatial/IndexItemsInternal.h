#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <QList>

namespace Cartolith::Core::Spatial::Internal {

/// What a bulk build indexes: the shapes in order, without the null ones and those with an empty extent.
inline QList<SpatialIndexItem> itemsOf(const QList<Shapes::GisShape*>& shapes) {
    QList<SpatialIndexItem> items;
    items.reserve(shapes.size());
    for (Shapes::GisShape* shape : shapes) {
        if (!shape) {
            continue;
        }
        const Shapes::GisExtent extent = shape->extent();
        if (!extent.isEmpty()) {
            items.emplaceBack(shape, extent);
        }
    }
    return items;
}

/// What a search appends to its caller's list: nothing, unless it was finished.
class AppendedResults {
public:
    explicit AppendedResults(QList<Shapes::GisShape*>& results)
        : m_results(results), m_before(results.size()) {}
    AppendedResults(const AppendedResults&) = delete;
    AppendedResults& operator=(const AppendedResults&) = delete;
    ~AppendedResults() {
        if (!m_isFinished && m_results.size() > m_before) {
            m_results.resize(m_before);
        }
    }
    /// How many there are.
    int finish() noexcept {
        m_isFinished = true;
        return static_cast<int>(m_results.size() - m_before);
    }

private:
    QList<Shapes::GisShape*>& m_results;
    qsizetype m_before;
    bool m_isFinished = false;
};

} // namespace Cartolith::Core::Spatial::Internal
