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
    return {false, code, message, manager.verdict()};
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

/// What a service says went wrong; none when the text says nothing of the kind.
std::optional<std::pair<QString, QString>> serviceError(const QByteArray& answer) {
    try {
        const QJsonObject object = Internal::strictObject(answer);
        if (object.value(QStringLiteral("format")) == QStringLiteral("cartolith-error-1")) {
            return std::pair(Internal::requiredText(object, QStringLiteral("code")),
                             Internal::requiredText(object, QStringLiteral("message")));
        }
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

LicenceService::LicenceService(LicenceManager& manager, LicenceTransport& transport)
    : m_manager(manager), m_transport(transport) {}

QString LicenceService::address(const LicenceManager& manager) {
    const auto& environment = manager.settings().environment;
    if (environment("CARTOLITH_LICENCE_OFFLINE") == "1") {
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
    QJsonObject object{{QStringLiteral("format"), QStringLiteral("cartolith-request-1")},
                       {QStringLiteral("request"), kindText(kind)},
                       {QStringLiteral("product"), QStringLiteral("cartolith")}};
    if (!code.isEmpty()) {
        object.insert(QStringLiteral("code"), code);
    }
    if (kind != LicenceRequestKind::Activate) {
        const LicenceVerdict verdict = manager.verdict();
        if (verdict.id.isEmpty()) {
            throw std::runtime_error("There is no licence to refresh or to give back.");
        }
        const Licence licence =
            Licence::fromPayload(LicenceEnvelope::fromJson(manager.licenceText()).payload());
        object.insert(QStringLiteral("id"), licence.id);
        object.insert(QStringLiteral("serial"), licence.serial);
        bindsMachine = bindsMachine || !licence.machine.isEmpty();
    }
    if (bindsMachine) {
        object.insert(QStringLiteral("machine"),
                      QString::fromLatin1(manager.settings().machineId().toBase64()));
    }
    return QJsonDocument(object).toJson();
}

LicenceOutcome LicenceService::accept(LicenceManager& manager, const QByteArray& answer) {
    if (const auto error = serviceError(answer)) {
        return failure(manager, error->first, error->second);
    }
    try {
        LicenceOutcome outcome;
        outcome.verdict = manager.install(answer);
        outcome.done = true;
        return outcome;
    } catch (const std::runtime_error& error) {
        return failure(manager, QStringLiteral("answer"),
                       QStringLiteral("The answer is no licence. %1").arg(QString::fromUtf8(error.what())));
    }
}

void LicenceService::ask(LicenceRequestKind kind, const QString& code, bool bindsMachine,
                         std::function<void(const LicenceOutcome&)> done) {
    QString url;
    QByteArray body;
    try {
        url = address(m_manager);
        body = request(m_manager, kind, code, bindsMachine);
    } catch (const std::runtime_error& error) {
        done(failure(m_manager, QStringLiteral("offline"), QString::fromUtf8(error.what())));
        return;
    }
    m_transport.post(url, body, [&manager = m_manager, done = std::move(done)](const LicenceReply& reply) {
        constexpr int ok = 200;
        if (reply.status != ok && !serviceError(reply.body)) {
            const QString trouble =
                reply.trouble.isEmpty()
                    ? QStringLiteral("the service answered with status %1").arg(reply.status)
                    : reply.trouble;
            done(failure(manager, QStringLiteral("transport"),
                         QStringLiteral("The licence service could not be asked: %1.").arg(trouble)));
            return;
        }
        done(accept(manager, reply.body));
    });
}

} // namespace Cartolith::Core::Licensing
