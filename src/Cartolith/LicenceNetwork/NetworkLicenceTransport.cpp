#include <Cartolith/LicenceNetwork/NetworkLicenceTransport.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

#include <utility>

namespace Cartolith::LicenceNetwork {

using Core::Licensing::LicenceReply;

namespace {

constexpr qint64 mostBytes = qint64{64} * 1024;

/// What ended a request before its answer was whole.
enum class Stop { No, TooLong, TooLate };

LicenceReply replyOf(QNetworkReply& reply, Stop stop) {
    LicenceReply result;
    result.status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    constexpr int firstRedirection = 300;
    constexpr int firstError = 400;
    if (result.status >= firstRedirection && result.status < firstError) {
        result.trouble = QStringLiteral("the service points to another address, which is not followed");
    } else if (stop != Stop::No) {
        result.status = 0;
        result.trouble = stop == Stop::TooLong ? QStringLiteral("the answer is too long")
                                               : QStringLiteral("there was no whole answer in time");
    } else if (result.status == 0 || reply.error() == QNetworkReply::RemoteHostClosedError) {
        result.status = 0;
        result.trouble = reply.errorString();
    } else {
        result.body = reply.readAll();
    }
    return result;
}

} // namespace

class NetworkLicenceTransport::Private {
public:
    QNetworkAccessManager network;
};

NetworkLicenceTransport::NetworkLicenceTransport() : d(std::make_unique<Private>()) {
    d->network.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
}

NetworkLicenceTransport::~NetworkLicenceTransport() = default;

void NetworkLicenceTransport::post(const QString& url, const QByteArray& body,
                                   std::function<void(const LicenceReply&)> done) {
    QNetworkRequest request{QUrl(url)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    // Otherwise the user's language and a browser's name would go along.
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Cartolith"));
    request.setRawHeader("Accept-Language", "en");
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    QNetworkReply* const reply = d->network.post(request, body);
    reply->setReadBufferSize(mostBytes + 1);
    const auto stop = std::make_shared<Stop>(Stop::No);
    // Over all, not from one byte to the next: an answer that drips in would never end.
    QTimer::singleShot(m_timeout, reply, [reply, stop] {
        if (reply->isRunning()) {
            *stop = Stop::TooLate;
            reply->abort();
        }
    });
    QObject::connect(reply, &QIODevice::readyRead, reply, [reply, stop] {
        if (reply->isRunning() && reply->bytesAvailable() > mostBytes) {
            *stop = Stop::TooLong;
            reply->abort();
        }
    });
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, stop, done = std::move(done)] {
        reply->deleteLater();
        if (*stop == Stop::No && reply->bytesAvailable() > mostBytes) {
            *stop = Stop::TooLong;
        }
        done(replyOf(*reply, *stop));
    });
}

} // namespace Cartolith::LicenceNetwork
