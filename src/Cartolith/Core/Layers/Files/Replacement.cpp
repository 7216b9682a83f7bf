#include <Cartolith/Core/Layers/Files/ReplacementInternal.h>

#include <QUrl>

#include <algorithm>
#include <cerrno>
#include <set>
#include <sys/stat.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

// The manifest is lines of words. No JSON: where Qt's reader finds no memory, it ends the process.
const QByteArray firstLine("Cartolith files-to-put-back 1");
const QByteArray lastLine("end");

QString oldNameOf(const QString& name) {
    return name + QStringLiteral(".old");
}

bool hasFile(const Folder& folder, const EntryName& name) noexcept {
    return folder.status(name).has_value();
}

QByteArray lineOf(const Folder& folder) {
    const auto status = folder.status();
    return status ? "folder " + QByteArray::number(quint64{status->st_dev}) + ' ' +
                        QByteArray::number(quint64{status->st_ino})
                  : QByteArray();
}

/// A name that leads nowhere else.
bool isFileName(const QString& name) {
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && name != QLatin1String(".") &&
           name != QLatin1String("..");
}

qint64 writingTimeOf(const struct stat& status) noexcept {
    constexpr quint64 nanoseconds = 1'000'000'000; // beyond the year 2262 these are more than 64 bits hold
    return static_cast<qint64>(static_cast<quint64>(status.st_mtim.tv_sec) * nanoseconds +
                               static_cast<quint64>(status.st_mtim.tv_nsec));
}

} // namespace

Replacement::Member::Member(const QString& called)
    : name(called), entry(called), oldEntry(oldNameOf(called)) {}

bool Replacement::Version::isAt(const Folder& folder, const EntryName& name) const noexcept {
    const auto found = folder.status(name);
    return found && S_ISREG(found->st_mode) && found->st_dev == device && found->st_ino == inode &&
           found->st_uid == owner && found->st_size == size && writingTimeOf(*found) == writtenAt;
}

bool Replacement::Version::isWholeAt(const Folder& folder, const EntryName& name) const {
    return isAt(folder, name) && folder.checksum(name) == checksum;
}

std::optional<Replacement::Version> Replacement::versionOf(const Folder& folder, const EntryName& name) {
    const auto found = folder.status(name);
    const auto checksum = folder.checksum(name);
    if (!found || !checksum) {
        return std::nullopt;
    }
    return Version{found->st_dev,  found->st_ino,         found->st_uid,
                   found->st_size, writingTimeOf(*found), *checksum};
}

std::optional<Replacement> Replacement::prepare(const Folder& place, const Folder& staged,
                                                const QStringList& names) {
    Replacement replacement;
    for (const QString& name : names) {
        Member member(name);
        if (hasFile(place, member.entry)) {
            member.before = versionOf(place, member.entry);
            place.link(member.entry, staged, member.oldEntry);
        }
        if (hasFile(staged, member.entry)) {
            member.after = versionOf(staged, member.entry);
        }
        if (member.before.has_value() != hasFile(place, member.entry) ||
            member.after.has_value() != hasFile(staged, member.entry)) {
            return std::nullopt;
        }
        if (member.before || member.after) {
            replacement.m_members.append(member);
        }
    }
    // Removals come last: while there is no new file in place, the old ones are all there.
    std::stable_partition(replacement.m_members.begin(), replacement.m_members.end(),
                          [](const Member& member) { return member.after.has_value(); });
    return replacement;
}

void Replacement::forget(const Folder& staged, const QStringList& names) {
    for (const QString& name : names) {
        staged.remove(oldNameOf(name));
    }
}

bool Replacement::write(const Folder& staged, const QString& manifest) const {
    QByteArray text = firstLine + '\n' + lineOf(staged) + '\n';
    const auto add = [&text](const char* when, const std::optional<Version>& version) {
        if (version) {
            text += when;
            for (const quint64 number : {version->device, version->inode, version->owner}) {
                text += ' ' + QByteArray::number(number);
            }
            text += ' ' + QByteArray::number(version->size) + ' ' + QByteArray::number(version->writtenAt) +
                    ' ' + version->checksum + '\n';
        }
    };
    for (const Member& member : m_members) {
        text += "file " + QUrl::toPercentEncoding(member.name) + '\n';
        add("before", member.before);
        add("after", member.after);
    }
    return staged.write(manifest, text + lastLine + '\n');
}

