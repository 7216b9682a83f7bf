#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/GeoJsonTextsInternal.h>

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <map>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::copyOf;

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

struct JsonMember {
    QByteArrayView key; ///< with its quotes
    QByteArrayView value;
};

/// Behind the string that begins there.
qsizetype endOfString(QByteArrayView text, qsizetype at) {
    for (++at; at < text.size() && text[at] != '"'; ++at) {
        at += text[at] == '\\' ? 1 : 0;
    }
    return at + 1;
}

/// The comma or bracket behind the value that begins there.
qsizetype endOfValue(QByteArrayView text, qsizetype at) {
    for (qsizetype depth = 0; at < text.size();) {
        const char c = text[at];
        if (depth == 0 && (c == ',' || c == '}' || c == ']')) {
            return at;
        }
        depth += c == '{' || c == '[' ? 1 : (c == '}' || c == ']' ? -1 : 0);
        at = c == '"' ? endOfString(text, at) : at + 1;
    }
    return text.size();
}

/// The members of an object, as far as the text is JSON.
std::vector<JsonMember> jsonMembersOf(QByteArrayView object) {
    std::vector<JsonMember> members;
    qsizetype at = object.indexOf('{') + 1;
    while (at > 0 && at < object.size()) {
        const qsizetype start = object.indexOf('"', at);
        const qsizetype end = start < 0 ? object.size() : endOfString(object, start);
        const qsizetype colon = end >= object.size() ? -1 : object.indexOf(':', end);
        if (colon < 0) {
            break;
        }
        const qsizetype next = endOfValue(object, colon + 1);
        members.push_back(
            {object.sliced(start, end - start), object.sliced(colon + 1, next - colon - 1).trimmed()});
        at = next + 1;
    }
    return members;
}

/// What the key says. Not by Qt's reader, which ends the process where it finds no memory.
QString keyOf(const JsonMember& member) {
    const QString quoted = QString::fromUtf8(member.key);
    QString text;
    for (qsizetype i = 1; i < quoted.size() - 1; ++i) {
        const auto escaped =
            quoted[i] == QLatin1Char('\\') ? QLatin1String("bfnrtu").indexOf(quoted[++i]) : qsizetype{-1};
        constexpr qsizetype unicode = 5;
        constexpr int digits = 4;
        if (escaped == unicode) {
            text += QChar(QStringView(quoted).mid(i + 1, digits).toUShort(nullptr, 16));
            i += digits;
        } else {
            text += escaped >= 0 ? QLatin1Char("\b\f\n\r\t"[escaped]) : quoted[i];
        }
    }
    return text;
}

/// The properties of a feature; nothing when it has none.
QByteArrayView propertiesOf(QByteArrayView feature) {
    for (const JsonMember& member : jsonMembersOf(feature)) {
        if (member.key == "\"properties\"" && member.value.startsWith('{')) {
            return member.value;
        }
    }
    return {};
}

/// An edited feature with the old texts of the properties that stayed.
QByteArray withOldProperties(QByteArrayView written, QByteArrayView before,
                             const std::set<QString>& changed) {
    std::map<QString, QByteArrayView> old;
    for (const JsonMember& member : jsonMembersOf(propertiesOf(before))) {
        old.insert_or_assign(keyOf(member), member.value);
    }
    QByteArray text;
    const char* at = written.begin();
    for (const JsonMember& member : jsonMembersOf(propertiesOf(written))) {
        const QString name = keyOf(member);
        if (const auto found = old.find(name); found != old.end() && !changed.contains(name)) {
            text.append(at, member.value.begin() - at);
            text += found->second;
            at = member.value.end();
        }
    }
    return text.append(at, written.end() - at);
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
        return QStringList() << option("RS", m_sequence.startsWith(recordSeparator));
    }
    if (!m_isJson) {
        return {};
    }
    QStringList options;
    options << option("WRITE_NAME", saysItsName(layer, m_path));
    if (const char* const native = nativeData(layer); native != nullptr) {
        options << QStringLiteral("NATIVE_DATA=") + QString::fromUtf8(native)
                << QStringLiteral("NATIVE_MEDIA_TYPE=") +
                       QString::fromUtf8(layer.GetMetadataItem("NATIVE_MEDIA_TYPE", "NATIVE_DATA"));
    }
    return options;
}

bool GeoJsonTexts::saysItsSystem(OGRLayer& layer) const {
    const auto members = jsonMembersOf(nativeData(layer));
    return !m_isJson || std::any_of(members.begin(), members.end(),
                                    [](const JsonMember& member) { return member.key == "\"crs\""; });
}

void GeoJsonTexts::add(OGRFeature& feature, qint64 number, const OgrChange& change) {
    if (m_isSequence && number < static_cast<qint64>(m_records.size())) {
        m_texts.push_back({copyOf(m_records[static_cast<std::size_t>(number)]), change});
    } else if (m_isJson) {
        m_texts.push_back({copyOf(feature.GetNativeData()), change});
    }
}

std::optional<QByteArray> GeoJsonTexts::in(QByteArrayView written, qint64 featuresBefore) const {
    if (!m_isJson && !m_isSequence) {
        return std::nullopt;
    }
    if (m_isSequence && static_cast<qint64>(m_records.size()) != featuresBefore) {
        throw std::runtime_error(QStringLiteral("of %1 records %2 are features, the others would be lost")
                                     .arg(m_records.size())
                                     .arg(featuresBefore)
                                     .toStdString());
    }
    // GDAL writes each feature on a line of its own.
    constexpr QByteArrayView beginning = "\n\"features\": [\n";
    const qsizetype start = m_isJson ? written.indexOf(beginning) : 0;
    const auto features = start + (m_isJson ? beginning.size() : 0);
    if (start < 0 || written.sliced(features).count('\n') < static_cast<qsizetype>(m_texts.size())) {
        throw std::runtime_error("GDAL writes it in another form than is known");
    }
    qsizetype at = features;
    QByteArray all = copyOf(written.first(at));
    for (const auto& [before, change] : m_texts) {
        const qsizetype end = written.indexOf('\n', at);
        const QByteArrayView line = written.sliced(at, end - at);
        if (before.isEmpty()) {
            all += line;
        } else if (change.isAny()) {
            all += withOldProperties(line, before, change.fields);
        } else {
            all += line.startsWith(recordSeparator) ? QByteArrayView(&recordSeparator, 1) : QByteArrayView();
            all += before;
            all += m_isJson && line.endsWith(',') ? "," : "";
        }
        all += '\n';
        at = end + 1;
    }
    all += written.sliced(at);
    return all;
}

} // namespace Cartolith::Core::Layers::Internal
