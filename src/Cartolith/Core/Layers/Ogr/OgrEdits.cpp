#include <Cartolith/Core/Layers/Files/ReplaceableInternal.h>
#include <Cartolith/Core/Layers/Files/SettlingInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <QFileInfo>

#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

void failToWrite(const QString& path, const QString& reason) {
    throw std::runtime_error(
        QStringLiteral("Cannot write '%1': %2").arg(shownPath(path), shownText(reason, path)).toStdString());
}

void requireUnchanged(const OgrEditTarget& target) {
    if (!(SourceState(target.path) == *target.state)) {
        failToWrite(target.path, QStringLiteral("it was changed by someone else since it was opened"));
    }
}

void saveEdits(const OgrEditTarget& target, const OgrEdits& edits) {
    if (OgrFormat::isServerOf(target.driverName)) {
        saveInPostgres(target, edits);
        return;
    }
    if (const QString obstacle = Settling::settle(target.path, target.wait); !obstacle.isEmpty()) {
        failToWrite(target.path, obstacle);
    }
    if (const QString journal = foreignJournalOf(target.path); !journal.isEmpty()) {
        failToWrite(target.path, QStringLiteral("'%1' beside it is another user's").arg(journal));
    }
    const QFileInfo info(target.path);
    if (info.exists()) {
        requireWritable(target.path);
    }
    const OgrFormat* const format = OgrFormat::forDriver(target.driverName);
    const bool isCompared = format != nullptr && format->isDatabase; // feature by feature
    if (!isCompared) {
        requireUnchanged(target);
    }
    if (format == nullptr || format->isDatabase) {
        saveInTransaction(target, edits);
        return;
    }
    const bool isNamedRight = format->family.isEmpty() || format->suffixes.contains(info.suffix().toLower());
    if (!info.isFile() || !isNamedRight) {
        failToWrite(target.path, QStringLiteral("it was not opened as a file"));
    }
    saveByRewriting(target, edits);
}

} // namespace Cartolith::Core::Layers::Internal
