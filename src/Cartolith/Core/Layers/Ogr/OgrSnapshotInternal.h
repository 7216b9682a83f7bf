#pragma once

#include <Cartolith/Core/Layers/Files/IndexFileInternal.h>
#include <Cartolith/Core/Layers/Files/SourceStateInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>

#include <chrono>
#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// A layer of a data source, opened when all files of the source were of one state: they stay open, so that
/// a save by another process changes nothing of what is read here.
///
/// Errors are std::runtime_error that name the source.
class OgrSnapshot {
public:
    /// Waits so long for a save to end, and puts right what killed processes have left. For a source of one
    /// file it is no error when that goes on changing: it is read whole either way.
    OgrSnapshot(const QString& path, const QString& layerName, std::chrono::milliseconds wait);

    OgrSource& source() { return *m_source; }
    OGRLayer& layer() { return *m_layer; }
    /// The state in which it is read, or an older one.
    const SourceState& state() const { return m_state; }
    /// None when it is not sure to be that of what is read.
    const std::optional<IndexFile::Stamp>& stamp() const { return m_stamp; }

private:
    SourceState m_state;
    std::optional<IndexFile::Stamp> m_stamp;
    std::optional<OgrSource> m_source;
    OGRLayer* m_layer = nullptr;
};

} // namespace Cartolith::Core::Layers::Internal
