#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <functional>

namespace Cartolith::Core::Layers::Internal {

/// Whether a path is a connection to PostgreSQL, as GDAL takes it: "PG:..." or "postgresql://...".
bool isPostgres(const QString& path);

/// What a layer is called before it is read: the name of its file.
QString nameOfSource(const QString& path);

/// The path as it may be shown: without the passwords of a connection.
QString shownPath(const QString& path);
/// A text about it, likewise: servers and GDAL may repeat what they were given.
QString shownText(QString text, const QString& path);

/// A name in SQL, and a text. Neither can end early, whatever is in it and however the server is set.
QByteArray quotedName(const QByteArray& name);
QByteArray quotedText(QByteArrayView text);

/// Calls the function with each row that a statement gives. \throws std::runtime_error with the server's
/// reason
void forRows(GDALDataset& source, const QByteArray& sql, const std::function<void(OGRFeature&)>& function);
/// The rows that a statement gives, as text; null is an empty one. \throws the same
using SqlRows = QList<QList<QByteArray>>;
SqlRows execute(GDALDataset& source, const QByteArray& sql);

/// So that the server writes doubles to the last bit and dates as GDAL reads them, whatever it, a role or a
/// database is set to.
void askPlainTexts(GDALDataset& source);

} // namespace Cartolith::Core::Layers::Internal
