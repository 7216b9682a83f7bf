#include <Cartolith/Core/Layers/Editing/EditHistoryInternal.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/LodLevelInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>
#include <Cartolith/Core/Layers/SameExtentInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <QFileInfo>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <typeinfo>
#include <utility>

namespace Cartolith::Core::Layers {

using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapeType;

GisLayerVector::GisLayerVector(const QString& path)
    : GisLayer(Internal::nameOfSource(path)), m_path(path),
      m_history(std::make_unique<Internal::EditHistory>()) {}

GisLayerVector::~GisLayerVector() = default;

bool GisLayerVector::canEdit() const {
    return true;
}

bool GisLayerVector::open() {
    setIsOpen(true);
    return true;
}

void GisLayerVector::close() {
    clearEditHistory();
    setIsOpen(false);
}

std::unique_ptr<GisLayerVector> GisLayerVector::createInMemory(const QString& name, GisShapeType type,
                                                               const GisExtent& extent) {
    auto layer = std::make_unique<GisLayerVector>(QString());
    layer->setName(name);
    layer->m_shapeType = type;
    if (!extent.isEmpty()) {
        layer->m_metadataExtent = extent;
    }
    layer->setIsOpen(true);
    return layer;
}

void GisLayerVector::resetVectorLayerState() {
    if (m_isLocked) {
        return;
    }
    const ChangeGroup group(*this);
    clearEditHistory();
    clearShapes();
    clearAttributeDefinitions();
    clearAttributeValueCache();
    clearMetadataExtent();
    setShapeType(GisShapeType::Null);
    setIsOpen(false);
}

// Shapes

QList<GisShape*> GisLayerVector::rawShapes() const {
    QList<GisShape*> shapes;
    shapes.reserve(count());
    for (const auto& shape : m_shapes) {
        if (shape != nullptr) {
            shapes.append(shape.get());
        }
    }
    return shapes;
}

int GisLayerVector::indexOfShapeId(int id) const {
    const auto hasId = [id](const auto& shape) { return shape != nullptr && shape->id() == id; };
    // Ids are positions, unless somebody set one.
    if (id >= 1 && id <= count() && hasId(m_shapes[static_cast<std::size_t>(id) - 1])) {
        return id - 1;
    }
    const auto found = std::find_if(m_shapes.begin(), m_shapes.end(), hasId);
    return found != m_shapes.end() ? static_cast<int>(found - m_shapes.begin()) : -1;
}

GisShape* GisLayerVector::getShape(int id) const {
    const int index = indexOfShapeId(id);
    return index >= 0 ? m_shapes[static_cast<std::size_t>(index)].get() : nullptr;
}

bool GisLayerVector::hasTypedShape() const {
    return std::any_of(m_shapes.begin(), m_shapes.end(), [](const auto& shape) {
        return shape != nullptr && shape->shapeType() != GisShapeType::Null;
    });
}

void GisLayerVector::noteShapeType(const GisShape& shape, bool& isTyped) {
    const GisShapeType type = shape.shapeType();
    if (type == GisShapeType::Null) {
        return;
    }
    if (!isTyped) {
        setShapeType(type);
    } else if (m_shapeType != type) {
        setShapeType(GisShapeType::Null);
    }
    isTyped = true;
}

void GisLayerVector::setShapeType(GisShapeType type) noexcept {
    if (std::exchange(m_shapeType, type) != type) {
        noteChange(GisLayerChange::Schema);
    }
}

void GisLayerVector::reassignShapeIds(std::size_t from) {
    for (std::size_t i = from; i < m_shapes.size(); ++i) {
        if (m_shapes[i] != nullptr) {
            m_shapes[i]->setId(static_cast<int>(i) + 1);
        }
    }
}

void GisLayerVector::reserveShapes(int count) {
    const auto wanted = static_cast<std::size_t>(std::max(count, 0));
    if (wanted > m_shapes.capacity()) {
        m_shapes.reserve(std::max(wanted, 2 * m_shapes.capacity()));
    }
}

bool GisLayerVector::addShape(std::unique_ptr<GisShape> shape) {
    if (m_isLocked || shape == nullptr || shape->isEmpty()) {
        return false;
    }
    const ChangeGroup group(*this);
    reserveShapes(count() + 1);
    bool isTyped = hasTypedShape();
    noteShapeType(*shape, isTyped);
    shape->setId(count() + 1);
    m_shapes.push_back(std::move(shape));
    settle(ShapeChange::Inserted, count() - 1);
    return true;
}

bool GisLayerVector::addShape(const GisShape& shape) {
    return addShape(shape.clone());
}

bool GisLayerVector::addPoint(const Shapes::GisShapePoint& point) {
    return addShape(point.clone());
}

bool GisLayerVector::addPolyline(const Shapes::GisShapePolyline& polyline) {
    return addShape(polyline.clone());
}

bool GisLayerVector::addPolygon(const Shapes::GisShapePolygon& polygon) {
    return addShape(polygon.clone());
}

bool GisLayerVector::insertShapeAt(int index, std::unique_ptr<GisShape> shape) {
    if (m_isLocked || shape == nullptr || index < 0) {
        return false;
    }
    const ChangeGroup group(*this);
    reserveShapes(count() + 1);
    bool isTyped = hasTypedShape();
    noteShapeType(*shape, isTyped);
    const auto position = static_cast<std::size_t>(std::min(index, count()));
    m_shapes.insert(m_shapes.begin() + static_cast<std::ptrdiff_t>(position), std::move(shape));
    reassignShapeIds(position);
    settle(ShapeChange::Inserted, static_cast<int>(position));
    return true;
}

std::unique_ptr<GisShape> GisLayerVector::takeShapeById(int id, int* index) {
    const int position = indexOfShapeId(id);
    if (m_isLocked || position < 0) {
        return nullptr;
    }
    if (index != nullptr) {
        *index = position;
    }
    return takeAt(static_cast<std::size_t>(position));
}

bool GisLayerVector::removeShape(GisShape* shape) {
    if (shape == nullptr) {
        throw std::invalid_argument("Shape cannot be null.");
    }
    const auto found = std::find_if(m_shapes.begin(), m_shapes.end(),
                                    [shape](const auto& owned) { return owned.get() == shape; });
    if (m_isLocked || found == m_shapes.end()) {
        return false;
    }
    takeAt(static_cast<std::size_t>(found - m_shapes.begin()));
    return true;
}

std::unique_ptr<GisShape> GisLayerVector::takeAt(std::size_t position) {
    shapesChanged(ShapeChange::Taken, static_cast<int>(position), m_shapes[position].get());
    notePlaces(m_shapes[position].get(), nullptr);
    std::unique_ptr<GisShape> shape = std::move(m_shapes[position]);
    m_shapes.erase(m_shapes.begin() + static_cast<std::ptrdiff_t>(position));
    reassignShapeIds(position);
    forgetDerived();
    return shape;
}

bool GisLayerVector::removeShapeById(int id) {
    return takeShapeById(id, nullptr) != nullptr;
}

std::unique_ptr<GisShape> GisLayerVector::replaceShapeById(int id, std::unique_ptr<GisShape> shape) {
    const int position = indexOfShapeId(id);
    if (m_isLocked || position < 0 || shape == nullptr) {
        return nullptr;
    }
    if (m_shapeType != GisShapeType::Null && shape->shapeType() != GisShapeType::Null &&
        shape->shapeType() != m_shapeType) {
        return nullptr;
    }
    std::unique_ptr<GisShape>& place = m_shapes[static_cast<std::size_t>(position)];
    shapesChanged(ShapeChange::Changed, position, place.get());
    shape->setId(id);
    notePlaces(place.get(), shape.get());
    std::swap(place, shape);
    forgetDerived();
    return shape;
}

void GisLayerVector::replaceShapes(std::vector<std::unique_ptr<GisShape>> shapes) {
    if (m_isLocked) {
        return;
    }
    m_shapes.swap(shapes);
    try {
        reserveShapes(count());
    } catch (...) {
        m_shapes.swap(shapes);
        throw;
    }
    const ChangeGroup group(*this);
    const auto isTyped = [](const auto& shape) {
        return shape != nullptr && shape->shapeType() != GisShapeType::Null;
    };
    const auto first = std::find_if(m_shapes.begin(), m_shapes.end(), isTyped);
    const bool isMixed = std::any_of(first, m_shapes.end(), [&](const auto& shape) {
        return isTyped(shape) && shape->shapeType() != (*first)->shapeType();
    });
    setShapeType(first != m_shapes.end() && !isMixed ? (*first)->shapeType() : GisShapeType::Null);
    reassignShapeIds();
    settle(ShapeChange::AllReplaced);
}

bool GisLayerVector::setShapeAttributesById(int id, const Attributes& attributes) {
    const int position = indexOfShapeId(id);
    if (m_isLocked || position < 0) {
        return false;
    }
    GisShape* const shape = m_shapes[static_cast<std::size_t>(position)].get();
    shapesChanged(ShapeChange::Changed, position, shape);
    shape->attributes() = attributes;
    markContentDirty();
    return true;
}

void GisLayerVector::clearShapes() {
    if (m_isLocked) {
        return;
    }
    m_shapes.clear();
    settle(ShapeChange::AllReplaced);
}

// Fields and attribute values

const Defs::GisAttributeDefinition* GisLayerVector::getAttributeDefinition(const QString& name) const {
    const auto found = std::find_if(m_definitions.begin(), m_definitions.end(),
                                    [&name](const auto& definition) { return definition.name() == name; });
    return found != m_definitions.end() ? &*found : nullptr;
}

void GisLayerVector::addAttributeDefinition(const Defs::GisAttributeDefinition& definition) {
    m_definitions.append(definition);
    noteChange(GisLayerChange::Schema);
}

void GisLayerVector::clearAttributeDefinitions() noexcept {
    setAttributeDefinitions({});
}

void GisLayerVector::setAttributeDefinitions(
    const QList<Defs::GisAttributeDefinition>& definitions) noexcept {
    const auto before = std::exchange(m_definitions, definitions);
    if (m_definitions != before) {
        noteChange(GisLayerChange::Schema);
    }
}

GisLayerVector::Attributes GisLayerVector::defaultAttributes() const {
    Attributes defaults;
    for (const Defs::GisAttributeDefinition& definition : m_definitions) {
        defaults.insert(definition.name(), definition.defaultValue());
    }
    return defaults;
}

GisLayerVector::Attributes GisLayerVector::attributesForFeatureId(int id) const {
    const GisShape* const shape = getShape(id);
    return shape != nullptr ? shape->attributeSlot().copyOfTable() : Attributes();
}

GisLayerVector::Attributes GisLayerVector::attributesForRow(int row) const {
    if (row < 0 || row >= count() || m_shapes[static_cast<std::size_t>(row)] == nullptr) {
        return {};
    }
    return m_shapes[static_cast<std::size_t>(row)]->attributeSlot().copyOfTable();
}

bool GisLayerVector::isOfThisLibrary() const {
    return typeid(*this) == typeid(GisLayerVector);
}

QVariant GisLayerVector::attributeValueForRow(int row, const QString& field) const {
    if (field.isEmpty()) {
        return {};
    }
    if (!isOfThisLibrary()) {
        return attributesForRow(row).value(field);
    }
    const bool isThere = row >= 0 && row < count() && m_shapes[static_cast<std::size_t>(row)] != nullptr;
    return isThere ? m_shapes[static_cast<std::size_t>(row)]->attributeValue(field) : QVariant();
}

void GisLayerVector::setCachedAttributeValues(const QString& field, QList<QVariant> values) const {
    const QMutexLocker lock(&m_valueCacheMutex);
    m_valueCache[field] = std::move(values);
}

bool GisLayerVector::tryGetCachedAttributeValue(const QString& field, int row, QVariant& value) const {
    const QMutexLocker lock(&m_valueCacheMutex);
    const auto found = m_valueCache.find(field);
    if (found == m_valueCache.end()) {
        return false;
    }
    value = found->second.value(row); // invalid outside the list
    return true;
}

void GisLayerVector::clearAttributeValueCache() const {
    const QMutexLocker lock(&m_valueCacheMutex);
    m_valueCache.clear();
}

// Extent

GisExtent GisLayerVector::extent() const {
    if (const auto extent = metadataExtent()) {
        return *extent;
    }
    if (m_extentDirty) {
        m_cachedExtent = calculateExtent();
        m_extentDirty = false;
    }
    return m_cachedExtent;
}

GisExtent GisLayerVector::calculateExtent() const {
    GisExtent extent;
    for (const auto& shape : m_shapes) {
        if (shape != nullptr) {
            extent = extent.expand(shape->extent());
        }
    }
    return extent;
}

std::optional<GisExtent> GisLayerVector::metadataExtent() const noexcept {
    const bool isOutdated = m_isExtentOfSource && (m_geometryDiffers || m_history->changesGeometry());
    return isOutdated ? std::nullopt : m_metadataExtent;
}

void GisLayerVector::setMetadataExtent(const GisExtent& extent) {
    setExtentSaid(extent, false);
}

void GisLayerVector::setSourceExtent(const GisExtent& extent) {
    m_geometryDiffers = false;
    setExtentSaid(extent, true);
}

void GisLayerVector::clearMetadataExtent() noexcept {
    setExtentSaid(std::nullopt, m_isExtentOfSource);
}

void GisLayerVector::setExtentSaid(const std::optional<GisExtent>& extent, bool isOfSource) noexcept {
    const std::optional<GisExtent> before = metadataExtent();
    m_metadataExtent = extent;
    m_isExtentOfSource = isOfSource;
    const std::optional<GisExtent> after = metadataExtent();
    const bool isSame =
        before && after ? Internal::isSameExtent(*before, *after) : before.has_value() == after.has_value();
    if (!isSame) {
        noteChange(GisLayerChange::Extent);
    }
}

void GisLayerVector::expandMetadataExtent(const GisExtent& extent) {
    setMetadataExtent(metadataExtent().value_or(GisExtent()).expand(extent));
}

void GisLayerVector::markDirty() {
    settle(ShapeChange::AllChanged);
}

void GisLayerVector::shapesChanged(ShapeChange /*change*/, int /*position*/, const GisShape* /*shape*/) {}

std::optional<qint64> GisLayerVector::featureId(const GisShape& /*shape*/) const {
    return std::nullopt;
}

GisShape* GisLayerVector::shapeForFeatureId(qint64 /*id*/) {
    return nullptr;
}

bool GisLayerVector::hasStableFeatureIds() const {
    return false;
}

QString GisLayerVector::exactText(const GisShape& /*shape*/, const QString& /*field*/) const {
    return {};
}

bool GisLayerVector::holdsAllShapes() const {
    return true;
}

void GisLayerVector::holdShape(int position, std::unique_ptr<GisShape> shape) {
    if (position == count()) {
        reserveShapes(count() + 1);
        m_shapes.emplace_back();
    }
    if (shape != nullptr) {
        shape->setId(position + 1);
    }
    m_shapes[static_cast<std::size_t>(position)] = std::move(shape);
}

std::vector<std::vector<int>> GisLayerVector::multiPoints() const {
    return {};
}

std::set<QString> GisLayerVector::jsonFields() const {
    return {};
}

void GisLayerVector::forRowsWithoutGeometry(
    const std::function<void(const Attributes&)>& /*function*/) const {}

void GisLayerVector::shapesTaken(const std::vector<int>& /*positions*/) {}

void GisLayerVector::shapesPutBack(const std::vector<int>& /*positions*/) {}

void GisLayerVector::settle(ShapeChange change, int position) {
    GisShape* const shape = position >= 0 ? m_shapes[static_cast<std::size_t>(position)].get() : nullptr;
    shapesChanged(change, position, shape);
    if (change == ShapeChange::Inserted) {
        notePlaces(nullptr, shape);
    } else {
        m_indexDirty = true;
        m_extentDirty = true;
    }
    forgetDerived();
}

void GisLayerVector::notePlaces(const GisShape* removed, GisShape* added, bool isBack) noexcept {
    const GisExtent before = removed != nullptr ? removed->extent() : GisExtent();
    const GisExtent& all = m_cachedExtent;
    const bool isInside = before.isEmpty() || (before.xMin() > all.xMin() && before.yMin() > all.yMin() &&
                                               before.xMax() < all.xMax() && before.yMax() < all.yMax());
    m_extentDirty = m_extentDirty || !isInside;
    if (!m_extentDirty && added != nullptr) {
        m_cachedExtent = all.expand(added->extent());
    }
    auto* const tree =
        m_isIndexOwn ? dynamic_cast<Spatial::RTree::RTreeSpatialIndex*>(m_index.get()) : nullptr;
    try {
        m_indexDirty = m_indexDirty || tree == nullptr ||
                       !(isBack ? tree->updatePutBack(added) : tree->update(removed, before, added));
    } catch (const std::bad_alloc&) {
        m_indexDirty = true;
    }
}

void GisLayerVector::forgetDerived() {
    if (m_history->isRunning()) {
        m_history->noteGeometryChange();
    } else {
        m_geometryDiffers = true;
    }
    clearLodCache();
    markContentDirty();
}

} // namespace Cartolith::Core::Layers
