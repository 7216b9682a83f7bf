#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <cstring>

namespace Cartolith::Core::Common::Internal {

/// As QByteArrayView::toByteArray(), which in Qt 6.4 goes through a null pointer where there is no memory, as
/// do QByteArray's constructors from characters, the constructors of QList from a size, a range or values,
/// and its detach(). Here std::bad_alloc is thrown.
inline QByteArray copyOf(QByteArrayView bytes) {
    if (bytes.isEmpty()) {
        return {};
    }
    QByteArray copy(bytes.size(), Qt::Uninitialized);
    std::memcpy(copy.data(), bytes.data(), static_cast<std::size_t>(bytes.size()));
    return copy;
}

/// As QString::fromUtf8(), which passes over a mark of byte order at the beginning: in a value or a name that
/// is a character like others.
inline QString wholeText(QByteArrayView utf8) {
    const QString text = QString::fromUtf8(utf8);
    return utf8.startsWith("\xEF\xBB\xBF") ? QChar(QChar::ByteOrderMark) + text : text;
}

/// The same of a name, of which two must not become one: what is not UTF-8 has a letter for each byte.
inline QString wholeName(QByteArrayView bytes) {
    return bytes.isValidUtf8() ? wholeText(bytes) : QString::fromLatin1(bytes);
}

} // namespace Cartolith::Core::Common::Internal
