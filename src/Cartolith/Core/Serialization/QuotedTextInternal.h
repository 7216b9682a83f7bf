#pragma once

#include <QString>
#include <QStringView>

namespace Cartolith::Core::Serialization::Internal {

/// A text as error messages quote it: whole up to 500 UTF-16 units, else its beginning and its length, so
/// that a large text that is refused does not come back as a message as large.
inline QString quoted(QStringView text) {
    constexpr qsizetype most = 500;
    if (text.size() <= most) {
        return text.toString();
    }
    const bool cutsPair = text[most - 1].isHighSurrogate() && text[most].isLowSurrogate();
    return QStringLiteral("%1... (%2 characters)")
        .arg(text.first(most - (cutsPair ? 1 : 0)))
        .arg(text.size());
}

} // namespace Cartolith::Core::Serialization::Internal
