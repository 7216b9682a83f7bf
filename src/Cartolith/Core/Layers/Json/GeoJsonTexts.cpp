#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Json/GeoJsonTextsInternal.h>

#include <QFile>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <set>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::copyOf;

namespace {

constexpr char recordSeparator = '\x1e';
constexpr QByteArrayView byteOrderMark = "\xEF\xBB\xBF";

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

/// The members of a feature without properties that are attributes all the same.
bool isAttribute(const QString& name) {
    return !(QStringList() << QStringLiteral("type") << QStringLiteral("geometry") << QStringLiteral("bbox")
                           << QStringLiteral("centroid") << QStringLiteral("center")
                           << QStringLiteral("properties"))
                .contains(name, Qt::CaseInsensitive);
}

bool isOfType(const JsonObject& object, QLatin1String name) {
    const JsonMember* const type = object.findInAnyCase(QStringLiteral("type"));
    return type != nullptr && jsonStringOf(type->value).compare(name, Qt::CaseInsensitive) == 0;
}

bool isFeature(const JsonObject& object) {
    return isOfType(object, QLatin1String("Feature"));
}

bool hasMember(QByteArrayView object, const QString& name) {
    return object.startsWith('{') && JsonObject(object).find(name) != nullptr;
}

/// Gives a feature the geometry that GDAL wrote, under every name by which GDAL finds one.
void putGeometry(JsonObject& feature, const JsonMember& written) {
    bool isThere = false;
    for (const JsonMember& member : feature.members()) {
        if (member.name().compare(written.name(), Qt::CaseInsensitive) == 0) {
            feature.set(member.key, copyOf(written.value));
            isThere = true;
        }
    }
    if (!isThere) {
        feature.set(written.key, copyOf(written.value));
    }
}

/// Gives an object the values that GDAL wrote for the changed fields.
void putFields(JsonObject& object, const std::set<QString>& changed, QByteArrayView written) {
    for (const JsonMember& member : jsonMembersOf(written)) {
        if (changed.contains(member.name())) {
            object.set(member.key, copyOf(member.value));
        }
    }
}

} // namespace

GeoJsonTexts::GeoJsonTexts(const QString& driver, const QString& path)
    : m_isJson(driver == QLatin1String("GeoJSON")), m_isSequence(driver == QLatin1String("GeoJSONSeq")) {
    if (!isAny()) {
        return;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error(file.errorString().toStdString());
    }
    m_file = file.readAll();
    m_text = QByteArrayView(m_file);
    if (!m_text.isValidUtf8()) { // of which names may look alike
        throw std::runtime_error("it is not written in UTF-8");
    }
    if (m_text.startsWith(byteOrderMark)) {
        m_text = m_text.sliced(byteOrderMark.size());
    }
    if (m_isSequence) {
        m_records = recordsOf(m_text);
        for (const QByteArrayView record : m_records) {
            if (endOfJsonValue(record, 0) != record.size()) {
                throw std::runtime_error("it has several JSON texts on one line");
            }
        }
    } else {
        readCollection();
    }
}

/// A feature alone is a record, a geometry alone is written as a feature.
void GeoJsonTexts::readCollection() {
    m_text = m_text.trimmed();
    if (endOfJsonValue(m_text, 0) != m_text.size()) {
        throw std::runtime_error("behind its first JSON text there is more");
    }
    const JsonObject object(m_text);
    const auto isFeatures = [](const JsonMember& member) {
        return member.name().compare(QLatin1String("features"), Qt::CaseInsensitive) == 0;
    };
    // Elsewhere a member of that name is one of nobody's.
    if (!isOfType(object, QLatin1String("FeatureCollection"))) {
        m_records.push_back(isFeature(object) ? m_text : QByteArrayView());
    } else if (std::count_if(object.members().begin(), object.members().end(), isFeatures) != 1) {
        throw std::runtime_error("it has several members 'features'");
    } else {
        m_features = object.findInAnyCase(QStringLiteral("features"))->value;
        m_records = jsonElementsOf(m_features);
    }
    const QString bbox = QStringLiteral("bbox"); // which may be written with escapes
    m_hasBox = m_text.contains("bbox") || m_text.contains("\\u");
    m_hasBox = m_hasBox && (object.find(bbox) != nullptr ||
                            std::any_of(m_records.begin(), m_records.end(),
                                        [&bbox](QByteArrayView record) { return hasMember(record, bbox); }));
}

