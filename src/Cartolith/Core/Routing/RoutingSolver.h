#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingNode.h>
#include <Cartolith/Core/Routing/RoutingSolution.h>

#include <QList>

#include <limits>

namespace Cartolith::Core::Routing {

class RoutingGraph;

/// A place to be served.
struct CARTOLITH_CORE_EXPORT RoutingStop {
    /// With the stop data of the node.
    static RoutingStop of(const RoutingNode& node);

    int node = -1;
    QString name;
    double demand = 0.0;      ///< in units of the vehicles' capacity, 0 or more
    double serviceTime = 0.0; ///< seconds, 0 or more
    RoutingTimeWindow window; ///< in which service begins; a vehicle that is early waits
};

/// Leaves its depot at the beginning of its shift and is back there before the end.
struct RoutingVehicle {
    int depot = -1; ///< node
    double capacity = std::numeric_limits<double>::infinity();
    RoutingTimeWindow shift;
};

/// What a plan does not keep to.
struct RoutingViolation {
    enum class Kind {
        Unreachable, ///< no way from the stop before, or back to the depot
        Capacity,    ///< more on board than the vehicle carries
        TimeWindow,  ///< service begins too late
        Shift,       ///< back at the depot too late
        Unserved     ///< a stop that is in no vehicle's order
    };

    Kind kind = Kind::Unserved;
    int vehicle = -1;    ///< position; -1 for an unserved stop
    int stop = -1;       ///< position; -1 when it is about the vehicle as a whole
    double amount = 0.0; ///< seconds too late, or how much too heavy
    QString message;     ///< a sentence that names the stop, the vehicle and the reason
};

/// Who goes where, when.
struct RoutingPlan {
    QList<QList<int>> orders;    ///< for each vehicle its stops as positions, in the order of service
    QList<QList<double>> begins; ///< for each of these when service begins, seconds
    QList<double> returns;       ///< for each vehicle when it is back; the beginning of an unused shift
    RoutingSolution solution;    ///< for each vehicle its route; times are those of driving alone
    QList<RoutingViolation> violations;
};

/// Plans the rounds of a fleet: stops with time windows, service times and demands, vehicles with capacities
/// and shifts. Between two stops a vehicle takes the way of least travel time; the solver makes the sum of
/// these times small.
///
/// A heuristic for up to some hundred stops: each stop is inserted where it costs least, those that close
/// first before the others; then single stops move to better places and stretches are turned round (2-opt)
/// until neither helps. The result is never guaranteed to be the best. solve() keeps to capacities, windows
/// and shifts: a stop that it finds no room for stays unserved, and its violation says why.
class CARTOLITH_CORE_EXPORT RoutingSolver {
public:
    RoutingSolver() = delete;

    /// \throws std::invalid_argument "A stop's demand and service time must be finite and not negative.", "A
    /// stop's time window must not be NaN.", "A vehicle's capacity and shift must not be NaN."
    static RoutingPlan solve(const RoutingGraph& graph, const QList<RoutingStop>& stops,
                             const QList<RoutingVehicle>& vehicles, double defaultSpeed = 50.0);

    /// What becomes of orders from elsewhere, entry i being that of vehicle i: times, routes and every
    /// violation. A stop counts where it comes first; where it comes again, positions that are out of range
    /// and orders beyond the vehicles are left out.
    /// \throws std::invalid_argument as solve()
    static RoutingPlan evaluate(const RoutingGraph& graph, const QList<RoutingStop>& stops,
                                const QList<RoutingVehicle>& vehicles, const QList<QList<int>>& orders,
                                double defaultSpeed = 50.0);
};

} // namespace Cartolith::Core::Routing
