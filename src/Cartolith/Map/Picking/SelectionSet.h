#pragma once

#include <Cartolith/Map/Export.h>

#include <QSet>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace Cartolith::Core::Layers {
class GisLayer;
}

namespace Cartolith::Map::Picking {

/// Which features of which layers are selected, by the ids that LayerSnapshot and hits give them. In no
/// order.
///
/// Where a layer has ids of its source, a selection stays with its features through edits, deletions of
/// others, commits and undo; the id of a feature that was deleted stays selected and means nothing until it
/// is back. In a layer without a source, ids are places in the list: after a deletion, those behind it are
/// other features, and the host selects anew.
///
/// A layer that is gone takes its selection with it. One thread at a time; ids() is a copy for others.
class CARTOLITH_MAP_EXPORT SelectionSet {
public:
    using Layer = std::shared_ptr<Core::Layers::GisLayer>;
    using Ids = QSet<qint64>;
    /// Gets the layer of which the selection has changed.
    using Listener = std::function<void(const Layer& layer)>;

    /// Of nothing.
    SelectionSet() = default;
    SelectionSet(const SelectionSet&) = delete;
    SelectionSet& operator=(const SelectionSet&) = delete;

    bool contains(const Layer& layer, qint64 id) const;
    /// Shared, not copied, until one of the two changes. Empty for null.
    Ids ids(const Layer& layer) const;
    /// Of all layers together.
    qsizetype count() const;
    bool isEmpty() const { return count() == 0; }

    /// \name Changes
    /// They do nothing for a null layer.
    /// @{
    void set(const Layer& layer, const Ids& ids);
    void add(const Layer& layer, const Ids& ids);
    void remove(const Layer& layer, const Ids& ids);
    /// Those that are selected are not any more, the others are.
    void toggle(const Layer& layer, const Ids& ids);
    void clear();
    /// @}

    /// Calls the listener after each change, once for each layer in which something is different then, in
    /// the order of subscription, as long as the result is kept. It may change the selection and the
    /// listeners.
    [[nodiscard]] std::shared_ptr<void> onChanged(Listener listener);

private:
    void tell(const Layer& layer);

    /// Never with an empty set. A new layer at the address of an old one is another key.
    std::map<std::weak_ptr<Core::Layers::GisLayer>, Ids, std::owner_less<>> m_ids;
    std::vector<std::weak_ptr<Listener>> m_listeners;
};

} // namespace Cartolith::Map::Picking
