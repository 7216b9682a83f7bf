#include <Cartolith/Core/Layers/Files/FileHoldInternal.h>
#include <Cartolith/Core/Layers/Files/ReplaceableInternal.h>
#include <Cartolith/Core/Layers/Files/ReplacementInternal.h>
#include <Cartolith/Core/Layers/Files/SettlingInternal.h>
#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Files/StagedFilesInternal.h>
#include <Cartolith/Core/Layers/Files/StagingFolderInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

StagedFiles::StagedFiles(const QString& path, const QStringList& family, std::chrono::milliseconds wait)
    : m_given(path), m_path(resolvedPath(path)), m_fileName(QFileInfo(m_path).fileName()), m_family(family),
      m_wait(wait), m_place(QFileInfo(m_path).path()) {
    if (!m_place.isOpen()) {
        fail(lastSystemError());
    }
    requireWritable(path, family);
    // SQLite would apply what is left of the old database to the new one.
    OgrSource::removeUnusedJournal(m_path);
    if (!DatabaseLock::logInUse(m_path).isEmpty()) {
        hold(std::chrono::steady_clock::now() + m_wait); // before all the work
    }
    StagingFolder::removeAbandoned(m_place, m_fileName);
    if (!m_family.isEmpty()) {
        requireSettled(std::chrono::steady_clock::now() + m_wait);
    }
    requireReplaceable(path, m_path, family);
    m_isLinked = QFileInfo(path).isSymLink();
    try {
        m_staging = std::make_unique<StagingFolder>(m_place, m_fileName);
    } catch (const std::runtime_error& error) {
        fail(QString::fromUtf8(error.what()));
    }
}

StagedFiles::~StagedFiles() = default;

void StagedFiles::fail(const QString& reason) const {
    failToWrite(m_given, reason);
}

void StagedFiles::failInPlace() const {
    throw PublishedUnsafely(
        QStringLiteral(
            "Cannot write '%1': %2; the new file is in its place, but may not outlast a power failure")
            .arg(m_given, lastSystemError())
            .toStdString());
}

void StagedFiles::sync(const QString& path) {
    const QFileInfo info(resolvedPath(path));
    const Folder place(info.path());
    if (!place.syncFile(info.fileName()) || !place.sync()) {
        failToWrite(path, lastSystemError());
    }
}

void StagedFiles::requireSettled(std::chrono::steady_clock::time_point deadline) const {
    const QString obstacle = Settling(m_path, true).obstacle(deadline);
    if (!obstacle.isEmpty()) {
        fail(obstacle);
    }
}

QString StagedFiles::nameOf(const QString& suffix) const {
    const QFileInfo info(m_path);
    if (suffix.compare(info.suffix(), Qt::CaseInsensitive) == 0) {
        return m_fileName;
    }
    const QStringList old = membersOf(m_path, QStringList(suffix));
    const bool isUpper = info.suffix() == info.suffix().toUpper();
    return !old.isEmpty()
               ? old.first()
               : info.completeBaseName() + QLatin1Char('.') + (isUpper ? suffix.toUpper() : suffix);
}

QString StagedFiles::stagedPath(const QString& name) const {
    return QFileInfo(m_path).dir().filePath(m_staging->name() + QLatin1Char('/') + name);
}

QString StagedFiles::pathOf(const QString& suffix) const {
    return stagedPath(nameOf(suffix));
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
        fail(file.errorString());
    }
}

bool StagedFiles::keep(const QString& suffix) const {
    const QStringList old = membersOf(m_path, QStringList(suffix));
    if (old.isEmpty()) {
        return false;
    }
    if (!QFile::copy(QFileInfo(m_path).dir().filePath(old.first()), stagedPath(old.first()))) {
        fail(QStringLiteral("'%1' cannot be copied").arg(old.first()));
    }
    return true;
}

/// Those of the file that it replaces; a further one of a family has those of the first.
void StagedFiles::takeRights(const QString& name) const {
    auto old = m_place.status(name);
    if (!old) {
        old = m_place.status(m_fileName);
    }
    const Folder& staged = m_staging->folder();
    const auto now = staged.status(name);
    if (!old || !now || !S_ISREG(old->st_mode)) { // everybody may do everything with a link
        return;
    }
    const QByteArray encoded = QFile::encodeName(name);
    constexpr mode_t all = 07777;
    mode_t mode = old->st_mode & all;
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    if (now->st_gid != old->st_gid &&
        ::fchownat(staged.handle(), encoded.constData(), sameOwner, old->st_gid, AT_SYMLINK_NOFOLLOW) != 0) {
        // What one group was allowed is no right of another.
        constexpr int groupShift = 3;
        mode &= ~static_cast<mode_t>(S_IRWXG | S_ISGID) | ((mode & S_IRWXO) << groupShift);
    }
    if (::fchmodat(staged.handle(), encoded.constData(), mode, 0) != 0) {
        fail(lastSystemError());
    }
}

