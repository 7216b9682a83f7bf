#include "StepLog.h"

#include <cstdio>

void StepLog::done(const QString& step, const QString& what) {
    const double milliseconds = static_cast<double>(m_timer.nsecsElapsed()) / 1e6;
    if (!m_quiet) {
        std::printf("%-10s %s  (%.1f ms)\n", qPrintable(step), what.toUtf8().constData(), milliseconds);
        std::fflush(stdout);
    }
    m_timer.restart();
}
