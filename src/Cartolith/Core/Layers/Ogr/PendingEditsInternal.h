#pragma once

#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>

#include <functional>
#include <memory>
#include <vector>

namespace Cartolith::Core::Common::Internal {
class LogStep;
}

namespace Cartolith::Core::Layers::Internal {

class FeatureTrace;

/// What of a layer's shapes differs from what was read of its source. A feature of the read state that no
/// shape stands for any more counts as deleted, unless it is to be left alone.
/// \throws std::runtime_error for an edit of a feature that shapes do not hold whole
OgrEdits pendingEdits(const QString& path, const OgrReadState& read, const FeatureTrace& trace,
                      const std::vector<std::unique_ptr<Shapes::GisShape>>& items,
                      const std::function<bool(qint64 feature)>& isLeftAlone = {});

/// The same in the log's step.
void describe(Common::Internal::LogStep& step, const QString& path, const OgrEdits& edits);

/// How a layer's commit goes on from save(), which throws: false, with the reason, where it fails and while
/// a command is running.
bool trySaving(const QString& path, bool isCommandRunning, QString& lastError,
               const std::function<void()>& save);

} // namespace Cartolith::Core::Layers::Internal
