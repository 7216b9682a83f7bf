#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceBuildInternal.h>
#include <Cartolith/Core/Licensing/LicenceCache.h>
#include <Cartolith/Core/Licensing/LicenceDecision.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicensedDrivers.h>
#include <Cartolith/Core/Licensing/MachineId.h>

#include <QDir>
#include <QFileInfo>
#include <QLockFile>

#include <algorithm>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Licensing {

namespace {

/// A place where a licence may be.
struct Source {
    QString name;
    QByteArray text;
    QString trouble; ///< why there is no text, where that was not to be expected
};

/// In the order in which they count.
std::vector<Source> sourcesOf(const LicenceSettings& settings, const QByteArray& given) {
    std::vector<Source> sources;
    sources.push_back({QStringLiteral("the program"), given, {}});
    sources.push_back({QStringLiteral("the environment variable CARTOLITH_LICENCE"),
                       settings.environment("CARTOLITH_LICENCE"),
                       {}});
    const auto addFile = [&](const QString& path, bool isExpected) {
        Source source{QStringLiteral("the file '%1'").arg(path), LicenceCache::readText(path), {}};
        if (source.text.isEmpty() && (isExpected || QFileInfo::exists(path))) {
            source.trouble = QStringLiteral("it cannot be read, or is no file of at most 64 KiB");
        }
        sources.push_back(std::move(source));
    };
    const QString path = QString::fromLocal8Bit(settings.environment("CARTOLITH_LICENCE_FILE"));
    if (!path.isEmpty()) {
        addFile(path, true);
    }
    addFile(LicenceCache(settings.cacheFolder).licencePath(), false);
    addFile(settings.systemFile, false);
    return sources;
}

constexpr int lockMilliseconds = 2000;

/// Throws when `held` is a text of the same kind and id with a higher serial. One that is not signed by a
/// trusted key may be replaced by anything.
template <typename Payload>
void requireNewer(const Payload& payload, const QByteArray& held, const LicenceKeys& keys) {
    if (LicenceDecision::signedTime(held, keys) == 0) {
        return;
    }
    const Payload stored = Payload::fromPayload(LicenceEnvelope::fromJson(held).payload());
    if (stored.id == payload.id && payload.serial < stored.serial) {
        throw std::runtime_error("The text is older than the one that is installed.");
    }
}

bool permitsSomething(const LicenceVerdict& verdict) {
    return verdict.state == LicenceState::Valid || verdict.state == LicenceState::Grace;
}

std::shared_ptr<LicenceManager>& currentManager() {
    static std::shared_ptr<LicenceManager> manager = std::make_shared<LicenceManager>();
    return manager;
}

std::mutex& currentMutex() {
    static std::mutex mutex;
    return mutex;
}

} // namespace

struct LicenceManager::State {
    LicenceVerdict verdict;
    QByteArray licence;
    LicenceCircumstances circumstances;
};

LicenceSettings::LicenceSettings()
    : keys(LicenceKeys::builtIn()), cacheFolder(LicenceCache::defaultFolder()),
      systemFile(QStringLiteral("/etc/cartolith/licence.json")), drivers(licensedRasterDrivers()),
      environment([](const char* name) { return qgetenv(name); }),
      clock([] { return qint64{std::time(nullptr)}; }), machineId(Licensing::machineId) {}

LicenceManager::LicenceManager(LicenceSettings settings) : m_settings(std::move(settings)) {}

LicenceManager::~LicenceManager() = default;

std::shared_ptr<LicenceManager> LicenceManager::current() {
    const std::scoped_lock lock(currentMutex());
    return currentManager();
}

void LicenceManager::setCurrent(std::shared_ptr<LicenceManager> manager) {
    if (manager == nullptr) {
        manager = std::make_shared<LicenceManager>();
    }
    const std::scoped_lock lock(currentMutex());
    currentManager().swap(manager);
}

