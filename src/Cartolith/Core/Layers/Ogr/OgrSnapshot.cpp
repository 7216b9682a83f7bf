#include <Cartolith/Core/Layers/Files/SettlingInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSnapshotInternal.h>

#include <QFileInfo>

#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

OgrSnapshot::OgrSnapshot(const QString& path, const QString& layerName, std::chrono::milliseconds wait) {
    const auto deadline = std::chrono::steady_clock::now() + wait;
    const OgrFormat* const format = OgrFormat::forPath(path);
    const bool hasFamily = format != nullptr && !format->family.isEmpty();
    const bool isFolder = QFileInfo(path).isDir(); // whose entries come and go for other reasons too
    OgrSource::recover(path);
    constexpr int most = 3; // the first look may find something to put right, which is a change
    for (int attempt = 1;; ++attempt) {
        // A save that begins after the look changes the state, and one that ended before it has changed it.
        m_state = SourceState(path);
        m_stamp = IndexFile::stampOf(path);
        const QString obstacle = Settling::settle(path, std::chrono::duration_cast<std::chrono::milliseconds>(
                                                            deadline - std::chrono::steady_clock::now()));
        if (!obstacle.isEmpty()) {
            OgrSource::failToRead(path, obstacle);
        }
        m_source.reset();
        try {
            m_source.emplace(path);
            m_layer = &m_source->layer(layerName);
        } catch (const std::runtime_error&) {
            const bool isLate = attempt >= most && std::chrono::steady_clock::now() >= deadline;
            if (isLate || m_state.isSameMoment(SourceState(path))) {
                throw;
            }
            waitAMoment();
            continue;
        }
        m_layer->GetSpatialRef(); // a file of its own, which is read when it is asked for
        const SourceState now(path);
        if (hasFamily || isFolder ? m_state.isSameMoment(now) : m_state == now) {
            return;
        }
        if (!hasFamily && attempt == most) { // what is open is whole, but from which of the two moments?
            m_stamp.reset();
            return;
        }
        if (hasFamily && attempt >= most && std::chrono::steady_clock::now() >= deadline) {
            m_source->fail(QStringLiteral("its files are being changed"));
        }
        waitAMoment();
    }
}

} // namespace Cartolith::Core::Layers::Internal
