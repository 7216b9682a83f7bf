#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Requests/ArrowBatchesInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Serialization/PlainWkbInternal.h>
#include <Cartolith/Core/Shapes/AttributeSlot.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

QStringList namesOf(const QList<FieldType>& fields) {
    QStringList names;
    for (const FieldType& field : fields) {
        names.append(field.name);
    }
    return names;
}

/// What GeoArrow says of the geometries' coordinate system, as PROJ's JSON, or else as WKT.
std::string geometryMetadata(const CoordinateSystems::CoordinateSystem* system) {
    const Common::Internal::GdalErrorCapture errors;
    const Common::Internal::EpsgCodesAsGiven codes;
    OGRSpatialReference reference;
    if (system == nullptr || !CoordinateSystems::Internal::toSpatialReference(*system, reference)) {
        return "{}";
    }
    char* text = nullptr;
    const char* const inOneLine[] = {"MULTILINE=NO", nullptr};
    OGRErr error = reference.exportToPROJJSON(&text, inOneLine);
    Common::Internal::CplString exported(text);
    if (error == OGRERR_NONE) {
        return "{\"crs\":" + std::string(text) + R"(,"crs_type":"projjson"})";
    }
    const char* const asWkt2[] = {"FORMAT=WKT2_2019", nullptr};
    text = nullptr;
    error = reference.exportToWkt(&text, asWkt2);
    exported.reset(text);
    if (error != OGRERR_NONE) {
        return "{}";
    }
    const QJsonObject crs{{QStringLiteral("crs"), QString::fromUtf8(text)},
                          {QStringLiteral("crs_type"), QStringLiteral("wkt2:2019")}};
    return QJsonDocument(crs).toJson(QJsonDocument::Compact).toStdString();
}

} // namespace

ArrowBatches::ArrowBatches(std::shared_ptr<GisFeatureReader> reader, const GisArrowOptions& options)
    : m_reader(std::move(reader)), m_options(options), m_places(namesOf(m_reader->fieldTypes())) {
    constexpr qint64 mostBytes = 1 << 30;
    if (options.rowsInBatch < 1 || options.rowsInBatch > std::numeric_limits<qint32>::max() ||
        options.bytesInBatch < 1 || options.bytesInBatch > mostBytes) {
        throw std::invalid_argument("An Arrow batch has from 1 to 2^31 - 1 rows, and from 1 to 2^30 bytes.");
    }
    if (!options.featureIdColumn.isEmpty()) {
        m_id.emplace(options.featureIdColumn, ArrowColumn::Kind::Int64).setNullable(false);
        m_columns.push_back(&*m_id);
    }
    for (const FieldType& field : m_reader->fieldTypes()) {
        m_fields.emplace_back(field, options.dateTimes);
    }
    for (ArrowColumn& field : m_fields) {
        m_columns.push_back(&field);
    }
    if (m_reader->hasGeometry()) {
        m_geometry.emplace(options.geometryColumn, ArrowColumn::Kind::Binary);
        m_geometry->annotate("ARROW:extension:name", "geoarrow.wkb");
        m_geometry->annotate("ARROW:extension:metadata",
                             geometryMetadata(m_reader->coordinateSystem().get()));
        m_columns.push_back(&*m_geometry);
    }
    std::set<std::string> names;
    for (const ArrowColumn* const column : m_columns) {
        if (!names.insert(column->name()).second) {
            throw std::invalid_argument("Two Arrow columns have the name \"" + column->name() + "\".");
        }
    }
}

void ArrowBatches::settle() {
    const bool hangsOnValues = std::any_of(m_fields.begin(), m_fields.end(),
                                           [](const ArrowColumn& field) { return field.isOpen(); });
    if (!m_isSettled && hangsOnValues && !m_isRead) {
        m_isRead = read();
    }
    m_isSettled = true;
}

void ArrowBatches::describe(ArrowSchema& schema) {
    settle();
    ArrowSchemaParts parts{"+s", {}, {}, false, {}};
    for (ArrowColumn* const column : m_columns) {
        parts.children.push_back(newOwn<ArrowSchema>());
        column->describe(*parts.children.back());
    }
    fill(schema, std::move(parts));
}

bool ArrowBatches::next(ArrowArray& batch) {
    if (!m_isRead && !read()) {
        return false;
    }
    m_isRead = false;
    m_isSettled = true;
    ArrowArrayParts parts;
    parts.length = std::exchange(m_rows, 0);
    parts.buffers.emplace_back(); // all rows are there
    for (ArrowColumn* const column : m_columns) {
        parts.children.push_back(newOwn<ArrowArray>());
        column->take(*parts.children.back());
    }
    fill(batch, std::move(parts));
    return true;
}

bool ArrowBatches::isFull() const {
    if (m_rows >= m_options.rowsInBatch) {
        return true;
    }
    std::size_t bytes = 0;
    for (const ArrowColumn* const column : m_columns) {
        bytes += column->bytes();
    }
    return bytes >= static_cast<std::size_t>(m_options.bytesInBatch);
}

/// False when there are no more features.
bool ArrowBatches::read() {
    while (!isFull() && m_reader->next()) {
        if (m_id) {
            m_id->appendInteger(m_reader->featureId());
        }
        appendFields();
        if (m_geometry) {
            appendGeometry();
        }
        ++m_rows;
    }
    if (m_reader->state() == GisFeatureReader::State::Cancelled) {
        throw std::system_error(ECANCELED, std::generic_category(), "The reading was cancelled");
    }
    return m_rows > 0;
}

void ArrowBatches::appendFields() {
    const Shapes::AttributeSlot& slot = m_reader->attributeSlot();
    const Shapes::Internal::AttributeRow row = slot.row();
    const std::vector<int>* const places = row.isNull() ? nullptr : &m_places.in(row);
    std::size_t at = 0;
    try {
        for (; at < m_fields.size(); ++at) {
            if (places != nullptr) {
                m_fields[at].append(row, (*places)[at]);
            } else {
                m_fields[at].append(slot.value(m_places.fields().at(static_cast<qsizetype>(at))));
            }
        }
    } catch (const ArrowColumn::Misfit& misfit) {
        throw std::invalid_argument(
            QStringLiteral("The value of the field \"%1\" of feature %2 cannot be handed out: %3.")
                .arg(m_places.fields().at(static_cast<qsizetype>(at)), QString::number(m_reader->featureId()),
                     misfit.reason)
                .toStdString());
    }
}

void ArrowBatches::appendGeometry() {
    namespace Wkb = Serialization::Wkb::Internal;
    const Shapes::GisShape& shape = *m_reader->shape();
    try {
        if (const std::size_t size = Wkb::plainWkbSize(shape); size > 0) {
            Wkb::writePlainWkb(shape, m_geometry->appendBytes(size));
            return;
        }
        const Common::Internal::GeometryPtr geometry = Serialization::Ogr::Internal::geometryOf(shape);
        if (geometry == nullptr) {
            throw ArrowColumn::Misfit{QStringLiteral("there is no WKB of its kind")};
        }
        char* const place = m_geometry->appendBytes(geometry->WkbSize());
        geometry->exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(place), wkbVariantIso);
    } catch (const ArrowColumn::Misfit& misfit) {
        throw std::invalid_argument(QStringLiteral("The geometry of feature %1 cannot be handed out: %2.")
                                        .arg(m_reader->featureId())
                                        .arg(misfit.reason)
                                        .toStdString());
    }
}

} // namespace Cartolith::Core::Layers::Internal
