#pragma once

#include <Cartolith/Core/Common/LogEntry.h>

#include <QElapsedTimer>
#include <QString>

namespace Cartolith::Core::Common::Internal {

/// False while nothing below a warning can be written. One load, without the logger's mutex.
bool isLogVerbose() noexcept;

/// A step of the library's that may take long: times the scope it lives in and reports it at the end, with a
/// field failed=1 when an exception ends it. Does nothing at all unless the log is verbose when it begins.
class LogStep {
public:
    LogStep(const char* channel, const char* event);
    ~LogStep();
    LogStep(const LogStep&) = delete;
    LogStep& operator=(const LogStep&) = delete;

    /// A field of the report.
    void set(const char* key, qint64 value) {
        if (m_active) {
            m_entry.fields.append({QLatin1String(key), QString::number(value)});
        }
    }
    void set(const char* key, const QString& value) {
        if (m_active) {
            m_entry.fields.append({QLatin1String(key), value});
        }
    }
    /// The event is another one than was thought at first.
    void rename(const char* event) {
        if (m_active) {
            m_entry.event = QLatin1String(event);
        }
    }

private:
    bool m_active;
    int m_exceptions = 0;
    QElapsedTimer m_timer;
    LogEntry m_entry;
};

} // namespace Cartolith::Core::Common::Internal
