// The edit session of GisLayerOgrVector, and how it ends in the source.

#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/Files/IndexFileInternal.h>
#include <Cartolith/Core/Layers/Files/SourceStateInternal.h>
#include <Cartolith/Core/Layers/Files/StagedFilesInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>
#include <Cartolith/Core/Layers/Ogr/EditConflictsInternal.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrReadStateInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSnapshotInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Ogr/PendingEditsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QFile>

#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::FeatureTrace;

bool GisLayerOgrVector::canEdit() const {
    return isOpen();
}

QList<qint64> GisLayerOgrVector::sourceFeatureIds() const {
    QList<qint64> ids;
    ids.reserve(count());
    for (const FeatureTrace::Entry& entry : m_trace->entries()) {
        ids.append(entry.feature == FeatureTrace::none ? -1 : m_read->sourceId(entry.feature));
    }
    return ids;
}

std::optional<qint64> GisLayerOgrVector::featureId(const Shapes::GisShape& shape) const {
    const auto position = static_cast<std::size_t>(indexOfShapeId(shape.id()));
    if (position >= items().size() || items()[position].get() != &shape) {
        return std::nullopt;
    }
    const qint64 feature = m_trace->entries()[position].feature;
    return feature == FeatureTrace::none ? std::nullopt : std::optional(m_read->sourceId(feature));
}

Shapes::GisShape* GisLayerOgrVector::shapeForFeatureId(qint64 id) {
    const int position =
        m_trace->positionOf(id, [this](qint64 feature) { return m_read->sourceId(feature); });
    return position >= 0 ? items()[static_cast<std::size_t>(position)].get() : nullptr;
}

QString GisLayerOgrVector::exactText(const Shapes::GisShape& shape, const QString& field) const {
    const auto position = static_cast<std::size_t>(indexOfShapeId(shape.id()));
    if (position >= items().size() || items()[position].get() != &shape) {
        return {};
    }
    const FeatureTrace::Entry& entry = m_trace->entries()[position];
    const auto& fields = attributeDefinitions();
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&field](const auto& definition) { return definition.name() == field; });
    const auto text = m_read->texts.find({entry.feature, static_cast<int>(found - fields.begin())});
    return text && entry.isAsRead(shape, field) ? QString::fromUtf8(*text) : QString();
}

bool GisLayerOgrVector::hasStableFeatureIds() const {
    return m_read->hasStableIds;
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
        m_trace->changed(position, *shape);
        break;
    case ShapeChange::AllChanged:
        m_trace->allChanged();
        break;
    case ShapeChange::AllReplaced:
        m_trace->allReplaced(count());
        break;
    }
}

void GisLayerOgrVector::shapesTaken(const std::vector<int>& positions) {
    m_trace->taken(positions, items());
}

void GisLayerOgrVector::shapesPutBack(const std::vector<int>& positions) {
    m_trace->putBack(positions, items());
}

bool GisLayerOgrVector::beginEditCore() {
    if (isLocked()) {
        return false;
    }
    m_lastError = {};
    return isOpen() && GisLayerVector::beginEditCore();
}

void GisLayerOgrVector::reserveShapes(int count) {
    GisLayerVector::reserveShapes(count);
    m_trace->makeRoom(count);
}

Internal::OgrEdits GisLayerOgrVector::pendingEdits() const {
    return Internal::pendingEdits(m_sourcePath, *m_read, *m_trace, items(),
                                  [this](qint64 feature) { return m_leftOpen->isToStay(feature); });
}

/// What the layer remembers of the source when the edits are in it.
struct GisLayerOgrVector::Saved {
    std::unique_ptr<Internal::OgrReadState> read;
    std::unique_ptr<FeatureTrace> trace;
    QList<SkippedFeature> skipped;
};

