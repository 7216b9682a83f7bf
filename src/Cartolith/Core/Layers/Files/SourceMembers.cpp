#include <Cartolith/Core/Layers/Files/FolderInternal.h>
#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>

#include <QFileInfo>

namespace Cartolith::Core::Layers::Internal {

namespace {

bool isSuffix(const QString& found, const QString& suffix) {
    if (suffix.startsWith(QLatin1String("*."))) {
        return found.count(QLatin1Char('.')) == 1 && found.endsWith(suffix.mid(1), Qt::CaseInsensitive);
    }
    return found.compare(suffix, Qt::CaseInsensitive) == 0;
}

} // namespace

QString suffixBeside(const QString& path, const QString& name, Qt::CaseSensitivity sensitivity) {
    const QString stem = QFileInfo(path).completeBaseName() + QLatin1Char('.');
    return name.startsWith(stem, sensitivity) ? name.mid(stem.size()) : QString();
}

QStringList membersOf(const QString& path, const QStringList& suffixes, Qt::CaseSensitivity sensitivity) {
    QStringList names = Folder(QFileInfo(path).path()).names();
    names.sort();
    QStringList members;
    for (const QString& suffix : suffixes) {
        for (const QString& name : std::as_const(names)) {
            if (isSuffix(suffixBeside(path, name, sensitivity), suffix)) {
                members.append(name);
            }
        }
    }
    return members;
}

} // namespace Cartolith::Core::Layers::Internal
