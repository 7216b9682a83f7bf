#include <Cartolith/Core/Symbology/StyleJsonInternal.h>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// Of the enumerators, in the order of their numbers.
template <typename Enumeration>
const QStringList& textsOf();

template <>
const QStringList& textsOf<Layers::LabelPlacementMode>() {
    static const QStringList texts{QStringLiteral("automatic"), QStringLiteral("point"),
                                   QStringLiteral("line"), QStringLiteral("area")};
    return texts;
}

template <>
const QStringList& textsOf<Layers::LineCap>() {
    static const QStringList texts{QStringLiteral("round"), QStringLiteral("butt"), QStringLiteral("square")};
    return texts;
}

template <>
const QStringList& textsOf<Layers::LineJoin>() {
    static const QStringList texts{QStringLiteral("round"), QStringLiteral("mitre"), QStringLiteral("bevel")};
    return texts;
}

template <>
const QStringList& textsOf<Layers::FillPattern>() {
    static const QStringList texts{QStringLiteral("none"), QStringLiteral("lines"),
                                   QStringLiteral("crossedLines"), QStringLiteral("points")};
    return texts;
}

template <>
const QStringList& textsOf<Layers::MarkerShape>() {
    static const QStringList texts{
        QStringLiteral("circle"),     QStringLiteral("square"),       QStringLiteral("diamond"),
        QStringLiteral("triangleUp"), QStringLiteral("triangleDown"), QStringLiteral("pentagon"),
        QStringLiteral("hexagon"),    QStringLiteral("star"),         QStringLiteral("cross"),
        QStringLiteral("plus"),       QStringLiteral("saltire"),      QStringLiteral("arrow"),
        QStringLiteral("svg")};
    return texts;
}

template <>
const QStringList& textsOf<Layers::SizeScaling>() {
    static const QStringList texts{QStringLiteral("area"), QStringLiteral("linear")};
    return texts;
}

template <typename Enumeration>
void readEnumerator(Enumeration& target, const QJsonValue& value, const JsonPath& path) {
    target = static_cast<Enumeration>(enumeratorFromJson(value, textsOf<Enumeration>(), path));
}

template <typename Enumeration>
QJsonValue writtenEnumerator(Enumeration value) {
    return enumeratorToJson(static_cast<int>(value), textsOf<Enumeration>());
}

} // namespace

QJsonValue toJsonValue(Layers::LabelPlacementMode mode, const JsonPath& /*path*/) {
    return writtenEnumerator(mode);
}

void fromJsonValue(Layers::LabelPlacementMode& target, const QJsonValue& value, const JsonPath& path) {
    readEnumerator(target, value, path);
}

QJsonValue toJsonValue(Layers::LineCap value, const JsonPath& /*path*/) {
    return writtenEnumerator(value);
}

void fromJsonValue(Layers::LineCap& target, const QJsonValue& value, const JsonPath& path) {
    readEnumerator(target, value, path);
}

QJsonValue toJsonValue(Layers::LineJoin value, const JsonPath& /*path*/) {
    return writtenEnumerator(value);
}

void fromJsonValue(Layers::LineJoin& target, const QJsonValue& value, const JsonPath& path) {
    readEnumerator(target, value, path);
}

QJsonValue toJsonValue(Layers::FillPattern value, const JsonPath& /*path*/) {
    return writtenEnumerator(value);
}

void fromJsonValue(Layers::FillPattern& target, const QJsonValue& value, const JsonPath& path) {
    readEnumerator(target, value, path);
}

QJsonValue toJsonValue(Layers::MarkerShape value, const JsonPath& /*path*/) {
    return writtenEnumerator(value);
}

void fromJsonValue(Layers::MarkerShape& target, const QJsonValue& value, const JsonPath& path) {
    readEnumerator(target, value, path);
}

QJsonValue toJsonValue(Layers::SizeScaling value, const JsonPath& /*path*/) {
    return writtenEnumerator(value);
}

void fromJsonValue(Layers::SizeScaling& target, const QJsonValue& value, const JsonPath& path) {
    readEnumerator(target, value, path);
}

} // namespace Cartolith::Core::Symbology::Internal
