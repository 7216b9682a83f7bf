#include <Cartolith/Core/Layers/OnDemand/FeatureCacheInternal.h>
#include <Cartolith/Core/Shapes/AttributeRowInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Shapes::GisShape;

namespace {

/// Of a feature beside its shapes: its entries in the table, the windows and the layer's list.
constexpr qint64 bytesBeside = 296;
constexpr std::size_t soonFound = 20'000; // one after the other
constexpr std::size_t mostWindows = 256;

bool contains(const Shapes::GisExtent& outer, const Shapes::GisExtent& inner) {
    return outer.xMin() <= inner.xMin() && outer.yMin() <= inner.yMin() && outer.xMax() >= inner.xMax() &&
           outer.yMax() >= inner.yMax();
}

template <typename Line>
qint64 bytesOfParts(const Line& line) {
    constexpr qint64 head = 40; // of each piece of memory: the list's own and the allocator's
    qint64 bytes = static_cast<qint64>(sizeof(Line)) + 2 * head;
    for (const auto& part : line.parts()) {
        bytes += head + part.capacity() * static_cast<qint64>(sizeof(Shapes::GisShapePoint));
    }
    return bytes;
}

} // namespace

qint64 bytesOf(const GisShape& shape) {
    const auto row = shape.attributeSlot().row();
    qint64 bytes = row.isNull() ? 0 : static_cast<qint64>(row.bytes());
    if (const auto* const polygon = dynamic_cast<const Shapes::GisShapePolygon*>(&shape)) {
        bytes += bytesOfParts(*polygon);
    } else if (const auto* const polyline = dynamic_cast<const Shapes::GisShapePolyline*>(&shape)) {
        bytes += bytesOfParts(*polyline);
    } else {
        bytes += static_cast<qint64>(sizeof(Shapes::GisShapePoint));
    }
    return bytes;
}

ReadWindow& FeatureCache::open(const Shapes::GisExtent& extent) {
    m_windows.emplace_front();
    m_windows.front().extent = extent;
    m_windows.front().number = ++m_opened;
    return m_windows.front();
}

ReadWindow* FeatureCache::covering(const Shapes::GisExtent& extent) {
    const auto found = std::find_if(m_windows.begin(), m_windows.end(), [&extent](const ReadWindow& window) {
        return window.isWhole && contains(window.extent, extent) &&
               (window.features.size() <= soonFound || contains(extent, window.extent));
    });
    if (found == m_windows.end()) {
        return nullptr;
    }
    m_windows.splice(m_windows.begin(), m_windows, found);
    return &m_windows.front();
}

void FeatureCache::append(CachedFeature& feature) {
    ReadWindow& window = m_windows.front();
    window.features.push_back(&feature);
    feature.lastWindow = window.number;
    ++feature.windows;
}

CachedFeature* FeatureCache::add(const ReadFeature& feature) {
    if (m_features.find(feature.id) != nullptr) {
        return nullptr;
    }
    CachedFeature& added = m_features.add(feature.id);
    try {
        added.read = feature;
        added.shapes.reserve(static_cast<qsizetype>(feature.shapes));
        append(added);
    } catch (...) {
        m_features.remove(feature.id);
        throw;
    }
    added.bytes = bytesBeside;
    m_bytes += added.bytes;
    return &added;
}

void FeatureCache::give(CachedFeature& feature, FieldTexts texts) noexcept {
    qint64 bytes = 0;
    const auto add = [&bytes](const FieldTexts& of, qint64 sign) {
        constexpr qint64 head = sizeof(FieldTexts::value_type) + 32; // and what a text of its own takes
        for (const auto& text : of) {
            bytes += sign * (head + text.second.size());
        }
    };
    add(feature.texts, -1);
    add(texts, 1);
    feature.texts = std::move(texts);
    feature.bytes += bytes;
    m_bytes += feature.isEdited ? 0 : bytes;
}

void FeatureCache::give(CachedFeature& feature, GisShape& shape) {
    feature.shapes.append(&shape);
    feature.box = feature.box.expand(shape.extent());
    const qint64 bytes = bytesOf(shape);
    feature.bytes += bytes;
    m_bytes += feature.isEdited ? 0 : bytes;
}

void FeatureCache::use(CachedFeature& feature) {
    if (feature.lastWindow != m_windows.front().number) {
        append(feature);
    }
}

void FeatureCache::edit(CachedFeature& feature) noexcept {
    if (!feature.isEdited) {
        feature.isEdited = true;
        m_bytes -= feature.bytes;
        ++m_edited;
    }
}

std::unordered_map<qint64, FeatureCache::Known> FeatureCache::known() const {
    std::unordered_map<qint64, Known> known;
    m_features.forEach([&known](const CachedFeature& feature) {
        known.emplace(feature.read.id, Known{feature.read, feature.texts, feature.isEdited});
    });
    return known;
}

void FeatureCache::addEditedTo(OgrReadState& state) const {
    m_features.forEach([&state](const CachedFeature& feature) {
        if (!feature.isEdited) {
            return;
        }
        state.features.append(feature.read);
        for (const auto& [field, text] : feature.texts) {
            state.texts.add({feature.read.id, field}, text);
        }
    });
    state.features.sort();
    state.texts.sort();
}

void FeatureCache::dropLast(const Drop& drop) {
    for (CachedFeature* const feature : m_windows.back().features) {
        if (--feature->windows == 0 && !feature->isEdited) {
            drop(*feature);
            m_bytes -= feature->bytes;
            m_features.remove(feature->read.id);
        }
    }
    m_windows.pop_back();
}

bool FeatureCache::trim(const Drop& drop) {
    while ((m_bytes > m_budget && m_windows.size() > 1) || m_windows.size() > mostWindows) {
        dropLast(drop);
    }
    return m_bytes <= m_budget;
}

void FeatureCache::keepFront(const Drop& drop) {
    while (m_windows.size() > 1) {
        dropLast(drop);
    }
    if (!m_windows.empty()) {
        m_windows.front().isWhole = false;
    }
}

void FeatureCache::clear() noexcept {
    m_windows.clear();
    m_features.clear();
    m_bytes = 0;
    m_edited = 0;
}

} // namespace Cartolith::Core::Layers::Internal
