#include <Cartolith/Core/Symbology/DateTimeTextInternal.h>

#include <QRegularExpression>
#include <QTimeZone>

#include <cstdlib>

namespace Cartolith::Core::Symbology::Internal {

namespace {

constexpr QLatin1String localZone("local");

QString padded(int number, int digits) {
    return QStringLiteral("%1").arg(number, digits, 10, QLatin1Char('0'));
}

QString offsetText(int seconds) {
    const int size = std::abs(seconds);
    QString text = (seconds < 0 ? QLatin1Char('-') : QLatin1Char('+')) + padded(size / 3600, 2) +
                   QLatin1Char(':') + padded(size / 60 % 60, 2);
    if (size % 60 != 0) {
        text += QLatin1Char(':') + padded(size % 60, 2);
    }
    return text;
}

/// The text has the form that offsetText() writes.
int offsetFromText(const QString& text) {
    const QStringList parts = text.mid(1).split(QLatin1Char(':'));
    const int seconds = parts[0].toInt() * 3600 + parts[1].toInt() * 60 + parts.value(2).toInt();
    return text.startsWith(QLatin1Char('-')) ? -seconds : seconds;
}

/// What the clock shows in a zone, and of two such times the one with the offset.
QDateTime zonedTime(QDate date, QTime time, const QString& zone, int offset) {
    const QDateTime atOffset(date, time, Qt::OffsetFromUTC, offset);
    QDateTime wall;
    QDateTime chosen;
    if (zone == localZone) {
        wall = QDateTime(date, time);
        chosen = atOffset.toLocalTime();
    } else if (QTimeZone::isTimeZoneIdAvailable(zone.toLatin1())) {
        // Asked first because the constructor would look for a file of that name.
        const QTimeZone timeZone(zone.toLatin1());
        wall = QDateTime(date, time, timeZone);
        chosen = atOffset.toTimeZone(timeZone);
    }
    return chosen.date() == date && chosen.time() == time ? chosen : wall;
}

bool isSame(const QDateTime& a, const QDateTime& b) {
    return a == b && a.timeSpec() == b.timeSpec() && a.offsetFromUtc() == b.offsetFromUtc() &&
           (a.timeSpec() != Qt::TimeZone || a.timeZone() == b.timeZone());
}

} // namespace

QString textOf(QDate date) {
    if (!date.isValid()) {
        return {};
    }
    const int year = date.year();
    const QLatin1String sign(year < 0 ? "-" : year > 9999 ? "+" : "");
    return sign + padded(std::abs(year), 4) + QLatin1Char('-') + padded(date.month(), 2) + QLatin1Char('-') +
           padded(date.day(), 2);
}

std::optional<QDate> dateFromText(const QString& text) {
    static const QRegularExpression form(
        QRegularExpression::anchoredPattern(QStringLiteral("([+-]?\\d{4,10})-(\\d\\d)-(\\d\\d)")));
    if (text.isEmpty()) {
        return QDate();
    }
    const QRegularExpressionMatch match = form.match(text);
    bool ok = false;
    const int year = match.captured(1).toInt(&ok);
    const QDate date(year, match.captured(2).toInt(), match.captured(3).toInt());
    return ok && date.isValid() ? std::optional(date) : std::nullopt;
}

QString textOf(QTime time) {
    return time.toString(Qt::ISODateWithMs);
}

std::optional<QTime> timeFromText(const QString& text) {
    static const QRegularExpression form(QRegularExpression::anchoredPattern(
        QStringLiteral("(\\d\\d):(\\d\\d)(?::(\\d\\d)(?:\\.(\\d{1,3}))?)?")));
    if (text.isEmpty()) {
        return QTime();
    }
    const QRegularExpressionMatch match = form.match(text);
    const int milliseconds = match.captured(4).leftJustified(3, QLatin1Char('0')).toInt();
    const QTime time(match.hasMatch() ? match.captured(1).toInt() : -1, match.captured(2).toInt(),
                     match.captured(3).toInt(), milliseconds);
    return time.isValid() ? std::optional(time) : std::nullopt;
}

std::optional<QString> textOf(const QDateTime& dateTime) {
    if (!dateTime.isValid()) {
        return QString();
    }
    QString text = textOf(dateTime.date()) + QLatin1Char('T') + textOf(dateTime.time());
    const QString offset = offsetText(dateTime.offsetFromUtc());
    if (dateTime.timeSpec() == Qt::UTC) {
        text += QLatin1Char('Z');
    } else if (dateTime.timeSpec() == Qt::OffsetFromUTC) {
        text += offset;
    } else {
        // Local time has its offset too: where clocks are set back, which hour Qt takes without it depends on
        // what the C library converted before.
        const QString zone = dateTime.timeSpec() == Qt::TimeZone
                                 ? QString::fromLatin1(dateTime.timeZone().id())
                                 : QString(localZone);
        text += offset + QStringLiteral("[%1]").arg(zone);
    }
    const auto readBack = dateTimeFromText(text);
    return readBack && isSame(*readBack, dateTime) ? std::optional(text) : std::nullopt;
}

std::optional<QDateTime> dateTimeFromText(const QString& text) {
    static const QRegularExpression form(QRegularExpression::anchoredPattern(
        QStringLiteral("([^T]+)T([^Z+\\-]+)(Z|[+-]\\d\\d:[0-5]\\d(?::[0-5]\\d)?)?(?:\\[([^\\]]+)\\])?")));
    if (text.isEmpty()) {
        return QDateTime();
    }
    const QRegularExpressionMatch match = form.match(text);
    const auto date = dateFromText(match.captured(1));
    const auto time = timeFromText(match.captured(2));
    const QString offset = match.captured(3);
    const QString zone = match.captured(4);
    QDateTime dateTime;
    if (!match.hasMatch() || !date || !time) {
        return std::nullopt;
    }
    if (!zone.isEmpty()) {
        if (offset.size() > 1) {
            dateTime = zonedTime(*date, *time, zone, offsetFromText(offset));
        }
    } else if (offset.isEmpty()) {
        dateTime = QDateTime(*date, *time);
    } else if (offset == QLatin1String("Z")) {
        dateTime = QDateTime(*date, *time, Qt::UTC);
    } else {
        dateTime = QDateTime(*date, *time, Qt::OffsetFromUTC, offsetFromText(offset));
    }
    return dateTime.isValid() ? std::optional(dateTime) : std::nullopt;
}

} // namespace Cartolith::Core::Symbology::Internal
