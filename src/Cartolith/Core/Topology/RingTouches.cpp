#include <Cartolith/Core/Topology/RingTouchesInternal.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

void RingTouches::findCuts(const QList<Shapes::Internal::RingNest>& nests, ProblemList& problems) const {
    struct Pass {
        double x;
        double y;
        int shell;
        int ring;

        auto place() const { return std::tie(x, y, shell); }
    };
    std::vector<Pass> passes;
    passes.reserve(m_touches.size());
    for (const auto& [x, y, ring] : m_touches) {
        passes.push_back({x, y, nests[ring].depth % 2 == 0 ? ring : nests[ring].innermost, ring});
    }
    std::stable_sort(passes.begin(), passes.end(),
                     [](const Pass& a, const Pass& b) { return a.place() < b.place(); });
    std::vector<int> towards(static_cast<std::size_t>(nests.size())); // another ring that one can go to
    std::iota(towards.begin(), towards.end(), 0);
    const auto endOf = [&towards](int ring) {
        for (int* next = &towards[static_cast<std::size_t>(ring)]; *next != ring;
             next = &towards[static_cast<std::size_t>(ring)]) {
            *next = towards[static_cast<std::size_t>(*next)];
            ring = *next;
        }
        return ring;
    };
    for (std::size_t i = 1; i < passes.size(); ++i) {
        if (passes[i].place() != passes[i - 1].place()) {
            continue;
        }
        const int one = endOf(passes[i - 1].ring);
        const int other = endOf(passes[i].ring);
        if (one == other) {
            problems.add(GisShapeProblemKind::Invalid, {passes[i].x, passes[i].y}, -1, -1,
                         QStringLiteral("Interior is disconnected."));
        }
        towards[static_cast<std::size_t>(other)] = one;
    }
}

} // namespace Cartolith::Core::Topology::Internal
