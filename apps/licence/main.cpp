// cartolith-licence: shows, checks, fetches and installs licences, and, for who holds a private key, makes
// them.

#include "KeyFiles.h"
#include "LicenceSigner.h"

#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicenceService.h>
#ifdef CARTOLITH_WITH_LICENCE_NETWORK
#include <Cartolith/LicenceNetwork/NetworkLicenceTransport.h>
#endif

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <stdexcept>

using namespace Cartolith::Core::Licensing;

namespace {

constexpr int success = 0;
constexpr int failure =
    1; // the licence permits nothing, a file cannot be read or written, the service refuses
constexpr int wrongUsage = 2; // the command line is wrong

class UsageError : public std::runtime_error {
public:
    explicit UsageError(const QString& message) : std::runtime_error(message.toStdString()) {}
};

const char* const help =
    R"(Usage: cartolith-licence COMMAND [OPTION]...

  show                       where a licence was found, and what it permits
  verify FILE                the same of a file that is not installed; --keys FILE trusts other keys
  request activate --code C  asks the licence service for a licence
  request refresh            asks it for later dates
  request deactivate         gives the licence back
      --machine              names this machine in the request, for a licence that is bound to it
      --print                prints the request and sends nothing
      -o FILE                writes the request to a file and sends nothing
  install FILE               installs a licence, a revocation or an answer of the service
  remove                     removes the user's licence

With a private key:

  make-keys ID --private FILE --public FILE      a new key; its public half is appended to the public file
  sign --private FILE --payload FILE -o FILE     signs the payload of a licence
  revoke ID --serial N --private FILE -o FILE    revokes the licences of this id with a serial below N

Environment: CARTOLITH_LICENCE, CARTOLITH_LICENCE_FILE, CARTOLITH_LICENCE_SERVER, CARTOLITH_LICENCE_OFFLINE.
Exit codes: 0 done, or the licence is valid or in its grace; 1 it is not, or something failed; 2 wrong usage.
docs/licensing.md has the formats, what is sent and stored, and the change of keys as a drill.
)";

/// Signs the payload, and makes sure that it can be read again before anything is written.
void writeSigned(const QString& path, const LicenceSigner& signer, LicenceDocument document,
                 const QByteArray& payload) {
    constexpr qint64 day = 86'400;
    const QByteArray text = signer.sign(document, payload).toJson();
    LicenceEnvelope::fromJson(text);
    const qint64 issued = document == LicenceDocument::Licence
                              ? Licence::fromPayload(payload).issued
                              : LicenceRevocation::fromPayload(payload).issued;
    // Whoever has held it once takes that time for the present.
    if (issued > QDateTime::currentSecsSinceEpoch() + day) {
        throw std::runtime_error(
            "\"issued\" lies in the future: all who get this would take it for the present.");
    }
    KeyFiles::write(path, text);
}

QString dateText(qint64 time) {
    return time == LicenceVerdict::never ? QStringLiteral("never")
                                         : QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString(Qt::ISODate);
}

int print(const LicenceVerdict& verdict) {
    std::printf("state      %s\n%s\n", qPrintable(LicenceVerdict::stateText(verdict.state)),
                qPrintable(verdict.reason));
    if (!verdict.id.isEmpty()) {
        std::printf("licence    %s, serial %lld\nholder     %s\n", qPrintable(verdict.id),
                    static_cast<long long>(verdict.serial), qPrintable(verdict.holder));
    }
    const bool permits = isPermitting(verdict.state);
    if (permits) {
        std::printf("permits    %s\nends       %s\nrefresh by %s\n",
                    qPrintable(verdict.features.join(QStringLiteral(", "))),
                    qPrintable(dateText(verdict.until)), qPrintable(dateText(verdict.refreshBy)));
    }
    if (!verdict.source.isEmpty()) {
        std::printf("found in   %s\n", qPrintable(verdict.source));
    }
    if (verdict.isClockBehind) {
        std::printf("The clock is behind the time at which the licence was signed.\n");
    }
    for (const QString& ignored : verdict.ignored) {
        std::printf("ignored    %s\n", qPrintable(ignored));
    }
    return permits ? success : failure;
}

int request(const QCommandLineParser& parser, const QStringList& arguments) {
    const QString kindName = arguments.value(1);
    const QStringList names{QStringLiteral("activate"), QStringLiteral("refresh"),
                            QStringLiteral("deactivate")};
    if (!names.contains(kindName)) {
        throw UsageError(QStringLiteral("request wants activate, refresh or deactivate."));
    }
    const auto kind = static_cast<LicenceRequestKind>(names.indexOf(kindName));
    const QString code = parser.value(QStringLiteral("code"));
    if (kind == LicenceRequestKind::Activate && code.isEmpty()) {
        throw UsageError(QStringLiteral("request activate wants --code."));
    }
    const auto manager = LicenceManager::current();
    const bool bindsMachine = parser.isSet(QStringLiteral("machine"));
    if (parser.isSet(QStringLiteral("print")) || parser.isSet(QStringLiteral("o"))) {
        const QByteArray text = LicenceService::request(*manager, kind, code, bindsMachine);
        if (parser.isSet(QStringLiteral("o"))) {
            KeyFiles::write(parser.value(QStringLiteral("o")), text);
        } else {
            std::fputs(text.constData(), stdout);
        }
        return success;
    }
#ifdef CARTOLITH_WITH_LICENCE_NETWORK
    Cartolith::LicenceNetwork::NetworkLicenceTransport transport;
    LicenceService service(*manager, transport);
    LicenceOutcome outcome;
    bool isAnswered = false;
    service.ask(kind, code, bindsMachine, [&](const LicenceOutcome& result) {
        outcome = result;
        isAnswered = true;
        QCoreApplication::quit();
    });
    if (!isAnswered) {
        QCoreApplication::exec();
    }
    if (!outcome.done) {
        std::fprintf(stderr, "cartolith-licence: %s (%s)\n", qPrintable(outcome.message),
                     qPrintable(outcome.code));
        return failure;
    }
    print(outcome.verdict);
    return success;
#else
    throw UsageError(QStringLiteral("this build cannot send; use -o FILE and install the answer."));
#endif
}

