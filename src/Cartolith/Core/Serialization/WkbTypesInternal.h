#pragma once

#include <QtGlobal>

/// The geometry type codes of classic OGC WKB.
namespace Cartolith::Core::Serialization::Wkb::Internal {

constexpr quint32 pointType = 1;
constexpr quint32 lineStringType = 2;
constexpr quint32 polygonType = 3;
constexpr quint32 multiPointType = 4;
constexpr quint32 multiLineStringType = 5;
constexpr quint32 multiPolygonType = 6;

} // namespace Cartolith::Core::Serialization::Wkb::Internal
