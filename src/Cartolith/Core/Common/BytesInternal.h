#pragma once

#include <QByteArray>
#include <QByteArrayView>

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

} // namespace Cartolith::Core::Common::Internal
