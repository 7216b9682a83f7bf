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

/// A named value of a record.
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
    qint64 elapsedMs = -1; ///< milliseconds; negative when it was not measured
    QList<LogField> fields;
};

} // namespace Cartolith::Core::Common

Q_DECLARE_TYPEINFO(Cartolith::Core::Common::LogField, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(Cartolith::Core::Common::LogEntry, Q_RELOCATABLE_TYPE);