QStringList GeoJsonTexts::layerOptions() const {
    if (m_isSequence) {
        return QStringList() << (m_text.startsWith(recordSeparator) ? QStringLiteral("RS=YES")
                                                                    : QStringLiteral("RS=NO"));
    }
    QStringList options;
    if (m_isJson) {
        options << QStringLiteral("WRITE_NAME=NO"); // a file that says its name says it in its own text
        if (hasBox()) {
            options << QStringLiteral("WRITE_BBOX=YES");
        }
    }
    return options;
}

void GeoJsonTexts::add(OGRFeature& feature, qint64 number, const OgrChange& change) {
    if (isAny()) {
        const int id = feature.GetFieldIndex("id");
        m_kept.push_back({number, change, id >= 0 && feature.IsFieldSetAndNotNull(id) != 0});
    }
}

QByteArray GeoJsonTexts::edited(const Kept& kept, QByteArrayView line) const {
    JsonObject feature(m_records[static_cast<std::size_t>(kept.number)]);
    const JsonObject written(line);
    const QString bbox = QStringLiteral("bbox");
    const QString id = QStringLiteral("id");
    if (kept.change.isMoved) {
        const JsonMember* const geometry = written.find(QStringLiteral("geometry"));
        putGeometry(feature, *geometry);
        const JsonMember* const box = written.find(bbox);
        if (feature.find(bbox) != nullptr && box != nullptr) {
            feature.set(box->key, copyOf(box->value));
        } else {
            feature.remove(bbox);
        }
    }
    std::set<QString> changed = kept.change.fields;
    const JsonMember* const values = written.find(QStringLiteral("properties"));
    if (changed.empty() || values == nullptr) {
        return feature.text();
    }
    const JsonMember* const old = feature.findInAnyCase(values->name());
    const bool isObject = old != nullptr && old->value.startsWith('{');
    JsonObject properties(isObject ? old->value : QByteArrayView("{}"));
    const JsonMember* const ownId = feature.findInAnyCase(id);
    if (kept.isId && ownId != nullptr && properties.find(id) == nullptr && changed.erase(id) > 0) {
        const JsonObject all(values->value);
        const JsonMember* const value = all.find(id);
        value == nullptr || value->value == "null" ? feature.remove(ownId->name())
                                                   : feature.set(ownId->key, copyOf(value->value));
    }
    // Without properties, its members are read as its attributes.
    const bool isFlat =
        old == nullptr ||
        (!isObject &&
         std::any_of(feature.members().begin(), feature.members().end(), [&id](const JsonMember& member) {
             const QString name = member.name();
             return name.compare(id, Qt::CaseInsensitive) != 0 && isAttribute(name);
         }));
    if (isFlat) {
        if (!std::all_of(changed.begin(), changed.end(), isAttribute)) {
            throw std::runtime_error("a feature without properties has no place for a field of such a name");
        }
        putFields(feature, changed, values->value);
    } else if (!changed.empty()) {
        putFields(properties, changed, values->value);
        feature.set(old != nullptr ? old->key : values->key, properties.text());
    }
    return feature.text();
}

QByteArray GeoJsonTexts::recordOf(const Kept& kept, QByteArrayView line) const {
    const QByteArrayView before = m_records[static_cast<std::size_t>(kept.number)];
    if (before.isEmpty()) {
        return copyOf(line);
    }
    if (!kept.change.isAny()) {
        return copyOf(before);
    }
    if (m_isSequence && !isFeature(JsonObject(before))) {
        throw std::runtime_error("a record that is no feature cannot be edited");
    }
    return edited(kept, line);
}

