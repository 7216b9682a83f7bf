#include "StepLog.h"

#include <Cartolith/Core/Common/Logger.h>

#include <cstdio>

using namespace Cartolith::Core;

void StepLog::done(const QString& step, const QString& what) {
    const double milliseconds = static_cast<double>(m_timer.nsecsElapsed()) / 1e6;
    record(step, what);
    if (!m_quiet) {
        std::printf("%-10s %s  (%.1f ms)\n", qPrintable(step), what.toUtf8().constData(), milliseconds);
        std::fflush(stdout);
    }
    m_timer.restart();
}

void StepLog::answer(const QString& step, const QString& what) {
    record(step, what);
    std::printf("%-10s %s\n", qPrintable(step), what.toUtf8().constData());
    m_timer.restart();
}

void StepLog::record(const QString& step, const QString& what) {
    Common::Logger::writeEvent(QStringLiteral("map.%1").arg(step), step, Common::LogLevel::Info,
                               m_timer.elapsed(), {{QStringLiteral("what"), what}});
}
