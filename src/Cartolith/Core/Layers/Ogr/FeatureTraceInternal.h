#pragma once

#include <QList>
#include <QSharedData>

#include <functional>
#include <limits>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers::Internal {

/// Which feature of a data source each shape of a layer stands for, by position, followed through all changes
/// of the layer's list.
class FeatureTrace {
public:
    /// A database may have a row -1, and one of this id too, but then its table is not saved.
    static constexpr qint64 none = std::numeric_limits<qint64>::min();

    /// A shape as it was before; without one where that is not known.
    struct Original : QSharedData {
        explicit Original(std::unique_ptr<const Cartolith::Core::Shapes::GisShape> before);
        ~Original();
        std::unique_ptr<const Cartolith::Core::Shapes::GisShape> shape;
    };
    struct Entry {
        qint64 feature = none; ///< the source's own id; none for a shape that is not in the source
        QExplicitlySharedDataPointer<const Original> original = {}; ///< null where the shape is the feature's

        /// Whether the shape is something else now. What was undone is not.
        bool isChanged(const Cartolith::Core::Shapes::GisShape& now) const;
        /// Whether a field is still what was read.
        bool isAsRead(const Cartolith::Core::Shapes::GisShape& now, const QString& field) const;
    };

    /// Where there is room for so many, the functions below do not fail, but for taken() and changed(), which
    /// then leave everything as it was.
    void makeRoom(int count);
    /// The shapes are as the source has them.
    void reset(const QList<qint64>& features);
    const std::vector<Entry>& entries() const { return m_entries; }
    /// The first position of the feature that the function gives this id; -1 when there is none.
    using IdOf = std::function<qint64(qint64 feature)>;
    int positionOf(qint64 id, const IdOf& idOf);
    /// What is at a position, or behind the last one, is a feature as the source has it, or none.
    void hold(int position, qint64 feature);

    void inserted(int position, const Cartolith::Core::Shapes::GisShape& shape);
    /// A shape that comes back as it was taken is its feature again: that is how a deletion is undone.
    void taken(int position, const Cartolith::Core::Shapes::GisShape& shape);
    /// The same for several at rising positions of the list with all of them.
    using Shapes = std::vector<std::unique_ptr<Cartolith::Core::Shapes::GisShape>>;
    void taken(const std::vector<int>& positions, const Shapes& shapes);
    void putBack(const std::vector<int>& positions, const Shapes& shapes);
    /// The shape is the one before the change.
    void changed(int position, const Cartolith::Core::Shapes::GisShape& shape);
    void allChanged();
    /// By shapes that have nothing to do with those before.
    void allReplaced(int count);
    /// Forgets the shapes taken, which do not come back.
    void forgetTaken();

private:
    void forgetPlaces() noexcept { m_placesAreKnown = false; }
    Entry entryFor(const Cartolith::Core::Shapes::GisShape& shape);

    struct Taken {
        Entry entry;
        std::shared_ptr<const Cartolith::Core::Shapes::GisShape> copy; ///< shares its vertices
    };

    std::vector<Entry> m_entries;
    std::vector<std::pair<qint64, int>> m_places; // by id and position; made when first asked for
    bool m_placesAreKnown = false;
    QExplicitlySharedDataPointer<const Original> m_unknown{new Original(nullptr)};
    std::unordered_map<const Cartolith::Core::Shapes::GisShape*, Taken>
        m_taken; // an address may be used again: the copy tells
};

} // namespace Cartolith::Core::Layers::Internal
