// Every kind of licence, in every place, at every clock, against a plain reading of the dates.

#include "LicenceManagerFixture.h"

#include <QLocale>

#include <algorithm>
#include <array>
#include <ctime>

using namespace Cartolith::Core::Licensing;

namespace {

qint64 at(const char* time) {
    std::tm parts{};
    ::strptime(time, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return ::timegm(&parts);
}

constexpr const char* never = "9999-12-31T23:59:59Z"; // later than what any clock below asks for, by one second

/// The texts, and what is known about them without reading them.
struct Document {
    const char* name;
    LicenceState flaw; ///< Valid: the dates decide
    const char* issued;
    const char* begins;
    const char* refreshBy; ///< null: never
    const char* graceEnds; ///< counted by hand
    const char* expires;   ///< null: never
};

const std::array<Document, 9> documents{{
    {"none", LicenceState::Missing, nullptr, nullptr, nullptr, nullptr, nullptr},
    {"dated", LicenceState::Valid, "2025-11-01T00:00:00Z", "2026-01-01T00:00:00Z", "2026-06-01T00:00:00Z",
     "2026-06-15T00:00:00Z", "2027-01-01T00:00:00Z"},
    {"grace cut off", LicenceState::Valid, "2025-11-01T00:00:00Z", "2025-12-31T23:59:59Z", "2026-06-01T00:00:00Z",
     "2026-06-15T00:00:00Z", "2026-06-14T23:59:59Z"},
    {"far ahead", LicenceState::Valid, "2026-03-01T00:00:00Z", "2028-02-29T00:00:00Z", "2038-01-19T03:14:08Z",
     "2038-02-02T03:14:08Z", nullptr},
    {"bound elsewhere", LicenceState::WrongMachine, "2025-11-01T00:00:00Z", "2025-11-01T00:00:00Z", nullptr, nullptr,
     nullptr},
    {"revoked", LicenceState::Revoked, "2025-11-01T00:00:00Z", "2025-11-01T00:00:00Z", nullptr, nullptr, nullptr},
    {"of a withdrawn key", LicenceState::Revoked, nullptr, "2025-11-01T00:00:00Z", nullptr, nullptr, nullptr},
    {"of a stranger", LicenceState::Untrusted, nullptr, "2025-11-01T00:00:00Z", nullptr, nullptr, nullptr},
    {"nonsense", LicenceState::Malformed, nullptr, nullptr, nullptr, nullptr, nullptr},
}};

const std::array clocks{"1970-01-01T00:00:00Z", "2025-12-31T23:59:59Z", "2026-01-01T00:00:00Z",
                        "2026-03-29T01:00:00Z", // clocks go forward in Europe
                        "2026-05-31T23:59:59Z", "2026-06-01T00:00:00Z", "2026-06-14T23:59:59Z", "2026-06-15T00:00:00Z",
                        "2026-10-25T01:00:00Z", // and back
                        "2028-02-29T00:00:00Z", "2038-01-19T03:14:08Z", "9999-12-31T23:59:58Z"};

QByteArray textOf(const Document& document) {
    if (document.begins == nullptr) {
        return document.flaw == LicenceState::Missing ? "" : "nonsense";
    }
    Licence licence;
    licence.id = document.name;
    licence.serial = 1;
    licence.issued = at(document.issued != nullptr ? document.issued : never);
    licence.notBefore = at(document.begins);
    if (document.refreshBy != nullptr) {
        licence.refreshBy = at(document.refreshBy);
    }
    if (document.expires != nullptr) {
        licence.expires = at(document.expires);
    }
    licence.features = QStringList{document.name};
    licence.machine = document.flaw == LicenceState::WrongMachine ? QByteArray(32, 'n') : QByteArray();
    const char* const key = document.issued != nullptr                 ? "test"
                            : document.flaw == LicenceState::Untrusted ? "stranger"
                                                                       : "withdrawn";
    return LicenceSigner(key, TestLicences::testPrivateKey)
        .sign(LicenceDocument::Licence, licence.toPayload())
        .toJson();
}

LicenceState expectedState(const Document& document, qint64 time) {
    if (document.flaw != LicenceState::Valid) {
        return document.flaw;
    }
    const auto passed = [&](const char* date) { return date != nullptr && time >= at(date); };
    return !passed(document.begins)                                 ? LicenceState::NotYetValid
           : passed(document.expires) || passed(document.graceEnds) ? LicenceState::Expired
           : passed(document.refreshBy)                             ? LicenceState::Grace
                                                                    : LicenceState::Valid;
}

bool permits(LicenceState state) {
    return state == LicenceState::Valid || state == LicenceState::Grace;
}

/// Two documents in two of the five places; the clock jumps back and forth, and nothing is read anew.
class LicenceTable : public LicenceManagerFixture {
protected:
    void check(const Document& first, std::size_t firstPlace, const Document& second, std::size_t secondPlace) {
        LicenceManager manager(m_settings);
        put(manager, textOf(first), firstPlace);
        put(manager, textOf(second), secondPlace);
        const qint64 revocationIssued = at("2025-06-01T00:00:00Z");
        LicenceCache(m_settings.cacheFolder)
            .storeRevocation("revoked", TestLicences::revocationText("revoked", 2, revocationIssued));
        manager.reload();
        qint64 highest = revocationIssued;
        for (const Document* const document : {&first, &second}) {
            highest = std::max(highest, document->issued != nullptr ? at(document->issued) : 0);
        }
        for (std::size_t step = 0; step < clocks.size(); ++step) {
            const char* const clock = clocks[step * 5 % clocks.size()]; // 5 and 12 have no common divisor
            m_now = at(clock);
            const qint64 time = std::max(m_now, highest);
            const LicenceState firstState = expectedState(first, time);
            const LicenceState secondState = expectedState(second, time);
            const bool isFirst = firstState != LicenceState::Missing && (permits(firstState) || !permits(secondState));
            const LicenceState expected = isFirst ? firstState : secondState;
            const std::string where = std::string(first.name) + " before " + second.name + " at " + clock;
            const LicenceVerdict verdict = manager.verdict();
            EXPECT_EQ(verdict.state, expected) << where << ": " << qPrintable(verdict.reason);
            const bool isClockBehind = expected != LicenceState::Missing && m_now < highest - 86'400;
            EXPECT_EQ(verdict.isClockBehind, isClockBehind) << where;
            EXPECT_EQ(verdict.ignored.size(),
                      firstState != LicenceState::Missing && secondState != LicenceState::Missing ? 1 : 0)
                << where;
            EXPECT_TRUE(verdict.since <= time && time < verdict.until) << where;
            for (const Document* const document : {&first, &second}) {
                const bool isPermitted = permits(expected) && document == (isFirst ? &first : &second);
                EXPECT_EQ(manager.isPermitted(document->name), isPermitted) << where;
                EXPECT_EQ(verdict.features.contains(document->name), isPermitted) << where;
            }
        }
    }

    void put(LicenceManager& manager, const QByteArray& text, std::size_t place) {
        switch (place) {
        case 0: manager.use(text); break;
        case 1: m_environment["CARTOLITH_LICENCE"] = text; break;
        case 2:
            m_environment["CARTOLITH_LICENCE_FILE"] = text.isEmpty() ? "" : file("named.json", text).toLocal8Bit();
            break;
        case 3:
            text.isEmpty() ? LicenceCache(m_settings.cacheFolder).removeLicence()
                           : LicenceCache(m_settings.cacheFolder).storeLicence(text);
            break;
        default:
            if (!text.isEmpty()) {
                file("system.json", text);
            }
        }
    }
};

TEST_F(LicenceTable, EveryLicenceInEveryPlaceAtEveryClock) {
    qputenv("TZ", "Europe/Berlin");
    ::tzset();
    QLocale::setDefault(QLocale(QLocale::German));
    m_settings.keys.revoked = QStringList{"withdrawn"};
    m_settings.systemFile = m_folder.filePath("system.json");
    std::size_t turn = 0; // each pair meets in other places
    for (const Document& first : documents) {
        for (const Document& second : documents) {
            if (&first != &second) {
                const std::size_t firstPlace = turn++ % 4;
                m_environment.clear();
                QFile::remove(m_settings.systemFile);
                LicenceCache(m_settings.cacheFolder).removeLicence();
                check(first, firstPlace, second, firstPlace + 1 + turn % (4 - firstPlace));
            }
        }
    }
    QLocale::setDefault(QLocale::c());
    qunsetenv("TZ");
    ::tzset();
}

} // namespace
