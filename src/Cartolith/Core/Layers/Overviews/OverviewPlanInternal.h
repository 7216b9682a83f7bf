#pragma once

#include <QtGlobal>
#include <ogr_core.h>

#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Which features of a layer are in which of its overviews.
class OverviewPlan {
public:
    /// Takes the box of the next feature; one that is not finite or not initialised is of a feature without
    /// a geometry.
    void add(const OGREnvelope& box);
    /// Called once, when all are added.
    void make();

    qint64 featureCount() const { return m_featureCount; } ///< of those with a geometry
    const OGREnvelope& extent() const { return m_extent; }
    /// From the finest to the coarsest; none where there is no feature.
    int levelCount() const { return m_levelCount; }
    double unitsPerPixel(int level) const;
    /// How many of the levels a feature is in, of which it has the first ones. By its place in the order of
    /// adding.
    int levelsOf(qint64 feature) const { return m_levelsOf[static_cast<std::size_t>(feature)]; }

private:
    struct Box {
        double x; ///< of its centre
        double y;
        float length; ///< of its longer side
        quint32 feature;
    };
    struct Item {
        quint64 cell; ///< of the finest grid there can be, in Morton order
        float length;
        quint32 feature;
    };
    using Items = std::vector<Item>;

    Items sortedItems();
    void chooseLevels(const Items& items);
    static Items::iterator keep(Items::iterator first, Items::iterator last, double cellSize);

    std::vector<Box> m_boxes;
    std::vector<quint8> m_levelsOf;
    OGREnvelope m_extent;
    qint64 m_featureCount = 0;
    int m_levelCount = 0;
    int m_finest = 0;    ///< so many times is the side halved for the finest level
    double m_side = 0.0; ///< of the square that all centres lie in
};

} // namespace Cartolith::Core::Layers::Internal
