#include <Cartolith/Core/Common/VsiFileInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Ogr/JsonDatesInternal.h>
#include <Cartolith/Core/Layers/Ogr/JsonTextInternal.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QDate>
#include <QTime>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// A text that is looked at from its beginning on.
class IsoText {
public:
    explicit IsoText(QByteArrayView text) : m_text(text) {}

    bool isDateOrTime() {
        const bool hasDate = date();
        if (hasDate && m_text.isEmpty()) {
            return true;
        }
        if (hasDate && !take('T') && !take(' ')) {
            return false;
        }
        int hour = 0;
        int minute = 0;
        int second = 0;
        if (!number(2, hour) || !take(':') || !number(2, minute)) {
            return false;
        }
        const bool hasSeconds = take(':') && number(2, second);
        if (hasSeconds && take('.')) {
            while (!m_text.isEmpty() && isDigit(m_text.front())) {
                m_text = m_text.sliced(1);
            }
        }
        return QTime(hour, minute, second).isValid() && (hasDate ? zone() : hasSeconds) && m_text.isEmpty();
    }

private:
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    bool take(char c) {
        const bool isThere = m_text.startsWith(c);
        m_text = m_text.sliced(isThere ? 1 : 0);
        return isThere;
    }

    bool number(qsizetype digits, int& value) {
        const QByteArrayView text = m_text.first(std::min(digits, m_text.size()));
        if (text.size() < digits || !std::all_of(text.begin(), text.end(), isDigit)) {
            return false;
        }
        value = std::accumulate(text.begin(), text.end(), 0,
                                [](int sum, char digit) { return 10 * sum + (digit - '0'); });
        m_text = m_text.sliced(digits);
        return true;
    }

    bool date() {
        const QByteArrayView all = m_text;
        int year = 0;
        int month = 0;
        int day = 0;
        if (number(4, year)) {
            const char stroke = m_text.startsWith('/') ? '/' : '-';
            if (take(stroke) && number(2, month) && take(stroke) && number(2, day) &&
                QDate(year, month, day).isValid()) {
                return true;
            }
        }
        m_text = all;
        return false;
    }

    bool zone() {
        int hours = 0;
        int minutes = 0;
        constexpr int quarter = 15;
        if (m_text.isEmpty() || take('Z')) {
            return true;
        }
        return (take('+') || take('-')) && number(2, hours) &&
               (m_text.isEmpty() || ((take(':'), number(2, minutes)) && minutes % quarter == 0));
    }

    QByteArrayView m_text;
};

/// Finds the texts that are values of members of some names, wherever those are.
class DateFinder {
public:
    explicit DateFinder(const std::vector<QByteArray>& names) : m_names(names) {}

    /// False when a text is none.
    bool take(char c) {
        constexpr qsizetype most = 1 << 16;
        if (m_isString) {
            m_isString = m_isEscaped || c != '"';
            m_isEscaped = !m_isEscaped && c == '\\';
            if (m_text.size() < most) {
                m_text += c;
            }
            return m_isString || end();
        }
        if (c == '"') {
            m_text = "\"";
            m_isString = true;
        } else if (c == ':') {
            m_isValue = std::find(m_names.begin(), m_names.end(), said()) != m_names.end();
            m_text.clear();
        } else if (c != ' ' && c != '\n' && c != '\r' && c != '\t') {
            m_isValue = false;
            m_text.clear();
        }
        return true;
    }

private:
    bool end() { return !std::exchange(m_isValue, false) || IsoText(said()).isDateOrTime(); }
    QByteArray said() const {
        return m_text.contains('\\') ? jsonStringOf(m_text).toUtf8() : m_text.mid(1, m_text.size() - 2);
    }

    const std::vector<QByteArray>& m_names;
    QByteArray m_text; ///< with its quotes
    bool m_isString = false;
    bool m_isEscaped = false;
    bool m_isValue = false;
};

} // namespace

bool areIsoDates(const QString& path, const std::vector<QByteArray>& names) {
    const auto file = Common::Internal::openVsiFile(gdalNameOf(path), "rb");
    if (file == nullptr) {
        return false;
    }
    DateFinder finder(names);
    std::vector<char> bytes(1 << 18);
    while (const std::size_t read = VSIFReadL(bytes.data(), 1, bytes.size(), file.get())) {
        if (!std::all_of(bytes.data(), bytes.data() + read, [&finder](char c) { return finder.take(c); })) {
            return false;
        }
    }
    return true;
}

} // namespace Cartolith::Core::Layers::Internal
