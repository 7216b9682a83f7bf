#pragma once

#include <Cartolith/Core/Layers/Files/FolderInternal.h>

#include <QString>

#include <chrono>

namespace Cartolith::Core::Layers::Internal {

/// What stands between a source and its files being whole: a save that replaces them one by one, in this
/// process or another, or one that was killed at it.
///
/// While files are replaced, the staging folder of the save is called `.NAME.saved`. Whoever finds it waits
/// as long as the save holds its lock. Without that, the save was killed: the old files go back, where the
/// folder is provably what this library left; else nothing is touched.
class Settling {
public:
    /// A path without links. Through a link, or for other reasons, nothing may be changed.
    Settling(const QString& path, bool mayWrite);

    /// To be called before a source is read. Removes what killed processes of this user left of saves, puts
    /// back the files that one was replacing, and waits for one that is; of a folder, for each source in it.
    /// Changes nothing where the file itself is a link. Gives the reason why the files cannot be used; empty
    /// when they can.
    static QString settle(const QString& given, std::chrono::milliseconds wait);

    /// Why the files cannot be used, after waiting until then where that may help; empty when they are whole.
    QString obstacle(std::chrono::steady_clock::time_point deadline) const;

    static QString folderNameFor(const QString& fileName);
    /// The name of the file that a folder of such a name belongs to; empty for other names.
    static QString fileNameOf(const QString& folderName);
    static QString manifestNameFor(const QString& fileName);

private:
    struct Obstacle {
        QString reason;
        bool isLasting = false;
    };
    static QString settleFolder(const QString& path, std::chrono::milliseconds wait);
    Obstacle look() const;
    bool hasMemberOf(unsigned int user) const;
    QString putBack(const Folder& staged) const;

    QString m_path;
    QString m_fileName;
    QString m_folderName;
    Folder m_place;
    bool m_mayWrite;
};

/// Returns after a moment in which another process may get on.
void waitAMoment();

} // namespace Cartolith::Core::Layers::Internal
