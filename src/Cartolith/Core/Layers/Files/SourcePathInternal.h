#pragma once

#include <QByteArray>
#include <QFileInfo>
#include <QString>

namespace Cartolith::Core::Layers::Internal {

/// The file that a symbolic link points to; the path itself for what is no file. SQLite keeps its journals
/// beside that one.
QString resolvedPath(const QString& path);

/// The name by which GDAL takes a file for a file: one such as "file:x.gpkg" would be an address to it.
QByteArray gdalNameOf(const QString& path);

/// What SQLite keeps beside a database while it is written to, by their endings.
struct DatabaseLog {
    static constexpr QLatin1String journal{"-journal"}; ///< what it was, of a transaction
    static constexpr QLatin1String wal{"-wal"};         ///< what it is to be, of a log that is written ahead
    static constexpr QLatin1String shared{"-shm"};      ///< the index of that log
};
QString besideDatabase(const QString& path, QLatin1String ending);

/// The name of a journal beside a database that SQLite would apply to it, although another user has put it
/// there who could not write to the database; empty when there is none. That can be in a sticky folder only:
/// in others, whoever may add files may also replace the database.
QString foreignJournalOf(const QString& path);

} // namespace Cartolith::Core::Layers::Internal
