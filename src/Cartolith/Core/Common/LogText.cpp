#include <Cartolith/Core/Common/LogTextInternal.h>
#include <Cartolith/Core/Common/Logger.h>

#include <QSaveFile>

#include <algorithm>
#include <stdexcept>
#include <unistd.h>

namespace Cartolith::Core::Common::Internal {

namespace {

/// The first field of that key; null when there is none.
const LogField* findField(const QList<LogField>& fields, const QString& key) {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&key](const LogField& field) { return field.key.trimmed() == key; });
    return found != fields.end() ? &*found : nullptr;
}

QString eventName(const LogEntry& entry, const QString& channel) {
    if (QString name = entry.event.trimmed(); !name.isEmpty()) {
        return name;
    }
    for (const char* const key : {"event", "step", "action"}) {
        const LogField* const field = findField(entry.fields, QLatin1String(key));
        if (field != nullptr && !field->value.isEmpty()) {
            return field->value;
        }
    }
    const QString last = channel.mid(channel.lastIndexOf(u'.') + 1);
    return last.isEmpty() ? channel : last;
}

qint64 elapsedTime(const LogEntry& entry) {
    if (entry.elapsedMs >= 0) {
        return entry.elapsedMs;
    }
    for (const char* const key : {"elapsed_ms", "total_ms", "duration_ms", "elapsed"}) {
        for (const LogField& field : entry.fields) {
            bool isNumber = false;
            const qint64 value = field.value.toLongLong(&isNumber);
            if (isNumber && field.key.trimmed() == QLatin1String(key)) {
                return value;
            }
        }
    }
    return -1;
}

QString fieldsText(const LogEntry& entry, const QList<LogField>& context) {
    QStringList texts;
    const auto add = [&texts](const LogField& field) {
        const QString key = field.key.trimmed();
        if (!key.isEmpty()) {
            texts.append(Logger::tsvSafe(key) + u'=' + Logger::tsvSafe(field.value));
        }
    };
    for (const LogField& field : context) {
        const QString key = field.key.trimmed();
        const bool hasOwn =
            std::any_of(entry.fields.begin(), entry.fields.end(), [&key](const LogField& own) {
                return own.key.trimmed() == key && !own.value.isEmpty();
            });
        if (!hasOwn) {
            add(field);
        }
    }
    std::for_each(entry.fields.begin(), entry.fields.end(), add);
    return texts.join(u';');
}

bool isNumber(const QString& text) {
    bool is = false;
    (void)text.toDouble(&is);
    return is;
}

} // namespace

QString normalisedChannel(const QString& channel) {
    const QString name = channel.trimmed().toLower();
    return name.isEmpty() ? QStringLiteral("general") : name;
}

QByteArray logLine(const LogEntry& entry, const QString& channel, const QList<LogField>& context,
                   const LogStamp& stamp) {
    const qsizetype dot = channel.indexOf(u'.');
    const QStringList cells{stamp.time.toString(Qt::ISODateWithMs),
                            QString::number(stamp.sequence),
                            Logger::logLevelText(entry.level),
                            Logger::tsvSafe(dot > 0 ? channel.left(dot) : channel),
                            Logger::tsvSafe(channel),
                            Logger::tsvSafe(eventName(entry, channel)),
                            QString::number(stamp.thread, 16),
                            QString::number(elapsedTime(entry)),
                            fieldsText(entry, context)};
    return (cells.join(u'\t') + u'\n').toUtf8();
}

QByteArray tsvOf(const QList<QStringList>& rows) {
    QByteArray bytes;
    for (const QStringList& row : rows) {
        QStringList cells;
        for (const QString& cell : row) {
            cells.append(Logger::tsvSafe(cell));
        }
        bytes += cells.join(u'\t').toUtf8() + '\n';
    }
    return bytes;
}

QByteArray alignedTextOf(const QList<QStringList>& rows) {
    QList<qsizetype> widths;
    for (const QStringList& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    QString text;
    for (const QStringList& row : rows) {
        QString line;
        for (qsizetype i = 0; i < row.size(); ++i) {
            const QString cell = Logger::tsvSafe(row[i]);
            line += (i > 0 ? QStringLiteral("  ") : QString()) +
                    (isNumber(cell) ? cell.rightJustified(widths[i]) : cell.leftJustified(widths[i]));
        }
        while (line.endsWith(u' ')) {
            line.chop(1);
        }
        text += line + u'\n';
    }
    return text.toUtf8();
}

void writeTable(const QList<QStringList>& rows, const QString& path) {
    writeWhole(path,
               path.endsWith(QLatin1String(".tsv"), Qt::CaseInsensitive) ? tsvOf(rows) : alignedTextOf(rows));
}

void writeWhole(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush() ||
        ::fsync(file.handle()) != 0 || !file.commit()) { // which does not tell of a disk that fails
        throw std::runtime_error(
            QStringLiteral("Cannot write '%1': %2").arg(path, file.errorString()).toStdString());
    }
}

} // namespace Cartolith::Core::Common::Internal