GisLayerOgrVector::Saved GisLayerOgrVector::afterSaving(const Internal::OgrEdits& edits,
                                                        const Internal::OgrSavedIds& ids) const {
    const auto idAfter = [&ids](qint64 before) {
        const auto found = ids.kept.find(before);
        return !ids.isRenumbered ? before : found != ids.kept.end() ? found->second : 0;
    };
    Saved saved{std::make_unique<Internal::OgrReadState>(*m_read), std::make_unique<FeatureTrace>(), {}};
    Internal::OgrReadState& state = *saved.read;
    state.features.clear();
    const auto remember = [&](qint64 id, Internal::ReadFeature feature) {
        if (const auto digest = ids.digests.find(id); digest != ids.digests.end()) {
            state.digest += digest->second - feature.digest;
            feature.digest = digest->second;
        }
        feature.id = id;
        state.features.append(feature);
    };
    for (const Internal::ReadFeature& feature : m_read->features) {
        if (!edits.deleted.contains(feature.id) && !edits.leftAlone.contains(feature.id)) {
            remember(idAfter(feature.id), feature);
        } else {
            state.digest -= feature.digest;
        }
    }
    QList<qint64> features;
    auto added = ids.added.cbegin();
    for (const FeatureTrace::Entry& entry : m_trace->entries()) {
        const bool isNull = items()[static_cast<std::size_t>(features.size())] == nullptr;
        const bool isNew = entry.feature == FeatureTrace::none;
        features.append(isNew ? (isNull ? FeatureTrace::none : *added++) : idAfter(entry.feature));
        if (isNew && !isNull) {
            Internal::ReadFeature feature;
            feature.shapes = 1;
            remember(features.last(), feature);
        }
    }
    state.features.sort();
    state.texts = m_read->texts.replacedAt(ids.written, ids.texts);
    saved.trace->reset(features);
    if (ids.isRenumbered) {
        state.numberedIds = ids.numberedIds;
    }
    state.skippedFeatures = {}; // made anew: changed in place, a shared list does not say that memory ran out
    for (qsizetype i = 0; i < m_skipped.size(); ++i) {
        state.skippedFeatures.append(idAfter(m_read->skippedFeatures.at(i)));
        saved.skipped.append({state.sourceId(state.skippedFeatures.constLast()), m_skipped.at(i).reason});
    }
    state.featureCount += ids.added.size() - static_cast<qint64>(edits.deleted.size());
    return saved;
}

void GisLayerOgrVector::save() {
    const Internal::OgrEdits edits = pendingEdits();
    if (edits.isEmpty() && m_isUnsafe) {
        Internal::StagedFiles::sync(m_sourcePath);
        m_isUnsafe = false;
    }
    m_leftOpen->requireNothingDoubtful(m_sourcePath);
    if (edits.isEmpty()) {
        return;
    }
    Common::Internal::LogStep step(Common::LogChannels::save, "edits");
    Internal::describe(step, m_sourcePath, edits);
    if (coordinateSystem() != m_sourceSystem) {
        Internal::failToWrite(m_sourcePath,
                              QStringLiteral("the layer's coordinate system is not the source's any more"));
    }
    std::optional<ChangeLock> lock(*this);
    Saved saved;
    std::optional<Internal::PublishedUnsafely> unsafe;
    try {
        m_leftOpen->save({m_sourcePath, m_sourceName, m_provider->driverName(), m_sourceState.get(),
                          attributeDefinitions(), m_progress, m_saveWait, *m_read, m_leftOpen->conflicts,
                          [&](const Internal::OgrSavedIds& ids) { saved = afterSaving(edits, ids); }},
                         edits);
    } catch (const Internal::PublishedUnsafely& error) { // the edits are in the source all the same
        unsafe = error;
    }

    // From here on nothing fails.
    lock.reset();
    m_isUnsafe = unsafe.has_value();
    m_read = std::move(saved.read);
    m_trace = std::move(saved.trace);
    m_skipped = std::move(saved.skipped);
    // The order of shapes may be another one than that of a layer opened now; without a saved index nothing
    // depends on it.
    m_sourceSize = -1;
    try {
        QFile::remove(Internal::IndexFile::pathFor(m_sourcePath, m_sourceName));
    } catch (const std::bad_alloc&) { // it is not that of the source any more, which whoever loads it finds
    }
    if (unsafe) {
        throw *unsafe;
    }
}

