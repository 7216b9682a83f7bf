#pragma once

#include <QByteArrayView>
#include <ogrsf_frmts.h>

namespace Cartolith::Core::Layers::Internal {

/// What a text is by ISO 8601: OFTDate for a date of a year of four digits (or with strokes), OFTTime for a
/// time with seconds, OFTDateTime for both with or without a zone that is quarters of an hour from UTC, else
/// OFTString. GDAL takes "12/5/19", "16:9" and "10-11-12" for dates and times too.
OGRFieldType isoTypeOf(QByteArrayView text);

} // namespace Cartolith::Core::Layers::Internal
