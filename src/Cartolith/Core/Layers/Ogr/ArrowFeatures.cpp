#include <Cartolith/Core/Layers/Formats/FlatGeobufHeaderInternal.h>
#include <Cartolith/Core/Layers/Ogr/ArrowFeaturesInternal.h>

#include <cpl_string.h>

#include <algorithm>
#include <set>
#include <string_view>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr char noFormat = 0;

/// How a field comes, so that nothing of it is lost.
char formatOf(const OGRFieldDefn& field) {
    const OGRFieldSubType subtype = field.GetSubType();
    switch (field.GetType()) {
    case OFTInteger:
        return subtype == OFSTNone ? 'i' : noFormat;
    case OFTInteger64:
        return subtype == OFSTNone ? 'l' : noFormat;
    case OFTReal:
        return subtype == OFSTNone ? 'g' : noFormat;
    case OFTString:
        return 'u';
    case OFTBinary:
        return 'z';
    default:
        return noFormat;
    }
}

bool isOf(const ArrowSchema& schema, int child, std::string_view name, char format) {
    return child < schema.n_children && schema.children[child]->name == name &&
           std::string_view(schema.children[child]->format) == std::string_view(&format, 1);
}

/// Whether GDAL reads all columns of the FlatGeobuf file rightly: it takes those of 8 bits for 32.
bool hasOrdinaryColumns(const QByteArray& gdalName, int count) {
    const auto types = flatGeobufTypes(gdalName);
    const auto isOrdinary = [](FlatGeobufType type) {
        return type == FlatGeobufType::Int || type == FlatGeobufType::Long ||
               type == FlatGeobufType::Double || type == FlatGeobufType::String ||
               type == FlatGeobufType::Binary;
    };
    return types && types->size() == static_cast<std::size_t>(count) &&
           std::all_of(types->begin(), types->end(), isOrdinary);
}

/// GDAL reads ahead in threads of its own where it may.
struct OneThread {
    Common::Internal::ThreadOption option{"GDAL_NUM_THREADS", "1"};
};

} // namespace

std::unique_ptr<ArrowFeatures> ArrowFeatures::of(OGRLayer& layer, bool isDatabase, const QByteArray& gdalName,
                                                 bool hasHits) {
    std::unique_ptr<ArrowFeatures> features(new ArrowFeatures);
    return features->begin(layer, isDatabase, gdalName, hasHits) ? std::move(features) : nullptr;
}

bool ArrowFeatures::begin(OGRLayer& layer, bool isDatabase, const QByteArray& gdalName, bool hasHits) {
    OGRFeatureDefn& definition = *layer.GetLayerDefn();
    const bool hasIds = !isDatabase || !QByteArrayView(layer.GetFIDColumn()).isEmpty();
    const bool isQuick = hasHits || layer.TestCapability(OLCFastGetArrowStream) != 0;
    if (!isQuick || definition.GetGeomFieldCount() != 1 || !hasIds ||
        !(isDatabase || gdalName.isEmpty() || hasOrdinaryColumns(gdalName, definition.GetFieldCount()))) {
        return false;
    }
    std::set<std::string_view> names;
    for (int i = 0; i < definition.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *definition.GetFieldDefn(i);
        const char format = formatOf(field);
        if (format == noFormat || field.IsIgnored() != 0 || !names.insert(field.GetNameRef()).second) {
            return false;
        }
        m_fields.push_back({i + 1, format});
    }
    ArrowSchema schema = {};
    if (!openStream(layer, schema)) {
        return false;
    }
    const int geometry = definition.GetFieldCount() + 1;
    bool isKnown = schema.n_children == geometry + 1 && schema.children[0]->format == std::string_view("l") &&
                   schema.children[geometry]->format == std::string_view("z");
    for (const Column& column : m_fields) {
        const char* const name = definition.GetFieldDefn(column.child - 1)->GetNameRef();
        isKnown = isKnown && isOf(schema, column.child, name, column.format);
    }
    schema.release(&schema);
    m_id = {0, 'l'};
    m_geometry = {geometry, 'z'};
    m_childCount = geometry + 1;
    return isKnown;
}

