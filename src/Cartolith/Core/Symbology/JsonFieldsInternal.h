#pragma once

#include <Cartolith/Core/Symbology/JsonScalarsInternal.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QList>

#include <algorithm>
#include <functional>
#include <type_traits>
#include <utility>

/// Objects as JSON, each driven by one table of its members, and lists of them.
namespace Cartolith::Core::Symbology::Internal {

template <typename Object>
struct JsonField {
    QLatin1String name;
    QJsonValue (*write)(const Object& object, const JsonPath& path);
    void (*read)(Object& object, const QJsonValue& value, const JsonPath& path);
    /// Of a member that is only written where it is another; null for those that always are.
    bool (*isDefault)(const Object& object) = nullptr;
};

template <typename Object, typename Result>
Object objectOf(Result (Object::*)() const);
template <typename Object, typename Member>
requires(!std::is_function_v<Member>) Object objectOf(Member Object::*);

/// A member behind a getter and a setter; the setter may be a function that takes the object.
template <auto getter, auto setter>
constexpr auto property(const char* name) {
    using Object = decltype(objectOf(getter));
    return JsonField<Object>{QLatin1String(name),
                             [](const Object& object, const JsonPath& path) {
                                 return toJsonValue(std::invoke(getter, object), path);
                             },
                             [](Object& object, const QJsonValue& value, const JsonPath& path) {
                                 auto member = std::invoke(getter, std::as_const(object));
                                 fromJsonValue(member, value, path);
                                 std::invoke(setter, object, member);
                             }};
}

/// The same, written where it is not as in a new object.
template <auto getter, auto setter>
constexpr auto optionalProperty(const char* name) {
    auto field = property<getter, setter>(name);
    using Object = decltype(objectOf(getter));
    field.isDefault = [](const Object& object) {
        return std::invoke(getter, object) == std::invoke(getter, Object());
    };
    return field;
}

template <auto pointer>
constexpr auto member(const char* name) {
    using Object = decltype(objectOf(pointer));
    return JsonField<Object>{
        QLatin1String(name),
        [](const Object& object, const JsonPath& path) { return toJsonValue(object.*pointer, path); },
        [](Object& object, const QJsonValue& value, const JsonPath& path) {
            fromJsonValue(object.*pointer, value, path);
        }};
}

/// Specialised with the table `fields` for each class that is an object in JSON.
template <typename Object>
struct JsonFields;

template <typename Object>
concept HasJsonFields = requires {
    JsonFields<Object>::fields;
};

template <typename Object>
requires HasJsonFields<Object> QJsonObject writeFields(const Object& object, const JsonPath& path) {
    QJsonObject members;
    for (const JsonField<Object>& field : JsonFields<Object>::fields) {
        if (field.isDefault == nullptr || !field.isDefault(object)) {
            members.insert(field.name, field.write(object, path.member(field.name)));
        }
    }
    return members;
}

/// Sets the members that are there and leaves the others alone.
template <typename Object>
requires HasJsonFields<Object>
void readFields(Object& object, const QJsonObject& members, const JsonPath& path) {
    const auto& fields = JsonFields<Object>::fields;
    qsizetype known = 0;
    for (const JsonField<Object>& field : fields) {
        if (const auto found = members.constFind(field.name); found != members.constEnd()) {
            field.read(object, *found, path.member(field.name));
            ++known;
        }
    }
    if (known == members.size()) {
        return;
    }
    for (auto it = members.constBegin(); it != members.constEnd(); ++it) {
        if (std::none_of(fields.begin(), fields.end(),
                         [&it](const auto& field) { return it.key() == field.name; })) {
            failReading(path, QStringLiteral("there is no member %1.").arg(quoted(it.key())));
        }
    }
}

template <typename Object>
requires HasJsonFields<Object> QJsonValue toJsonValue(const Object& object, const JsonPath& path) {
    return writeFields(object, path);
}

template <typename Object>
requires HasJsonFields<Object>
void fromJsonValue(Object& target, const QJsonValue& value, const JsonPath& path) {
    if (!value.isObject()) {
        failReading(path, QStringLiteral("an object"), value);
    }
    readFields(target, value.toObject(), path);
}

template <typename Item>
QJsonValue toJsonValue(const QList<Item>& list, const JsonPath& path) {
    QJsonArray array;
    for (const Item& item : list) {
        array.append(toJsonValue(item, path.element(array.size())));
    }
    return array;
}

/// Replaces what the list holds.
template <typename Item>
void fromJsonValue(QList<Item>& target, const QJsonValue& value, const JsonPath& path) {
    if (!value.isArray()) {
        failReading(path, QStringLiteral("an array"), value);
    }
    const QJsonArray array = value.toArray();
    target.clear();
    target.reserve(array.size());
    for (const QJsonValue element : array) {
        Item item{};
        fromJsonValue(item, element, path.element(target.size()));
        target.append(std::move(item));
    }
}

} // namespace Cartolith::Core::Symbology::Internal
