#pragma once

/// The channels on which the library reports its own long steps to the log, each as an info record with the
/// elapsed time and how much there was to do. Switch them off one by one with Logger::setEnabled().
namespace Cartolith::Core::Common::LogChannels {

inline constexpr const char* load = "library.load";         ///< reading a data source
inline constexpr const char* save = "library.save";         ///< writing one
inline constexpr const char* index = "library.index";       ///< building or loading a layer's spatial index
inline constexpr const char* classify = "library.classify"; ///< finding class bounds
inline constexpr const char* routing = "library.routing";   ///< building and searching a network
inline constexpr const char* render = "library.render";     ///< making a raster's picture

} // namespace Cartolith::Core::Common::LogChannels
