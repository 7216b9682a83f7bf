#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Common/LogTextInternal.h>
#include <Cartolith/Core/Common/Logger.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>

namespace Cartolith::Core::Common {

namespace {

struct State {
    QMutex mutex;
    LoggingMode mode = LoggingMode::Normal;
    LogLevel minimumLevel = LogLevel::Trace;
    QString path;
    QHash<QString, bool> channels;
    QList<LogField> context;
};

State& state() {
    static State instance;
    return instance;
}

/// Whether anything below a warning can be written, readable without the mutex: most processes never turn the
/// log on, and their records cost one load.
std::atomic<bool>& verboseFlag() {
    static std::atomic<bool> flag{false};
    return flag;
}

quint64 nextSequence() {
    static std::atomic<quint64> sequence{0};
    return ++sequence;
}

QString effectivePath(const State& now) {
    if (!now.path.isEmpty()) {
        return now.path;
    }
    const QString name = QStringLiteral("cartolith_log.tsv");
    return QCoreApplication::instance() != nullptr
               ? QDir(QCoreApplication::applicationDirPath()).filePath(name)
               : name;
}

/// Puts a file with nothing but the header in place, if it can and there is none: other processes never see
/// it without.
void createWithHeader(const QString& path) {
    const QString aside = QStringLiteral("%1.%2").arg(path).arg(QCoreApplication::applicationPid());
    QFile file(aside);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        return;
    }
    const bool written =
        file.write(Internal::logHeader.data(), Internal::logHeader.size()) == Internal::logHeader.size() &&
        file.flush();
    file.close();
    // A second name is refused where there is a file by now; QFile::rename() would copy over it then. Where a
    // file system has no second names, the caller makes the file.
    const QByteArray from = QFile::encodeName(aside);
    if (written) {
        [[maybe_unused]] const int refused = ::link(from.constData(), QFile::encodeName(path).constData());
    }
    ::unlink(from.constData());
}

/// True when the file has something before that place, and no end of a line.
bool isTornAt(int file, off_t place) {
    char last = '\n';
    return place > 0 && ::pread(file, &last, 1, place - 1) == 1 && last != '\n';
}

/// What a record has to begin with because the last line of the file has no end. Its writer was killed, or
/// had no room on the disk, when nobody holds the lock that writers share; one who is at it still is given a
/// millisecond, then a line feed, which harms no line.
QByteArrayView endOfTornLine(int file) {
    for (int look = 0; look < 20; ++look) {
        if (!isTornAt(file, ::lseek(file, 0, SEEK_END))) {
            return {};
        }
        if (::flock(file, LOCK_EX | LOCK_NB) == 0) {
            return isTornAt(file, ::lseek(file, 0, SEEK_END)) ? Internal::tornLineEnd : QByteArrayView();
        }
        ::usleep(50);
    }
    return "\n";
}

/// By the system's calls: what matters is that the record is one write at whatever is the end of the file
/// then. Waits neither for the reader of a pipe nor for a lock that somebody keeps.
void append(const QString& path, QByteArray record) {
    const QByteArray name = QFile::encodeName(path);
    const auto open = [&name](int create) {
        constexpr mode_t permissions = 0666; // less the process's mask
        const int flags = O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | create;
        const int file = ::open(name.constData(), O_RDWR | flags, permissions);
        // It may be one that can be written to, but not read.
        return file < 0 && errno != ENOENT ? ::open(name.constData(), O_WRONLY | flags, permissions) : file;
    };
    int file = open(0);
    if (file < 0 && errno == ENOENT) {
        createWithHeader(path); // or somebody else does
        file = open(0);
    }
    if (file < 0 && errno == ENOENT) {
        record.prepend(Internal::logHeader.data(), Internal::logHeader.size());
        file = open(O_CREAT);
    }
    if (file < 0) {
        return;
    }
    const QByteArrayView ending = endOfTornLine(file);
    record.prepend(ending.data(), ending.size());
    ::flock(file, LOCK_SH | LOCK_NB); // until it is closed, also by the system
    const auto write = [file, &record] {
        return ::write(file, record.constData(), static_cast<std::size_t>(record.size())) == record.size();
    };
    // Somebody may have been killed since the look: the record is a part of that line then.
    if (write() && ending.isEmpty() && isTornAt(file, ::lseek(file, 0, SEEK_CUR) - record.size())) {
        record.prepend('\n');
        (void)write();
    }
    ::close(file);
}

} // namespace

bool Internal::isLogVerbose() noexcept {
    return verboseFlag();
}

LoggingMode Logger::mode() {
    const QMutexLocker lock(&state().mutex);
    return state().mode;
}

void Logger::setMode(LoggingMode mode) {
    const QMutexLocker lock(&state().mutex);
    state().mode = mode;
    verboseFlag() = mode == LoggingMode::Verbose;
}

bool Logger::isVerbose() {
    return mode() == LoggingMode::Verbose;
}

LogLevel Logger::minimumLevel() {
    const QMutexLocker lock(&state().mutex);
    return state().minimumLevel;
}

void Logger::setMinimumLevel(LogLevel level) {
    const QMutexLocker lock(&state().mutex);
    state().minimumLevel = level;
}

