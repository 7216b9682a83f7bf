#pragma once

#include <QList>
#include <QString>
#include <QTypeInfo>

namespace Cartolith::Core::Common {

/// How much a record matters. The numbers are fixed; their order is the order of importance.
enum class LogLevel : int {
    Trace = 0,
    Debug = 1,
    Info = 2,
    Warning = 3,
    Error = 4,
};

/// A named value of a record. Tabs and line ends in it become blanks in the file; nothing else is escaped, so
/// that a ';' begins another field there, and the first '=' ends the key.
struct LogField {
    QString key;
    QString value;
};

/// What happened, as Logger::write() takes it.
struct LogEntry {
    QString
        channel; ///< a dotted name such as "viewer.render.metrics"; case and blanks at the ends do not matter
    QString event; ///< what happened there; when it is blank the fields or the channel name it
    LogLevel level = LogLevel::Info;
    /// Milliseconds; negative when it was not measured. A whole number in a field "elapsed_ms", "total_ms",
    /// "duration_ms" or "elapsed" (the first of these) then stands for it.
    qint64 elapsedMs = -1;
    QList<LogField> fields;
};

} // namespace Cartolith::Core::Common

Q_DECLARE_TYPEINFO(Cartolith::Core::Common::LogField, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(Cartolith::Core::Common::LogEntry, Q_RELOCATABLE_TYPE);
