// The edit session of GisLayerOgrOnDemand, and how it ends in the source.

#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>
#include <Cartolith/Core/Layers/Ogr/EditConflictsInternal.h>
#include <Cartolith/Core/Layers/Ogr/FeatureTraceInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Layers/Ogr/PendingEditsInternal.h>
#include <Cartolith/Core/Layers/OnDemand/FeatureCacheInternal.h>
#include <Cartolith/Core/Layers/OnDemand/WindowSourceInternal.h>

#include <QScopeGuard>

#include <algorithm>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::CachedFeature;
using Internal::FeatureTrace;
using Shapes::GisShape;
using Shapes::GisShapeType;

bool GisLayerOgrOnDemand::canEdit() const {
    return m_source != nullptr && m_source->hasTransactions();
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
    if (!isEditing() && !feature->isEdited && feature->read.digest == 0 &&
        m_source->content().isOfDatabase()) {
        m_source->content().setComparing(true);
        const auto end = qScopeGuard([this] { m_source->content().setComparing(false); });
        readAgain({feature});
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
            m_source->requireOneSystem();
            readForEditing(true);
            // What was read in a session before, or saved, is known whole.
            const Internal::ReadWindow* const front = m_cache->front();
            std::vector<CachedFeature*> features =
                front != nullptr ? front->features : std::vector<CachedFeature*>();
            std::erase_if(features, [](const CachedFeature* feature) { return feature->read.digest != 0; });
            readAgain(features);
        } catch (const std::runtime_error& error) {
            readForEditing(false);
            m_lastError = QString::fromUtf8(error.what());
            return false;
        }
    }
    return GisLayerVector::beginEditCore();
}

void GisLayerOgrOnDemand::readAgain(const std::vector<CachedFeature*>& features) {
    constexpr std::size_t batch = 256;
    Internal::OgrContent& content = m_source->content();
    const auto end = qScopeGuard([&content] { content.forget(); });
    for (std::size_t at = 0; at < features.size(); at += batch) {
        std::vector<qint64> ids;
        for (std::size_t i = at; i < std::min(features.size(), at + batch); ++i) {
            ids.push_back(features[i]->read.id);
        }
        content.forget();
        m_source->readFeatures(ids);
        content.state.texts.sort();
        std::set<qint64> same;
        std::size_t next = 0;
        for (const Internal::ReadFeature& read : content.state.features) {
            CachedFeature* const feature = m_cache->find(read.id);
            if (feature != nullptr && complete(*feature, read, &content.shapes[next])) {
                same.insert(read.id);
            }
            next += read.shapes;
        }
        for (std::size_t i = at; i < at + ids.size(); ++i) {
            if (!same.contains(features[i]->read.id)) { // not what it was, which a commit finds
                features[i]->read.digest = ~features[i]->read.digest;
            }
        }
    }
}

/// Gives a feature the fields that it was read without. What is known of it stays as it was read: whether
/// the source has something else by now, which is then false here, is for the commit to tell.
bool GisLayerOgrOnDemand::complete(CachedFeature& feature, const Internal::ReadFeature& read,
                                   const std::unique_ptr<GisShape>* shapes) {
    if (static_cast<qsizetype>(read.shapes) != feature.shapes.size()) {
        return false;
    }
    const auto isKnown = [this](const QString& field) { return !m_fields || m_fields->contains(field); };
    const Internal::FieldTexts texts = m_source->content().state.texts.of(read.id);
    Internal::FieldTexts all = feature.texts;
    for (const auto& text : texts) {
        if (!isKnown(attributeDefinitions().at(text.first).name())) {
            all.push_back(text);
        }
    }
    std::sort(all.begin(), all.end());
    bool isSame = all == texts;
    for (qsizetype i = 0; i < feature.shapes.size(); ++i) {
        GisShape& known = *feature.shapes[i];
        const GisShape& now = *shapes[i];
        auto values = now.attributeSlot().copyOfTable();
        for (const auto& field : attributeDefinitions()) {
            const QVariant value = known.attributeValue(field.name());
            if (isKnown(field.name()) && !Internal::areSame(value, values.value(field.name()))) {
                values.insert(field.name(), value);
                isSame = false;
                if (!value.isValid()) {
                    values.remove(field.name());
                }
            }
        }
        isSame = isSame && Internal::haveSameGeometry(now, known);
        if (isSame) {
            known.attributeSlot() = now.attributeSlot();
        } else if (m_fields) {
            known.attributeSlot().table() = values;
        }
    }
    m_cache->give(feature, std::move(all));
    if (isSame) {
        feature.read = read;
    }
    return isSame;
}

