#pragma once

class QString;

namespace OutputFile {

/// Finds out whether a file can be written there, before the work is done whose result it is to hold. Leaves
/// nothing behind. \throws std::runtime_error "'...' could not be written: ..."
void requireWritable(const QString& path);

} // namespace OutputFile