std::optional<Replacement::Version> Replacement::versionFrom(const QList<QByteArray>& words) {
    if (words.size() != 7) {
        return std::nullopt;
    }
    bool isNumber[5] = {};
    const Version version{words[1].toULongLong(&isNumber[0]), words[2].toULongLong(&isNumber[1]),
                          words[3].toULongLong(&isNumber[2]), words[4].toLongLong(&isNumber[3]),
                          words[5].toLongLong(&isNumber[4]),  words[6]};
    const bool isWhole = std::all_of(std::begin(isNumber), std::end(isNumber), [](bool is) { return is; });
    return isWhole ? std::optional(version) : std::nullopt;
}

std::optional<Replacement> Replacement::read(const Folder& staged, const QString& manifest) {
    constexpr qint64 most = 1 << 20;
    const auto text = staged.read(manifest, most);
    if (!text || !text->startsWith(firstLine + '\n' + lineOf(staged) + '\n')) {
        return std::nullopt;
    }
    const QList<QByteArray> lines = text->split('\n');
    const qsizetype count = lines.size();
    // Behind the last line there is nothing.
    if (count < 5 || lines.at(count - 2) != lastLine || !lines.at(count - 1).isEmpty()) {
        return std::nullopt;
    }
    Replacement replacement;
    std::set<QString> names;
    for (qsizetype i = 2; i < count - 2; ++i) {
        const QList<QByteArray> words = lines.at(i).split(' ');
        const QByteArray& kind = words.at(0);
        if (kind == "file" && words.size() == 2) {
            const QString name = QUrl::fromPercentEncoding(words.at(1));
            if (!isFileName(name) || !names.insert(name).second) {
                return std::nullopt;
            }
            replacement.m_members.append(Member(name));
            continue;
        }
        const auto version = versionFrom(words);
        if (!version || replacement.m_members.isEmpty() || (kind != "before" && kind != "after")) {
            return std::nullopt;
        }
        Member& member = replacement.m_members.last();
        auto& state = kind == "before" ? member.before : member.after;
        if (state) {
            return std::nullopt;
        }
        state = version;
    }
    const bool isWhole = std::all_of(replacement.m_members.cbegin(), replacement.m_members.cend(),
                                     [](const Member& member) { return member.before || member.after; });
    return isWhole ? std::optional(replacement) : std::nullopt;
}

bool Replacement::isUndone(const Folder& place) const noexcept {
    return std::all_of(m_members.begin(), m_members.end(), [&place](const Member& member) {
        return member.before ? member.before->isAt(place, member.entry) : !hasFile(place, member.entry);
    });
}

QString Replacement::objection(const Folder& place, const Folder& staged, const QStringList& others) const {
    QStringList names = staged.names();
    for (const QString& name : others) {
        names.removeAll(name);
    }
    for (const Member& member : m_members) {
        const QString oldName = oldNameOf(member.name);
        names.removeAll(member.name);
        names.removeAll(oldName);
        const bool isOld = member.before && member.before->isAt(place, member.name);
        const bool isNew = member.after && member.after->isWholeAt(place, member.name);
        if (!isOld && !isNew && hasFile(place, member.name)) {
            return QStringLiteral("'%1' was changed since").arg(member.name);
        }
        if (member.before && !isOld && !member.before->isWholeAt(staged, oldName)) {
            return QStringLiteral("it does not have '%1' as it was").arg(member.name);
        }
    }
    return names.isEmpty() ? QString()
                           : QStringLiteral("it has '%1', which is not a part of it").arg(names.first());
}

bool Replacement::apply(const Folder& place, const Folder& staged) const noexcept {
    return std::all_of(m_members.begin(), m_members.end(), [&](const Member& member) {
        const bool isKept = !member.before || member.before->isAt(staged, member.oldEntry);
        if (!isKept && !place.rename(member.entry, staged, member.oldEntry)) {
            return false;
        }
        return member.after ? staged.rename(member.entry, place, member.entry)
                            : !hasFile(place, member.entry) || place.remove(member.entry);
    });
}

bool Replacement::undo(const Folder& place, const Folder& staged) const noexcept {
    return std::all_of(m_members.begin(), m_members.end(), [&](const Member& member) {
        if (member.before) {
            return member.before->isAt(place, member.entry) ||
                   staged.rename(member.oldEntry, place, member.entry);
        }
        return !member.after || !member.after->isAt(place, member.entry) || place.remove(member.entry);
    });
}

} // namespace Cartolith::Core::Layers::Internal