void GisLayerOgrOnDemand::settleEdits(const Internal::OgrSavedIds* saved) {
    const auto before = m_cache->known();
    m_cache->clear();
    m_cache->open({});
    m_editedIsKnown = false;
    const auto textsOf = [&](qint64 id) {
        const auto known = before.find(id);
        Internal::FieldTexts texts = known != before.end() ? known->second.texts : Internal::FieldTexts();
        if (saved != nullptr) {
            std::erase_if(texts, [&](const auto& text) { return saved->written.contains({id, text.first}); });
            const Internal::FieldTexts now = saved->texts.of(id);
            texts.insert(texts.end(), now.begin(), now.end());
            std::sort(texts.begin(), texts.end());
        }
        return texts;
    };
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
                read = known->second.read;
            }
            if (saved != nullptr && saved->digests.contains(id)) {
                read.digest = saved->digests.at(id);
            }
            feature = m_cache->add(read);
            m_cache->give(*feature, textsOf(id));
        }
        m_cache->give(*feature, *shape);
        if (saved == nullptr && entry.isChanged(*shape)) { // before the session, by what cannot be undone
            m_cache->edit(*feature);
        } else {
            m_trace->hold(place, id);
        }
    }
    for (const auto& [id, known] : before) {
        CachedFeature* const deleted =
            saved == nullptr && known.isEdited ? m_cache->add(known.read) : nullptr;
        if (deleted != nullptr) {
            m_cache->give(*deleted, known.texts);
            m_cache->edit(*deleted);
        }
    }
}

Internal::OgrReadState GisLayerOgrOnDemand::readForEdits() const {
    Internal::OgrReadState read;
    m_cache->addEditedTo(read);
    read.fieldNames = m_source->content().state.fieldNames;
    read.system = m_source->content().state.system;
    return read;
}

void GisLayerOgrOnDemand::save() {
    const Internal::OgrReadState read = readForEdits();
    const Internal::OgrEdits edits =
        Internal::pendingEdits(m_sourcePath, read, *m_trace, items(),
                               [this](qint64 feature) { return m_leftOpen->isToStay(feature); });
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
    Internal::SourceState state = m_source->state();
    Internal::OgrSavedIds ids;
    {
        const ChangeLock lock(*this);
        m_leftOpen->save({m_sourcePath,
                          m_source->layerName(),
                          m_source->driverName(),
                          &state,
                          attributeDefinitions(),
                          {},
                          m_saveWait,
                          read,
                          m_leftOpen->conflicts,
                          [&ids](const Internal::OgrSavedIds& saved) { ids = saved; }},
                         edits);
    }
    // The edits are in the source: nothing may fail any more.
    m_isOutdated = m_source->isServer();
    qsizetype next = 0;
    for (int place = 0; place < count(); ++place) {
        const bool isNew = items()[static_cast<std::size_t>(place)] != nullptr &&
                           m_trace->entries()[static_cast<std::size_t>(place)].feature == FeatureTrace::none;
        if (isNew) {
            m_trace->hold(place, ids.added.at(next++));
        }
    }
    try {
        settleEdits(&ids);
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
    m_leftOpen->conflicts = {};
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
    m_leftOpen->conflicts = {};
    if (m_cache->hasEdits()) {
        settleEdits(nullptr);
    }
    readForEditing(false);
    return true;
}

const QList<GisEditConflict>& GisLayerOgrOnDemand::conflicts() const noexcept {
    return m_leftOpen->conflicts;
}

bool GisLayerOgrOnDemand::resolveConflict(qsizetype position, GisEditConflict::Choice choice) {
    return isEditing() && !isLocked() && m_leftOpen->resolve(*this, *m_trace, position, choice);
}

} // namespace Cartolith::Core::Layers
