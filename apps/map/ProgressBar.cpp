#include "ProgressBar.h"

#include <cstdio>
#include <unistd.h>
#include <utility>

ProgressBar::ProgressBar(QString what) : m_what(std::move(what)), m_terminal(isatty(STDERR_FILENO) != 0) {
    m_since.start();
}

ProgressBar::~ProgressBar() {
    if (m_drawn) {
        std::fputs("\r\033[K", stderr);
    }
}

void ProgressBar::show(double fraction) {
    constexpr qint64 patience = 400; // milliseconds before the bar appears
    constexpr qint64 interval = 100;
    const qint64 now = m_since.elapsed();
    if (!m_terminal || now < patience || (m_drawn && now - m_lastDrawn < interval)) {
        return;
    }
    m_lastDrawn = now;
    m_drawn = true;
    constexpr int width = 40;
    if (fraction >= 0.0 && fraction <= 1.0) {
        const int full = static_cast<int>(fraction * width);
        const QByteArray bar = QByteArray(full, '#') + QByteArray(width - full, '.');
        std::fprintf(stderr, "\r%s [%s] %3d %%", qPrintable(m_what), bar.constData(),
                     static_cast<int>(fraction * 100.0));
    } else {
        std::fprintf(stderr, "\r%s ...", qPrintable(m_what));
    }
    std::fflush(stderr);
}
