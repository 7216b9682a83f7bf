#pragma once

#include <Cartolith/Core/Symbology/JsonPathInternal.h>

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <charconv>
#include <concepts>
#include <limits>
#include <optional>
#include <utility>

/// Single values as JSON. A value is written by toJsonValue() and read by fromJsonValue(), which throws
/// std::runtime_error when the JSON does not hold such a value.
namespace Cartolith::Core::Symbology::Internal {

QJsonValue toJsonValue(bool value, const JsonPath& path);
void fromJsonValue(bool& target, const QJsonValue& value, const JsonPath& path);
QJsonValue toJsonValue(const QString& value, const JsonPath& path);
void fromJsonValue(QString& target, const QJsonValue& value, const JsonPath& path);

/// What JSON has no number for is text: "NaN", "Infinity", "-Infinity" and "-0".
QJsonValue toJsonValue(double value, const JsonPath& path);
void fromJsonValue(double& target, const QJsonValue& value, const JsonPath& path);
QJsonValue toJsonValue(float value, const JsonPath& path);
/// Rounds to the nearest float; what is too great for one is an error.
void fromJsonValue(float& target, const QJsonValue& value, const JsonPath& path);

/// Passes what is read later.
void fromJsonValue(QJsonValue& target, const QJsonValue& value, const JsonPath& path);

/// The integer that a JSON number is, if it is one.
std::optional<qint64> integerOf(const QJsonValue& value);

/// The greatest integer up to which a double, which is what many readers of JSON have, holds them all.
inline constexpr qint64 maximumExactInteger = qint64{1} << 53;

/// Numbers beyond 2^53 are text.
template <std::integral T>
QJsonValue toJsonValue(T value, const JsonPath& /*path*/) {
    return std::cmp_less_equal(value, maximumExactInteger) &&
                   std::cmp_greater_equal(value, -maximumExactInteger)
               ? QJsonValue(static_cast<qint64>(value))
               : QJsonValue(QString::number(value));
}

template <std::integral T>
void fromJsonValue(T& target, const QJsonValue& value, const JsonPath& path) {
    if (const auto integer = integerOf(value); integer && std::in_range<T>(*integer)) {
        target = static_cast<T>(*integer);
        return;
    }
    if (value.isString()) {
        const QByteArray text = value.toString().toLatin1();
        T number = 0;
        const auto [end, error] = std::from_chars(text.cbegin(), text.cend(), number);
        if (error == std::errc() && end == text.cend()) {
            target = number;
            return;
        }
    }
    failReading(path, QStringLiteral("a whole number from %1 to %2 is expected.")
                          .arg(std::numeric_limits<T>::min())
                          .arg(std::numeric_limits<T>::max()));
}

/// An enumerator is written as its text, at the position of its number, and a number without text as it is.
QJsonValue enumeratorToJson(int number, const QStringList& texts);
/// Reads a text or any number.
int enumeratorFromJson(const QJsonValue& value, const QStringList& texts, const JsonPath& path);

} // namespace Cartolith::Core::Symbology::Internal
