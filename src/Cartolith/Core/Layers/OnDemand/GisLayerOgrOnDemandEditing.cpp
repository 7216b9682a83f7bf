// The edit session of GisLayerOgrOnDemand, and how it ends in the source.

#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/PendingEditsInternal.h>
#include <Cartolith/Core/Layers/OnDemand/FeatureCacheInternal.h>
#include <Cartolith/Core/Layers/OnDemand/WindowSourceInternal.h>

#include <QScopeGuard>

#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::CachedFeature;
using Internal::FeatureTrace;
using Shapes::GisShape;
using Shapes::GisShapeType;

bool GisLayerOgrOnDemand::canEdit() const {
    // What two sessions do to a row of a server is decided with more knowledge of the row than is kept here.
    return m_source != nullptr && m_source->hasTransactions() &&
           !Internal::OgrFormat::isServerOf(m_source->driverName());
}

void GisLayerOgrOnDemand::edit(int position) {
    const qint64 id = m_trace->entries()[static_cast<std::size_t>(position)].feature;
    CachedFeature* const feature = id != FeatureTrace::none ? m_cache->find(id) : nullptr;
    if (feature == nullptr) {
        return;
    }
    if (isWithoutFields(position)) { // saved, it would lose the others
        throw std::runtime_error(
            "The shape was read without all of its fields: change it in an edit session");
    }
    if (!isEditing() && !feature->isEdited && m_source->content().isOfDatabase()) {
        m_source->content().setComparing(true);
        const auto end = qScopeGuard([this] { m_source->content().setComparing(false); });
        readAgain(*feature);
    }
    m_cache->edit(*feature);
}

void GisLayerOgrOnDemand::shapesChanged(ShapeChange change, int position, const GisShape* shape) {
    switch (change) {
    case ShapeChange::Inserted:
        m_trace->inserted(position, *shape);
        if (m_source != nullptr) { // the kind is the source's, of which nothing may have been read
            const bool isOther =
                shape->shapeType() != GisShapeType::Null && shape->shapeType() != m_kindBefore;
            setShapeType(isOther ? GisShapeType::Null : m_kindBefore);
        }
        break;
    case ShapeChange::Taken:
        edit(position);
        m_trace->taken(position, *shape);
        break;
    case ShapeChange::Changed:
        edit(position);
        m_trace->changed(position, *shape);
        break;
    case ShapeChange::AllChanged:
        if (m_fields && !isEditing()) {
            break;
        }
        for (int place = 0; place < count(); ++place) {
            try {
                edit(place);
            } catch (const std::runtime_error&) { // its change is not found, and not saved
            }
        }
        m_trace->allChanged();
        break;
    case ShapeChange::AllReplaced:
        m_cache->clear();
        m_trace->allReplaced(count());
        break;
    }
    m_freeIsKnown = false;
    m_editedIsKnown = false;
}

bool GisLayerOgrOnDemand::beginEditCore() {
    if (isLocked() || m_source == nullptr) {
        return false;
    }
    m_lastError = {};
    if (m_fields || m_source->content().isOfDatabase()) {
        m_cache->keepFront([this](const CachedFeature& feature) { leave(feature); });
        try {
            readForEditing(true);
            Internal::ReadWindow* const front = m_cache->front();
            for (qsizetype i = 0; front != nullptr && i < static_cast<qsizetype>(front->features.size());
                 ++i) {
                readAgain(*front->features[static_cast<std::size_t>(i)]);
            }
        } catch (const std::runtime_error& error) {
            readForEditing(false);
            m_lastError = QString::fromUtf8(error.what());
            return false;
        }
    }
    return GisLayerVector::beginEditCore();
}

void GisLayerOgrOnDemand::readAgain(CachedFeature& feature) {
    Internal::OgrContent& content = m_source->content();
    content.forget();
    bool isSame = m_source->readFeature(feature.read.id) &&
                  static_cast<qsizetype>(content.shapes.size()) == feature.shapes.size();
    for (std::size_t i = 0; isSame && i < content.shapes.size(); ++i) {
        const GisShape& known = *feature.shapes[static_cast<qsizetype>(i)];
        isSame =
            Internal::haveSameGeometry(*content.shapes[i], known) &&
            (m_fields ? std::all_of(m_fields->begin(), m_fields->end(),
                                    [&, i](const QString& field) {
                                        return Internal::areSame(content.shapes[i]->attributeValue(field),
                                                                 known.attributeValue(field));
                                    })
                      : Internal::haveSameAttributes(*content.shapes[i], known));
    }
    if (isSame) {
        for (std::size_t i = 0; i < content.shapes.size(); ++i) {
            feature.shapes[static_cast<qsizetype>(i)]->attributeSlot() = content.shapes[i]->attributeSlot();
        }
        feature.read = *content.state.features.begin();
    } else {
        feature.read.digest = ~feature.read.digest; // not what it was, which a commit finds
    }
    content.forget();
}