std::shared_ptr<const LicenceManager::State> LicenceManager::read() const {
    auto state = std::make_shared<State>();
#ifndef CARTOLITH_WITH_LICENSING
    state->verdict.state = LicenceState::Valid;
    state->verdict.reason = QStringLiteral("This build needs no licence.");
    return state;
#endif
    LicenceCircumstances& circumstances = state->circumstances;
    circumstances.keys = m_settings.keys;
    circumstances.now = m_settings.clock();
    circumstances.revocations = {LicenceCache(m_settings.cacheFolder).revocation()};
    const std::vector<Source> sources = sourcesOf(m_settings, m_given);
    const auto note = [&](const QByteArray& text) {
        circumstances.highestSignedTime =
            std::max(circumstances.highestSignedTime, LicenceDecision::signedTime(text, circumstances.keys));
    };
    std::for_each(circumstances.revocations.cbegin(), circumstances.revocations.cend(), note);
    for (const Source& source : sources) {
        note(source.text);
    }

    QStringList ignored;
    std::optional<LicenceVerdict> firstFound;
    for (const Source& source : sources) {
        if (source.text.isEmpty()) {
            if (!source.trouble.isEmpty()) {
                ignored.append(source.name + QStringLiteral(": ") + source.trouble);
            }
            continue;
        }
        LicenceVerdict verdict = LicenceDecision::decide(source.text, circumstances);
        if (verdict.state == LicenceState::WrongMachine && circumstances.machine.isEmpty()) {
            circumstances.machine = m_settings.machineId();
            verdict = LicenceDecision::decide(source.text, circumstances);
        }
        verdict.source = source.name;
        if (!firstFound || (permitsSomething(verdict) && !permitsSomething(*firstFound))) {
            if (firstFound) {
                ignored.append(firstFound->source + QStringLiteral(": ") + firstFound->reason);
            }
            state->licence = source.text;
            firstFound = std::move(verdict);
        } else {
            ignored.append(
                source.name + QStringLiteral(": ") +
                (permitsSomething(*firstFound) ? QStringLiteral("an earlier one is taken") : verdict.reason));
        }
    }
    state->verdict = firstFound ? std::move(*firstFound) : LicenceDecision::decide({}, circumstances);
    state->verdict.ignored = ignored;
    return state;
}

std::shared_ptr<const LicenceManager::State> LicenceManager::state() const {
    const std::scoped_lock lock(m_mutex);
    if (m_state == nullptr) {
        m_state = read();
    }
    return m_state;
}

bool LicenceManager::isPermitted([[maybe_unused]] const QString& feature) const {
#ifdef CARTOLITH_WITH_LICENSING
    const auto held = state();
    return held->verdict.permits(feature,
                                 std::max(m_settings.clock(), held->circumstances.highestSignedTime));
#else
    return true;
#endif
}

bool LicenceManager::isDriverPermitted(const QString& driver) const {
    return !m_settings.drivers.contains(driver) || isPermitted(rasterFeature(driver));
}

LicenceVerdict LicenceManager::verdict() const {
    const auto held = state();
    if (held->licence.isEmpty()) {
        return held->verdict;
    }
    LicenceCircumstances circumstances = held->circumstances;
    circumstances.now = m_settings.clock();
    LicenceVerdict verdict = LicenceDecision::decide(held->licence, circumstances);
    verdict.source = held->verdict.source;
    verdict.ignored = held->verdict.ignored;
    return verdict;
}

LicenceVerdict LicenceManager::reload() {
    const std::scoped_lock lock(m_mutex);
    m_state = read();
    return m_state->verdict;
}

LicenceVerdict LicenceManager::use(const QByteArray& licence) {
    const std::scoped_lock lock(m_mutex);
    m_given = licence;
    m_state = read();
    return m_state->verdict;
}

LicenceVerdict LicenceManager::install(const QByteArray& text) {
    const LicenceEnvelope envelope = LicenceEnvelope::fromJson(text);
    const LicenceKey* const key = m_settings.keys.find(envelope.keyId());
    if (key == nullptr || m_settings.keys.revoked.contains(key->id) || !envelope.isSignedBy(key->publicKey)) {
        throw std::runtime_error("The text is not signed by a key that this program trusts.");
    }
    const LicenceCache cache(m_settings.cacheFolder);
    // Another process may be at the same place; without a folder there is nothing to lock yet.
    QDir().mkpath(m_settings.cacheFolder);
    QLockFile lock(m_settings.cacheFolder + QStringLiteral("/lock"));
    if (!lock.tryLock(lockMilliseconds) && lock.error() == QLockFile::LockFailedError) {
        throw std::runtime_error("Another program is installing a licence.");
    }
    if (envelope.document() == LicenceDocument::Revocation) {
        requireNewer(LicenceRevocation::fromPayload(envelope.payload()), cache.revocation(), m_settings.keys);
        cache.storeRevocation(text);
    } else {
        requireNewer(Licence::fromPayload(envelope.payload()), cache.licence(), m_settings.keys);
        cache.storeLicence(text);
    }
    return reload();
}

LicenceVerdict LicenceManager::remove() {
    LicenceCache(m_settings.cacheFolder).removeLicence();
    return reload();
}

QByteArray LicenceManager::licenceText() const {
    return state()->licence;
}

} // namespace Cartolith::Core::Licensing
