#pragma once

#include <Cartolith/Core/Layers/GisFeatureRequest.h>
#include <Cartolith/Core/Layers/Ogr/ExactTextsInternal.h>
#include <Cartolith/Core/Layers/Requests/FilterValuesInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <memory>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// A feature of an answer.
struct FeatureAnswer {
    qint64 id = -1;
    std::unique_ptr<Shapes::GisShape> own; ///< null where the shape is the layer's
    const Shapes::GisShape* shape = nullptr;
    const Shapes::GisShape* source = nullptr; ///< the one that it was made of, which may have gone
    FieldTexts texts = {};
};

/// The features of an answer that has an order.
class OrderedAnswers {
public:
    explicit OrderedAnswers(const GisFeatureRequest& request);

    /// Keeps the first ones, as many as the limit says.
    void add(FeatureAnswer answer);
    /// No more come.
    void sort();
    /// The next one; false at the end.
    bool take(FeatureAnswer& answer);

private:
    struct Entry {
        FeatureAnswer answer;
        std::vector<Comparand> keys;
        std::size_t number; ///< in the order of the layer
    };
    bool isBefore(const Entry& a, const Entry& b) const;

    QList<GisFeatureRequest::Order> m_order;
    std::optional<std::size_t> m_most;
    std::vector<Entry> m_entries; // while they are added, a heap where there is a limit
    std::size_t m_added = 0;
    std::size_t m_taken = 0;
};

} // namespace Cartolith::Core::Layers::Internal
