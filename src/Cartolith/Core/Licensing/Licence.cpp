#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceTextInternal.h>

#include <QJsonArray>
#include <QJsonDocument>

namespace Cartolith::Core::Licensing {

namespace {

using Internal::fail;

constexpr QLatin1String product("cartolith");

QJsonObject ownPayload(const QByteArray& payload) {
    QJsonObject object = Internal::strictObject(payload);
    if (Internal::requiredText(object, QStringLiteral("product")) != product) {
        fail(QStringLiteral("It is for another product."));
    }
    if (Internal::requiredText(object, QStringLiteral("id")).isEmpty()) {
        fail(QStringLiteral("The member \"id\" is empty."));
    }
    return object;
}

qint64 requiredTime(const QJsonObject& object, const QString& member) {
    const auto time = Internal::parseTime(Internal::requiredText(object, member));
    if (!time) {
        fail(QStringLiteral("The member \"%1\" must be a time like 2026-11-21T09:30:00Z.").arg(member));
    }
    return *time;
}

QStringList requiredFeatures(const QJsonObject& object) {
    const QJsonValue value = object.value(QStringLiteral("features"));
    if (!value.isArray()) {
        fail(QStringLiteral("The member \"features\" must be a list of texts."));
    }
    QStringList features;
    const QJsonArray list = value.toArray();
    for (const QJsonValue feature : list) {
        if (!feature.isString()) {
            fail(QStringLiteral("The member \"features\" must be a list of texts."));
        }
        features.append(feature.toString());
    }
    features.sort();
    features.removeDuplicates();
    return features;
}

} // namespace

Licence Licence::fromPayload(const QByteArray& payload) {
    const QJsonObject object = ownPayload(payload);
    Licence licence;
    licence.id = object.value(QStringLiteral("id")).toString();
    licence.serial = Internal::requiredCount(object, QStringLiteral("serial"));
    licence.holder = Internal::requiredText(object, QStringLiteral("holder"));
    licence.issued = requiredTime(object, QStringLiteral("issued"));
    licence.notBefore = requiredTime(object, QStringLiteral("notBefore"));
    if (object.value(QStringLiteral("expires")) != QStringLiteral("never")) {
        licence.expires = requiredTime(object, QStringLiteral("expires"));
    }
    if (object.contains(QStringLiteral("refreshBy"))) {
        licence.refreshBy = requiredTime(object, QStringLiteral("refreshBy"));
    }
    licence.features = requiredFeatures(object);
    if (object.contains(QStringLiteral("machine"))) {
        licence.machine = Internal::requiredBytes(object, QStringLiteral("machine"));
        if (licence.machine.isEmpty()) {
            fail(QStringLiteral("The member \"machine\" is empty."));
        }
    }
    if (object.contains(QStringLiteral("seats"))) {
        licence.seats = Internal::requiredCount(object, QStringLiteral("seats"));
    }
    return licence;
}

QByteArray Licence::toPayload() const {
    QJsonObject object{
        {QStringLiteral("product"), QString(product)},
        {QStringLiteral("id"), id},
        {QStringLiteral("serial"), serial},
        {QStringLiteral("holder"), holder},
        {QStringLiteral("issued"), Internal::timeText(issued)},
        {QStringLiteral("notBefore"), Internal::timeText(notBefore)},
        {QStringLiteral("expires"), expires ? Internal::timeText(*expires) : QStringLiteral("never")},
        {QStringLiteral("features"), QJsonArray::fromStringList(features)}};
    if (refreshBy) {
        object.insert(QStringLiteral("refreshBy"), Internal::timeText(*refreshBy));
    }
    if (!machine.isEmpty()) {
        object.insert(QStringLiteral("machine"), QString::fromLatin1(machine.toBase64()));
    }
    if (seats > 0) {
        object.insert(QStringLiteral("seats"), seats);
    }
    return QJsonDocument(object).toJson();
}

LicenceRevocation LicenceRevocation::fromPayload(const QByteArray& payload) {
    const QJsonObject object = ownPayload(payload);
    return {object.value(QStringLiteral("id")).toString(),
            Internal::requiredCount(object, QStringLiteral("serial")),
            requiredTime(object, QStringLiteral("issued"))};
}

QByteArray LicenceRevocation::toPayload() const {
    return QJsonDocument(QJsonObject{{QStringLiteral("product"), QString(product)},
                                     {QStringLiteral("id"), id},
                                     {QStringLiteral("serial"), serial},
                                     {QStringLiteral("issued"), Internal::timeText(issued)}})
        .toJson();
}

} // namespace Cartolith::Core::Licensing
