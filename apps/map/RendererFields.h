#pragma once

#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <QStringList>

/// The fields that a renderer asks features for, each once, in the renderer's order. The null tests of rules
/// count too.
QStringList fieldsOf(const Cartolith::Core::Symbology::GisSymbolRenderer& renderer);
