#pragma once

#include <QString>
#include <QStringList>

namespace Cartolith::Core::Layers::Internal {

/// A file format that layers are written in, or a server's tables.
struct OgrFormat {
    const char* driver = nullptr; ///< GDAL's name for it
    QStringList suffixes = {}; ///< of file names, in lower case; the first is the usual one; none of a server
    /// Suffixes of further files that belong to one, of which some may be missing. "*.x" stands for any word
    /// before the suffix x.
    QStringList family = {};
    QStringList needed = {};       ///< those of them that cannot be missing
    QStringList options = {};      ///< for the creation of a layer: NAME=VALUE
    QStringList hiddenFields = {}; ///< names that reading takes for something else, in any case
    bool isServer = false;         ///< a connection is its path
    bool isDatabase = false;       ///< has transactions, and reports by itself what it could not write
    bool isTyped = false;          ///< the layer has a type of geometry, and takes no other
    bool takesMixedKinds = true;   ///< points beside polygons
    bool needsGeometry = false;    ///< leaves features without one out, and does not say so
    bool needsFeatures = false;    ///< without one, the file is not written or not recognised
    bool isLongLat = false;        ///< whatever the coordinates were, on WGS 84
    bool needsName = false;        ///< a file whose name is its suffix only is not recognised

    /// By the suffix, in any case, or as a connection. Null when there is none for it.
    static const OgrFormat* forPath(const QString& path);
    static const OgrFormat* forDriver(const QString& driver);
    /// Whether it is that of a server.
    static bool isServerOf(const QString& driver);
    /// The usual suffixes, for messages.
    static QString knownSuffixes();
};

} // namespace Cartolith::Core::Layers::Internal
