#include <Cartolith/Core/Serialization/PlainWkbInternal.h>
#include <Cartolith/Core/Serialization/WkbCursor.h>
#include <Cartolith/Core/Serialization/WkbTypesInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace Cartolith::Core::Serialization::Wkb::Internal {

using Shapes::GisShape;
using Shapes::GisShapePoint;

namespace {

constexpr quint32 noType = 0;

quint32 littleEndianType(WkbCursor& cursor) {
    return cursor.readByte() == 1 ? cursor.readUInt32(true) : noType;
}

bool isFinite(const GisShapePoint& point) {
    return std::isfinite(point.x()) && std::isfinite(point.y());
}

/// False for what the caller does not take.
bool appendPart(WkbCursor& cursor, QList<QList<GisShapePoint>>& parts) {
    const quint32 count = cursor.readUInt32(true);
    if (parts.isEmpty()) {
        parts.reserve(1); // append() would take room for two, and most have one
    }
    parts.append(cursor.readPoints(count, true));
    const QList<GisShapePoint>& part = parts.constLast();
    return count > 0 && std::all_of(part.begin(), part.end(), isFinite);
}

bool appendRing(WkbCursor& cursor, QList<QList<GisShapePoint>>& parts) {
    return cursor.readUInt32(true) == 1 && appendPart(cursor, parts);
}

using Append = bool (*)(WkbCursor&, QList<QList<GisShapePoint>>&);

bool appendMembers(WkbCursor& cursor, quint32 type, QList<QList<GisShapePoint>>& parts, Append append) {
    const quint32 count = cursor.readUInt32(true);
    for (quint32 i = 0; i < count; ++i) {
        if (littleEndianType(cursor) != type || !append(cursor, parts)) {
            return false;
        }
    }
    return count > 0;
}

template <typename Shape, typename Function>
std::unique_ptr<GisShape> filled(const Function& function) {
    auto shape = std::make_unique<Shape>();
    return function(shape->parts()) ? std::move(shape) : nullptr;
}

std::unique_ptr<GisShape> read(WkbCursor& cursor) {
    using Parts = QList<QList<GisShapePoint>>;
    using Shapes::GisShapePolygon;
    using Shapes::GisShapePolyline;
    switch (littleEndianType(cursor)) {
    case pointType: {
        const double x = cursor.readDouble(true);
        const double y = cursor.readDouble(true);
        return std::make_unique<GisShapePoint>(x, y);
    }
    case lineStringType:
        return filled<GisShapePolyline>([&](Parts& parts) { return appendPart(cursor, parts); });
    case polygonType:
        return filled<GisShapePolygon>([&](Parts& parts) { return appendRing(cursor, parts); });
    case multiLineStringType:
        return filled<GisShapePolyline>(
            [&](Parts& parts) { return appendMembers(cursor, lineStringType, parts, appendPart); });
    case multiPolygonType:
        return filled<GisShapePolygon>(
            [&](Parts& parts) { return appendMembers(cursor, polygonType, parts, appendRing); });
    default:
        return nullptr;
    }
}

} // namespace

std::unique_ptr<GisShape> shapeOfPlainWkb(QByteArrayView wkb) {
    const QByteArray bytes = QByteArray::fromRawData(wkb.data(), wkb.size());
    WkbCursor cursor(bytes);
    std::unique_ptr<GisShape> shape;
    try {
        shape = read(cursor);
    } catch (const std::runtime_error&) {
        return nullptr; // cut short
    }
    const auto* const point = dynamic_cast<const GisShapePoint*>(shape.get());
    const bool isTaken = shape != nullptr && cursor.remaining() == 0 && !shape->isEmpty() &&
                         (point == nullptr || isFinite(*point));
    return isTaken ? std::move(shape) : nullptr;
}

} // namespace Cartolith::Core::Serialization::Wkb::Internal