bool ArrowFeatures::openStream(OGRLayer& layer, ArrowSchema& schema) {
    const OneThread oneThread;
    const Common::Internal::GdalErrorCapture errors;
    CPLStringList options;
    options.SetNameValue("INCLUDE_FID", "YES");
    // Rows of any size lie in memory beside the shapes: few at a time, and fewer of a part, whose shapes a
    // budget holds down.
    options.SetNameValue("MAX_FEATURES_IN_BATCH", layer.GetSpatialFilter() == nullptr ? "4096" : "256");
    layer.ResetReading();
    const bool isOpen =
        layer.GetArrowStream(&m_stream, options.List()) && m_stream.get_schema(&m_stream, &schema) == 0;
    if (isOpen && !errors.message().isEmpty()) {
        schema.release(&schema);
        return false;
    }
    return isOpen;
}

ArrowFeatures::~ArrowFeatures() {
    dropBatch();
    if (m_stream.release != nullptr) {
        m_stream.release(&m_stream);
    }
}

void ArrowFeatures::dropBatch() {
    if (m_batch.release != nullptr) {
        m_batch.release(&m_batch);
    }
    m_batch = {};
}

bool ArrowFeatures::nextBatch() {
    dropBatch();
    const OneThread oneThread;
    const Common::Internal::GdalErrorCapture errors;
    // Where it meets a type that it does not know, FlatGeobuf's driver gives batches without rows for ever.
    const bool isOdd =
        m_stream.get_next(&m_stream, &m_batch) != 0 ||
        (m_batch.release != nullptr && (m_batch.length == 0 || m_batch.n_children != m_childCount));
    m_hasFailed = isOdd || !errors.message().isEmpty() || !errors.warning().isEmpty();
    if (m_hasFailed || m_batch.release == nullptr) {
        return false;
    }
    const auto find = [this](Column& column) { column.values = m_batch.children[column.child]; };
    find(m_id);
    find(m_geometry);
    std::for_each(m_fields.begin(), m_fields.end(), find);
    m_row = 0;
    return true;
}

bool ArrowFeatures::next() {
    ++m_row;
    return m_row < m_batch.length || (!m_hasFailed && nextBatch());
}

std::size_t ArrowFeatures::place(const Column& column) const {
    return static_cast<std::size_t>(m_batch.offset + column.values->offset + m_row);
}

bool ArrowFeatures::isPresent(const Column& column) const {
    const auto* const bits = static_cast<const unsigned char*>(column.values->buffers[0]);
    const std::size_t at = place(column);
    return bits == nullptr || (bits[at / 8] >> (at % 8) & 1U) != 0;
}

template <typename Value>
Value ArrowFeatures::at(const Column& column) const {
    return static_cast<const Value*>(column.values->buffers[1])[place(column)];
}

QByteArrayView ArrowFeatures::bytesAt(const Column& column) const {
    const auto* const ends = static_cast<const qint32*>(column.values->buffers[1]) + place(column);
    return ends[0] == ends[1] ? QByteArrayView("")
                              : QByteArrayView(static_cast<const char*>(column.values->buffers[2]) + ends[0],
                                               ends[1] - ends[0]);
}

qint64 ArrowFeatures::id() const {
    return at<qint64>(m_id);
}

qint64 ArrowFeatures::integer(int field) const {
    const Column& column = m_fields[static_cast<std::size_t>(field)];
    return column.format == 'i' ? at<qint32>(column) : at<qint64>(column);
}

double ArrowFeatures::real(int field) const {
    return at<double>(m_fields[static_cast<std::size_t>(field)]);
}

QByteArrayView ArrowFeatures::bytes(int field) const {
    const Column& column = m_fields[static_cast<std::size_t>(field)];
    const QByteArrayView all = bytesAt(column);
    return column.format == 'u'
               ? all.first(static_cast<qsizetype>(qstrnlen(all.data(), static_cast<size_t>(all.size()))))
               : all;
}

QByteArrayView ArrowFeatures::geometry() const {
    return isPresent(m_geometry) ? bytesAt(m_geometry) : QByteArrayView();
}

} // namespace Cartolith::Core::Layers::Internal
