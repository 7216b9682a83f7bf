#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceBuildInternal.h>
#include <Cartolith/Core/Licensing/LicenceCache.h>
#include <Cartolith/Core/Licensing/LicenceDecision.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicenceTextInternal.h>
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
    sources.erase(std::remove_if(sources.begin(), sources.end(),
                                 [](const Source& s) { return s.text.isEmpty() && s.trouble.isEmpty(); }),
                  sources.end());
    return sources;
}

constexpr int lockMilliseconds = 2000;

#ifdef CARTOLITH_WITH_LICENSING
constexpr bool isLicensed = true;
#else
constexpr bool isLicensed = false;
#endif

/// Throws when `held` is a text of this kind and id with a higher serial. One that is not signed by a
/// trusted key may be replaced by anything.
template <typename Payload>
void requireNewer(LicenceDocument document, const Payload& payload, const QByteArray& held,
                  const LicenceKeys& keys) {
    if (LicenceDecision::signedTime(held, keys) == 0) {
        return;
    }
    const LicenceEnvelope envelope = LicenceEnvelope::fromJson(held);
    if (envelope.document() != document) {
        return;
    }
    const Payload stored = Payload::fromPayload(envelope.payload());
    if (stored.id == payload.id && payload.serial < stored.serial) {
        Internal::fail(QStringLiteral("It is older than the one that is installed."));
    }
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

/// What was read, and what it comes to in the time from `since` on and before `until`.
struct LicenceManager::State {
    std::vector<Source> sources;
    LicenceCircumstances circumstances;
    LicenceVerdict verdict;
    QByteArray licence;
    qint64 since = LicenceVerdict::always;
    qint64 until = LicenceVerdict::never;

    bool isMachineWanted = false; ///< a licence names a machine other than the one that is known

    qint64 timeAt(qint64 now) const { return std::max(now, circumstances.highestSignedTime); }
    void decide();
};

void LicenceManager::State::decide() {
    const Source* taken = nullptr;
    verdict = LicenceDecision::decide({}, circumstances);
    since = LicenceVerdict::always;
    until = LicenceVerdict::never;
    isMachineWanted = false;
    QStringList ignored;
    for (const Source& source : sources) {
        if (source.text.isEmpty()) {
            ignored.append(source.name + QStringLiteral(": ") + source.trouble);
            continue;
        }
        LicenceVerdict found = LicenceDecision::decide(source.text, circumstances);
        since = std::max(since, found.since);
        until = std::min(until, found.until);
        isMachineWanted = isMachineWanted || found.state == LicenceState::WrongMachine;
        if (taken == nullptr || (isPermitting(found.state) && !isPermitting(verdict.state))) {
            if (taken != nullptr) {
                ignored.append(taken->name + QStringLiteral(": ") + verdict.reason);
            }
            taken = &source;
            verdict = std::move(found);
        } else {
            ignored.append(
                source.name + QStringLiteral(": ") +
                (isPermitting(verdict.state) ? QStringLiteral("an earlier one is taken") : found.reason));
        }
    }
    if (taken != nullptr) {
        licence = taken->text;
        verdict.source = taken->name;
    }
    verdict.ignored = ignored;
}

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

LicenceManager::StatePointer LicenceManager::read() const {
    auto state = std::make_shared<State>();
    if constexpr (!isLicensed) {
        state->verdict.state = LicenceState::Valid;
        state->verdict.reason = QStringLiteral("This build needs no licence.");
        state->verdict.features.append(unmarkedOutputFeature());
        for (const QString& driver : m_settings.drivers) {
            state->verdict.features.append(rasterFeature(driver));
        }
        state->verdict.features.sort();
        return state;
    }
    QByteArray given;
    {
        const std::scoped_lock lock(m_mutex);
        given = m_given;
    }
    const LicenceCache cache(m_settings.cacheFolder);
    LicenceCircumstances& circumstances = state->circumstances;
    circumstances.keys = m_settings.keys;
    circumstances.now = m_settings.clock();
    circumstances.revocations = cache.revocations();
    state->sources = sourcesOf(m_settings, given);
    const auto note = [&](const QByteArray& text) {
        circumstances.highestSignedTime =
            std::max(circumstances.highestSignedTime, LicenceDecision::signedTime(text, circumstances.keys));
    };
    note(cache.latest());
    std::for_each(circumstances.revocations.cbegin(), circumstances.revocations.cend(), note);
    for (const Source& source : state->sources) {
        note(source.text);
    }
    state->decide();
    if (state->isMachineWanted) {
        circumstances.machine = m_settings.machineId();
        state->decide();
    }
    return state;
}

LicenceManager::StatePointer LicenceManager::state() const {
    {
        const std::scoped_lock lock(m_mutex);
        if (m_state != nullptr) {
            return m_state;
        }
    }
    const std::scoped_lock reading(m_reading);
    {
        const std::scoped_lock lock(m_mutex);
        if (m_state != nullptr) { // read by another thread meanwhile
            return m_state;
        }
    }
    StatePointer state = read();
    const std::scoped_lock lock(m_mutex);
    m_state = state;
    return state;
}

LicenceManager::StatePointer LicenceManager::stateAt(qint64 now) const {
    StatePointer held = state();
    const qint64 time = held->timeAt(now);
    if (held->since <= time && time < held->until) {
        return held;
    }
    auto decided = std::make_shared<State>(*held);
    decided->circumstances.now = now;
    decided->decide();
    const std::scoped_lock lock(m_mutex);
    if (m_state == held) { // and not what another thread has read meanwhile
        m_state = decided;
    }
    return decided;
}

LicenceVerdict LicenceManager::readAnew() {
    const std::scoped_lock reading(m_reading);
    const StatePointer state = read();
    const std::scoped_lock lock(m_mutex);
    m_state = state;
    return state->verdict;
}

bool LicenceManager::isPermitted(const QString& feature) const {
    if constexpr (!isLicensed) {
        return true;
    }
    const qint64 now = m_settings.clock();
    const StatePointer held = stateAt(now);
    return held->verdict.permits(feature, held->timeAt(now));
}

bool LicenceManager::isDriverPermitted(const QString& driver) const {
    return !m_settings.drivers.contains(driver) || isPermitted(rasterFeature(driver));
}

LicenceVerdict LicenceManager::verdict() const {
    const StatePointer held = state();
    if (held->sources.empty()) {
        return held->verdict;
    }
    State decided = *held; // a licence passes into its grace without an end of what is permitted
    decided.circumstances.now = m_settings.clock();
    decided.decide();
    return decided.verdict;
}

LicenceVerdict LicenceManager::reload() {
    return readAnew();
}

LicenceVerdict LicenceManager::use(const QByteArray& licence) {
    {
        const std::scoped_lock lock(m_mutex);
        m_given = licence;
    }
    return readAnew();
}

LicenceVerdict LicenceManager::install(const QByteArray& text) {
    store(text);
    return readAnew();
}

void LicenceManager::store(const QByteArray& text) const {
    const LicenceEnvelope envelope = LicenceEnvelope::fromJson(text);
    const LicenceKeys& keys = m_settings.keys;
    const LicenceKey* const key = keys.find(envelope.keyId());
    if (key == nullptr || keys.revoked.contains(key->id) || !envelope.isSignedBy(key->publicKey)) {
        Internal::fail(QStringLiteral("It is not signed by a key that this program trusts."));
    }
    const bool isLicence = envelope.document() == LicenceDocument::Licence;
    const Licence licence = isLicence ? Licence::fromPayload(envelope.payload()) : Licence();
    const LicenceRevocation revocation =
        isLicence ? LicenceRevocation() : LicenceRevocation::fromPayload(envelope.payload());

    const LicenceCache cache(m_settings.cacheFolder);
    // Another process may be at the same place; without a folder there is nothing to lock yet.
    std::optional<QLockFile> lock;
    if (!m_settings.cacheFolder.isEmpty() && QDir().mkpath(m_settings.cacheFolder)) {
        lock.emplace(m_settings.cacheFolder + QStringLiteral("/lock"));
        if (!lock->tryLock(lockMilliseconds) && lock->error() == QLockFile::LockFailedError) {
            throw Internal::StorageError("Another program is installing a licence.");
        }
    }
    if (isLicence) {
        requireNewer(envelope.document(), licence, cache.licence(), keys);
        cache.storeLicence(text);
    } else {
        requireNewer(envelope.document(), revocation, cache.revocation(revocation.id), keys);
        cache.storeRevocation(revocation.id, text);
    }
    if (LicenceDecision::signedTime(text, keys) >= LicenceDecision::signedTime(cache.latest(), keys)) {
        cache.storeLatest(text);
    }
}

LicenceVerdict LicenceManager::remove() {
    LicenceCache(m_settings.cacheFolder).removeLicence();
    return readAnew();
}

QByteArray LicenceManager::licenceText() const {
    return state()->licence;
}

} // namespace Cartolith::Core::Licensing
