#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Json/JsonDatesInternal.h>
#include <Cartolith/Core/Layers/Json/JsonFactsInternal.h>
#include <Cartolith/Core/Layers/Json/JsonTextInternal.h>

#include <cpl_vsi.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

QString textOf(const JsonObject& object, const char* name) {
    const JsonMember* const member = object.findInAnyCase(QLatin1String(name));
    return member == nullptr               ? QString()
           : member->value.startsWith('"') ? jsonStringOf(member->value)
                                           : QString::fromUtf8(member->value);
}

/// Whether the value of a "crs" says a system in one of the forms that GDAL knows.
bool isSystemNamed(const QByteArray& member) {
    constexpr struct {
        const char* type;
        const char* member;
        const char* prefix;
    } forms[] = {{"name", "name", ""}, {"OGC", "urn", ""}, {"EPSG", "code", "EPSG:"}};
    const Common::Internal::GdalErrorCapture errors;
    try {
        const JsonObject crs(member);
        const QString type = textOf(crs, "type");
        const JsonMember* const properties = crs.findInAnyCase(QStringLiteral("properties"));
        const auto form = std::find_if(std::begin(forms), std::end(forms), [&type](const auto& known) {
            return type.compare(QLatin1String(known.type), Qt::CaseInsensitive) == 0;
        });
        if (form == std::end(forms) || properties == nullptr) {
            return false;
        }
        const QString text = textOf(JsonObject(properties->value), form->member);
        OGRSpatialReference system;
        return text == QLatin1String("CRS84") || // WGS 84, too, which GDAL does not take for a name
               CoordinateSystems::Internal::setFromText(system, QLatin1String(form->prefix) + text);
    } catch (const std::runtime_error&) { // it is null, or no object
        return false;
    }
}

/// Goes through a text character by character.
class FactFinder {
public:
    explicit FactFinder(const std::map<QByteArray, OGRFieldType>& dates) : m_dates(dates) {}

    void take(char c) {
        if (m_isSystem) {
            takeSystem(c);
        }
        if (m_isString) {
            m_isString = m_isEscaped || c != '"';
            m_isEscaped = !m_isEscaped && c == '\\';
            if (m_text.size() < most) {
                m_text += c;
            }
            if (!m_isString) {
                endString();
            }
            return;
        }
        switch (c) {
        case '"':
            m_text = "\"";
            m_isString = true;
            break;
        case ':':
            beginMember();
            break;
        case '{':
        case '[':
            open(c == '{');
            break;
        case '}':
        case ']':
            close();
            break;
        case ',':
            m_isMember = false;
            break;
        default:
            break;
        }
    }

    JsonFacts facts() const {
        JsonFacts facts = m_facts;
        facts.isSystemUnknown = m_system && !isSystemNamed(*m_system);
        facts.system = m_system.value_or(QByteArray());
        return facts;
    }

private:
    static constexpr qsizetype most = 1 << 16;
    /// What the brackets around are; those further within do not matter.
    enum class Role { File, Feature, Features, Properties, Other };

    Role role() const { return m_depth < m_roles.size() ? m_roles[m_depth] : Role::Other; }
    Role roleAround(std::size_t levels) const {
        return m_depth >= levels ? m_roles[m_depth - levels] : Role::Other;
    }

    bool isCalled(const char* name) const {
        return m_isMember && m_name.compare(name, Qt::CaseInsensitive) == 0;
    }

    void open(bool isObject) {
        const Role around = role();
        Role within = Role::Other;
        if (around == Role::File || around == Role::Features) { // a file may be a collection of some
            within = isObject ? Role::Feature : Role::Other;
        } else if (around == Role::Feature && m_depth == 1 && !isObject && isCalled("features")) {
            within = Role::Features;
        } else if (around == Role::Feature && isObject && isCalled("properties")) {
            within = Role::Properties;
            m_found[m_depth].hasProperties = true;
        }
        ++m_depth;
        if (m_depth < m_roles.size()) {
            m_roles[m_depth] = within;
            m_found[m_depth] = {};
        }
        m_isMember = false;
    }

    void close() {
        if (m_depth == 0) {
            return;
        }
        const Role ended = role();
        if (ended == Role::Features) {
            m_found[m_depth - 1].isCollection = true;
        }
        if (ended == Role::Feature && !m_found[m_depth].isCollection) {
            Found& found = m_found[m_depth];
            m_facts.otherTexts.merge(found.hasProperties ? found.inProperties : found.beside);
        }
        --m_depth;
        m_isMember = false;
    }

    void beginMember() {
        const Role around = role();
        m_isMember = around == Role::Feature || around == Role::Properties;
        if (m_isMember) {
            m_name = said();
        }
        if (m_depth == 1 && isCalled("crs")) {
            m_isSystem = true;
            m_system = QByteArray();
        }
    }

    void endString() {
        if (!std::exchange(m_isMember, false)) {
            return;
        }
        if (m_depth == 1 && m_name == "type") {
            m_facts.isOneFeature = said() == "Feature";
        }
        const auto date = m_dates.find(m_name);
        if (date != m_dates.end() && isoTypeOf(said()) != date->second) {
            const bool isProperty = role() == Role::Properties;
            Found& found = m_found[isProperty ? m_depth - 1 : m_depth];
            (isProperty ? found.inProperties : found.beside).insert(m_name);
        }
    }

    void takeSystem(char c) {
        m_isSystem = m_isString || m_depth > 1 || (c != ',' && c != '}');
        if (m_isSystem && m_system->size() < most) {
            *m_system += c;
        }
    }

    QByteArray said() const {
        return m_text.contains('\\') ? jsonStringOf(m_text).toUtf8() : m_text.mid(1, m_text.size() - 2);
    }

    /// Of a feature, until it is known what it is.
    struct Found {
        std::set<QByteArray> inProperties;
        std::set<QByteArray> beside;
        bool hasProperties = false;
        bool isCollection = false;
    };

    const std::map<QByteArray, OGRFieldType>& m_dates;
    JsonFacts m_facts;
    std::array<Role, 5> m_roles{Role::File}; ///< by depth: a collection, features, a feature, properties
    std::array<Found, 5> m_found;
    std::size_t m_depth = 0;
    QByteArray m_text;                  ///< with its quotes
    QByteArray m_name;                  ///< of the member whose value begins
    std::optional<QByteArray> m_system; ///< the value of "crs"
    bool m_isString = false;
    bool m_isEscaped = false;
    bool m_isMember = false;
    bool m_isSystem = false;
};

} // namespace

JsonFacts jsonFactsOf(const QString& path, const std::map<QByteArray, OGRFieldType>& dates) {
    // It may lie in an archive or on a server.
    const std::unique_ptr<VSILFILE, int (*)(VSILFILE*)> file(VSIFOpenL(gdalNameOf(path).constData(), "rb"),
                                                             VSIFCloseL);
    if (file == nullptr) {
        JsonFacts doubt;
        for (const auto& [name, type] : dates) {
            doubt.otherTexts.insert(name);
        }
        return doubt;
    }
    FactFinder finder(dates);
    std::vector<char> bytes(1 << 18);
    while (const std::size_t read = VSIFReadL(bytes.data(), 1, bytes.size(), file.get())) {
        std::for_each(bytes.data(), bytes.data() + read, [&finder](char c) { finder.take(c); });
    }
    return finder.facts();
}

} // namespace Cartolith::Core::Layers::Internal
