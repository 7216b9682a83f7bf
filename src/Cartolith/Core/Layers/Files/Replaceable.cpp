#include <Cartolith/Core/Layers/Files/ReplaceableInternal.h>
#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace Cartolith::Core::Layers::Internal {

void requireWritable(const QString& path, const QStringList& family) {
    QStringList names = membersOf(path, family);
    names.prepend(QFileInfo(path).fileName());
    for (const QString& name : std::as_const(names)) {
        const QFileInfo old(QFileInfo(path).dir(), name);
        const QString what =
            name == names.first() ? QStringLiteral("it") : QLatin1Char('\'') + name + QLatin1Char('\'');
        if (old.isSymLink() && !old.exists()) {
            failToWrite(
                path,
                QStringLiteral("%1 is a link to '%2', which is not there").arg(what, old.symLinkTarget()));
        }
        if (!old.exists()) {
            continue;
        }
        if (!old.isFile()) {
            failToWrite(path, QStringLiteral("%1 is not a file").arg(what));
        }
        // The folder decides whether a file can be replaced; but one that is protected is meant to stay.
        constexpr auto anybody = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
        if ((old.permissions() & anybody) == 0 || !old.isWritable()) {
            failToWrite(path, QStringLiteral("%1 is write-protected").arg(what));
        }
    }
}

void requireReplaceable(const QString& path, const QString& target, const QStringList& family) {
    const QFileInfo main(target);
    if (main.suffix().compare(QFileInfo(path).suffix(), Qt::CaseInsensitive) != 0) {
        failToWrite(path, QStringLiteral("it is a link to '%1', which has another suffix").arg(target));
    }
    if (family.isEmpty()) {
        return;
    }
    for (const QString* const file : {&path, &target}) {
        for (const QString& name : membersOf(*file, QStringList(main.suffix()))) {
            if (name != QFileInfo(*file).fileName()) {
                failToWrite(path, QStringLiteral("'%1' beside it has the same further files").arg(name));
            }
        }
    }
    const QStringList members = membersOf(path, family);
    const QDir folder(main.dir().canonicalPath());
    QString last;
    for (const QString& name : members) {
        const QString suffix = suffixBeside(path, name);
        const QString found = QFileInfo(QFileInfo(path).dir(), name).canonicalFilePath();
        if (found != folder.filePath(main.completeBaseName() + QLatin1Char('.') + suffix)) {
            failToWrite(
                path,
                QStringLiteral("'%1' is a link to a file that does not belong to '%2'").arg(name, target));
        }
        const QString ending = QFileInfo(name).suffix();
        const bool isPlain = ending == ending.toLower() || ending == ending.toUpper();
        if (!isPlain || suffix.compare(last, Qt::CaseInsensitive) == 0) {
            failToWrite(path,
                        QStringLiteral("'%1' has a suffix in another case than it should be").arg(name));
        }
        last = suffix;
    }
    if (membersOf(target, family).size() != members.size()) {
        failToWrite(path,
                    QStringLiteral("files that belong to '%1' have no link beside its own").arg(target));
    }
}

} // namespace Cartolith::Core::Layers::Internal
