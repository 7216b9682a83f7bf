#include <Cartolith/Core/Serialization/GisWktWriter.h>
#include <Cartolith/Core/Serialization/RingsInternal.h>
#include <Cartolith/Core/Serialization/WktNumberInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QString>

#include <algorithm>
#include <array>
#include <utility>

namespace Cartolith::Core::Serialization::Wkt {

using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

using Part = QList<GisShapePoint>;

/// A text under construction, without a temporary for each number.
class Text {
public:
    explicit Text(qsizetype vertices = 0) : m_text(64 + 40 * vertices, Qt::Uninitialized) {}

    void append(QStringView text) {
        char16_t* const target = room(text.size());
        finishAt(std::copy_n(text.utf16(), text.size(), target));
    }

    void append(const GisShapePoint& point) {
        char16_t* target = room(2 * Internal::maxNumberLength + 1);
        target = Internal::writeNumber(target, point.x());
        *target++ = u' ';
        finishAt(Internal::writeNumber(target, point.y()));
    }

    void append(const Part& points) {
        bool first = true;
        for (const GisShapePoint& point : points) {
            if (!first) {
                append(u", ");
            }
            first = false;
            append(point);
        }
    }

    QString take() {
        m_text.resize(m_size);
        m_text.squeeze();
        return std::move(m_text);
    }

private:
    char16_t* room(qsizetype length) {
        if (m_text.size() - m_size < length) {
            m_text.resize(std::max(m_text.size() + m_text.size() / 2, m_size + length));
        }
        return reinterpret_cast<char16_t*>(m_text.data()) + m_size;
    }

    void finishAt(const char16_t* end) { m_size = end - QStringView(m_text).utf16(); }

    QString m_text;
    qsizetype m_size = 0;
};

qsizetype vertexCount(const QList<Part>& parts) {
    qsizetype count = 0;
    for (const Part& part : parts) {
        count += part.size();
    }
    return count;
}

} // namespace

QString GisWktWriter::writePoint(const GisShapePoint& point) {
    Text text;
    text.append(u"POINT (");
    text.append(point);
    text.append(u")");
    return text.take();
}

QString GisWktWriter::writePolyline(const GisShapePolyline& polyline) {
    const QList<Part>& parts = polyline.parts();
    if (parts.isEmpty()) {
        return QStringLiteral("LINESTRING EMPTY");
    }
    Text text(vertexCount(parts));
    const bool multi = parts.size() > 1;
    text.append(multi ? u"MULTILINESTRING ((" : u"LINESTRING (");
    for (const Part& part : parts) {
        if (&part != &parts.constFirst()) {
            text.append(u"), (");
        }
        text.append(part);
    }
    text.append(multi ? u"))" : u")");
    return text.take();
}

QString GisWktWriter::writePolygon(const GisShapePolygon& polygon) {
    const QList<Part>& rings = polygon.parts();
    if (rings.isEmpty()) {
        return QStringLiteral("POLYGON EMPTY");
    }
    Text text(vertexCount(rings));
    text.append(u"POLYGON ((");
    for (const Part& ring : rings) {
        if (&ring != &rings.constFirst()) {
            text.append(u"), (");
        }
        text.append(ring);
        if (Serialization::Internal::isOpen(ring)) {
            text.append(u", ");
            text.append(ring.constFirst());
        }
    }
    text.append(u"))");
    return text.take();
}

QString GisWktWriter::formatDouble(double value) {
    std::array<char16_t, Internal::maxNumberLength> buffer;
    const char16_t* const end = Internal::writeNumber(buffer.data(), value);
    return QStringView(buffer.data(), end).toString();
}

QString GisWktWriter::formatPoint(const GisShapePoint& point) {
    Text text;
    text.append(point);
    return text.take();
}

QString GisWktWriter::formatPointList(const QList<GisShapePoint>& points) {
    Text text(points.size());
    text.append(points);
    return text.take();
}

QList<GisShapePoint> GisWktWriter::ensureClosed(const QList<GisShapePoint>& ring) {
    return Serialization::Internal::closedRing(ring);
}

} // namespace Cartolith::Core::Serialization::Wkt
