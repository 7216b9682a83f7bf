#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Licensing/LicenceTransport.h>
#include <Cartolith/Core/Licensing/LicenceVerdict.h>

#include <QByteArray>
#include <QString>

#include <functional>

namespace Cartolith::Core::Licensing {

class LicenceManager;

/// What a host wants of the licence service.
enum class LicenceRequestKind {
    Activate,   ///< a licence for a code that was bought
    Refresh,    ///< the held licence with later dates
    Deactivate, ///< give the held licence back: the answer is a revocation
};

/// How a request ended.
struct LicenceOutcome {
    bool done = false; ///< the answer was installed
    /// The service's code for an error ("seats.used"), or "offline", nothing was sent; "transport", nothing
    /// came back; "answer", what came is not to be used; "storage", it could not be stored.
    QString code;
    QString message;        ///< a sentence for a person
    LicenceVerdict verdict; ///< of the manager, after the answer
    /// With "storage" the text that could not be stored, so that it is not lost: LicenceManager::use() takes
    /// it for this process, and a host may keep it elsewhere. Empty otherwise.
    QByteArray answer;
};

/// Asks a licence service for licences, for a manager. Only ask() sends anything, and it sends exactly
/// the text that request() shows.
///
/// Requests and answers are JSON. A request has the members `format` ("cartolith-request-1"), `request`
/// ("activate", "refresh" or "deactivate"), `product`, and, where they are known, `code`, `id`, `serial` and
/// `machine`. An answer is a signed envelope, or an object with the members `format` ("cartolith-error-1"),
/// `code` and `message`. Whatever else comes, a web page in front of the network say, is an error and changes
/// nothing; a status other than 200 counts only when its body is such an error.
class CARTOLITH_CORE_EXPORT LicenceService {
public:
    /// Both must outlive this and every request that is under way.
    LicenceService(LicenceManager& manager, LicenceTransport& transport);

    /// The address that requests go to: CARTOLITH_LICENCE_SERVER, which must be https, or http to 127.0.0.1,
    /// [::1] or localhost. \throws std::runtime_error when it is missing or anything else, and when
    /// CARTOLITH_LICENCE_OFFLINE is 1
    static QString address(const LicenceManager& manager);

    /// The text of a request, also for a file that is taken to the service by hand. The machine is named only
    /// when `bindsMachine` is set or the held licence names one. \throws std::runtime_error for Refresh and
    /// Deactivate without a licence whose key is trusted or was withdrawn, and for a machine without an id
    static QByteArray request(const LicenceManager& manager, LicenceRequestKind kind,
                              const QString& code = {}, bool bindsMachine = false);

    /// Takes an answer, wherever it came from, to the manager. Never throws but std::bad_alloc.
    static LicenceOutcome accept(LicenceManager& manager, const QByteArray& answer);

    /// Sends the request and calls `done` once. A signed answer counts when it is one to this request: about
    /// the same licence, not older, and to Deactivate a revocation. Never throws but std::bad_alloc.
    void ask(LicenceRequestKind kind, const QString& code, bool bindsMachine,
             std::function<void(const LicenceOutcome&)> done);

private:
    LicenceManager& m_manager;
    LicenceTransport& m_transport;
};

} // namespace Cartolith::Core::Licensing
