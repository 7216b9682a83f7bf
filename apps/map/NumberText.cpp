#include "NumberText.h"

#include <QLocale>

#include <cmath>

namespace {

const QLocale& english() {
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

double rounding(double value, int digits) {
    return QString::number(value, 'e', digits - 1).toDouble();
}

} // namespace

QString NumberText::whole(qsizetype number) {
    return english().toString(static_cast<qlonglong>(number));
}

QString NumberText::rounded(double value, int digits) {
    if (!std::isfinite(value)) {
        return QString::number(value);
    }
    const double rounded = rounding(value, digits);
    if (rounded == 0.0) {
        return QStringLiteral("0");
    }
    const int exponent = static_cast<int>(std::floor(std::log10(std::abs(rounded)) + 1e-12));
    if (exponent > 14 || exponent < -6) {
        return QString::number(rounded, 'g', digits);
    }
    QString text = english().toString(rounded, 'f', qMax(0, digits - 1 - exponent));
    if (text.contains(QLatin1Char('.'))) {
        while (text.endsWith(QLatin1Char('0'))) {
            text.chop(1);
        }
        if (text.endsWith(QLatin1Char('.'))) {
            text.chop(1);
        }
    }
    return text;
}

int NumberText::digitsFor(const QList<double>& bounds) {
    constexpr int most = 17; // enough for any two different doubles
    const auto fits = [&bounds](int digits) {
        for (qsizetype i = 1; i < bounds.size(); ++i) {
            const double gap = bounds.at(i) - bounds.at(i - 1);
            const bool near = std::abs(rounding(bounds.at(i - 1), digits) - bounds.at(i - 1)) <= gap / 50 &&
                              std::abs(rounding(bounds.at(i), digits) - bounds.at(i)) <= gap / 50;
            if (!near || rounded(bounds.at(i), digits) == rounded(bounds.at(i - 1), digits)) {
                return false;
            }
        }
        return true;
    };
    int digits = 3;
    while (digits < most && !fits(digits)) {
        ++digits;
    }
    return digits;
}