bool GisLayerOgrVector::commitEditCore() {
    if (isLocked()) {
        return false;
    }
    if (!Internal::trySaving(m_sourcePath, isCommandRunning(), m_lastError, [this] { save(); })) {
        return false;
    }
    m_trace->forgetTaken();
    m_leftOpen->conflicts = {};
    return GisLayerVector::commitEditCore();
}

bool GisLayerOgrVector::rollbackEditCore() {
    if (isLocked()) {
        return false;
    }
    m_lastError = {};
    if (!GisLayerVector::rollbackEditCore()) {
        return false;
    }
    m_trace->forgetTaken();
    m_leftOpen->conflicts = {};
    return true;
}

const QList<GisEditConflict>& GisLayerOgrVector::conflicts() const noexcept {
    return m_leftOpen->conflicts;
}

bool GisLayerOgrVector::resolveConflict(qsizetype position, GisEditConflict::Choice choice) {
    return isEditing() && !isLocked() && m_leftOpen->resolve(*this, *m_trace, position, choice);
}

// saveAs()

std::vector<std::vector<int>> GisLayerOgrVector::multiPoints() const {
    std::map<qint64, std::vector<int>> points; // by feature
    const auto& entries = m_trace->entries();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Internal::ReadFeature* const found = m_read->features.find(entries[i].feature);
        const bool isPoint = dynamic_cast<const Shapes::GisShapePoint*>(items()[i].get()) != nullptr;
        if (isPoint && found != nullptr && found->isMultiPoint) {
            points[entries[i].feature].push_back(static_cast<int>(i));
        }
    }
    std::vector<std::vector<int>> groups;
    const auto at = [this](int position) -> const Shapes::GisShape& {
        return *items()[static_cast<std::size_t>(position)];
    };
    for (const auto& [feature, positions] : points) {
        const bool isOne =
            std::all_of(positions.begin(), positions.end(), [&, first = positions.front()](int other) {
                return Internal::haveSameAttributes(at(first), at(other));
            });
        if (isOne) {
            groups.push_back(positions);
        }
    }
    return groups;
}

std::set<QString> GisLayerOgrVector::jsonFields() const {
    return m_read->jsonFields;
}

void GisLayerOgrVector::forRowsWithoutGeometry(const std::function<void(const Attributes&)>& function) const {
    if (!isOpen() || m_read->rowsWithoutGeometry == 0) {
        return;
    }
    Internal::OgrSnapshot snapshot(m_sourcePath, m_sourceName, m_saveWait);
    Internal::OgrSource& source = snapshot.source();
    // Rows go by their numbers in a file, which another file gives to other rows.
    const auto failAsChanged = [&source] {
        source.fail(QStringLiteral("it was changed by someone else since it was opened, so its rows without "
                                   "geometry cannot be copied"));
    };
    if (!m_read->numberedIds.isEmpty() && !(snapshot.state() == *m_sourceState)) {
        failAsChanged();
    }
    OGRLayer& layer = snapshot.layer();
    Internal::FeatureRows rows(*layer.GetLayerDefn());
    const bool isNumbered = !m_read->numberedIds.isEmpty();
    layer.ResetReading();
    qint64 number = 0;
    qint64 copied = 0;
    while (const auto feature = source.next(layer)) {
        const qint64 key = isNumbered ? number++ : static_cast<qint64>(feature->GetFID());
        const OGRGeometry* const geometry = feature->GetGeometryRef();
        // What is a shape here is saved as one, or was deleted.
        if ((geometry == nullptr || geometry->IsEmpty()) && m_read->features.find(key) == nullptr) {
            function(rows.of(*feature).table());
            ++copied;
        }
    }
    if (copied != m_read->rowsWithoutGeometry) { // one has a geometry by now, has gone or come
        failAsChanged();
    }
}

} // namespace Cartolith::Core::Layers
