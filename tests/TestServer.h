#pragma once

#include <QString>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

/// A place to send requests to, and whether one came.
class Server {
public:
    Server() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (::bind(m_socket, any, size) == 0 && ::listen(m_socket, 8) == 0) {
            ::getsockname(m_socket, any, &size);
            m_url = QString("http://127.0.0.1:%1/").arg(ntohs(address.sin_port));
        }
    }
    ~Server() { ::close(m_socket); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    QString url() const { return m_url; }
    bool wasAsked() const {
        pollfd waiting{m_socket, POLLIN, 0};
        return ::poll(&waiting, 1, 0) > 0;
    }

private:
    int m_socket;
    QString m_url;
};

} // namespace test
