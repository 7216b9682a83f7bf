#pragma once

namespace Cartolith::Core::Symbology {

/// The kinds of symbol renderer.
enum class GisSymbolRendererType : int {
    Simple = 0,
    Categorized = 1,
    Graduated = 2,
    RuleBased = 3,
};

} // namespace Cartolith::Core::Symbology
