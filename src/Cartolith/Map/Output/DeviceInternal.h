#pragma once

#include <QByteArrayView>
#include <QIODevice>
#include <QString>

#include <stdexcept>

namespace Cartolith::Map::Output::Internal {

/// \throws std::runtime_error with the device's own words when it does not take all of the bytes
inline void writeAll(QIODevice& device, QByteArrayView bytes) {
    if (device.write(bytes.data(), bytes.size()) != bytes.size()) {
        throw std::runtime_error(
            QStringLiteral("the output could not be written: %1").arg(device.errorString()).toStdString());
    }
}

} // namespace Cartolith::Map::Output::Internal
