#pragma once

class QString;

namespace Cartolith::Core::Layers::Internal {

/// How the JSON texts of a file lie. What is behind the first one, drivers pass over without a word.
enum class JsonTexts {
    One,
    OnePerLine, ///< or between record separators
    RunTogether,
};

/// Looks at brackets, strings and line ends only. Linear time, no memory to speak of; a file that cannot be
/// read has one.
JsonTexts jsonTextsOf(const QString& path);

} // namespace Cartolith::Core::Layers::Internal
