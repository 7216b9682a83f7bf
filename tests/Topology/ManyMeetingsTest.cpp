#include "EditingTestShapes.h"

#include <QFile>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <tuple>

using namespace test;
using Topology::GisCrossing;
using Kind = Topology::GisShapeProblemKind;

namespace {

/// Of this program, in MB, since the last call of forgetPeak().
int peakMemory() {
    QFile file(QStringLiteral("/proc/self/status"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray status = file.readAll();
    return status.mid(status.indexOf("VmHWM:") + 6).simplified().split(' ').constFirst().toInt() / 1024;
}

void forgetPeak() {
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write("5") == 1);
}

/// Millions of elementary tests.
int workOf(const std::function<void(const GisTopology&)>& operation) {
    GisTopology topology;
    int millions = 0;
    topology.SetBusyCallback([&millions](int, int) { return ++millions > 0; });
    operation(topology);
    return millions;
}

/// Each of these has millions of meetings, and an answer without most of them.
TEST(ManyMeetings, NeedLittleMemory) {
    GisShapePolyline toAndFro;
    toAndFro.parts().append(Part());
    for (int i = 0; i < 2400; ++i) {
        toAndFro.parts()[0].append({i % 2 == 0 ? -1e-3 * i : 10 + 1e-3 * i, 0});
    }
    GisShapePolyline onePlace;
    onePlace.parts().append(Part(1500, GisShapePoint(1, 1)));
    GisShapePolygon equalRings;
    equalRings.parts() = QList<Part>(2000, {{0, 0}, {9, 0}, {9, 9}, {0, 9}, {0, 0}});
    GisShapePolygon star;
    star.parts().append(Part());
    for (int i = 0; i < 1801; ++i) {
        const double angle = 2 * M_PI * (i * 900 % 1801) / 1801;
        star.parts()[0].append({std::cos(angle), std::sin(angle)});
    }
    const GisTopology topology;
    const struct {
        const char* name;
        std::function<qsizetype()> operation;
        qsizetype expected;
    } rows[] = {
        {"crossings of a line to and fro", [&] { return topology.GetCrossings(toAndFro).size(); }, 2},
        {"crossings of a repeated place", [&] { return topology.GetCrossings(onePlace).size(); }, 0},
        {"problems of equal rings", [&] { return topology.CheckShape(equalRings).isEmpty() ? 0 : 1; }, 1},
        {"equal rings fixed",
         [&] { return static_cast<GisShapePolygon&>(*topology.FixShape(equalRings).shape).parts().size(); }, 1},
        {"more crossings of a star than are wanted",
         [&] {
             EXPECT_THROW(topology.FixShape(star), std::runtime_error);
             return 0;
         },
         0},
        {"loops of a star", [&] { return topology.FindLoops(star).size(); }, 899},
    };
    for (const auto& row : rows) {
        forgetPeak();
        const int before = peakMemory();
        EXPECT_EQ(row.operation(), row.expected) << row.name;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__clang__) // which keep what is freed
        EXPECT_LT(peakMemory() - before, 150) << row.name;
#else
        EXPECT_GE(peakMemory(), before);
#endif
    }
}

/// So many that they are looked for again instead of kept: the same as those of all pairs.
TEST(ManyMeetings, AreThoseOfEachPair) {
    Random random;
    using Found = std::tuple<int, int, double, double>;
    const auto foundOf = [](const QList<GisCrossing>& crossings) {
        std::vector<Found> found;
        double last = -1;
        for (const GisCrossing& c : crossings) {
            found.emplace_back(c.position.segment, c.other.segment, c.point.x(), c.point.y());
            EXPECT_LE(last, c.position.segment + c.position.fraction);
            last = c.position.segment + c.position.fraction;
        }
        std::sort(found.begin(), found.end());
        return found;
    };
    const auto plain = [](const Part& a, const Part& b, bool isSelf) {
        std::vector<Found> found;
        for (int i = 0; i + 1 < a.size(); ++i) {
            for (int j = isSelf ? i + 2 : 0; j + 1 < b.size(); ++j) {
                GisShapePoint p;
                if (GisTopology::SegmentIntersectionPoint(a[i], a[i + 1], b[j], b[j + 1], 1e-9, &p) &&
                    !(isSelf && i == 0 && GisTopology::SamePoint(p, a.constFirst(), 1e-9))) {
                    found.emplace_back(i, j, p.x(), p.y());
                }
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    };
    const GisTopology topology;
    Part a = random.walk(1000, false);
    a.append(GisShapePoint(a.constFirst()));
    const Part b = random.walk(600, false);
    const auto ring = shapeOfParts<GisShapePolygon>({a});
    const auto line = shapeOfParts<GisShapePolyline>({b});
    const auto self = foundOf(topology.GetCrossings(*ring));
    EXPECT_GT(self.size(), 80000U);
    EXPECT_EQ(self, plain(a, a, true)) << seed();
    EXPECT_EQ(foundOf(topology.GetCrossings(*ring, *line)), plain(a, b, false)) << seed();
    EXPECT_EQ(foundOf(topology.GetCrossings(*line, *ring)), plain(b, a, false)) << seed();
    // A loop is closed where the walk comes back to what is left of it.
    const auto rest = topology.RemoveLoops(*ring, std::numeric_limits<double>::infinity());
    EXPECT_TRUE(topology.FindLoops(*rest).isEmpty()) << wktOf(rest);
    EXPECT_LT(topology.FindLoops(*ring).size(), a.size());
}

/// In an order, or on a line, where each box meets all others.
TEST(ManyMeetings, AreFoundInAnyOrder) {
    Random random;
    GisShapePolygon triangles;
    for (int i = 0; i < 20000; ++i) {
        const double x = 2 * (i * 7919 % 20000 / 100);
        const double y = 2 * (i * 7919 % 100);
        triangles.parts().append(Part{{x, y}, {x + 1, y}, {x, y + 1}, {x, y}});
    }
    GisShapePolygon crossing = triangles;
    for (Part& part : crossing.parts()) {
        part[1].setX(part[1].x() + 1.2);
    }
    GisShapePolygon onLine;
    onLine.parts().append(random.walk(600, false));
    for (GisShapePoint& p : onLine.parts()[0]) {
        p = GisShapePoint(p.x() + 10, 0.7 * (p.x() + 10) + p.y() * 1e-16);
    }
    EXPECT_LT(workOf([&](const GisTopology& t) { EXPECT_TRUE(t.CheckShape(triangles).isEmpty()); }), 30);
    for (const GisShapePolygon* shape : {&crossing, &onLine}) {
        EXPECT_LT(workOf([&](const GisTopology& t) { EXPECT_FALSE(t.FixShape(*shape).changes.isEmpty()); }), 300);
    }
}

/// Beside so many crossings that these are looked for again.
TEST(ManyMeetings, AreLookedForOnceForEachPart) {
    GisShapePolyline lines;
    for (int i = 0; i < 500; ++i) {
        lines.parts() += {{{1.0 * i, -1}, {1.0 * i, 500}}, {{-1.5, i + 0.5}, {500, i + 0.5}}};
    }
    for (int i = 0; i < 8000; ++i) {
        lines.parts().append(Part{{1000.0 + i, 0}, {1000.5 + i, 0}, {1000.5 + i, 1}});
    }
    const int once = workOf([&](const GisTopology& t) { EXPECT_EQ(t.GetCrossings(lines).size(), 500 * 500); });
    EXPECT_LE(workOf([&](const GisTopology& t) { EXPECT_TRUE(t.FindLoops(lines).isEmpty()); }), once);
}

/// Boxes of all of them meet.
TEST(ManyMeetings, SlantedNeighboursAreToldApart) {
    const auto one = shapeOfParts<GisShapePolygon>({spikes(20000, 0.3, 1)});
    EXPECT_LT(workOf([&](const GisTopology& t) { EXPECT_TRUE(t.CheckShape(*one).isEmpty()); }), 30);
    auto crossed = spikes(20000, 0.3, 1);
    crossed[5003] = GisShapePoint(crossed[5013].x(), crossed[5013].y() * 1.0001);
    const auto problems = GisTopology().CheckShape(*shapeOfParts<GisShapePolygon>({crossed}));
    ASSERT_FALSE(problems.isEmpty());
    EXPECT_EQ(problems[0].kind, Kind::SelfCrossing);
    EXPECT_EQ(problems[0].vertex, 5002);

    // Lines, as otherwise one lies in the other.
    const auto inner = shapeOfParts<GisShapePolyline>({spikes(7000, 1, 2)});
    const auto outer = shapeOfParts<GisShapePolyline>({spikes(7000, 1.01, 2.02)});
    double nearest = std::numeric_limits<double>::infinity();
    for (const auto& [a, b] : {std::pair(inner.get(), outer.get()), {outer.get(), inner.get()}}) {
        const Part& points = std::as_const(*a).parts()[0];
        const Part& others = std::as_const(*b).parts()[0];
        for (qsizetype i = 0; i < 40; ++i) { // all are alike
            for (qsizetype j = 1; j < 80; ++j) {
                nearest =
                    std::min(nearest, GisShapePolyline::distancePointToSegment(points[i], others[j - 1], others[j]));
            }
        }
    }
    EXPECT_LT(workOf([&](const GisTopology& t) { EXPECT_NEAR(t.Distance(*inner, *outer), nearest, 1e-14); }), 15);
}

TEST(ManyMeetings, AFullListEndsTheSearch) {
    Random random;
    const auto tangle = shapeOfParts<GisShapePolygon>({random.walk(20000, false)});
    EXPECT_LT(workOf([&](const GisTopology& t) { EXPECT_EQ(t.CheckShape(*tangle).size(), 1001); }), 20);
}

} // namespace
