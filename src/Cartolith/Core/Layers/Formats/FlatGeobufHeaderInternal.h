#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <optional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The type of a column as a FlatGeobuf file has it, by the number that it has there.
enum class FlatGeobufType : quint8 { Int = 5, Long = 7, Double = 10, String = 11, Binary = 14 };

/// The types of the columns of a FlatGeobuf file, which GDAL calls by fewer names. Nothing where the file, by
/// the name that GDAL has for it, is no such file or its header is damaged. Reads the header only, of one MiB
/// at most.
std::optional<std::vector<FlatGeobufType>> flatGeobufTypes(const QByteArray& gdalName);

/// The file as it was written, with the header of the one before but for the box, the number of features and
/// the index: GDAL does not write title, description and metadata, of the file and of its columns. The
/// columns of both are the same. \throws std::runtime_error with the reason for a header that is damaged, or
/// says of the coordinates more than GDAL writes
QByteArray withFlatGeobufHeader(QByteArrayView before, QByteArrayView written);

} // namespace Cartolith::Core::Layers::Internal
