#include <Cartolith/Core/Layers/Json/JsonDatesInternal.h>

#include <QDate>
#include <QTime>

#include <algorithm>
#include <numeric>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// A text that is looked at from its beginning on.
class IsoText {
public:
    explicit IsoText(QByteArrayView text) : m_text(text) {}

    OGRFieldType type() {
        const bool hasDate = date();
        if (hasDate && m_text.isEmpty()) {
            return OFTDate;
        }
        if (hasDate && !take('T') && !take(' ')) {
            return OFTString;
        }
        int hour = 0;
        int minute = 0;
        int second = 0;
        if (!number(2, hour) || !take(':') || !number(2, minute)) {
            return OFTString;
        }
        const bool hasSeconds = take(':') && number(2, second);
        if (hasSeconds && take('.')) {
            while (!m_text.isEmpty() && isDigit(m_text.front())) {
                m_text = m_text.sliced(1);
            }
        }
        const bool isTime =
            QTime(hour, minute, second).isValid() && (hasDate ? zone() : hasSeconds) && m_text.isEmpty();
        return !isTime ? OFTString : hasDate ? OFTDateTime : OFTTime;
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

} // namespace

OGRFieldType isoTypeOf(QByteArrayView text) {
    return IsoText(text).type();
}

} // namespace Cartolith::Core::Layers::Internal
