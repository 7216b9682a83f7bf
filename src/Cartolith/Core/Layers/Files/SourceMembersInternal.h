#pragma once

#include <QString>
#include <QStringList>

namespace Cartolith::Core::Layers::Internal {

/// The suffix of a name that is a file's but for that; empty for other names.
QString suffixBeside(const QString& path, const QString& name,
                     Qt::CaseSensitivity sensitivity = Qt::CaseSensitive);

/// The files beside a path that have its name with one of the suffixes, in any case. In the order of
/// suffixes; "*.x" stands for any word before the suffix x. Where asked for, the name is in any case, too.
QStringList membersOf(const QString& path, const QStringList& suffixes,
                      Qt::CaseSensitivity sensitivity = Qt::CaseSensitive);

} // namespace Cartolith::Core::Layers::Internal
