#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Routing/RouteBuilderInternal.h>
#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>
#include <Cartolith/Core/Routing/RoutingSolver.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Routing {

namespace {

using Kind = RoutingViolation::Kind;
using Order = QList<int>;

using Common::Internal::infinity;

bool hasNaN(const RoutingTimeWindow& window) {
    return std::isnan(window.earliest) || std::isnan(window.latest);
}

class Problem {
public:
    Problem(const RoutingGraph& graph, const QList<RoutingStop>& stops, const QList<RoutingVehicle>& vehicles,
            double defaultSpeed)
        : m_stops(stops), m_vehicles(vehicles) {
        QList<int> nodes;
        for (const RoutingStop& stop : stops) {
            if (!(stop.demand >= 0.0 && stop.serviceTime >= 0.0) ||
                std::isinf(stop.demand + stop.serviceTime)) {
                throw std::invalid_argument(
                    "A stop's demand and service time must be finite and not negative.");
            }
            if (hasNaN(stop.window)) {
                throw std::invalid_argument("A stop's time window must not be NaN.");
            }
            nodes.append(stop.node);
        }
        for (const RoutingVehicle& vehicle : vehicles) {
            if (std::isnan(vehicle.capacity) || hasNaN(vehicle.shift)) {
                throw std::invalid_argument("A vehicle's capacity and shift must not be NaN.");
            }
            nodes.append(vehicle.depot);
        }
        m_times = RoutingSearch::costMatrix(graph, nodes, nodes, RoutingCostMetric::TravelTime, defaultSpeed);
    }

    const QList<RoutingStop>& stops() const { return m_stops; }
    const QList<RoutingVehicle>& vehicles() const { return m_vehicles; }

    /// Places are stops, then the depots of the vehicles.
    qsizetype depotOf(qsizetype vehicle) const { return m_stops.size() + vehicle; }
    double time(qsizetype from, qsizetype to) const { return m_times.at(from).at(to); }

    double drivingTime(qsizetype vehicle, const Order& order) const {
        double time = 0.0;
        qsizetype at = depotOf(vehicle);
        for (const int stop : order) {
            time += this->time(at, stop);
            at = stop;
        }
        return order.isEmpty() ? 0.0 : time + this->time(at, depotOf(vehicle));
    }

    bool isFeasible(qsizetype vehicle, const Order& order) const {
        bool feasible = true;
        walk(vehicle, order, nullptr, nullptr, [&feasible](Kind, int, double) { feasible = false; });
        return feasible;
    }

    /// Follows the order. A way that does not exist takes no time, for what comes after.
    template <typename Violated>
    void walk(qsizetype vehicle, const Order& order, QList<double>* begins, double* back,
              Violated violated) const {
        const RoutingVehicle& driver = m_vehicles.at(vehicle);
        double now = driver.shift.earliest;
        double load = 0.0;
        qsizetype at = depotOf(vehicle);
        const auto drive = [&](qsizetype to, int stop) {
            if (std::isinf(time(at, to))) {
                violated(Kind::Unreachable, stop, 0.0);
            } else {
                now += time(at, to);
            }
            at = to;
        };
        for (const int position : order) {
            const RoutingStop& stop = m_stops.at(position);
            drive(position, position);
            now = std::max(now, stop.window.earliest);
            if (!(now <= stop.window.latest)) {
                violated(Kind::TimeWindow, position, now - stop.window.latest);
            }
            if (begins != nullptr) {
                begins->append(now);
            }
            now += stop.serviceTime;
            load += stop.demand;
        }
        if (order.isEmpty()) {
            if (back != nullptr) {
                *back = now;
            }
            return;
        }
        drive(depotOf(vehicle), -1);
        if (!(load <= driver.capacity)) {
            violated(Kind::Capacity, -1, load - driver.capacity);
        }
        if (!(now <= driver.shift.latest)) {
            violated(Kind::Shift, -1, now - driver.shift.latest);
        }
        if (back != nullptr) {
            *back = now;
        }
    }

private:
    const QList<RoutingStop>& m_stops;
    const QList<RoutingVehicle>& m_vehicles;
    QList<QList<double>> m_times;
};

class Heuristic {
public:
    explicit Heuristic(const Problem& problem) : m_problem(problem), m_orders(problem.vehicles().size()) {
        m_open.resize(problem.stops().size());
        std::iota(m_open.begin(), m_open.end(), 0);
        // Those that close first have the fewest places to go to.
        std::stable_sort(m_open.begin(), m_open.end(), [&problem](int a, int b) {
            return problem.stops().at(a).window.latest < problem.stops().at(b).window.latest;
        });
    }

    QList<Order> run() {
        do {
            while (relocateOne() || turnOne()) {
            }
        } while (insertOpen());
        return m_orders;
    }

private:
    /// What a change must save, in seconds: more than the rounding of the sums, or two orders of equal cost
    /// would follow each other forever.
    double worthwhile() const {
        double all = 0.0;
        for (qsizetype vehicle = 0; vehicle < m_orders.size(); ++vehicle) {
            all += m_problem.drivingTime(vehicle, m_orders.at(vehicle));
        }
        return std::max(1e-6, 1e-9 * all);
    }

