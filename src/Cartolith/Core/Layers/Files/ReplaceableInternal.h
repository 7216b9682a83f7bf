#pragma once

#include <QString>
#include <QStringList>

namespace Cartolith::Core::Layers::Internal {

/// Whether the files of a data source may be replaced. What forbids it is a std::runtime_error that names the
/// source: a file that is protected or none, links to nothing, and links that show the files otherwise than
/// they are stored.
/// @{

void requireWritable(const QString& path, const QStringList& family = {});
/// What is read by the names beside a path is what is replaced beside the target of its link, and nothing
/// else; nor do further files belong to a second one whose name differs in the case of its suffix.
void requireReplaceable(const QString& path, const QString& target, const QStringList& family);

/// @}

} // namespace Cartolith::Core::Layers::Internal
