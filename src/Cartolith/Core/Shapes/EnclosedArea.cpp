#include <Cartolith/Core/Shapes/EnclosedAreaInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

namespace {

/// True for a ring that turns one way all along and goes up once: it does not cross itself. Rounding may make
/// it false.
bool isConvex(const QList<GisShapePoint>& ring) {
    const qsizetype size = ring.size();
    int turns = 0; // up to down and back
    bool turnsLeft = false;
    bool turnsRight = false;
    double dx = 0.0;
    double dy = 0.0;
    bool wasUp = false;
    bool isFirst = true;
    const auto add = [&](double x, double y) {
        if (x == 0.0 && y == 0.0) {
            return;
        }
        const bool isUp = y > 0.0 || (y == 0.0 && x > 0.0);
        if (!isFirst) {
            const double turn = dx * y - dy * x;
            turnsLeft = turnsLeft || turn > 0.0;
            turnsRight = turnsRight || !(turn >= 0.0);
            turns += isUp != wasUp ? 1 : 0;
        }
        isFirst = false;
        wasUp = isUp;
        dx = x;
        dy = y;
    };
    for (qsizetype i = 0; i <= size && !(turnsLeft && turnsRight) && turns <= 3; ++i) {
        const GisShapePoint& a = ring[i % size];
        const GisShapePoint& b = ring[(i + 1) % size];
        add(b.x() - a.x(), b.y() - a.y());
    }
    return turns <= 2 && !(turnsLeft && turnsRight);
}

struct Crossing {
    int line;
    double x;
    int direction;

    bool operator<(const Crossing& other) const noexcept {
        return line < other.line || (line == other.line && x < other.x);
    }
};

} // namespace

double enclosedArea(const QList<GisShapePoint>& ring, double signedArea, double scale) {
    if (ring.size() < 4 || isConvex(ring)) {
        return std::fabs(signedArea);
    }
    constexpr int lines = 32;
    const auto [bottom, top] =
        std::minmax_element(ring.begin(), ring.end(),
                            [](const GisShapePoint& a, const GisShapePoint& b) { return a.y() < b.y(); });
    const double low = bottom->y();
    const double step = top->y() / lines - low / lines;
    const auto heightOf = [low, step](int line) {
        return low + step * (line + 0.3819660112501051); // not where grids and symmetry put edges
    };
    // How many lines lie below, found from where the vertex before was.
    int below = 0;
    std::vector<Crossing> crossings;
    const auto goTo = [&](const GisShapePoint& a, const GisShapePoint& b, bool isNoted) {
        const auto cross = [&](int line, int direction) {
            if (isNoted) {
                crossings.push_back({line, crossingWithLine(a, b, heightOf(line)), direction});
            }
        };
        for (; below < lines && heightOf(below) < b.y(); ++below) {
            cross(below, 1);
        }
        for (; below > 0 && heightOf(below - 1) >= b.y(); --below) {
            cross(below - 1, -1);
        }
    };
    const GisShapePoint* a = &ring.constLast();
    goTo(*a, *a, false);
    for (const GisShapePoint& b : ring) {
        goTo(*a, b, true);
        a = &b;
    }
    std::sort(crossings.begin(), crossings.end());
    const int way =
        signedArea < 0.0 ? 1 : -1; // a line enters a ring that runs counterclockwise where it runs down
    double length = 0.0;
    double strange = 0.0; // where a ring that does not cross itself never winds
    int winding = 0;
    for (std::size_t i = 0; i + 1 < crossings.size(); ++i) {
        winding += crossings[i].direction;
        if (winding != 0) { // then the next one is on this line
            const double its = crossings[i + 1].x - crossings[i].x;
            length += its;
            strange += winding != way ? its : 0.0;
        }
    }
    constexpr double share = 1e-9; // rounding may change the order of edges that nearly meet
    return strange > share * length ? length * scale * (step * scale) : std::fabs(signedArea);
}

} // namespace Cartolith::Core::Shapes::Internal
