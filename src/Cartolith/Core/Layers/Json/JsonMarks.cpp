#include <Cartolith/Core/Layers/Json/JsonMarksInternal.h>
#include <Cartolith/Core/Layers/Json/JsonTextInternal.h>

#include <QUuid>
#include <ogrsf_frmts.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr char textLetter = 't';
constexpr char jsonLetter = 'j';

} // namespace

JsonMarks::JsonMarks() : m_mark(QUuid::createUuid().toByteArray(QUuid::Id128)) {
    m_mark.prepend('x'); // with which no JSON begins
}

void JsonMarks::add(OGRFeature& feature) {
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *feature.GetFieldDefnRef(i);
        if (field.GetType() != OFTString || !feature.IsFieldSetAndNotNull(i)) {
            continue;
        }
        const QByteArrayView text(feature.GetFieldAsString(i));
        const bool isInBrackets = text.startsWith('{') || text.startsWith('[');
        if (!isInBrackets && field.GetSubType() != OFSTJSON) {
            continue;
        }
        const bool isMember = isInBrackets && field.GetSubType() == OFSTJSON && isJson(text);
        QByteArray marked = m_mark;
        marked += isMember ? jsonLetter : textLetter;
        marked.append(text.data(), text.size());
        if (isMember) { // a feature is on one line
            marked.replace('\n', ' ').replace('\r', ' ');
        }
        feature.SetField(i, marked.constData());
        m_isUsed = true;
    }
}

QByteArray JsonMarks::resolved(QByteArrayView written) const {
    QByteArray text;
    text.reserve(written.size());
    QByteArray begin = m_mark;
    begin.prepend('"');
    qsizetype at = 0;
    for (qsizetype found = 0; (found = written.indexOf(begin, at)) >= 0;) {
        text.append(written.data() + at, found - at);
        const qsizetype content = found + begin.size() + 1;
        const qsizetype end = endOfJsonValue(written, found);
        if (written[content - 1] == jsonLetter) {
            text += jsonStringOf(written.sliced(found, end - found)).sliced(m_mark.size() + 1).toUtf8();
        } else {
            text += '"';
            text.append(written.data() + content, end - content);
        }
        at = end;
    }
    return text.append(written.data() + at, written.size() - at);
}

} // namespace Cartolith::Core::Layers::Internal
