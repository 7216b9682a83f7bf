// How a transaction on a server ends.

#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresSessionInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

void commitInPostgres(GDALDataset& source, const QString& path) {
    QByteArray id;
    try {
        id = execute(source, "SELECT txid_current()::text").value(0).value(0);
    } catch (const std::runtime_error& error) {
        failToWrite(path, QString::fromUtf8(error.what()));
    }
    const Common::Internal::GdalErrorCapture errors;
    if (source.CommitTransaction() != OGRERR_NONE && !isCommitted(path, id)) {
        failToWrite(path, QStringLiteral("the transaction failed: %1").arg(errors.message()));
    }
}

bool isCommitted(const QString& path, const QByteArray& transaction) {
    const auto doubt = [&](const QString& reason) {
        const QString text =
            QStringLiteral("Cannot write '%1': the connection broke as the edits were committed, and "
                           "whether they are in the source is not known: %2")
                .arg(shownPath(path), shownText(reason, path));
        throw CommitInDoubt(text.toStdString(), transaction);
    };
    const Common::Internal::GdalErrorCapture errors;
    const auto source = openPostgres(path, GDAL_OF_READONLY);
    if (source == nullptr) {
        doubt(errors.message());
    }
    QByteArray status;
    try {
        status = execute(*source, "SELECT txid_status(" + transaction + ')').value(0).value(0);
    } catch (const std::runtime_error& error) {
        doubt(QString::fromUtf8(error.what()));
    }
    if (status != "committed" && status != "aborted") {
        doubt(QStringLiteral("the server says '%1'").arg(QString::fromUtf8(status)));
    }
    return status == "committed";
}

} // namespace Cartolith::Core::Layers::Internal
