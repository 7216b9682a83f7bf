#include <Cartolith/Core/Licensing/Licence.h>
#include <Cartolith/Core/Licensing/LicenceEnvelope.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicenceService.h>
#include <Cartolith/Core/Licensing/LicenceTextInternal.h>

#include <QJsonDocument>
#include <QUrl>

#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Licensing {

namespace {

LicenceOutcome failure(const LicenceManager& manager, const QString& code, const QString& message) {
    return {false, code, message, manager.verdict(), {}};
}

QString kindText(LicenceRequestKind kind) {
    switch (kind) {
    case LicenceRequestKind::Activate:
        return QStringLiteral("activate");
    case LicenceRequestKind::Refresh:
        return QStringLiteral("refresh");
    case LicenceRequestKind::Deactivate:
        return QStringLiteral("deactivate");
    }
    return {};
}

QJsonObject requestObject(const LicenceManager& manager, LicenceRequestKind kind, const QString& code,
                          bool bindsMachine) {
    QJsonObject object{{QStringLiteral("format"), QStringLiteral("cartolith-request-1")},
                       {QStringLiteral("request"), kindText(kind)},
                       {QStringLiteral("product"), QStringLiteral("cartolith")}};
    if (!code.isEmpty()) {
        object.insert(QStringLiteral("code"), code);
    }
    if (kind != LicenceRequestKind::Activate) {
        const LicenceVerdict verdict = manager.verdict();
        // That of a withdrawn key is unproven, and yet what has to be refreshed.
        if (verdict.id.isEmpty() && verdict.state != LicenceState::Revoked) {
            throw std::runtime_error("There is no licence to refresh or to give back.");
        }
        const Licence licence =
            Licence::fromPayload(LicenceEnvelope::fromJson(manager.licenceText()).payload());
        object.insert(QStringLiteral("id"), licence.id);
        object.insert(QStringLiteral("serial"), licence.serial);
        bindsMachine = bindsMachine || !licence.machine.isEmpty();
    }
    if (bindsMachine) {
        const QByteArray machine = manager.settings().machineId();
        if (machine.isEmpty()) {
            Internal::fail(QStringLiteral("This machine has no id in /etc/machine-id."));
        }
        object.insert(QStringLiteral("machine"), QString::fromLatin1(machine.toBase64()));
    }
    return object;
}

/// What a service says went wrong; none when the text says nothing of the kind.
std::optional<std::pair<QString, QString>> serviceError(const QByteArray& answer) {
    try {
        const QJsonObject object = Internal::strictObject(answer);
        if (object.value(QStringLiteral("format")) == QStringLiteral("cartolith-error-1")) {
            constexpr qsizetype longestCode = 60;
            constexpr qsizetype longestMessage = 500;
            const QString code = Internal::requiredText(object, QStringLiteral("code"));
            const QString message = Internal::requiredText(object, QStringLiteral("message"));
            return std::pair(Internal::printable(code.left(longestCode)),
                             Internal::printable(message.left(longestMessage)));
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    return std::nullopt;
}

LicenceOutcome refusal(LicenceManager& manager, const std::runtime_error& error) {
    manager.reload(); // another process may have stored something newer
    return failure(manager, QStringLiteral("answer"),
                   QStringLiteral("This cannot be installed. %1").arg(QString::fromUtf8(error.what())));
}

LicenceOutcome installed(LicenceManager& manager, const QByteArray& answer) {
    try {
        LicenceOutcome outcome;
        outcome.verdict = manager.install(answer);
        outcome.done = true;
        return outcome;
    } catch (const Internal::StorageError& error) {
        LicenceOutcome outcome = failure(manager, QStringLiteral("storage"), QString::fromUtf8(error.what()));
        outcome.answer = answer;
        return outcome;
    } catch (const std::runtime_error& error) {
        return refusal(manager, error);
    }
}

/// The licence that a request is about.
struct Asked {
    LicenceRequestKind kind = LicenceRequestKind::Activate;
    QString id;
    qint64 serial = 0;
};

/// Throws for what is signed, but no answer to this: the answer to an earlier request, or to somebody else's.
void requireAnswerTo(const Asked& asked, const QByteArray& text) {
    const LicenceEnvelope envelope = LicenceEnvelope::fromJson(text);
    const bool isRevocation = envelope.document() == LicenceDocument::Revocation;
    if (asked.kind == LicenceRequestKind::Activate) {
        if (isRevocation) {
            Internal::fail(QStringLiteral("It is a revocation, not a licence."));
        }
        return;
    }
    if (asked.kind == LicenceRequestKind::Deactivate && !isRevocation) {
        Internal::fail(QStringLiteral("It is no revocation: the licence was not taken back."));
    }
    QString id;
    qint64 serial = 0;
    if (isRevocation) {
        const LicenceRevocation revocation = LicenceRevocation::fromPayload(envelope.payload());
        id = revocation.id;
        serial = revocation.serial;
    } else {
        const Licence licence = Licence::fromPayload(envelope.payload());
        id = licence.id;
        serial = licence.serial;
    }
    if (id != asked.id) {
        Internal::fail(QStringLiteral("It is about another licence."));
    }
    if (serial < asked.serial || (isRevocation && serial == asked.serial)) {
        Internal::fail(QStringLiteral("It is older than the licence that is held."));
    }
}

} // namespace

LicenceService::LicenceService(LicenceManager& manager, LicenceTransport& transport)
    : m_manager(manager), m_transport(transport) {}

QString LicenceService::address(const LicenceManager& manager) {
    const auto& environment = manager.settings().environment;
    const QByteArray offline = environment("CARTOLITH_LICENCE_OFFLINE");
    if (!offline.isEmpty() && offline != "0") {
        throw std::runtime_error("CARTOLITH_LICENCE_OFFLINE is set: nothing is sent.");
    }
    QString text = QString::fromLocal8Bit(environment("CARTOLITH_LICENCE_SERVER"));
    const QUrl url(text, QUrl::StrictMode);
    const QString host = url.host();
    const bool isLoopback = host == QLatin1String("127.0.0.1") || host == QLatin1String("::1") ||
                            host == QLatin1String("localhost");
    if (!url.isValid() || host.isEmpty() || !url.userInfo().isEmpty() ||
        (url.scheme() != QLatin1String("https") && !(isLoopback && url.scheme() == QLatin1String("http")))) {
        throw std::runtime_error(text.isEmpty() ? "CARTOLITH_LICENCE_SERVER names no licence service."
                                                : "CARTOLITH_LICENCE_SERVER must be an https address.");
    }
    return text;
}

QByteArray LicenceService::request(const LicenceManager& manager, LicenceRequestKind kind,
                                   const QString& code, bool bindsMachine) {
    return QJsonDocument(requestObject(manager, kind, code, bindsMachine)).toJson();
}

LicenceOutcome LicenceService::accept(LicenceManager& manager, const QByteArray& answer) {
    const auto error = serviceError(answer);
    return error ? failure(manager, error->first, error->second) : installed(manager, answer);
}

void LicenceService::ask(LicenceRequestKind kind, const QString& code, bool bindsMachine,
                         std::function<void(const LicenceOutcome&)> done) {
    QString url;
    QByteArray body;
    Asked asked{kind, {}, 0};
    try {
        url = address(m_manager);
        const QJsonObject object = requestObject(m_manager, kind, code, bindsMachine);
        body = QJsonDocument(object).toJson();
        asked.id = object.value(QStringLiteral("id")).toString();
        asked.serial = object.value(QStringLiteral("serial")).toInteger();
    } catch (const std::runtime_error& error) {
        done(failure(m_manager, QStringLiteral("offline"), QString::fromUtf8(error.what())));
        return;
    }
    m_transport.post(
        url, body, [&manager = m_manager, asked, done = std::move(done)](const LicenceReply& reply) {
            constexpr int ok = 200;
            if (const auto error = serviceError(reply.body)) {
                done(failure(manager, error->first, error->second));
                return;
            }
            if (reply.status != ok) {
                const QString trouble =
                    reply.trouble.isEmpty()
                        ? QStringLiteral("the service answered with status %1").arg(reply.status)
                        : reply.trouble;
                done(failure(manager, QStringLiteral("transport"),
                             QStringLiteral("The licence service could not be asked: %1.").arg(trouble)));
                return;
            }
            try {
                requireAnswerTo(asked, reply.body);
            } catch (const std::runtime_error& error) {
                done(refusal(manager, error));
                return;
            }
            done(installed(manager, reply.body));
        });
}

} // namespace Cartolith::Core::Licensing
