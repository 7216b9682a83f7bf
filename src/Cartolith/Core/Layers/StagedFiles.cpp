#include <Cartolith/Core/Layers/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/SourcePathInternal.h>
#include <Cartolith/Core/Layers/StagedFilesInternal.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

// What the complete folder holds of a file that is to go: an empty file of this name.
const QLatin1String removalMark(".remove");

[[noreturn]] void fail(const QString& path, const QString& reason) {
    throw std::runtime_error(QStringLiteral("Cannot write '%1': %2").arg(path, reason).toStdString());
}

QString lastSystemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

/// Has the content of a file, or the entries of a folder, reach the disk.
bool sync(const QString& path) {
    const int handle = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (handle < 0) {
        return false;
    }
    const bool done = ::fsync(handle) == 0;
    ::close(handle);
    return done;
}

bool rename(const QString& from, const QString& to) {
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

QString completeFolderOf(const QString& path) {
    const QFileInfo info(path);
    return info.dir().filePath(QLatin1Char('.') + info.fileName() + QStringLiteral(".saved"));
}

/// The suffix of a name that is a file's but for that; empty for other names.
QString suffixBeside(const QString& path, const QString& name) {
    const QString stem = QFileInfo(path).completeBaseName() + QLatin1Char('.');
    return name.startsWith(stem) ? name.mid(stem.size()) : QString();
}

bool isSuffix(const QString& found, const QString& suffix) {
    if (suffix.startsWith(QLatin1String("*."))) {
        return found.count(QLatin1Char('.')) == 1 && found.endsWith(suffix.mid(1), Qt::CaseInsensitive);
    }
    return found.compare(suffix, Qt::CaseInsensitive) == 0;
}

/// The files beside a path that have its name with one of the suffixes, in any case. In the order of
/// suffixes.
QStringList membersOf(const QString& path, const QStringList& suffixes) {
    const QStringList names = QFileInfo(path).dir().entryList(QDir::AllEntries | QDir::Hidden);
    QStringList members;
    for (const QString& suffix : suffixes) {
        for (const QString& name : names) {
            if (isSuffix(suffixBeside(path, name), suffix)) {
                members.append(name);
            }
        }
    }
    return members;
}

/// What is read by the names beside a path is what is replaced beside the target of its link, and nothing
/// else.
void requireReplaceable(const QString& path, const QString& target, const QStringList& family) {
    const QFileInfo main(target);
    if (main.suffix().compare(QFileInfo(path).suffix(), Qt::CaseInsensitive) != 0) {
        fail(path, QStringLiteral("it is a link to '%1', which has another suffix").arg(target));
    }
    const QStringList members = membersOf(path, family);
    const QDir folder(main.dir().canonicalPath());
    QString last;
    for (const QString& name : members) {
        const QString suffix = suffixBeside(path, name);
        const QString found = QFileInfo(QFileInfo(path).dir(), name).canonicalFilePath();
        if (found != folder.filePath(main.completeBaseName() + QLatin1Char('.') + suffix)) {
            fail(path,
                 QStringLiteral("'%1' is a link to a file that does not belong to '%2'").arg(name, target));
        }
        const QString ending = QFileInfo(name).suffix();
        const bool isPlain = ending == ending.toLower() || ending == ending.toUpper();
        if (!isPlain || suffix.compare(last, Qt::CaseInsensitive) == 0) {
            fail(path, QStringLiteral("'%1' has a suffix in another case than it should be").arg(name));
        }
        last = suffix;
    }
    if (membersOf(target, family).size() != members.size()) {
        fail(path, QStringLiteral("files that belong to '%1' have no link beside its own").arg(target));
    }
}

/// What a complete folder holds for a path. Whoever made the folder, nothing else is touched.
QStringList filesFor(const QString& path, const QString& folder) {
    const OgrFormat* const format = OgrFormat::forPath(path);
    if (format == nullptr || format->family.isEmpty()) {
        return {};
    }
    const QStringList suffixes = format->suffixes + format->family;
    QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    names.erase(std::remove_if(names.begin(), names.end(),
                               [&](const QString& name) {
                                   const QString old =
                                       name.endsWith(removalMark) ? name.chopped(removalMark.size()) : name;
                                   const QString found = suffixBeside(path, old);
                                   return std::none_of(
                                       suffixes.begin(), suffixes.end(),
                                       [&](const QString& suffix) { return isSuffix(found, suffix); });
                               }),
                names.end());
    return names;
}

/// Moves the files of a complete folder to their places. Can be repeated from any point.
void putInPlace(const QString& path, const QString& folder) {
    const QDir target = QFileInfo(path).dir();
    const QDir source(folder);
    for (const QString& name : filesFor(path, folder)) {
        bool done = false;
        if (name.endsWith(removalMark)) {
            const QString old = target.filePath(name.chopped(removalMark.size()));
            done = (!QFile::exists(old) || QFile::remove(old)) && QFile::remove(source.filePath(name));
        } else {
            done = rename(source.filePath(name), target.filePath(name));
        }
        if (!done) {
            fail(path, QStringLiteral("'%1' could not be put in place, '%2' holds what is left to do: %3")
                           .arg(name, folder, lastSystemError()));
        }
    }
    sync(target.path());
    target.rmdir(source.dirName());
}

} // namespace