/// What stands before a feature of a collection, with the comma where another was before it: before a new
/// one, as before the last of those that stay.
QByteArrayView GeoJsonTexts::gapBefore(std::size_t position) const {
    if (m_records.empty()) {
        return "\n";
    }
    const std::size_t last = m_kept.empty() ? 0 : static_cast<std::size_t>(m_kept.back().number);
    const auto number = position < m_kept.size() ? static_cast<std::size_t>(m_kept[position].number) : last;
    const char* const end = m_records[number].begin();
    const char* start = m_features.begin() + 1;
    if (number > 0) {
        start = m_records[number - 1].end();
        start = position == 0 ? std::find(start, end, ',') + 1 : start;
    }
    return {start, end - start};
}

/// The old text with these features.
QByteArray GeoJsonTexts::collectionOf(QByteArray features, bool hasNew, QByteArrayView written) const {
    const char* const last = m_records.empty() ? m_features.begin() + 1 : m_records.back().end();
    features.prepend('[').append(last, m_features.end() - last);
    JsonObject collection(m_text);
    collection.set(collection.findInAnyCase(QStringLiteral("features"))->key, features);
    const bool isMoved =
        hasNew || m_kept.size() != m_records.size() ||
        std::any_of(m_kept.begin(), m_kept.end(), [](const Kept& kept) { return kept.change.isMoved; });
    const QString bbox = QStringLiteral("bbox");
    if (isMoved && collection.find(bbox) != nullptr) {
        const JsonObject all(written);
        const JsonMember* const box = all.find(bbox);
        box != nullptr ? collection.set(box->key, copyOf(box->value)) : collection.remove(bbox);
    }
    QByteArray text = copyOf({m_file.constBegin(), m_text.begin()});
    return text.append(collection.text()).append(m_text.end(), m_file.constEnd() - m_text.end());
}

std::optional<QByteArray> GeoJsonTexts::in(QByteArrayView written, qint64 featuresBefore) const {
    if (!isAny()) {
        return std::nullopt;
    }
    if (static_cast<qint64>(m_records.size()) != featuresBefore) {
        throw std::runtime_error(QStringLiteral("of %1 records %2 are features, the others would be lost")
                                     .arg(m_records.size())
                                     .arg(featuresBefore)
                                     .toStdString());
    }
    // GDAL writes each feature on a line of its own.
    constexpr QByteArrayView beginning = "\n\"features\": [\n";
    const qsizetype start = m_isJson ? written.indexOf(beginning) : 0;
    const auto first = start + (m_isJson ? beginning.size() : 0);
    if (start < 0 || written.sliced(first).count('\n') < static_cast<qsizetype>(m_kept.size())) {
        throw std::runtime_error("GDAL writes it in another form than is known");
    }
    const bool isCollection = !m_features.isEmpty();
    QByteArray features;
    std::size_t count = 0;
    qsizetype at = first;
    for (qsizetype end = 0; at < written.size() && written[at] != ']'; at = end + 1, ++count) {
        end = written.indexOf('\n', at);
        end = end < 0 ? written.size() : end;
        QByteArrayView line = written.sliced(at, end - at);
        if (m_isJson) {
            const QByteArrayView gap =
                isCollection ? gapBefore(count) : QByteArrayView(count > 0 ? "\n" : "");
            features += count > 0 && !gap.contains(',') ? "," : "";
            features += gap;
            line.chop(line.endsWith(',') ? 1 : 0);
        } else if (line.startsWith(recordSeparator)) {
            features += recordSeparator;
            line = line.sliced(1);
        }
        features += count < m_kept.size() ? recordOf(m_kept[count], line) : copyOf(line);
        features += m_isJson ? "" : "\n";
    }
    if (isCollection) {
        return collectionOf(std::move(features), count > m_kept.size(), written);
    }
    QByteArray all = copyOf(written.first(first));
    if (m_isJson) {
        const JsonObject old(m_text);
        if (const JsonMember* const system = old.findInAnyCase(QStringLiteral("crs"))) {
            all.insert(start, "\n\"crs\": " + copyOf(system->value) + ',');
        }
    }
    all.append(features).append(m_isJson ? "\n" : "");
    return all.append(written.sliced(std::min(at, written.size())));
}

} // namespace Cartolith::Core::Layers::Internal
