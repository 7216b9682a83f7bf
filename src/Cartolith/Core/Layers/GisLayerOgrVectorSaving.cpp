// The edit session of GisLayerOgrVector, and how it ends in the source.

#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>
#include <Cartolith/Core/Layers/IndexFileInternal.h>
#include <Cartolith/Core/Layers/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/SourceStateInternal.h>

#include <QFile>

#include <optional>
#include <stdexcept>

namespace Cartolith::Core::Layers {

using Internal::FeatureTrace;

bool GisLayerOgrVector::canEdit() const {
    return isOpen();
}

qint64 GisLayerOgrVector::sourceId(qint64 feature) const {
    return m_numberedIds.value(feature, feature);
}

QList<qint64> GisLayerOgrVector::sourceFeatureIds() const {
    QList<qint64> ids;
    ids.reserve(count());
    for (const FeatureTrace::Entry& entry : m_trace->entries()) {
        ids.append(entry.feature == FeatureTrace::none ? -1 : sourceId(entry.feature));
    }
    return ids;
}

void GisLayerOgrVector::shapesChanged(ShapeChange change, int position, const Shapes::GisShape* shape) {
    switch (change) {
    case ShapeChange::Inserted:
        m_trace->inserted(position, *shape);
        break;
    case ShapeChange::Taken:
        m_trace->taken(position, *shape);
        break;
    case ShapeChange::Changed:
        m_trace->changed(position);
        break;
    case ShapeChange::AllChanged:
        m_trace->allChanged();
        break;
    case ShapeChange::AllReplaced:
        m_trace->allReplaced(count());
        break;
    }
}

bool GisLayerOgrVector::beginEditCore() {
    if (isLocked()) {
        return false;
    }
    m_lastError.clear();
    return isOpen() && GisLayerVector::beginEditCore();
}

Internal::OgrEdits GisLayerOgrVector::pendingEdits() const {
    const auto& entries = m_trace->entries();
    QSet<qint64> touched;
    QHash<qint64, int> left;
    for (const FeatureTrace::Entry& entry : entries) {
        ++left[entry.feature];
        if (entry.isTouched) {
            touched.insert(entry.feature);
        }
    }
    Internal::OgrEdits edits;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Shapes::GisShape* const shape = items()[i].get();
        const qint64 feature = entries[i].feature;
        if (shape != nullptr && feature == FeatureTrace::none) {
            edits.added.append(shape);
        } else if (shape != nullptr && touched.contains(feature)) {
            edits.updated[feature].append(shape);
        }
    }
    for (auto it = m_readFeatures.cbegin(); it != m_readFeatures.cend(); ++it) {
        const int now = left.value(it.key());
        const auto refuse = [&](const char* why) {
            Internal::failToWrite(
                m_sourcePath,
                QStringLiteral("feature %1: %2").arg(sourceId(it.key())).arg(QLatin1String(why)));
        };
        if (now == 0 && m_partlyRead.contains(it.key())) {
            refuse("it has parts that are not in the layer and would be lost");
        }
        if (now > 0 && now < it.value()) {
            refuse("it is several shapes here, of which some cannot be deleted alone");
        }
        if (now == 0) {
            edits.deleted.insert(it.key());
        }
    }
    return edits;
}

void GisLayerOgrVector::save() {
    const Internal::OgrEdits edits = pendingEdits();
    if (edits.isEmpty()) {
        return;
    }
    Common::Internal::LogStep step(Common::LogChannels::save, "edits");
    step.set("source", m_sourcePath);
    step.set("deleted", edits.deleted.size());
    step.set("updated", edits.updated.size());
    step.set("added", edits.added.size());
    if (coordinateSystem() != m_sourceSystem) {
        Internal::failToWrite(m_sourcePath,
                              QStringLiteral("the layer's coordinate system is not the source's any more"));
    }
    std::optional<ChangeLock> lock(*this);
    const Internal::OgrSavedIds ids =
        Internal::saveEdits({m_sourcePath, m_sourceName, m_provider->driverName(), m_sourceState.get(),
                             attributeDefinitions(), m_progress, m_saveWait},
                            edits);

    // From here on nothing fails.
    lock.reset();
    const auto idAfter = [&ids](qint64 before) { return ids.isRenumbered ? ids.kept.value(before) : before; };
    QHash<qint64, int> readFeatures;
    for (auto it = m_readFeatures.cbegin(); it != m_readFeatures.cend(); ++it) {
        if (!edits.deleted.contains(it.key())) {
            readFeatures.insert(idAfter(it.key()), it.value());
        }
    }
    QList<qint64> features;
    auto added = ids.added.cbegin();
    for (const FeatureTrace::Entry& entry : m_trace->entries()) {
        const bool isNull = items()[static_cast<std::size_t>(features.size())] == nullptr;
        const bool isNew = entry.feature == FeatureTrace::none;
        features.append(isNew ? (isNull ? FeatureTrace::none : *added++) : idAfter(entry.feature));
        if (isNew && !isNull) {
            readFeatures.insert(features.last(), 1);
        }
    }
    m_trace->reset(features);
    m_readFeatures = readFeatures;
    QSet<qint64> partlyRead;
    for (const qint64 id : std::as_const(m_partlyRead)) {
        partlyRead.insert(idAfter(id));
    }
    m_partlyRead = partlyRead;
    if (ids.isRenumbered) {
        m_numberedIds = ids.numberedIds;
    }
    for (qsizetype i = 0; i < m_skipped.size(); ++i) {
        m_skippedFeatures[i] = idAfter(m_skippedFeatures[i]);
        m_skipped[i].featureId = sourceId(m_skippedFeatures[i]);
    }
    m_featureCount += ids.added.size() - edits.deleted.size();
    clearMetadataExtent();
    // The order of shapes may be another one than that of a layer opened now; without a saved index nothing
    // depends on it.
    m_sourceSize = -1;
    QFile::remove(Internal::IndexFile::pathFor(m_sourcePath, m_sourceName));
}

bool GisLayerOgrVector::commitEditCore() {
    if (isLocked()) {
        return false;
    }
    m_lastError.clear();
    if (isCommandRunning()) {
        m_lastError = QStringLiteral("Cannot write '%1': an edit command is running").arg(m_sourcePath);
        return false;
    }
    try {
        save();
    } catch (const std::exception& error) {
        m_lastError = QString::fromUtf8(error.what());
        return false;
    }
    m_trace->forgetTaken();
    return GisLayerVector::commitEditCore();
}

bool GisLayerOgrVector::rollbackEditCore() {
    if (isLocked()) {
        return false;
    }
    m_lastError.clear();
    if (!GisLayerVector::rollbackEditCore()) {
        return false;
    }
    m_trace->forgetTaken();
    return true;
}

} // namespace Cartolith::Core::Layers
