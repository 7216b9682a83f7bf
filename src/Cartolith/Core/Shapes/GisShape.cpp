#include <Cartolith/Core/Shapes/GisShape.h>

#include <QByteArray>

#include <stdexcept>

namespace Cartolith::Core::Shapes {

GisShape::~GisShape() = default;

bool GisShape::intersects(const GisExtent& extent) const {
    return this->extent().intersects(extent);
}

std::unique_ptr<GisShape> GisShape::clone() const {
    return simplify(0.0);
}

std::unique_ptr<GisShape> GisShape::simplify(double /*tolerance*/) const {
    return nullptr;
}

QByteArray GisShape::toWkb() const {
    throw std::runtime_error("WKB serialization is not implemented for this shape type.");
}

void GisShape::fromWkb(const QByteArray& /*wkb*/) {
    throw std::runtime_error("WKB deserialization is not implemented for this shape type.");
}

QString GisShape::toGeoJson() const {
    throw std::runtime_error("GeoJSON serialization is not implemented for this shape type.");
}

void GisShape::fromGeoJson(const QString& /*json*/) {
    throw std::runtime_error("GeoJSON deserialization is not implemented for this shape type.");
}

void GisShape::copyAttributesTo(GisShape& target) const {
    target.m_id = m_id;
    if (target.m_attributes.isEmpty()) {
        target.m_attributes = m_attributes; // shared until one of the two is changed
        return;
    }
    const QHash<QString, QVariant> attributes = m_attributes.copyOfTable();
    QHash<QString, QVariant>& others = target.m_attributes.table();
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        others.insert(it.key(), it.value());
    }
}

} // namespace Cartolith::Core::Shapes