QString required(const QCommandLineParser& parser, const char* option) {
    QString value = parser.value(QString::fromLatin1(option));
    if (value.isEmpty()) {
        throw UsageError(QStringLiteral("the option --%1 is missing.").arg(QString::fromLatin1(option)));
    }
    return value;
}

int makeKeys(const QCommandLineParser& parser, const QString& id) {
    const QString privatePath = required(parser, "private");
    const QString publicPath = required(parser, "public");
    if (!KeyFiles::isKeyId(id)) {
        throw UsageError(QStringLiteral("make-keys wants an id of letters, digits, '.', '_' and '-'."));
    }
    if (QFileInfo(privatePath).absoluteFilePath() == QFileInfo(publicPath).absoluteFilePath()) {
        throw UsageError(QStringLiteral("--private and --public want two files."));
    }
    QByteArray held;
    if (QFileInfo(publicPath).size() > 0) {
        const LicenceKeys keys = KeyFiles::readKeys(publicPath);
        if (keys.find(id) != nullptr || keys.revoked.contains(id)) {
            throw std::runtime_error(
                QStringLiteral("'%1' has a key '%2' already.").arg(publicPath, id).toStdString());
        }
        held = KeyFiles::readText(publicPath);
        if (!held.endsWith('\n')) {
            held += '\n';
        }
    }
    const LicenceSigner signer = LicenceSigner::makeKey(id);
    KeyFiles::writeSecret(privatePath, id.toUtf8() + ' ' + signer.privateKey().toBase64() + '\n');
    try {
        KeyFiles::write(publicPath, held + id.toUtf8() + ' ' + signer.publicKey().toBase64() + '\n');
    } catch (...) {
        QFile::remove(privatePath); // half a key is of no use, and would stand in the way of the next try
        throw;
    }
    return success;
}

int revoke(const QCommandLineParser& parser, const QString& id) {
    bool isNumber = false;
    const qint64 serial = required(parser, "serial").toLongLong(&isNumber);
    if (id.isEmpty() || !isNumber || serial < 0) {
        throw UsageError(QStringLiteral("revoke wants the id of a licence and --serial N."));
    }
    const LicenceRevocation revocation{id, serial, QDateTime::currentSecsSinceEpoch()};
    writeSigned(required(parser, "o"), KeyFiles::readSigner(required(parser, "private")),
                LicenceDocument::Revocation, revocation.toPayload());
    return success;
}

QString fileOf(const QStringList& arguments) {
    if (arguments.size() != 2) {
        throw UsageError(QStringLiteral("%1 wants a file.").arg(arguments.constFirst()));
    }
    return arguments[1];
}

int run(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    const QString command = arguments.value(0);
    const auto manager = LicenceManager::current();
    if (command == QLatin1String("show")) {
        return print(manager->verdict());
    }
    if (command == QLatin1String("verify")) {
        LicenceSettings settings;
        settings.environment = [](const char*) { return QByteArray(); };
        settings.cacheFolder.clear();
        settings.systemFile.clear();
        if (parser.isSet(QStringLiteral("keys"))) {
            settings.keys = KeyFiles::readKeys(parser.value(QStringLiteral("keys")));
        }
        LicenceManager other(settings);
        LicenceVerdict verdict = other.use(KeyFiles::readText(fileOf(arguments)));
        verdict.source = QStringLiteral("the file '%1'").arg(arguments[1]);
        return print(verdict);
    }
    if (command == QLatin1String("request")) {
        return request(parser, arguments);
    }
    if (command == QLatin1String("install")) {
        const LicenceOutcome outcome =
            LicenceService::accept(*manager, KeyFiles::readText(fileOf(arguments)));
        if (!outcome.done) {
            throw std::runtime_error(outcome.message.toStdString());
        }
        print(outcome.verdict);
        return success;
    }
    if (command == QLatin1String("remove")) {
        manager->remove();
        return success;
    }
    if (command == QLatin1String("make-keys")) {
        return makeKeys(parser, arguments.value(1));
    }
    if (command == QLatin1String("sign")) {
        writeSigned(required(parser, "o"), KeyFiles::readSigner(required(parser, "private")),
                    LicenceDocument::Licence, KeyFiles::readText(required(parser, "payload")));
        return success;
    }
    if (command == QLatin1String("revoke")) {
        return revoke(parser, arguments.value(1));
    }
    throw UsageError(command.isEmpty() ? QStringLiteral("a command is missing.")
                                       : QStringLiteral("there is no command '%1'.").arg(command));
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, {}});
    parser.addOption({QStringLiteral("print"), {}});
    parser.addOption({QStringLiteral("machine"), {}});
    for (const char* const name : {"code", "keys", "private", "public", "payload", "serial", "o"}) {
        parser.addOption({QString::fromLatin1(name), {}, QStringLiteral("VALUE")});
    }
    try {
        if (!parser.parse(QCoreApplication::arguments())) {
            throw UsageError(parser.errorText());
        }
        if (parser.isSet(QStringLiteral("help"))) {
            std::fputs(help, stdout);
            return success;
        }
        return run(parser);
    } catch (const UsageError& error) {
        std::fprintf(stderr, "cartolith-licence: %s See --help.\n", error.what());
        return wrongUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cartolith-licence: %s\n", error.what());
        return failure;
    }
}
