#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisClassificationMethod.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRange.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <QSharedDataPointer>

namespace Cartolith::Core::Symbology {

namespace Internal {
class RangeSearch;
}

/// How the ranges of a graduated renderer came about; kept for the host, not used when choosing a style.
using GisGraduatedClassificationMode = GisClassificationMethod;

/// A style for each range of a numeric field; of several ranges that hold a number, the first added wins.
///
/// A value that is no finite number, or that no enabled range holds, gets the default style. Ranges that
/// ascend without overlap, as the classification engine makes them, are searched in logarithmic time.
class CARTOLITH_CORE_EXPORT GisGraduatedSymbolRenderer : public GisSymbolRenderer {
public:
    GisGraduatedSymbolRenderer();
    explicit GisGraduatedSymbolRenderer(const QString& fieldName);
    GisGraduatedSymbolRenderer(const GisGraduatedSymbolRenderer& other);
    GisGraduatedSymbolRenderer& operator=(const GisGraduatedSymbolRenderer& other);
    ~GisGraduatedSymbolRenderer() override;

    const QString& fieldName() const noexcept { return m_fieldName; }
    void setFieldName(const QString& fieldName) { m_fieldName = fieldName; }
    GisGraduatedClassificationMode classificationMode() const noexcept { return m_classificationMode; }
    void setClassificationMode(GisGraduatedClassificationMode mode) noexcept { m_classificationMode = mode; }
    const QList<GisGraduatedSymbolRange>& ranges() const noexcept { return m_ranges; }
    void addRange(const GisGraduatedSymbolRange& range);
    void clearRanges();
    const Layers::GisLayerStyle& defaultStyle() const noexcept { return m_defaultStyle; }
    void setDefaultStyle(const Layers::GisLayerStyle& style) { m_defaultStyle = style; }

    GisSymbolRendererType type() const override;
    Layers::GisLayerStyle styleForFeature(const GisSymbolContext& context) const override;
    std::unique_ptr<GisSymbolRenderer> clone() const override;
    QList<GisSymbolLegendItem> legendItems() const override;
    qsizetype legendIndexForFeature(const GisSymbolContext& context) const override;

    /// Tests the bounds alone; the enabled flag is not looked at. False for NaN.
    static bool rangeContains(const GisGraduatedSymbolRange& range, double value);

private:
    /// The position of the feature's range, or -1.
    qsizetype rangeIndex(const GisSymbolContext& context) const;

    QString m_fieldName;
    GisGraduatedClassificationMode m_classificationMode = GisGraduatedClassificationMode::Manual;
    QList<GisGraduatedSymbolRange> m_ranges;
    Layers::GisLayerStyle m_defaultStyle;
    QSharedDataPointer<Internal::RangeSearch> m_search; // the enabled ranges
};

} // namespace Cartolith::Core::Symbology
