#pragma once

#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/MeetingsInternal.h>
#include <Cartolith/Core/Topology/SegmentPairsInternal.h>

#include <functional>

namespace Cartolith::Core::Topology::Internal {

/// The search for what GetCrossings() returns; of a list with itself for the crossings of the one shape.
///
/// All pairs of segments are looked at once, and if there are not many more meetings than segments, these are
/// kept. Otherwise the search starts anew when it is asked for crossings, segment by segment, so that memory
/// stays in proportion to the segments (about 1.5 KB each at most, plus 10 MB) and to what is kept of the
/// answers.
class CrossingSearch {
public:
    /// \throws Stopped, also from the members
    CrossingSearch(const SegmentList& a, const SegmentList& b, const GisTopology& topology);
    Q_DISABLE_COPY_MOVE(CrossingSearch)

    /// To be asked for once.
    QList<GisCrossing> all();

    /// A time that a part passes a place where it meets itself, and another time that it does.
    struct Passage {
        GisBoundaryPosition at;
        GisBoundaryPosition other;
        Shapes::GisShapePoint point;
    };
    /// The passages of a part of a list with itself, in order, stretches left out: all of them, or once round
    /// from behind `after` to it. Each meeting is two passages.
    void visitPassages(int part, const std::optional<GisBoundaryPosition>& after,
                       const std::function<void(const Passage&)>& visit);

private:
    using Take = std::function<void(const GisCrossing&)>;
    void findAll();
    void sweep(const Take& take);
    void sweepPart(int part, const std::optional<GisBoundaryPosition>& after,
                   const std::function<void(const Passage&)>& visit);
    bool isHeld(const GisCrossing& crossing) const;
    static GisCrossing ordered(const MeetingRules::Meeting& meeting, bool isSelf);

    /// The runs of one part of the first list, and whether its last segment closes a ring.
    struct PartRuns {
        int part;
        SegmentPairs::Range runs;
        bool closes;
    };
    std::vector<PartRuns> partRuns();
    GisBoundaryPosition startOf(qsizetype run) const;

    Work m_work;
    MeetingRules m_rules;
    SegmentPairs m_pairs;
    Stretches m_stretches;
    std::vector<GisCrossing> m_points; ///< unless there are too many
    bool m_areTooMany = false;
    std::vector<PartRuns> m_parts; ///< in order, for the search anew
};

} // namespace Cartolith::Core::Topology::Internal
