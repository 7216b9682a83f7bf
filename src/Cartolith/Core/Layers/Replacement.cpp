#include <Cartolith/Core/Layers/ReplacementInternal.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

const QLatin1String formatName("files to put back");
constexpr int formatVersion = 1;

QString oldNameOf(const QString& name) {
    return name + QStringLiteral(".old");
}

bool hasFile(const Folder& folder, const EntryName& name) noexcept {
    return folder.status(name).has_value();
}

// Texts, as an inode may need all of its 64 bits.
QJsonObject folderObject(const Folder& folder) {
    const auto status = folder.status();
    return status ? QJsonObject{{"device", QString::number(quint64{status->st_dev})},
                                {"inode", QString::number(quint64{status->st_ino})}}
                  : QJsonObject();
}

} // namespace

Replacement::Member::Member(const QString& called)
    : name(called), entry(called), oldEntry(oldNameOf(called)) {}

bool Replacement::Version::isAt(const Folder& folder, const EntryName& name) const noexcept {
    const auto found = folder.status(name);
    constexpr qint64 nanoseconds = 1'000'000'000;
    return found && S_ISREG(found->st_mode) && found->st_dev == device && found->st_ino == inode &&
           found->st_uid == owner && found->st_size == size &&
           found->st_mtim.tv_sec * nanoseconds + found->st_mtim.tv_nsec == writtenAt;
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
    constexpr qint64 nanoseconds = 1'000'000'000;
    return Version{found->st_dev,
                   found->st_ino,
                   found->st_uid,
                   found->st_size,
                   found->st_mtim.tv_sec * nanoseconds + found->st_mtim.tv_nsec,
                   *checksum};
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
    const auto objectOf = [](const std::optional<Version>& version) -> QJsonValue {
        return version ? QJsonObject{{"device", QString::number(version->device)},
                                     {"inode", QString::number(version->inode)},
                                     {"owner", QString::number(version->owner)},
                                     {"size", QString::number(version->size)},
                                     {"writtenAt", QString::number(version->writtenAt)},
                                     {"checksum", QString::fromLatin1(version->checksum)}}
                       : QJsonValue();
    };
    QJsonArray members;
    for (const Member& member : m_members) {
        members.append(QJsonObject{
            {"name", member.name}, {"before", objectOf(member.before)}, {"after", objectOf(member.after)}});
    }
    const QJsonObject all{{"kind", formatName},
                          {"version", formatVersion},
                          {"folder", folderObject(staged)},
                          {"members", members}};
    return staged.write(manifest, QJsonDocument(all).toJson());
}

std::optional<Replacement> Replacement::read(const Folder& staged, const QString& manifest) {
    constexpr qint64 most = 1 << 20;
    const auto text = staged.read(manifest, most);
    const QJsonObject all = QJsonDocument::fromJson(text.value_or(QByteArray())).object();
    if (all["kind"] != formatName || all["version"] != formatVersion ||
        all["folder"] != folderObject(staged)) {
        return std::nullopt;
    }
    bool isWhole = true;
    const auto versionFrom = [&isWhole](const QJsonValue& value) -> std::optional<Version> {
        if (!value.isObject()) {
            return std::nullopt;
        }
        const auto number = [&](const char* key, auto convert) {
            bool isNumber = false;
            const auto result = convert(value[QLatin1String(key)].toString(), &isNumber);
            isWhole = isWhole && isNumber;
            return result;
        };
        const auto plain = [](const QString& digits, bool* done) { return digits.toULongLong(done); };
        const auto withSign = [](const QString& digits, bool* done) { return digits.toLongLong(done); };
        return Version{number("device", plain),       number("inode", plain),
                       number("owner", plain),        number("size", withSign),
                       number("writtenAt", withSign), value[QLatin1String("checksum")].toString().toLatin1()};
    };
    Replacement replacement;
    // Const: the copy that Qt would make of it does not survive when there is no memory.
    const QJsonArray members = all["members"].toArray();
    for (const QJsonValue value : members) {
        Member member(value["name"].toString());
        member.before = versionFrom(value["before"]);
        member.after = versionFrom(value["after"]);
        isWhole = isWhole && !member.name.isEmpty() && !member.name.contains(QLatin1Char('/')) &&
                  (member.before || member.after);
        replacement.m_members.append(member);
    }
    return isWhole && !replacement.m_members.isEmpty() ? std::optional(replacement) : std::nullopt;
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
