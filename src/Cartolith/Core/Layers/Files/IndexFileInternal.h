#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace Cartolith::Core::Shapes {
class GisShape;
}
namespace Cartolith::Core::Spatial::RTree {
class RTreeSpatialIndex;
}

namespace Cartolith::Core::Layers::Internal {

/// The saved index of a layer, in a file beside the layer's data source.
///
/// It is taken for that of the layer when the source has the size and the time of writing that it had then,
/// the layer its name and its number of shapes, and the index its node size and strategy. A change of the
/// source that keeps all of these goes unnoticed.
class IndexFile {
public:
    /// What tells one state of a source from the next. Taken before the source is read, so that a change in
    /// the meantime makes a stamp that will never match. None when the source is not a plain file, or has a
    /// journal beside it that holds a part of the data.
    struct Stamp {
        qint64 size;
        qint64 writtenAt; ///< nanoseconds since 1970
    };
    static std::optional<Stamp> stampOf(const QString& sourcePath);
    /// Whether the driver keeps all that decides on shapes in the one file that a stamp is taken of.
    static bool isFor(const QString& driverName);
    static QString pathFor(const QString& sourcePath, const QString& layerName);

    IndexFile(const QString& sourcePath, const QString& layerName, const Stamp& stamp);

    /// False when there is no file for this state of the layer, or it does not hold every shape once; the
    /// index is to be built then. None of the shapes is empty.
    bool load(Spatial::RTree::RTreeSpatialIndex& index, const QList<Shapes::GisShape*>& shapes) const;
    /// False when it could not be written; an older file is left then. A reader sees the old or the new file.
    bool save(const Spatial::RTree::RTreeSpatialIndex& index, qsizetype shapeCount) const;

private:
    QString m_sourcePath;
    QByteArray m_layerName;
    QString m_path;
    Stamp m_stamp;
};

} // namespace Cartolith::Core::Layers::Internal