void GisLayerOgrOnDemand::settleEdits(const std::unordered_map<qint64, quint64>* saved) {
    const auto before = m_cache->reads();
    const Internal::ReadFeatures edited = m_cache->edited();
    m_cache->clear();
    m_cache->open({});
    m_editedIsKnown = false;
    for (int place = 0; place < count(); ++place) {
        GisShape* const shape = items()[static_cast<std::size_t>(place)].get();
        const FeatureTrace::Entry& entry = m_trace->entries()[static_cast<std::size_t>(place)];
        const qint64 id = entry.feature;
        if (shape == nullptr || id == FeatureTrace::none) {
            continue;
        }
        CachedFeature* feature = m_cache->find(id);
        if (feature == nullptr) {
            Internal::ReadFeature read;
            read.id = id;
            read.shapes = 1;
            if (const auto known = before.find(id); known != before.end()) {
                read = known->second;
            }
            if (saved != nullptr && saved->contains(id)) {
                read.digest = saved->at(id);
            }
            feature = m_cache->add(read);
        }
        m_cache->give(*feature, *shape);
        if (saved == nullptr && entry.isChanged(*shape)) { // before the session, by what cannot be undone
            m_cache->edit(*feature);
        } else {
            m_trace->hold(place, id);
        }
    }
    for (const Internal::ReadFeature& read : edited) {
        CachedFeature* const deleted = saved == nullptr ? m_cache->add(read) : nullptr;
        if (deleted != nullptr) {
            m_cache->edit(*deleted);
        }
    }
}

Internal::OgrReadState GisLayerOgrOnDemand::readForEdits() const {
    Internal::OgrReadState read;
    read.features = m_cache->edited();
    read.fieldNames = m_source->content().state.fieldNames;
    read.system = m_source->content().state.system;
    return read;
}

void GisLayerOgrOnDemand::save() {
    const Internal::OgrReadState read = readForEdits();
    const Internal::OgrEdits edits = Internal::pendingEdits(m_sourcePath, read, *m_trace, items());
    if (edits.isEmpty()) {
        return;
    }
    Common::Internal::LogStep step(Common::LogChannels::save, "edits");
    Internal::describe(step, m_sourcePath, edits);
    if (coordinateSystem() != m_sourceSystem) {
        Internal::failToWrite(m_sourcePath,
                              QStringLiteral("the layer's coordinate system is not the source's any more"));
    }
    Internal::SourceState state = m_source->state();
    Internal::OgrSavedIds ids;
    {
        const ChangeLock lock(*this);
        Internal::saveEdits({m_sourcePath,
                             m_source->layerName(),
                             m_source->driverName(),
                             &state,
                             attributeDefinitions(),
                             {},
                             m_saveWait,
                             read,
                             {},
                             [&ids](const Internal::OgrSavedIds& saved) { ids = saved; }},
                            edits);
    }
    // The edits are in the source: nothing may fail any more.
    qsizetype next = 0;
    for (int place = 0; place < count(); ++place) {
        const bool isNew = items()[static_cast<std::size_t>(place)] != nullptr &&
                           m_trace->entries()[static_cast<std::size_t>(place)].feature == FeatureTrace::none;
        if (isNew) {
            m_trace->hold(place, ids.added.at(next++));
        }
    }
    try {
        settleEdits(&ids.digests);
        // Its counts and its extent are other ones now.
        m_source = std::make_unique<Internal::WindowSource>(m_sourcePath, m_source->layerName(), m_saveWait);
        readForEditing(false);
    } catch (const std::bad_alloc&) {
        forgetRead();
    } catch (const std::runtime_error&) { // what reads next says why
    }
}

bool GisLayerOgrOnDemand::commitEditCore() {
    if (isLocked()) {
        return false;
    }
    if (!Internal::trySaving(m_sourcePath, isCommandRunning(), m_lastError, [this] { save(); })) {
        return false;
    }
    m_trace->forgetTaken();
    if (m_cache->hasEdits()) { // all of them undone
        settleEdits(nullptr);
    }
    readForEditing(false);
    return GisLayerVector::commitEditCore();
}

bool GisLayerOgrOnDemand::rollbackEditCore() {
    if (isLocked()) {
        return false;
    }
    m_lastError = {};
    if (!GisLayerVector::rollbackEditCore()) {
        return false;
    }
    m_trace->forgetTaken();
    if (m_cache->hasEdits()) {
        settleEdits(nullptr);
    }
    readForEditing(false);
    return true;
}

} // namespace Cartolith::Core::Layers
