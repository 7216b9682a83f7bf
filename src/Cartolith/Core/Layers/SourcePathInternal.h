#pragma once

#include <QFileInfo>
#include <QString>

namespace Cartolith::Core::Layers::Internal {

/// The file that a symbolic link points to; the path itself for what is no file. SQLite keeps its journals
/// beside that one.
inline QString resolvedPath(const QString& path) {
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

} // namespace Cartolith::Core::Layers::Internal
