#include <Cartolith/LicenceNetwork/NetworkLicenceTransport.h>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <utility>

namespace Cartolith::LicenceNetwork {

using Core::Licensing::LicenceReply;

namespace {

constexpr qint64 mostBytes = qint64{64} * 1024;

LicenceReply replyOf(QNetworkReply& reply, bool isTooLong) {
    LicenceReply result;
    result.status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    constexpr int firstRedirection = 300;
    constexpr int firstError = 400;
    if (result.status >= firstRedirection && result.status < firstError) {
        result.trouble = QStringLiteral("the service points to another address, which is not followed");
    } else if (isTooLong || reply.error() == QNetworkReply::OperationCanceledError) {
        result.status = 0;
        result.trouble = isTooLong ? QStringLiteral("the answer is too long")
                                   : QStringLiteral("there was no answer in time");
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
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setTransferTimeout(m_timeout);
    QNetworkReply* const reply = d->network.post(request, body);
    const auto isTooLong = std::make_shared<bool>(false);
    QObject::connect(reply, &QIODevice::readyRead, reply, [reply, isTooLong] {
        if (reply->bytesAvailable() > mostBytes) {
            *isTooLong = true;
            reply->abort();
        }
    });
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, isTooLong, done = std::move(done)] {
        reply->deleteLater();
        done(replyOf(*reply, *isTooLong || reply->bytesAvailable() > mostBytes));
    });
}

} // namespace Cartolith::LicenceNetwork
