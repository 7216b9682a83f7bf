#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <map>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// JSON as it is written, looked at without being taken apart: what is found are pieces of the text.
///
/// Not by Qt's reader, which ends the process where it finds no memory, and makes of long numbers others.
/// What is not written as JSON is a std::runtime_error that gives the reason. The stack does not grow with
/// the depth of the text.
/// @{

struct JsonMember {
    QByteArrayView key; ///< with its quotes
    QByteArrayView value;

    QString name() const;
};

/// What the quoted text says.
QString jsonStringOf(QByteArrayView quoted);
/// Behind the value that begins at a place, before which there may be white space. Within brackets nothing
/// but their nesting is looked at.
qsizetype endOfJsonValue(QByteArrayView text, qsizetype at);
/// The members of an object, in their order.
std::vector<JsonMember> jsonMembersOf(QByteArrayView object);
/// The elements of an array.
std::vector<QByteArrayView> jsonElementsOf(QByteArrayView array);
/// Whether a text is one value, to the letter of the format, and not so deep that readers give up.
bool isJson(QByteArrayView text);

/// @}

/// An object of which some members are to be others; the rest keeps its text.
class JsonObject {
public:
    /// The text stays where it is as long as this lives. \throws std::runtime_error for what is no object
    explicit JsonObject(QByteArrayView text);

    const std::vector<JsonMember>& members() const { return m_members; }
    /// Of several of one name, the last, which is what readers take. Null when there is none.
    const JsonMember* find(const QString& name) const;
    /// The same, or else the first that is called so but for upper and lower case: what GDAL takes.
    const JsonMember* findInAnyCase(const QString& name) const;
    /// For all of that name; behind the others when there is none. `key` has quotes.
    void set(QByteArrayView key, const QByteArray& value);
    void remove(const QString& name) { m_values[name] = QByteArray(); }
    QByteArray text() const;

private:
    QByteArrayView m_text;
    std::vector<JsonMember> m_members;
    std::map<QString, QByteArray> m_values; ///< an empty one is to go
    QByteArray m_added;
};

} // namespace Cartolith::Core::Layers::Internal