    struct Spot {
        qsizetype vehicle = -1;
        qsizetype position = 0;
        double cost = infinity;
    };

    /// Where the stop fits at the least additional driving time below the limit.
    Spot bestSpot(int stop, double limit) const {
        Spot best;
        best.cost = limit;
        for (qsizetype vehicle = 0; vehicle < m_orders.size(); ++vehicle) {
            const Order& order = m_orders.at(vehicle);
            const qsizetype depot = m_problem.depotOf(vehicle);
            for (qsizetype i = 0; i <= order.size(); ++i) {
                const qsizetype before = i > 0 ? order.at(i - 1) : depot;
                const qsizetype after = i < order.size() ? order.at(i) : depot;
                const double direct = order.isEmpty() ? 0.0 : m_problem.time(before, after);
                const double cost = m_problem.time(before, stop) + m_problem.time(stop, after) - direct;
                if (cost < best.cost) {
                    Order longer = order;
                    longer.insert(i, stop);
                    if (m_problem.isFeasible(vehicle, longer)) {
                        best = {vehicle, i, cost};
                    }
                }
            }
        }
        return best;
    }

    bool insertOpen() {
        const auto end = std::remove_if(m_open.begin(), m_open.end(), [this](int stop) {
            const Spot spot = bestSpot(stop, infinity);
            if (spot.vehicle >= 0) {
                m_orders[spot.vehicle].insert(spot.position, stop);
            }
            return spot.vehicle >= 0;
        });
        const bool inserted = end != m_open.end();
        m_open.erase(end, m_open.end());
        return inserted;
    }

    bool relocateOne() {
        const double least = worthwhile();
        for (qsizetype vehicle = 0; vehicle < m_orders.size(); ++vehicle) {
            for (qsizetype i = 0; i < m_orders.at(vehicle).size(); ++i) {
                const Order whole = m_orders.at(vehicle);
                const int stop = whole.at(i);
                m_orders[vehicle].removeAt(i);
                const double saved = m_problem.drivingTime(vehicle, whole) -
                                     m_problem.drivingTime(vehicle, m_orders.at(vehicle));
                // Without the stop, a way may be missing that led over it.
                const bool stays = m_problem.isFeasible(vehicle, m_orders.at(vehicle));
                const Spot spot = stays ? bestSpot(stop, saved - least) : Spot();
                if (spot.vehicle >= 0) {
                    m_orders[spot.vehicle].insert(spot.position, stop);
                    return true;
                }
                m_orders[vehicle] = whole;
            }
        }
        return false;
    }

    bool turnOne() {
        const double least = worthwhile();
        for (qsizetype vehicle = 0; vehicle < m_orders.size(); ++vehicle) {
            const Order order = m_orders.at(vehicle);
            const double now = m_problem.drivingTime(vehicle, order);
            for (qsizetype i = 0; i < order.size(); ++i) {
                for (qsizetype j = i + 1; j < order.size(); ++j) {
                    Order turned = order;
                    std::reverse(turned.begin() + i, turned.begin() + j + 1);
                    if (m_problem.drivingTime(vehicle, turned) < now - least &&
                        m_problem.isFeasible(vehicle, turned)) {
                        m_orders[vehicle] = turned;
                        return true;
                    }
                }
            }
        }
        return false;
    }

