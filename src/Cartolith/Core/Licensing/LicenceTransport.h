#pragma once

#include <Cartolith/Core/Export.h>

#include <QByteArray>
#include <QString>

#include <functional>

namespace Cartolith::Core::Licensing {

/// What came back for a request.
struct LicenceReply {
    int status = 0; ///< of HTTP; 0 when there was no answer
    QByteArray body;
    QString trouble; ///< why there was no answer; empty when there was one
};

/// Carries a request to the licence service. Cartolith::LicenceNetwork has one over QtNetwork; tests and
/// hosts have their own.
class CARTOLITH_CORE_EXPORT LicenceTransport {
public:
    virtual ~LicenceTransport();
    /// Posts JSON to the address and calls `done` once, on the calling thread, now or from its event loop. It
    /// follows no redirection and reads no more than 64 KiB.
    virtual void post(const QString& url, const QByteArray& body,
                      std::function<void(const LicenceReply&)> done) = 0;

protected:
    LicenceTransport() = default;
    LicenceTransport(const LicenceTransport&) = default;
    LicenceTransport& operator=(const LicenceTransport&) = default;
};

} // namespace Cartolith::Core::Licensing