QString Logger::logPath() {
    const QMutexLocker lock(&state().mutex);
    return effectivePath(state());
}

void Logger::setLogPath(const QString& path) {
    const QMutexLocker lock(&state().mutex);
    state().path = path;
}

void Logger::setLogPath(const QString& path, const QString& /*unused*/) {
    setLogPath(path);
}

bool Logger::isEnabled(const QString& channel) {
    const QMutexLocker lock(&state().mutex);
    return state().mode == LoggingMode::Verbose &&
           state().channels.value(Internal::normalisedChannel(channel), true);
}

void Logger::setEnabled(const QString& channel, bool enabled) {
    const QMutexLocker lock(&state().mutex);
    state().channels.insert(Internal::normalisedChannel(channel), enabled);
}

QList<QString> Logger::disabledChannels() {
    const QMutexLocker lock(&state().mutex);
    QList<QString> names = state().channels.keys(false);
    std::sort(names.begin(), names.end());
    return names;
}

void Logger::resetChannelConfiguration() {
    const QMutexLocker lock(&state().mutex);
    state().channels.clear();
}

QList<LogField> Logger::contextFields() {
    const QMutexLocker lock(&state().mutex);
    return state().context;
}

void Logger::setContextField(const QString& key, const QString& value) {
    const QMutexLocker lock(&state().mutex);
    QList<LogField>& fields = state().context;
    const auto same = [&key](const LogField& field) { return field.key.trimmed() == key.trimmed(); };
    if (const auto found = std::find_if(fields.begin(), fields.end(), same); found != fields.end()) {
        found->value = value;
    } else {
        fields.append({key, value});
    }
}

void Logger::setContextFields(const QList<LogField>& fields) {
    const QMutexLocker lock(&state().mutex);
    state().context = fields;
}

void Logger::clearContextFields() {
    setContextFields({});
}

void Logger::write(const LogEntry& entry) {
    const bool always = entry.level >= LogLevel::Warning;
    if (!always && !verboseFlag()) {
        return;
    }
    const QString channel = Internal::normalisedChannel(entry.channel);
    const QMutexLocker lock(&state().mutex);
    const State& now = state();
    if (!always && (now.mode != LoggingMode::Verbose || !now.channels.value(channel, true))) {
        return;
    }
    if (entry.level < now.minimumLevel) {
        return;
    }
    const Internal::LogStamp stamp{QDateTime::currentDateTime(), nextSequence(),
                                   reinterpret_cast<quintptr>(QThread::currentThreadId())};
    append(effectivePath(now), Internal::logLine(entry, channel, now.context, stamp));
}

void Logger::writeEvent(const QString& channel, const QString& event, LogLevel level, qint64 elapsedMs,
                        const QList<LogField>& fields) {
    write({channel, event, level, elapsedMs, fields});
}

QString Logger::tsvSafe(QString text) {
    for (const QChar breaking : {u'\t', u'\r', u'\n'}) {
        text.replace(breaking, u' ');
    }
    return text;
}

QString Logger::logLevelText(LogLevel level) {
    static const std::array<const char*, 5> texts{"trace", "debug", "info", "warning", "error"};
    const auto index = static_cast<std::size_t>(level);
    return QLatin1String(index < texts.size() ? texts[index] : "info");
}

void Logger::writeLoadMetric(const QString& event, qint64 elapsedMs, const QString& what, qint64 count) {
    writeLoadMetrics({{event, elapsedMs, what, count}});
}

void Logger::writeLoadMetrics(const QList<LoadMetric>& metrics) {
    static std::atomic<int> batches{0};
    if (!verboseFlag()) {
        return;
    }
    const QString batch = metrics.size() > 1 ? QString::number(++batches) : QString();
    for (const LoadMetric& metric : metrics) {
        QList<LogField> fields{{QStringLiteral("what"), metric.what}};
        if (metric.count >= 0) {
            fields.append({QStringLiteral("count"), QString::number(metric.count)});
        }
        if (!batch.isEmpty()) {
            fields.append({QStringLiteral("batch"), batch});
        }
        write({QLatin1String(LogChannels::load), metric.event, LogLevel::Info, metric.elapsedMs, fields});
    }
}

LogSummary Logger::summarizeLogFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error(
            QStringLiteral("Cannot read log file '%1': %2").arg(path, file.errorString()).toStdString());
    }
    LogSummary summary = LogSummary::read(file);
    if (file.error() != QFileDevice::NoError) {
        throw std::runtime_error(
            QStringLiteral("Cannot read log file '%1': %2").arg(path, file.errorString()).toStdString());
    }
    return summary;
}

void Logger::writeLogSummary(const LogSummary& summary, const QString& path) {
    Internal::writeTable(summary.table(), path);
}

void Logger::writeLogComparison(const LogComparison& comparison, const QString& path) {
    Internal::writeTable(comparison.table(), path);
}

QByteArray Logger::alignedText(const QList<QStringList>& rows) {
    return Internal::alignedTextOf(rows);
}

void Logger::writeTsv(const QString& path, const QList<QStringList>& rows) {
    Internal::writeWhole(path, Internal::tsvOf(rows));
}

} // namespace Cartolith::Core::Common
