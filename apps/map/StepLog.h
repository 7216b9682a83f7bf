#pragma once

#include <QElapsedTimer>
#include <QString>

/// Says on standard output what a program did, a line a step, with the time since the step before.
class StepLog {
public:
    explicit StepLog(bool quiet) : m_quiet(quiet) { m_timer.start(); }

    /// The step is over; the next one starts now.
    void done(const QString& step, const QString& what);
    /// What was asked for: said also when the steps are not.
    void answer(const QString& step, const QString& what);

private:
    void record(const QString& step, const QString& what);

    QElapsedTimer m_timer;
    bool m_quiet;
};
