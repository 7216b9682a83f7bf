#pragma once

#include <QFileInfo>
#include <QString>

namespace Cartolith::Core::Layers::Internal {

/// The file that a symbolic link points to; the path itself for what is no file. SQLite keeps its journals
/// beside that one.
QString resolvedPath(const QString& path);

/// The name of a journal beside a database that SQLite would apply to it, although another user has put it
/// there who could not write to the database; empty when there is none. That can be in a sticky folder only:
/// in others, whoever may add files may also replace the database.
QString foreignJournalOf(const QString& path);

} // namespace Cartolith::Core::Layers::Internal
