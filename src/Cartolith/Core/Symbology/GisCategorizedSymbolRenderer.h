#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolClass.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <QSharedDataPointer>

namespace Cartolith::Core::Symbology {

namespace Internal {
class CategoryLookup;
}

/// A style for each value of a field; of several classes that match, the first added wins.
///
/// Values match by valuesEqual(): the number 2 matches the text "2.0", the text " Road " matches "road".
/// Finding a feature's class takes constant time for texts, dates and missing values and logarithmic time for
/// numbers; a value of another type, a QDateTime say, is compared with each class.
class CARTOLITH_CORE_EXPORT GisCategorizedSymbolRenderer : public GisSymbolRenderer {
public:
    GisCategorizedSymbolRenderer();
    explicit GisCategorizedSymbolRenderer(const QString& fieldName);
    GisCategorizedSymbolRenderer(const GisCategorizedSymbolRenderer& other);
    GisCategorizedSymbolRenderer& operator=(const GisCategorizedSymbolRenderer& other);
    ~GisCategorizedSymbolRenderer() override;

    const QString& fieldName() const noexcept { return m_fieldName; }
    void setFieldName(const QString& fieldName) { m_fieldName = fieldName; }
    const QList<GisCategorizedSymbolClass>& classes() const noexcept { return m_classes; }
    void addClass(const GisCategorizedSymbolClass& symbolClass);
    void clearClasses();
    /// For features that match no enabled class.
    const Layers::GisLayerStyle& defaultStyle() const noexcept { return m_defaultStyle; }
    void setDefaultStyle(const Layers::GisLayerStyle& style) { m_defaultStyle = style; }

    GisSymbolRendererType type() const override;
    Layers::GisLayerStyle styleForFeature(const GisSymbolContext& context) const override;
    std::unique_ptr<GisSymbolRenderer> clone() const override;
    QList<GisSymbolLegendItem> legendItems() const override;
    qsizetype legendIndexForFeature(const GisSymbolContext& context) const override;

    /// The text that values are compared by: trimmed and case-folded; empty for an invalid or null value.
    static QString normalizedValue(const QVariant& value);
    /// True when both are invalid; or of the same type and equal by QVariant's comparison; or, when both
    /// convert to numbers, if those are equal within a relative 1e-12 of 1 + x; or else if their normalised
    /// texts are equal.
    static bool valuesEqual(const QVariant& a, const QVariant& b);

private:
    /// The position of the feature's class, or -1.
    qsizetype classIndex(const GisSymbolContext& context) const;

    QString m_fieldName;
    QList<GisCategorizedSymbolClass> m_classes;
    Layers::GisLayerStyle m_defaultStyle;
    QSharedDataPointer<Internal::CategoryLookup> m_lookup;
};

} // namespace Cartolith::Core::Symbology