void StagedFiles::requireWritable(const QString& path, const QStringList& family) {
    QStringList names = membersOf(path, family);
    names.prepend(QFileInfo(path).fileName());
    for (const QString& name : std::as_const(names)) {
        const QFileInfo old(QFileInfo(path).dir(), name);
        const QString what =
            name == names.first() ? QStringLiteral("it") : QLatin1Char('\'') + name + QLatin1Char('\'');
        if (!old.exists()) {
            continue;
        }
        if (!old.isFile()) {
            fail(path, QStringLiteral("%1 is not a file").arg(what));
        }
        // The folder decides whether a file can be replaced; but one that is protected is meant to stay.
        constexpr auto anybody = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
        if ((old.permissions() & anybody) == 0 || !old.isWritable()) {
            fail(path, QStringLiteral("%1 is write-protected").arg(what));
        }
    }
}

StagedFiles::StagedFiles(const QString& path, const QStringList& family)
    : m_path(resolvedPath(path)), m_folder(QFileInfo(m_path).path()), m_family(family) {
    requireWritable(path, family);
    // SQLite would apply what is left of the old database to the new one.
    for (const char* const journal : {"-journal", "-wal"}) {
        if (QFileInfo(m_path + QLatin1String(journal)).size() > 0) {
            fail(path, QStringLiteral("it is a database in use, or one that was not closed"));
        }
    }
    finishInterrupted(m_path);
    requireReplaceable(path, m_path, family);
    m_isLinked = QFileInfo(path).isSymLink();
    m_staging = std::make_unique<QTemporaryDir>(
        QStringLiteral("%1/.%2.saving-XXXXXX").arg(m_folder, QFileInfo(m_path).fileName()));
    if (!m_staging->isValid()) {
        fail(path, m_staging->errorString());
    }
}

StagedFiles::~StagedFiles() = default;

QString StagedFiles::pathOf(const QString& suffix) const {
    const QFileInfo info(m_path);
    if (suffix.compare(info.suffix(), Qt::CaseInsensitive) == 0) {
        return m_staging->filePath(info.fileName());
    }
    const QStringList old = membersOf(m_path, {suffix});
    const bool isUpper = info.suffix() == info.suffix().toUpper();
    return m_staging->filePath(!old.isEmpty() ? old.first()
                                              : info.completeBaseName() + QLatin1Char('.') +
                                                    (isUpper ? suffix.toUpper() : suffix));
}

void StagedFiles::write(const QString& suffix, const char* bytes, qint64 size) const {
    QFile file(pathOf(suffix));
    bool done = file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    for (qint64 written = 0; done && written < size;) {
        const qint64 more = file.write(bytes + written, size - written);
        done = more > 0;
        written += more;
    }
    if (!done) {
        fail(m_path, file.errorString());
    }
}

bool StagedFiles::keep(const QString& suffix) const {
    const QStringList old = membersOf(m_path, {suffix});
    if (old.isEmpty()) {
        return false;
    }
    if (!QFile::copy(QDir(m_folder).filePath(old.first()), m_staging->filePath(old.first()))) {
        fail(m_path, QStringLiteral("'%1' cannot be copied").arg(old.first()));
    }
    return true;
}

SourceState StagedFiles::publish() {
    const QDir staged(m_staging->path());
    for (const QString& name : staged.entryList(QDir::Files | QDir::Hidden)) {
        const QString path = staged.filePath(name);
        const QFileInfo old(m_folder + QLatin1Char('/') + name);
        if (old.exists()) {
            QFile::setPermissions(path, old.permissions());
        } else if (m_isLinked && !m_family.isEmpty()) {
            fail(m_path, QStringLiteral("it is read through links, and '%1' would have none").arg(name));
        }
        if (!sync(path)) {
            fail(m_path, lastSystemError());
        }
    }
    SourceState state(staged.filePath(QFileInfo(m_path).fileName())); // renaming changes none of it
    if (m_family.isEmpty()) {
        if (!rename(staged.filePath(QFileInfo(m_path).fileName()), m_path)) {
            fail(m_path, lastSystemError());
        }
        sync(m_folder);
        return state;
    }
    for (const QString& name : membersOf(m_path, m_family)) {
        const bool goes = !staged.exists(name);
        if (goes && !QFile(staged.filePath(name + removalMark)).open(QIODevice::WriteOnly)) {
            fail(m_path, lastSystemError());
        }
    }
    const QString complete = completeFolderOf(m_path);
    sync(staged.path());
    if (!rename(staged.path(), complete)) {
        fail(m_path, lastSystemError());
    }
    m_staging->setAutoRemove(false);
    sync(m_folder);
    putInPlace(m_path, complete);
    return state;
}

void StagedFiles::finishInterrupted(const QString& given) {
    const QString path = resolvedPath(given);
    const QString folder = completeFolderOf(path);
    struct stat status {};
    if (::lstat(QFile::encodeName(folder).constData(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return;
    }
    const QDateTime interrupted = QFileInfo(folder).lastModified();
    const QDir target = QFileInfo(path).dir();
    for (QString name : filesFor(path, folder)) {
        if (name.endsWith(removalMark)) {
            name.chop(removalMark.size());
        }
        const QFileInfo old(target.filePath(name));
        if (old.exists() && old.lastModified() > interrupted) {
            fail(path,
                 QStringLiteral("a save was interrupted, its files are in '%1', and '%2' was changed since")
                     .arg(folder, name));
        }
    }
    putInPlace(path, folder);
}

} // namespace Cartolith::Core::Layers::Internal
