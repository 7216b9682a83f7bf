#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisRasterStyle.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <QByteArray>
#include <QJsonObject>

#include <memory>

namespace Cartolith::Core::Symbology {

/// Styles, ramps, renderers and raster styles as JSON, for files that programs keep and people write by hand.
/// The format is described in docs/formats.md, "Symbology as JSON".
///
/// What toJson() gives reads back as the same value, through text as well: every bit of a number but for the
/// payload of a NaN, the type of every QVariant, numbers that no enumerator has. Texts are kept as they are;
/// a null QString reads back as an empty one.
///
/// A member that is missing has its default, a member that is not known is an error. Reading throws
/// std::runtime_error with a message that names the member, such as "renderer.ranges[2].upper: a number is
/// expected, not a string." Readers return what they read and touch nothing else: whoever assigns the result
/// keeps the old state on error. Input from strangers is safe: the stack is bounded, and memory grows with
/// the size of the input alone.
///
/// Time and memory are linear in the size of the document. May be called from several threads.
class CARTOLITH_CORE_EXPORT GisSymbologyJson {
public:
    GisSymbologyJson() = delete;

    static QJsonObject toJson(const Layers::GisLayerStyle& style);
    static QJsonObject toJson(const GisColorRamp& ramp);
    /// \throws std::invalid_argument for a renderer of a host's own class, derived ones included; for a value
    /// whose type cannot be saved, one that its text would not give back, and lists and maps nested more than
    /// 30 deep.
    static QJsonObject toJson(const GisSymbolRenderer& renderer);
    static QJsonObject toJson(const GisRasterStyle& style);

    /// Values that the style's setters change are changed here too.
    /// \throws std::runtime_error
    static Layers::GisLayerStyle styleFromJson(const QJsonObject& json);
    /// Stops may come in any order. Unlike GisColorRamp, which drops what it cannot use, a colour that cannot
    /// be read and a position outside 0 to 1 are errors.
    /// \throws std::runtime_error
    static GisColorRamp rampFromJson(const QJsonObject& json);
    /// Never null.
    /// \throws std::runtime_error
    static std::unique_ptr<GisSymbolRenderer> rendererFromJson(const QJsonObject& json);

    /// \throws std::runtime_error, also for what the style's setters refuse
    static GisRasterStyle rasterStyleFromJson(const QJsonObject& json);

    /// Indented UTF-8.
    static QByteArray toText(const QJsonObject& json);
    /// Of members with one name, the last counts.
    /// \throws std::runtime_error for text that is no JSON, with the line and the column (in bytes, from 1),
    /// and for JSON that is no object.
    static QJsonObject fromText(const QByteArray& text);
};

} // namespace Cartolith::Core::Symbology
