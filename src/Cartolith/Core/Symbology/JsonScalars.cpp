#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Symbology/JsonScalarsInternal.h>

#include <cmath>
#include <limits>

namespace Cartolith::Core::Symbology::Internal {

namespace {

using Common::Internal::infinity;

const struct {
    QLatin1String text;
    double value;
} namedNumbers[] = {
    {QLatin1String("NaN"), std::numeric_limits<double>::quiet_NaN()},
    {QLatin1String("Infinity"), infinity},
    {QLatin1String("-Infinity"), -infinity},
    {QLatin1String("-0"), -0.0},
};

/// The double of the float's own shortest text, so that 0.9F is written as 0.9.
double shortest(float value) {
    char text[32];
    const auto written = std::to_chars(std::begin(text), std::end(text), value);
    double number = 0.0;
    std::from_chars(std::begin(text), written.ptr, number);
    const bool fits = std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max());
    return fits && static_cast<float>(number) == value ? number : static_cast<double>(value);
}

} // namespace

QJsonValue toJsonValue(bool value, const JsonPath& /*path*/) {
    return {value};
}

void fromJsonValue(bool& target, const QJsonValue& value, const JsonPath& path) {
    if (!value.isBool()) {
        failReading(path, QStringLiteral("true or false"), value);
    }
    target = value.toBool();
}

QJsonValue toJsonValue(const QString& value, const JsonPath& /*path*/) {
    return {value};
}

void fromJsonValue(QString& target, const QJsonValue& value, const JsonPath& path) {
    if (!value.isString()) {
        failReading(path, QStringLiteral("a string"), value);
    }
    target = value.toString();
}

QJsonValue toJsonValue(double value, const JsonPath& /*path*/) {
    if (std::isnan(value)) {
        return namedNumbers[0].text;
    }
    for (const auto& named : namedNumbers) {
        if (value == named.value && std::signbit(value) == std::signbit(named.value)) {
            return named.text;
        }
    }
    return value;
}

void fromJsonValue(double& target, const QJsonValue& value, const JsonPath& path) {
    if (value.isDouble()) {
        target = value.toDouble();
        return;
    }
    for (const auto& named : namedNumbers) {
        if (value.isString() && value.toString() == named.text) {
            target = named.value;
            return;
        }
    }
    failReading(path, QStringLiteral("a number"), value);
}

QJsonValue toJsonValue(float value, const JsonPath& path) {
    return toJsonValue(std::isfinite(value) ? shortest(value) : static_cast<double>(value), path);
}

void fromJsonValue(float& target, const QJsonValue& value, const JsonPath& path) {
    double number = 0.0;
    fromJsonValue(number, value, path);
    if (std::isfinite(number) && std::abs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
        failReading(path, QStringLiteral("the number is too great for a float."));
    }
    target = static_cast<float>(number);
}

void fromJsonValue(QJsonValue& target, const QJsonValue& value, const JsonPath& /*path*/) {
    target = value;
}

std::optional<qint64> integerOf(const QJsonValue& value) {
    // There is no question for it, only a default for what is no integer.
    const qint64 integer = value.toInteger(0);
    return integer == value.toInteger(1) ? std::optional(integer) : std::nullopt;
}

QJsonValue enumeratorToJson(int number, const QStringList& texts) {
    return number >= 0 && number < texts.size() ? QJsonValue(texts.at(number)) : QJsonValue(number);
}

int enumeratorFromJson(const QJsonValue& value, const QStringList& texts, const JsonPath& path) {
    if (!value.isString()) {
        int number = 0;
        fromJsonValue(number, value, path);
        return number;
    }
    const auto number = texts.indexOf(value.toString());
    if (number < 0) {
        failReading(path, QStringLiteral("%1 is none of \"%2\".")
                              .arg(quoted(value.toString()), texts.join(QLatin1String("\", \""))));
    }
    return static_cast<int>(number);
}

} // namespace Cartolith::Core::Symbology::Internal
