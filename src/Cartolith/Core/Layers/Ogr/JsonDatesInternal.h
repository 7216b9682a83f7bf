#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// Whether every text that a JSON file has for a member of one of these names is written as ISO 8601 has it:
/// a date of a year of four digits (or with strokes), a time with seconds, a date and time with or without a
/// zone that is quarters of an hour from UTC. GDAL takes "12/5/19", "16:9" and "10-11-12" for dates and times
/// too. Reads the file once, some of it at a time; false where it cannot.
bool areIsoDates(const QString& path, const std::vector<QByteArray>& names);

} // namespace Cartolith::Core::Layers::Internal
