#include <Cartolith/LicenceNetwork/NetworkLicenceTransport.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTcpServer>
#include <QTcpSocket>
#include <gtest/gtest.h>

#include <optional>

using Cartolith::Core::Licensing::LicenceReply;

namespace {

/// Answers every request on the loopback with the same bytes; no bytes: it stays silent.
LicenceReply replyTo(const QByteArray& answer) {
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    QTcpServer server;
    EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
    QByteArray received;
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
        QTcpSocket* const socket = server.nextPendingConnection();
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [&, socket] {
            received += socket->readAll();
            if (received.endsWith("{}") && !answer.isEmpty()) {
                socket->write(answer);
                socket->disconnectFromHost();
            }
        });
    });
    Cartolith::LicenceNetwork::NetworkLicenceTransport transport;
    transport.setTimeout(1000);
    std::optional<LicenceReply> reply;
    transport.post(QStringLiteral("http://127.0.0.1:%1/v1").arg(server.serverPort()), "{}",
                   [&](const LicenceReply& result) { reply = result; });
    const QDeadlineTimer end(20'000);
    while (!reply && !end.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    }
    EXPECT_TRUE(received.startsWith("POST /v1 HTTP/1.1")) << received.toStdString();
    return reply.value_or(LicenceReply{-1, {}, QStringLiteral("never came")});
}

QByteArray http(const char* status, const QByteArray& body) {
    return QByteArray("HTTP/1.1 ") + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" +
           body;
}

TEST(NetworkLicenceTransport, TellsAnswersFromTrouble) {
    struct Row {
        const char* name;
        QByteArray answer;
        int status;
        QByteArray body;
        const char* trouble;
    };
    const Row rows[] = {
        {"an answer", http("200 OK", "{\"a\": 1}"), 200, "{\"a\": 1}", ""},
        {"an error of the service", http("403 Forbidden", "{}"), 403, "{}", ""},
        {"a broken service", http("500 Internal Server Error", "x"), 500, "x", ""},
        {"too many requests", http("429 Too Many Requests", ""), 429, "", ""},
        {"a redirection", "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n", 302, "",
         "another address"},
        {"cut off", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{", 0, "", "closed"},
        {"no HTTP", "hello\r\n\r\n", 0, "", ""},
        {"too long", http("200 OK", QByteArray(1'000'000, 'x')), 0, "", "too long"},
        {"silent", "", 0, "", "in time"},
    };
    for (const Row& row : rows) {
        const LicenceReply reply = replyTo(row.answer);
        EXPECT_EQ(reply.status, row.status) << row.name << ": " << qPrintable(reply.trouble);
        EXPECT_EQ(reply.body, row.body) << row.name;
        EXPECT_TRUE(reply.trouble.contains(row.trouble)) << row.name << ": " << qPrintable(reply.trouble);
        EXPECT_EQ(reply.trouble.isEmpty(), row.status != 0 && row.status != 302) << row.name;
    }
}

} // namespace
