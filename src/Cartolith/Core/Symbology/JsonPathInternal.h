#pragma once

#include <QAnyStringView>
#include <QJsonValue>
#include <QString>

namespace Cartolith::Core::Symbology::Internal {

/// Where in a document a value is, for messages: "renderer.rules[2].style". Costs nothing until it is asked
/// for its text. Refers to the path it was made from and to its name.
class JsonPath {
public:
    explicit JsonPath(QAnyStringView root) : m_name(root) {}

    JsonPath member(QAnyStringView name) const { return {*this, Kind::Member, name, 0}; }
    /// The same for a name that anybody may have chosen.
    JsonPath key(QAnyStringView name) const { return {*this, Kind::Key, name, 0}; }
    JsonPath element(qsizetype index) const { return {*this, Kind::Element, {}, index}; }

    /// 0 for the root.
    int depth() const { return m_depth; }
    QString text() const;

private:
    enum class Kind { Member, Key, Element };

    JsonPath(const JsonPath& parent, Kind kind, QAnyStringView name, qsizetype index)
        : m_parent(&parent), m_kind(kind), m_name(name), m_index(index), m_depth(parent.m_depth + 1) {}

    const JsonPath* m_parent = nullptr;
    Kind m_kind = Kind::Member;
    QAnyStringView m_name;
    qsizetype m_index = 0;
    int m_depth = 0;
};

/// Fits a message, whatever the text is: quoted, cut when it is long.
QString quoted(QAnyStringView text);
/// Throws std::runtime_error.
[[noreturn]] void failReading(const JsonPath& path, const QString& reason);
/// Throws std::runtime_error "...: a number is expected, not a string."
[[noreturn]] void failReading(const JsonPath& path, const QString& expected, const QJsonValue& found);
/// Throws std::invalid_argument.
[[noreturn]] void failSaving(const JsonPath& path, const QString& reason);

} // namespace Cartolith::Core::Symbology::Internal
