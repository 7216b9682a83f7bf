#include <Cartolith/Core/Serialization/PlainWkbInternal.h>
#include <Cartolith/Core/Serialization/RingsInternal.h>
#include <Cartolith/Core/Serialization/WkbBytesInternal.h>
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

namespace {

bool hasNoGap(const QList<GisShapePoint>& part) {
    return std::none_of(part.begin(), part.end(), [](const GisShapePoint& point) { return point.isEmpty(); });
}

/// The only part of a line; null where it is not one that is written as it stands.
const QList<GisShapePoint>* plainLine(const GisShape& shape) {
    const auto* const line = dynamic_cast<const Shapes::GisShapePolyline*>(&shape);
    if (line == nullptr || line->parts().size() != 1) {
        return nullptr;
    }
    const QList<GisShapePoint>& part = line->parts().constFirst();
    return part.size() > 1 && hasNoGap(part) ? &part : nullptr;
}

/// The same of a polygon.
const QList<GisShapePoint>* plainRing(const GisShape& shape) {
    constexpr qsizetype fewest = 4;
    const auto* const polygon = dynamic_cast<const Shapes::GisShapePolygon*>(&shape);
    if (polygon == nullptr || polygon->parts().size() != 1) {
        return nullptr;
    }
    const QList<GisShapePoint>& ring = polygon->parts().constFirst();
    return ring.size() >= fewest && !Serialization::Internal::isOpen(ring) && hasNoGap(ring) ? &ring
                                                                                             : nullptr;
}

} // namespace

std::size_t plainWkbSize(const GisShape& shape) {
    const auto sizeOf = [](const QList<GisShapePoint>& part) {
        return static_cast<std::size_t>(headerSize + countSize + part.size() * pointSize);
    };
    if (const auto* const point = dynamic_cast<const GisShapePoint*>(&shape)) {
        return point->isEmpty() ? 0 : static_cast<std::size_t>(headerSize + pointSize);
    }
    if (const auto* const line = plainLine(shape)) {
        return sizeOf(*line);
    }
    const auto* const ring = plainRing(shape);
    return ring == nullptr ? 0 : sizeOf(*ring) + countSize;
}

void writePlainWkb(const GisShape& shape, char* out) {
    if (const auto* const point = dynamic_cast<const GisShapePoint*>(&shape)) {
        putPoint(putHeader(out, pointType), *point);
    } else if (const auto* const line = plainLine(shape)) {
        putPart(putHeader(out, lineStringType), *line);
    } else if (const auto* const ring = plainRing(shape)) {
        putPart(putNumber(putHeader(out, polygonType), quint32{1}), *ring);
    }
}

} // namespace Cartolith::Core::Serialization::Wkb::Internal
