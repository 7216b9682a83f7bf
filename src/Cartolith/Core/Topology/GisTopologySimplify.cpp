#include <Cartolith/Core/Shapes/SimplificationInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <utility>

namespace Cartolith::Core::Topology {

std::unique_ptr<Shapes::GisShape> GisTopology::Simplify(const Shapes::GisShape& shape,
                                                        double tolerance) const {
    return Internal::unlessStopped([&] {
        Internal::Work work(this);
        auto simplified =
            Shapes::Internal::simplifiedShape(shape, tolerance, [&work](qint64 looks) { work.add(looks); });
        return simplified != nullptr ? std::move(simplified) : shape.clone();
    });
}

} // namespace Cartolith::Core::Topology
