#include <Cartolith/Map/NumberText.h>

#include <QLocale>

#include <algorithm>
#include <cmath>

namespace Cartolith::Map {

namespace {

const QLocale& english() {
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

/// Of the shortest text that reads back as the number.
struct Form {
    explicit Form(double number) {
        const QString text = QString::number(number, 'e', QLocale::FloatingPointShortest);
        const qsizetype e = text.indexOf(QLatin1Char('e'));
        exponent = number == 0.0 ? 0 : text.mid(e + 1).toInt();
        digits = static_cast<int>(
            std::count_if(text.cbegin(), text.cbegin() + e, [](QChar c) { return c.isDigit(); }));
    }

    int decimals() const { return std::max(0, digits - 1 - exponent); }

    int digits;
    int exponent;
};

} // namespace

QString NumberText::whole(qsizetype number) {
    return english().toString(static_cast<qlonglong>(number));
}

int NumberText::decimals(double number) {
    return Form(number).decimals();
}

int NumberText::digits(double number) {
    return Form(number).digits;
}

QStringList NumberText::alike(const QList<double>& numbers) {
    constexpr int longestWhole = 14;
    constexpr int longestFraction = 12;
    int decimals = 0;
    int digits = 1;
    int exponent = 0;
    for (const double number : numbers) {
        if (!std::isfinite(number)) {
            continue;
        }
        const Form form(number);
        decimals = std::max(decimals, form.decimals());
        digits = std::max(digits, form.digits);
        exponent = std::max(exponent, form.exponent);
    }
    QStringList texts;
    for (double number : numbers) {
        number += 0.0; // no -0
        if (!std::isfinite(number)) {
            texts.append(QString::number(number));
            continue;
        }
        if (exponent > longestWhole || decimals > longestFraction) {
            texts.append(QString::number(number, 'e', digits - 1));
            continue;
        }
        // Zeros are put behind the number's own digits: more of these would show how it is stored.
        const int own = NumberText::decimals(number);
        QString text = english().toString(number, 'f', own);
        if (own == 0 && decimals > 0) {
            text += QLatin1Char('.');
        }
        texts.append(text + QString(decimals - own, QLatin1Char('0')));
    }
    return texts;
}

} // namespace Cartolith::Map
