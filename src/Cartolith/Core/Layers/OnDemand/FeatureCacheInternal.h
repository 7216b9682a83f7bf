#pragma once

#include <Cartolith/Core/Layers/OnDemand/FeatureTableInternal.h>

#include <functional>
#include <list>
#include <unordered_map>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// What one query read.
struct ReadWindow {
    Shapes::GisExtent extent;
    quint64 number = 0;
    bool isWhole = false; ///< has all features that meet the extent
    std::vector<CachedFeature*> features;
};

/// What a shape takes of memory, its attributes included; a table that somebody asked it for is not.
qint64 bytesOf(const Shapes::GisShape& shape);

/// The features that a layer holds of its source, by the windows that they were read for. When they take
/// more than the budget, the windows that nobody has asked for the longest time go, and with each the
/// features that no other has.
class FeatureCache {
public:
    using Drop = std::function<void(const CachedFeature&)>;

    qint64 budget() const noexcept { return m_budget; }
    void setBudget(qint64 bytes) noexcept { m_budget = bytes; }
    /// An estimate; without edited features.
    qint64 bytes() const noexcept { return m_bytes; }

    /// A new window in front, which nothing drops before there is another one.
    ReadWindow& open(const Shapes::GisExtent& extent);
    /// The window in front; null before the first.
    ReadWindow* front() noexcept { return m_windows.empty() ? nullptr : &m_windows.front(); }
    /// A window that has everything that meets the extent, which is then in front; null when there is none
    /// in which that is found soon.
    ReadWindow* covering(const Shapes::GisExtent& extent);

    CachedFeature* find(qint64 id) const noexcept { return m_features.find(id); }
    /// A feature, for the window in front; null where it is in the cache already.
    CachedFeature* add(const ReadFeature& feature);
    /// In the place of those that it has.
    void give(CachedFeature& feature, FieldTexts texts) noexcept;
    /// Of a feature that is in the cache, one more shape.
    void give(CachedFeature& feature, Shapes::GisShape& shape);
    /// One that is, for the same. Does nothing for a second time.
    void use(CachedFeature& feature);
    /// It stays, whatever the budget, until clear().
    void edit(CachedFeature& feature) noexcept;
    bool hasEdits() const noexcept { return m_edited > 0; }
    /// Those that are edited, and what the source has of them beyond their attributes.
    void addEditedTo(OgrReadState& state) const;
    /// What is known of the features, by id, but for their shapes.
    struct Known {
        ReadFeature read;
        FieldTexts texts;
        bool isEdited;
    };
    std::unordered_map<qint64, Known> known() const;

    /// Drops windows until the rest is within the budget. False when the one in front alone is not.
    bool trim(const Drop& drop);
    /// Drops all windows but the one in front, which then answers nothing.
    void keepFront(const Drop& drop);
    /// Forgets everything.
    void clear() noexcept;

private:
    void dropLast(const Drop& drop);
    void append(CachedFeature& feature);

    qint64 m_budget = qint64(256) << 20;
    qint64 m_bytes = 0;
    qsizetype m_edited = 0;
    quint64 m_opened = 0;
    std::list<ReadWindow> m_windows; // the latest first
    FeatureTable m_features;
};

} // namespace Cartolith::Core::Layers::Internal
