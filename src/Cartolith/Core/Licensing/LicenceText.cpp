#include <Cartolith/Core/Licensing/LicenceTextInternal.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Licensing::Internal {

namespace {

/// Where the string that starts with the quote at `at` ends: the position behind its closing quote.
qsizetype stringEnd(const QByteArray& text, qsizetype at) {
    for (++at; at < text.size() && text[at] != '"'; ++at) {
        if (text[at] == '\\') {
            ++at;
        }
    }
    return at + 1;
}

/// The name in a string with its quotes, however it is spelled.
QByteArray plainName(const QByteArray& string) {
    return string.contains('\\')
               ? QJsonDocument::fromJson('[' + string + ']').array().at(0).toString().toUtf8()
               : string.sliced(1, string.size() - 2);
}

/// The text has passed the parser, so brackets and quotes pair. A name is a string with a colon behind it.
bool namesAMemberTwice(const QByteArray& text) {
    std::vector<QSet<QByteArray>> names;
    for (qsizetype i = 0; i < text.size();) {
        const char c = text[i];
        if (c == '}' || c == ']') {
            names.pop_back();
        } else if (c == '{' || c == '[') {
            names.emplace_back();
        } else if (c == '"') {
            const qsizetype end = stringEnd(text, i);
            qsizetype next = end;
            while (next < text.size() && QByteArrayView(" \t\r\n").contains(text[next])) {
                ++next;
            }
            if (next < text.size() && text[next] == ':') {
                const QByteArray name = plainName(text.sliced(i, end - i));
                if (names.back().contains(name)) {
                    return true;
                }
                names.back().insert(name);
            }
            i = end;
            continue;
        }
        ++i;
    }
    return false;
}

} // namespace

void fail(const QString& message) {
    throw std::runtime_error(message.toStdString());
}

QString printable(QString text) {
    std::replace_if(
        text.begin(), text.end(), [](QChar c) { return !c.isPrint(); }, QLatin1Char(' '));
    return text;
}

QJsonObject strictObject(const QByteArray& text) {
    if (text.size() > mostBytes) {
        fail(QStringLiteral("The text is longer than %1 bytes.").arg(mostBytes));
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        fail(QStringLiteral("The text is no JSON: %1.").arg(error.errorString()));
    }
    if (!document.isObject()) {
        fail(QStringLiteral("The text is no JSON object."));
    }
    if (namesAMemberTwice(text)) {
        fail(QStringLiteral("A member is there twice."));
    }
    return document.object();
}

QString requiredText(const QJsonObject& object, const QString& member) {
    const QJsonValue value = object.value(member);
    if (!value.isString()) {
        fail(QStringLiteral("The member \"%1\" must be a text.").arg(member));
    }
    return value.toString();
}

QByteArray requiredBytes(const QJsonObject& object, const QString& member) {
    const QByteArray text = requiredText(object, member).toUtf8();
    const auto decoded = QByteArray::fromBase64Encoding(text, QByteArray::Base64Encoding |
                                                                  QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.toBase64() != text) {
        fail(QStringLiteral("The member \"%1\" must be Base64 with its padding.").arg(member));
    }
    return decoded.decoded;
}

qint64 requiredCount(const QJsonObject& object, const QString& member) {
    constexpr qint64 largest = (qint64{1} << 53) - 1;
    const QJsonValue value = object.value(member);
    const qint64 count = value.toInteger(-1);
    if (!value.isDouble() || count < 0 || count > largest) {
        fail(QStringLiteral("The member \"%1\" must be a whole number from 0 to 2^53 - 1.").arg(member));
    }
    return count;
}

std::optional<qint64> parseTime(const QString& text) {
    constexpr QStringView pattern(u"0000-00-00T00:00:00Z");
    if (text.size() != pattern.size()) {
        return std::nullopt;
    }
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        const QChar c = text[i];
        if (pattern[i] == u'0' ? c < u'0' || c > u'9' : c != pattern[i]) {
            return std::nullopt;
        }
    }
    const auto number = [&](qsizetype at, qsizetype digits) {
        return QStringView(text).mid(at, digits).toInt();
    };
    const QDate date(number(0, 4), number(5, 2), number(8, 2));
    const QTime time(number(11, 2), number(14, 2), number(17, 2));
    const QDate first(1970, 1, 1);
    if (!date.isValid() || !time.isValid() || date < first) {
        return std::nullopt;
    }
    constexpr qint64 day = 86'400;
    constexpr int thousand = 1000;
    return first.daysTo(date) * day + time.msecsSinceStartOfDay() / thousand;
}

QString timeText(qint64 seconds) {
    constexpr qint64 last = 253'402'300'799; // of the year 9999, beyond which there is no text
    return QDateTime::fromSecsSinceEpoch(std::min(seconds, last), Qt::UTC).toString(Qt::ISODate);
}

} // namespace Cartolith::Core::Licensing::Internal