SourceState StagedFiles::publish(const std::function<void()>& check) {
    const Folder& staged = m_staging->folder();
    for (const QString& name : m_staging->files()) {
        if (m_isLinked && !m_family.isEmpty() && !m_place.status(name)) {
            fail(QStringLiteral("it is read through links, and '%1' would have none").arg(name));
        }
        takeRights(name);
        if (!staged.syncFile(name)) {
            fail(lastSystemError());
        }
    }
    SourceState state(stagedPath(m_fileName)); // renaming changes none of it
    try {
        m_family.isEmpty() ? publishOne(check) : publishFamily(check);
    } catch (PublishedUnsafely& error) {
        error.state = state;
        throw;
    }
    return state;
}

std::unique_ptr<FileHold> StagedFiles::hold(std::chrono::steady_clock::time_point deadline) const {
    try {
        return std::make_unique<FileHold>(m_place, m_path, deadline);
    } catch (const std::runtime_error& error) {
        fail(QString::fromUtf8(error.what()));
    }
}

void StagedFiles::publishOne(const std::function<void()>& check) {
    const Folder& staged = m_staging->folder();
    const EntryName name(m_fileName);
    const EntryName oldName(m_fileName + QStringLiteral(".old"));
    // Whoever is next waits until it is certain that the new file stays where it is. With a database others
    // may be at work by then, so that one stays.
    std::optional<FileLock> fresh;
    if (!DatabaseLock::isDatabase(stagedPath(m_fileName))) {
        fresh.emplace(staged, name, false);
    }
    const auto deadline = std::chrono::steady_clock::now() + m_wait;
    std::unique_ptr<FileHold> old;
    bool isKept = false;
    for (bool isPlaced = false; !isPlaced;) {
        old = hold(deadline);
        check();
        isKept = old->isFile() && m_place.link(name, staged, oldName);
        isPlaced =
            old->isFile() ? staged.rename(name, m_place, name) : staged.renameToNew(name, m_place, name);
        // Where there was no file, another process may have put one there since.
        const bool isBeaten = !isPlaced && !old->isFile() && errno == EEXIST;
        if (!isPlaced && !(isBeaten && std::chrono::steady_clock::now() < deadline)) {
            fail(lastSystemError());
        }
    }
    if (!m_place.sync()) {
        const int error = errno;
        const bool isOurs = fresh && fresh->isAt(m_place, name);
        const bool isUndone = isOurs && (isKept           ? staged.rename(oldName, m_place, name)
                                         : !old->isFile() ? m_place.remove(name)
                                                          : false);
        errno = error;
        isUndone ? fail(lastSystemError()) : failInPlace();
    }
}

void StagedFiles::publishFamily(const std::function<void()>& check) {
    // From the first file that is replaced until the outcome is certain, nothing asks for memory.
    const EntryName mark(Settling::folderNameFor(m_fileName));
    const Replacement replacement = begin(mark);
    check();
    const Folder& staged = m_staging->folder();
    if (!m_place.sync()) {
        fail(lastSystemError());
    }
    if (!replacement.apply(m_place, staged) || !m_place.sync()) {
        undo(replacement, errno);
    }
    // From here on the new files hold, and the old ones are litter.
    if (!m_staging->discard()) {
        undo(replacement, errno);
    }
    if (!m_place.sync()) {
        const int error = errno;
        if (!m_staging->mark(mark)) {
            errno = error;
            failInPlace();
        }
        undo(replacement, error);
    }
}

/// Marks the source as being replaced, at a time when nobody has saved it since it was looked at.
Replacement StagedFiles::begin(const EntryName& mark) {
    const Folder& staged = m_staging->folder();
    const QString manifest = Settling::manifestNameFor(m_fileName);
    const QStringList fresh = m_staging->files();
    const auto deadline = std::chrono::steady_clock::now() + m_wait;
    // The main file by its name to the letter: "a.SHP" beside "a.shp" is another one.
    const auto files = [this] {
        QStringList names = membersOf(m_path, m_family);
        if (QFileInfo::exists(m_path)) {
            names.append(QFileInfo(m_path).fileName());
        }
        return names;
    };
    for (;;) {
        const QStringList old = files();
        QStringList names = old + fresh;
        names.removeDuplicates();
        QString reason = QStringLiteral("other processes save it all the time");
        const auto replacement = Replacement::prepare(m_place, staged, names);
        if (replacement) {
            if (!replacement->write(staged, manifest) || !staged.sync()) {
                fail(lastSystemError());
            }
            requireSettled(deadline);
            if (m_staging->mark(mark)) {
                if (replacement->isUndone(m_place) && files() == old) {
                    return *replacement;
                }
                if (!m_staging->unmark()) {
                    fail(lastSystemError());
                }
            } else if (errno == EEXIST || errno == ENOTEMPTY) {
                reason = QStringLiteral("'%1' is in the way").arg(Settling::folderNameFor(m_fileName));
            } else {
                fail(lastSystemError());
            }
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            fail(reason);
        }
        Replacement::forget(staged, names);
        staged.remove(manifest);
        waitAMoment();
    }
}

void StagedFiles::undo(const Replacement& replacement, int error) {
    const bool isDone = replacement.undo(m_place, m_staging->folder());
    if (isDone) {
        m_place.sync();
    } else {
        m_staging->leave();
    }
    errno = error;
    fail(isDone ? lastSystemError()
                : lastSystemError() +
                      QStringLiteral("; the old files are put back when it is opened the next time"));
}

} // namespace Cartolith::Core::Layers::Internal
