#pragma once

#include <QString>
#include <QStringList>

namespace Cartolith::Core::Layers::Internal {

/// A file format that layers are written in.
struct OgrFormat {
    const char* driver;   ///< GDAL's name for it
    QStringList suffixes; ///< of file names, in lower case; the first is the usual one
    QStringList family;   ///< suffixes of the further files that belong to one, some of which may be missing
    bool isDatabase;      ///< has transactions, and reports by itself what it could not write
    bool isTyped;         ///< the layer has a kind of geometry, and takes no other
    bool takesMixedKinds; ///< points beside polygons
    bool needsGeometry;   ///< leaves features without one out, and does not say so
    QStringList options;  ///< for the creation of a layer: NAME=VALUE

    /// By the suffix, in any case. Null when there is none for it.
    static const OgrFormat* forPath(const QString& path);
    static const OgrFormat* forDriver(const QString& driver);
    /// The usual suffixes, for messages.
    static QString knownSuffixes();
};

} // namespace Cartolith::Core::Layers::Internal
