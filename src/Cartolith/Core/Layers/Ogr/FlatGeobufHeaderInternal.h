#pragma once

#include <QByteArray>

#include <optional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The type of a column as a FlatGeobuf file has it, by the number that it has there.
enum class FlatGeobufType : quint8 { Int = 5, Long = 7, Double = 10, String = 11, Binary = 14 };

/// The types of the columns of a FlatGeobuf file, which GDAL calls by fewer names. Nothing where the file, by
/// the name that GDAL has for it, is no such file or its header is damaged. Reads the header only, of one MiB
/// at most.
std::optional<std::vector<FlatGeobufType>> flatGeobufTypes(const QByteArray& gdalName);

} // namespace Cartolith::Core::Layers::Internal
