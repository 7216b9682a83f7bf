#pragma once

#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <QString>

#include <memory>

/// Renderers on disk, as JSON; docs/symbology.md shows one.
namespace RendererFile {

/// Never null; its colours are such as Arguments::colour() takes. \throws std::runtime_error naming the file,
/// and where in it the fault lies
std::unique_ptr<Cartolith::Core::Symbology::GisSymbolRenderer> read(const QString& path);

/// Written beside its name first and put in place when it is complete. \throws std::runtime_error
void save(const Cartolith::Core::Symbology::GisSymbolRenderer& renderer, const QString& path);

} // namespace RendererFile