    const Problem& m_problem;
    QList<Order> m_orders;
    QList<int> m_open;
};

/// What keeps an unserved stop from being served.
QString whyUnserved(const Problem& problem, int stop) {
    bool reachable = false;
    bool light = false;
    bool inTime = false;
    for (qsizetype vehicle = 0; vehicle < problem.vehicles().size(); ++vehicle) {
        bool reaches = true;
        bool carries = true;
        bool keepsTime = true;
        problem.walk(vehicle, {stop}, nullptr, nullptr, [&](Kind kind, int, double) {
            (kind == Kind::Unreachable ? reaches : kind == Kind::Capacity ? carries : keepsTime) = false;
        });
        reachable = reachable || reaches;
        light = light || (reaches && carries);
        inTime = inTime || (reaches && carries && keepsTime);
    }
    if (!reachable) {
        return QStringLiteral("no vehicle can get there and back");
    }
    if (!light) {
        return QStringLiteral("it is too much for any vehicle that gets there");
    }
    return inTime ? QStringLiteral("no vehicle has room or time left")
                  : QStringLiteral("no vehicle can be there in time and back before the end of its shift");
}

QString nameOf(const RoutingStop& stop, int position) {
    return stop.name.isEmpty() ? QStringLiteral("stop %1").arg(position)
                               : QStringLiteral("stop %1 (%2)").arg(position).arg(stop.name);
}

/// The orders are someone else's: a stop may just be in none of them.
QString describe(const Problem& problem, const RoutingViolation& violation, bool ordersAreGiven) {
    const QString vehicle = QStringLiteral("Vehicle %1").arg(violation.vehicle);
    const QString stop =
        violation.stop >= 0 ? nameOf(problem.stops().at(violation.stop), violation.stop) : QString();
    const QString amount = QString::number(violation.amount, 'g', 6);
    switch (violation.kind) {
    case Kind::Unreachable:
        return QStringLiteral("%1 finds no way to %2.")
            .arg(vehicle, stop.isEmpty() ? QStringLiteral("its depot") : stop);
    case Kind::Capacity:
        return QStringLiteral("%1 carries %2 too much.").arg(vehicle, amount);
    case Kind::TimeWindow:
        return QStringLiteral("%1 is %2 s late at %3.").arg(vehicle, amount, stop);
    case Kind::Shift:
        return QStringLiteral("%1 is back %2 s after its shift.").arg(vehicle, amount);
    case Kind::Unserved:
        break;
    }
    return QStringLiteral("Not served: %1, because %2.")
        .arg(stop, ordersAreGiven ? QStringLiteral("it is in no vehicle's order")
                                  : whyUnserved(problem, violation.stop));
}

void append(RoutingRoute& round, const RoutingRoute& part) {
    Internal::appendLine(round.geometry, part.geometry);
    const qsizetype shift = round.geometry.size() - part.geometry.size();
    for (RoutingLeg leg : part.legs) {
        leg.firstPoint += shift;
        round.legs.append(leg);
    }
    const bool shared = !round.nodePath.isEmpty() && !part.nodePath.isEmpty() &&
                        round.nodePath.constLast() == part.nodePath.constFirst();
    round.nodePath.append(part.nodePath.mid(shared ? 1 : 0));
    round.edgePath.append(part.edgePath);
    round.totalDistance += part.totalDistance;
    round.totalTime += part.totalTime;
    if (!part.success) {
        round.success = false;
        round.message = part.message;
    }
}

RoutingPlan planOf(const RoutingGraph& graph, const Problem& problem, const QList<Order>& orders,
                   double defaultSpeed, bool ordersAreGiven) {
    RoutingPlan plan;
    QList<bool> served(problem.stops().size(), false);
    for (int vehicle = 0; vehicle < problem.vehicles().size(); ++vehicle) {
        Order order;
        const Order wanted = orders.value(vehicle);
        for (const int stop : wanted) {
            if (stop >= 0 && stop < served.size() && !served.at(stop)) {
                served[stop] = true;
                order.append(stop);
            }
        }
        QList<double> begins;
        double back = 0.0;
        problem.walk(vehicle, order, &begins, &back, [&](Kind kind, int stop, double amount) {
            plan.violations.append({kind, vehicle, stop, amount, {}});
        });
        RoutingRoute round;
        const int depot = problem.vehicles().at(vehicle).depot;
        int at = depot;
        for (qsizetype i = 0; i <= order.size() && !order.isEmpty(); ++i) {
            const int next = i < order.size() ? problem.stops().at(order.at(i)).node : depot;
            append(round, RoutingDijkstra::shortestRoute(graph, at, next, RoutingCostMetric::TravelTime,
                                                         defaultSpeed));
            at = next;
        }
        plan.orders.append(order);
        plan.begins.append(begins);
        plan.returns.append(back);
        plan.solution.routes.append(round);
    }
    for (int stop = 0; stop < served.size(); ++stop) {
        if (!served.at(stop)) {
            plan.violations.append({Kind::Unserved, -1, stop, 0.0, {}});
        }
    }
    for (RoutingViolation& violation : plan.violations) {
        violation.message = describe(problem, violation, ordersAreGiven);
    }
    return plan;
}

} // namespace

RoutingStop RoutingStop::of(const RoutingNode& node) {
    return {node.id, node.name, node.demand, node.serviceTime, node.timeWindow()};
}

RoutingPlan RoutingSolver::solve(const RoutingGraph& graph, const QList<RoutingStop>& stops,
                                 const QList<RoutingVehicle>& vehicles, double defaultSpeed) {
    Common::Internal::LogStep step(Common::LogChannels::routing, "solve");
    step.set("stops", stops.size());
    step.set("vehicles", vehicles.size());
    const Problem problem(graph, stops, vehicles, defaultSpeed);
    return planOf(graph, problem, Heuristic(problem).run(), defaultSpeed, false);
}

RoutingPlan RoutingSolver::evaluate(const RoutingGraph& graph, const QList<RoutingStop>& stops,
                                    const QList<RoutingVehicle>& vehicles, const QList<QList<int>>& orders,
                                    double defaultSpeed) {
    const Problem problem(graph, stops, vehicles, defaultSpeed);
    return planOf(graph, problem, orders, defaultSpeed, true);
}

} // namespace Cartolith::Core::Routing
