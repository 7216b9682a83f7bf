#pragma once

#include <QElapsedTimer>
#include <QString>

/// A bar on standard error for work that takes longer than a moment. Draws nothing when standard error is not
/// a terminal, and nothing for work that is over before anybody would wait.
class ProgressBar {
public:
    explicit ProgressBar(QString what);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// The fraction done, 0 to 1; anything else (also NaN) means "unknown" and shows no percentage.
    void show(double fraction);

private:
    QString m_what;
    QElapsedTimer m_since;
    qint64 m_lastDrawn = 0;
    bool m_terminal;
    bool m_drawn = false;
};
