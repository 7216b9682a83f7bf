// A licence service on the loopback that answers as services and what stands before them do, asked over QtNetwork.

#include "LicenceManagerFixture.h"

#include <Cartolith/Core/Licensing/LicenceService.h>
#include <Cartolith/LicenceNetwork/NetworkLicenceTransport.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QNetworkProxy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <optional>

using namespace Cartolith::Core::Licensing;

namespace {

QByteArray http(const char* status, const QByteArray& body, const QByteArray& header = {}) {
    return QByteArray("HTTP/1.1 ") + status + "\r\n" + header + "Content-Length: " + QByteArray::number(body.size()) +
           "\r\n\r\n" + body;
}

class NetworkLicenceTransportTest : public LicenceManagerFixture {
protected:
    struct Row {
        const char* name;
        QByteArray answer;
        const char* code; ///< empty: done
        const char* message;
    };

    NetworkLicenceTransportTest() {
        EXPECT_TRUE(m_server.listen(QHostAddress::LocalHost) && m_elsewhere.listen(QHostAddress::LocalHost));
        m_environment["CARTOLITH_LICENCE_SERVER"] =
            QStringLiteral("http://127.0.0.1:%1/v1").arg(m_server.serverPort()).toLatin1();
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            QTcpSocket* const socket = m_server.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                m_received += socket->readAll();
                if (m_received.trimmed().endsWith("}") && !m_answer.isEmpty()) {
                    m_drips ? drip(socket) : send(socket);
                }
            });
        });
    }

    void send(QTcpSocket* socket) {
        socket->write(m_answer);
        socket->disconnectFromHost();
    }
    void drip(QTcpSocket* socket) {
        const qsizetype header = m_answer.indexOf("\r\n\r\n") + 4;
        socket->write(m_answer.left(header));
        m_answer.remove(0, header);
        auto* const timer = new QTimer(socket);
        QObject::connect(timer, &QTimer::timeout, socket, [this, socket] {
            socket->write(m_answer.left(1));
            m_answer.remove(0, 1);
        });
        timer->start(20);
    }

    LicenceOutcome refresh(const Row& row, LicenceManager& manager) {
        m_answer = row.answer;
        m_drips = row.name == std::string("drips");
        m_received.clear();
        Cartolith::LicenceNetwork::NetworkLicenceTransport transport;
        transport.setTimeout(700);
        std::optional<LicenceOutcome> outcome;
        LicenceService(manager, transport).ask(LicenceRequestKind::Refresh, {}, false, [&](const LicenceOutcome& o) {
            EXPECT_FALSE(outcome) << "called twice";
            outcome = o;
        });
        const QDeadlineTimer end(20'000);
        while (!outcome && !end.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
        }
        return outcome.value_or(LicenceOutcome{false, "never came", {}, {}, {}});
    }

    int m_argc = 0;
    QCoreApplication m_application{m_argc, nullptr};
    QTcpServer m_server;
    QTcpServer m_elsewhere;
    QByteArray m_answer;
    QByteArray m_received;
    bool m_drips = false;
};

TEST_F(NetworkLicenceTransportTest, OnlyAnAnswerIsTakenForOne) {
    const QByteArray elsewhere = QStringLiteral("http://127.0.0.1:%1/").arg(m_elsewhere.serverPort()).toLatin1();
    QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, "127.0.0.1", m_elsewhere.serverPort()});
    const QByteArray error = R"({"format": "cartolith-error-1", "code": "seats.used", "message": "All are used."})";
    const QByteArray newer = licenceOf("L-1", 6);
    const Row rows[] = {
        {"a licence", http("200 OK", newer), "", ""},
        {"an older one again", http("200 OK", licenceOf("L-1", 4)), "answer", "older"},
        {"a lie", http("200 OK", QByteArray(newer).replace("test", "best")), "answer", "not signed"},
        {"an error of the service", http("403 Forbidden", error), "seats.used", "All are used."},
        {"a captive portal", http("200 OK", "<html>Please log in</html>"), "answer", "no JSON"},
        {"a broken service", http("500 Internal Server Error", newer), "transport", "status 500"},
        {"too many requests", http("429 Too Many Requests", ""), "transport", "status 429"},
        {"a redirection", http("302 Found", newer, "Location: " + elsewhere + "\r\n"), "transport", "another address"},
        {"one that stays", http("308 Permanent Redirect", error, "Location: " + elsewhere + "\r\n"), "transport",
         "another address"},
        {"cut off", http("200 OK", newer).chopped(9), "transport", "closed"},
        {"no HTTP", "hello\r\n\r\n", "transport", ""},
        {"too long", http("200 OK", QByteArray(1'000'000, ' ')), "transport", "too long"},
        {"blown up", http("200 OK", qCompress(QByteArray(5'000'000, ' ')).mid(4), "Content-Encoding: deflate\r\n"),
         "transport", "too long"},
        {"silent", "", "transport", "in time"},
        {"drips", http("200 OK", newer), "transport", "in time"},
    };
    for (const Row& row : rows) {
        LicenceManager manager(m_settings);
        LicenceCache(m_settings.cacheFolder).removeLicence();
        manager.install(licenceOf("L-1", 5));
        const LicenceOutcome outcome = refresh(row, manager);
        EXPECT_TRUE(m_received.startsWith("POST /v1 HTTP/1.1")) << row.name;
        EXPECT_FALSE(m_received.toLower().contains("cookie")) << row.name;
        EXPECT_TRUE(m_received.contains("User-Agent: Cartolith\r\n") && m_received.contains("Accept-Language: en\r\n"))
            << m_received.toStdString();
        EXPECT_EQ(outcome.code, row.code) << row.name << ": " << qPrintable(outcome.message);
        EXPECT_TRUE(outcome.message.contains(row.message)) << row.name << ": " << qPrintable(outcome.message);
        EXPECT_EQ(outcome.done, *row.code == '\0') << row.name;
        EXPECT_EQ(LicenceManager(m_settings).verdict().serial, outcome.done ? 6 : 5) << row.name;
    }
    EXPECT_FALSE(m_elsewhere.hasPendingConnections()) << "neither a redirection nor a proxy is gone to";
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
}

} // namespace
