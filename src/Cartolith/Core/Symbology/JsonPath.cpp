#include <Cartolith/Core/Symbology/JsonPathInternal.h>

#include <algorithm>
#include <stdexcept>

namespace Cartolith::Core::Symbology::Internal {

namespace {

QString nameOf(const QJsonValue& value) {
    switch (value.type()) {
    case QJsonValue::Null:
        return QStringLiteral("null");
    case QJsonValue::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QJsonValue::Double:
        return QStringLiteral("a number");
    case QJsonValue::String:
        return QStringLiteral("a string");
    case QJsonValue::Array:
        return QStringLiteral("an array");
    default:
        return QStringLiteral("an object");
    }
}

std::string message(const JsonPath& path, const QString& reason) {
    return QStringLiteral("%1: %2").arg(path.text(), reason).toStdString();
}

} // namespace

QString JsonPath::text() const {
    QString text;
    for (const JsonPath* path = this; path != nullptr; path = path->m_parent) {
        if (path->m_kind == Kind::Element) {
            text.prepend(QStringLiteral("[%1]").arg(path->m_index));
        } else if (path->m_kind == Kind::Key) {
            text.prepend(QStringLiteral("[%1]").arg(quoted(path->m_name)));
        } else {
            text.prepend(path->m_name.toString());
            if (path->m_parent != nullptr) {
                text.prepend(QLatin1Char('.'));
            }
        }
    }
    return text;
}

QString quoted(QAnyStringView text) {
    constexpr qsizetype longest = 40;
    QString shown = text.toString();
    if (shown.size() > longest) {
        shown = shown.left(longest) + QLatin1String("...");
    }
    std::replace_if(
        shown.begin(), shown.end(), [](QChar c) { return !c.isPrint(); }, QLatin1Char('?'));
    return QLatin1Char('"') + shown + QLatin1Char('"');
}

void failReading(const JsonPath& path, const QString& reason) {
    throw std::runtime_error(message(path, reason));
}

void failReading(const JsonPath& path, const QString& expected, const QJsonValue& found) {
    failReading(path, found.isUndefined()
                          ? QStringLiteral("%1 is expected, but there is none.").arg(expected)
                          : QStringLiteral("%1 is expected, not %2.").arg(expected, nameOf(found)));
}

void failSaving(const JsonPath& path, const QString& reason) {
    throw std::invalid_argument(message(path, reason));
}

} // namespace Cartolith::Core::Symbology::Internal
