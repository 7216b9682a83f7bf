#pragma once

#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>

#include <memory>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

class FeatureTrace;

/// What of a layer's shapes differs from what was read of its source. A feature of the read state that no
/// shape stands for any more counts as deleted.
/// \throws std::runtime_error for an edit of a feature that shapes do not hold whole
OgrEdits pendingEdits(const QString& path, const OgrReadState& read, const FeatureTrace& trace,
                      const std::vector<std::unique_ptr<Shapes::GisShape>>& items);

} // namespace Cartolith::Core::Layers::Internal
