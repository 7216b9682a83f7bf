#include <Cartolith/Core/Layers/GeoJsonTextsInternal.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <ogrsf_frmts.h>

#include <limits>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr char recordSeparator = '\x1e';

const char* nativeData(OGRLayer& layer) {
    return layer.GetMetadataItem("NATIVE_DATA", "NATIVE_DATA");
}

/// Whether a file names its layer. GDAL takes the name out, and gives others that of the file.
bool saysItsName(OGRLayer& layer, const QString& path) {
    const QString name = QString::fromUtf8(layer.GetName());
    if (name != QFileInfo(path).completeBaseName()) {
        return true;
    }
    constexpr qint64 enough = 65536;
    QFile file(path);
    const QString text = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.read(enough)) : QString();
    const QRegularExpression member(
        QStringLiteral("\"name\"\\s*:\\s*\"%1\"").arg(QRegularExpression::escape(name)));
    return text.left(text.indexOf(QLatin1String("\"features\""))).contains(member);
}

/// The records of a text sequence: what lies between separators, and without those a line each.
std::vector<QByteArrayView> recordsOf(QByteArrayView text) {
    const char end = text.startsWith(recordSeparator) ? recordSeparator : '\n';
    std::vector<QByteArrayView> records;
    for (qsizetype at = 0; at < text.size();) {
        const qsizetype found = text.indexOf(end, at);
        const qsizetype next = found < 0 ? text.size() : found;
        const QByteArrayView record = text.sliced(at, next - at).trimmed();
        if (!record.isEmpty()) {
            records.push_back(record);
        }
        at = next + 1;
    }
    return records;
}

/// GDAL takes integers beyond 64 bits for the last that there is.
bool isCut(OGRFeature& feature, QByteArrayView text) {
    using Limits = std::numeric_limits<GIntBig>;
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        if (feature.GetFieldDefnRef(i)->GetType() == OFTInteger64 && feature.IsFieldSetAndNotNull(i)) {
            const GIntBig value = feature.GetFieldAsInteger64(i);
            const bool isLast = value == Limits::min() || value == Limits::max();
            if (isLast && text.indexOf(QByteArray::number(qlonglong{value})) < 0) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

GeoJsonTexts::GeoJsonTexts(const QString& driver, const QString& path)
    : m_path(path), m_isJson(driver == QLatin1String("GeoJSON")),
      m_isSequence(driver == QLatin1String("GeoJSONSeq")) {
    if (m_isSequence) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            throw std::runtime_error(file.errorString().toStdString());
        }
        m_sequence = file.readAll();
        m_records = recordsOf(m_sequence);
    }
}

QStringList GeoJsonTexts::layerOptions(OGRLayer& layer) const {
    const auto option = [](const char* name, bool isOn) {
        return QLatin1String(name) + (isOn ? QLatin1String("=YES") : QLatin1String("=NO"));
    };
    if (m_isSequence) {
        return {option("RS", m_sequence.startsWith(recordSeparator))};
    }
    if (!m_isJson) {
        return {};
    }
    QStringList options{option("WRITE_NAME", saysItsName(layer, m_path))};
    if (const char* const native = nativeData(layer); native != nullptr) {
        options << QStringLiteral("NATIVE_DATA=") + QString::fromUtf8(native)
                << QStringLiteral("NATIVE_MEDIA_TYPE=") +
                       QString::fromUtf8(layer.GetMetadataItem("NATIVE_MEDIA_TYPE", "NATIVE_DATA"));
    }
    return options;
}

bool GeoJsonTexts::saysItsSystem(OGRLayer& layer) const {
    return !m_isJson || QJsonDocument::fromJson(nativeData(layer)).object().contains(QLatin1String("crs"));
}

void GeoJsonTexts::add(OGRFeature& feature, qint64 number, bool isEdited) {
    if (!m_isJson && !m_isSequence) {
        return;
    }
    QByteArrayView text(feature.GetNativeData());
    if (m_isSequence && number < static_cast<qint64>(m_records.size())) {
        text = m_records[static_cast<std::size_t>(number)];
    }
    if (isEdited && isCut(feature, text)) {
        throw std::runtime_error("it has an integer of more than 64 bits, which would be lost");
    }
    m_texts.push_back(isEdited ? QByteArray() : text.toByteArray());
}

std::optional<QByteArray> GeoJsonTexts::in(QByteArrayView written, qint64 featuresBefore) const {
    const bool areTheirs =
        m_isJson || (m_isSequence && static_cast<qint64>(m_records.size()) == featuresBefore);
    if (!areTheirs) {
        return std::nullopt;
    }
    // GDAL writes each feature on a line of its own.
    constexpr QByteArrayView beginning = "\n\"features\": [\n";
    qsizetype at = m_isJson ? written.indexOf(beginning) + beginning.size() : 0;
    QByteArray all = written.first(at).toByteArray();
    for (const QByteArray& text : m_texts) {
        const qsizetype end = written.indexOf('\n', at);
        const QByteArrayView line = written.sliced(at, end - at);
        if (text.isEmpty()) {
            all += line;
        } else {
            all += line.startsWith(recordSeparator) ? QByteArrayView(&recordSeparator, 1) : QByteArrayView();
            all += text;
            all += m_isJson && line.endsWith(',') ? "," : "";
        }
        all += '\n';
        at = end + 1;
    }
    all += written.sliced(at);
    return all;
}

} // namespace Cartolith::Core::Layers::Internal
