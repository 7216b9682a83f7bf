#pragma once

#include <QColor>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <stdexcept>
#include <utility>

namespace Cartolith::Map::Internal {

inline QString text(const char* latin1) {
    return QString::fromLatin1(latin1);
}

[[noreturn]] inline void fail(const QString& where, const QString& what) {
    throw std::runtime_error(QStringLiteral("%1: %2").arg(where, what).toStdString());
}

/// The members of an object, each taken once, so that those that are not known are found.
class JsonMembers {
public:
    JsonMembers(const QJsonValue& value, QString where) : m_where(std::move(where)) {
        if (!value.isObject()) {
            fail(m_where, text("an object is expected."));
        }
        m_members = value.toObject();
    }

    QString where(const char* name) const { return m_where + QLatin1Char('.') + text(name); }
    bool has(const char* name) const { return m_members.contains(QLatin1String(name)); }

    bool isArray(const char* name) const { return m_members.value(QLatin1String(name)).isArray(); }

    QString string(const char* name, const QString& missing = QString()) {
        const QJsonValue value = take(name);
        if (!value.isUndefined() && !value.isString()) {
            fail(where(name), text("a text is expected."));
        }
        return value.toString(missing);
    }
    QColor colour(const char* name, QColor missing) {
        const QString value = string(name, missing.name(QColor::HexArgb));
        if (!QColor::isValidColor(value)) { // of which Qt would make black, and print it
            fail(where(name), QStringLiteral("\"%1\" is no colour.").arg(value.left(40)));
        }
        return QColor(value);
    }
    bool boolean(const char* name, bool missing) {
        const QJsonValue value = take(name);
        if (!value.isUndefined() && !value.isBool()) {
            fail(where(name), text("true or false is expected."));
        }
        return value.toBool(missing);
    }
    double number(const char* name, double missing) {
        const QJsonValue value = take(name);
        if (!value.isUndefined() && !value.isDouble()) {
            fail(where(name), text("a number is expected."));
        }
        return value.toDouble(missing);
    }
    QJsonObject object(const char* name) {
        const QJsonValue value = take(name);
        if (!value.isUndefined() && !value.isObject()) {
            fail(where(name), text("an object is expected."));
        }
        return value.toObject();
    }
    QJsonArray array(const char* name) {
        const QJsonValue value = take(name);
        if (!value.isUndefined() && !value.isArray()) {
            fail(where(name), text("an array is expected."));
        }
        return value.toArray();
    }

    void refuseOthers() const {
        if (!m_members.isEmpty()) {
            fail(m_where, QStringLiteral("there is no member \"%1\".").arg(m_members.begin().key().left(40)));
        }
    }

private:
    QJsonValue take(const char* name) {
        const QLatin1String key(name);
        return m_members.contains(key) ? m_members.take(key) : QJsonValue(QJsonValue::Undefined);
    }

    QJsonObject m_members;
    QString m_where;
};

} // namespace Cartolith::Map::Internal
