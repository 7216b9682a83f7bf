#pragma once

#include <Cartolith/Map/Output/TileScheme.h>

#include <QByteArray>
#include <QJsonObject>
#include <QRgb>
#include <QString>

#include <functional>
#include <memory>

namespace Cartolith::Map::Output {
struct TileJob;
}

namespace Cartolith::Map::Output::Internal {

/// Where tiles go, while it is being filled. Every function throws std::runtime_error "'...' could not be
/// written: ...".
class TileContainer {
public:
    using Bytes = std::function<QByteArray()>;

    TileContainer() = default;
    virtual ~TileContainer() = default;
    TileContainer(const TileContainer&) = delete;
    TileContainer& operator=(const TileContainer&) = delete;

    virtual bool has(const TileId& tile) = 0;
    virtual void put(const TileId& tile, const QByteArray& bytes) = 0;
    /// A tile of one colour; its bytes are asked for when there is none of it yet.
    virtual void putSingle(const TileId& tile, QRgb colour, const Bytes& bytes) = 0;
    /// What was put is there from now on, whatever happens.
    virtual void commit() = 0;
    /// All is there. Nothing is called afterwards but renamed(); until then it can be opened again, as after
    /// a run that was broken off.
    virtual void finish(const QJsonObject& metadata) = 0;
    /// It has its name now.
    virtual void renamed(const QString& /*path*/) {}
};

/// Both open what is there at the path, if it is of the same job (any text), or begin it.
std::unique_ptr<TileContainer> openMbTiles(const QString& path, const QByteArray& job);
std::unique_ptr<TileContainer> openTileFolder(const QString& path, const QByteArray& job,
                                              const QByteArray& format);

/// Tiles to each side of the blocks that are written one after the other: whole metatiles, and no more than
/// 16,384 pixels.
int blockOf(const TileJob& job);

[[noreturn]] void refuseTiles(const QString& path, const QString& reason);

/// The same for both: begun with other settings.
[[noreturn]] void refuseOtherJob(const QString& path);

} // namespace Cartolith::Map::Output::Internal
