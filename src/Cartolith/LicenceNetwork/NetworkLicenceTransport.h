#pragma once

#include <Cartolith/Core/Licensing/LicenceTransport.h>
#include <Cartolith/LicenceNetwork/Export.h>

#include <memory>

namespace Cartolith::LicenceNetwork {

/// Carries licence requests over QtNetwork, on the event loop of the thread it was made on and is used on. Qt
/// starts a thread of its own for the network, at the first request and not before.
///
/// A whole answer is waited for 30 seconds at most. No redirection is followed, cookies are neither sent nor
/// kept, and more than 64 KiB is refused. The application's proxy is used, but never to the loopback. Needs a
/// QCoreApplication. When this is destroyed, requests under way end without a call; `done` must not destroy
/// it.
class CARTOLITH_LICENCENETWORK_EXPORT NetworkLicenceTransport : public Core::Licensing::LicenceTransport {
public:
    NetworkLicenceTransport();
    ~NetworkLicenceTransport() override;

    void post(const QString& url, const QByteArray& body,
              std::function<void(const Core::Licensing::LicenceReply&)> done) override;

    /// For slow networks and for tests; milliseconds.
    void setTimeout(int milliseconds) noexcept { m_timeout = milliseconds; }

private:
    class Private;
    std::unique_ptr<Private> d;
    int m_timeout = 30'000;
};

} // namespace Cartolith::LicenceNetwork
