#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/LabelPlacementMode.h>
#include <Cartolith/Core/Layers/SymbolSettings.h>

#include <QList>
#include <QSharedData>
#include <QSharedDataPointer>
#include <QString>
#include <QTypeInfo>

#include <utility>

namespace Cartolith::Core::Layers {

class GisLayer;

/// How a feature is drawn and labelled: the value that a symbol renderer returns for each feature.
///
/// Colours are text of the form #RRGGBB and are stored as given. Implicitly shared: a copy costs an atomic
/// increment, whatever it holds, and takes fields of its own when it is changed. Copies may be used by
/// several threads. A style that was moved from may only be assigned to or destroyed.
///
/// The style of a layer, GisLayer::style(), tells the layer's listeners when a setter or an assignment has
/// changed it. Copies of it belong to nobody; being moved from leaves it as it is.
class CARTOLITH_CORE_EXPORT GisLayerStyle {
public:
    GisLayerStyle();
    GisLayerStyle(const GisLayerStyle& other) noexcept : m_data(other.m_data) {}
    GisLayerStyle(GisLayerStyle&& other) noexcept : m_data(std::move(other).take()) {}
    GisLayerStyle& operator=(const GisLayerStyle& other) noexcept { // NOLINT(*-self-assignment)
        assign(other.m_data);
        return *this;
    }
    GisLayerStyle& operator=(GisLayerStyle&& other) noexcept {
        assign(std::move(other).take());
        return *this;
    }
    ~GisLayerStyle() = default;

    /// True when every field is equal; a copy that nobody changed is always equal.
    bool operator==(const GisLayerStyle& other) const;

    /// Colour as #RRGGBB.
    const QString& fillColor() const noexcept { return m_data->fields.fillColor; }
    void setFillColor(const QString& value) { set(&Fields::fillColor, value); }

    /// 0 (transparent) to 255 (opaque); not clamped here.
    int fillOpacity() const noexcept { return m_data->fields.fillOpacity; }
    void setFillOpacity(int value) { set(&Fields::fillOpacity, value); }

    const QString& lineColor() const noexcept { return m_data->fields.lineColor; }
    void setLineColor(const QString& value) { set(&Fields::lineColor, value); }

    /// In pixels.
    float lineWidth() const noexcept { return m_data->fields.lineWidth; }
    void setLineWidth(float value) { set(&Fields::lineWidth, value); }

    const QString& pointColor() const noexcept { return m_data->fields.pointColor; }
    void setPointColor(const QString& value) { set(&Fields::pointColor, value); }

    /// Diameter in pixels.
    float pointSize() const noexcept { return m_data->fields.pointSize; }
    void setPointSize(float value) { set(&Fields::pointSize, value); }

    const QString& selectedLineColor() const noexcept { return m_data->fields.selectedLineColor; }
    void setSelectedLineColor(const QString& value) { set(&Fields::selectedLineColor, value); }

    /// In pixels.
    float selectedLineWidth() const noexcept { return m_data->fields.selectedLineWidth; }
    void setSelectedLineWidth(float value) { set(&Fields::selectedLineWidth, value); }

    bool showLabels() const noexcept { return m_data->fields.showLabels; }
    void setShowLabels(bool value) { set(&Fields::showLabels, value); }

    /// The attribute that the label shows.
    const QString& labelField() const noexcept { return m_data->fields.labelField; }
    void setLabelField(const QString& value) { set(&Fields::labelField, value); }

    const QString& labelColor() const noexcept { return m_data->fields.labelColor; }
    void setLabelColor(const QString& value) { set(&Fields::labelColor, value); }

    /// In points.
    float labelFontSize() const noexcept { return m_data->fields.labelFontSize; }
    void setLabelFontSize(float value) { set(&Fields::labelFontSize, value); }

    bool labelHaloEnabled() const noexcept { return m_data->fields.labelHaloEnabled; }
    void setLabelHaloEnabled(bool value) { set(&Fields::labelHaloEnabled, value); }

    const QString& labelHaloColor() const noexcept { return m_data->fields.labelHaloColor; }
    void setLabelHaloColor(const QString& value) { set(&Fields::labelHaloColor, value); }

    /// In pixels.
    float labelHaloWidth() const noexcept { return m_data->fields.labelHaloWidth; }
    void setLabelHaloWidth(float value) { set(&Fields::labelHaloWidth, value); }

    const QString& labelFontFamily() const noexcept { return m_data->fields.labelFontFamily; }
    void setLabelFontFamily(const QString& value) { set(&Fields::labelFontFamily, value); }

    bool labelBold() const noexcept { return m_data->fields.labelBold; }
    void setLabelBold(bool value) { set(&Fields::labelBold, value); }

    bool labelItalic() const noexcept { return m_data->fields.labelItalic; }
    void setLabelItalic(bool value) { set(&Fields::labelItalic, value); }

    /// 0 means no bound; what is not finite and greater than 0 is stored as 0.
    double labelMinVisibleScale() const noexcept { return m_data->fields.labelMinVisibleScale; }
    void setLabelMinVisibleScale(double value);

    /// 0 means no bound; what is not finite and greater than 0 is stored as 0.
    double labelMaxVisibleScale() const noexcept { return m_data->fields.labelMaxVisibleScale; }
    void setLabelMaxVisibleScale(double value);

    bool labelAllowOverlap() const noexcept { return m_data->fields.labelAllowOverlap; }
    void setLabelAllowOverlap(bool value) { set(&Fields::labelAllowOverlap, value); }

    /// Higher ones are placed first.
    int labelPriority() const noexcept { return m_data->fields.labelPriority; }
    void setLabelPriority(int value) { set(&Fields::labelPriority, value); }

    /// An attribute that gives each feature a priority of its own.
    const QString& labelPriorityField() const noexcept { return m_data->fields.labelPriorityField; }
    void setLabelPriorityField(const QString& value) { set(&Fields::labelPriorityField, value); }

    bool labelAvoidObstacles() const noexcept { return m_data->fields.labelAvoidObstacles; }
    void setLabelAvoidObstacles(bool value) { set(&Fields::labelAvoidObstacles, value); }

    /// What is not greater than 0 (NaN included) is stored as 0.
    double labelObstacleWeight() const noexcept { return m_data->fields.labelObstacleWeight; }
    void setLabelObstacleWeight(double value);

    /// Clamped to 1..16.
    int labelMaxCandidatesPerFeature() const noexcept { return m_data->fields.labelMaxCandidatesPerFeature; }
    void setLabelMaxCandidatesPerFeature(int value);

    LabelPlacementMode labelPlacementMode() const noexcept { return m_data->fields.labelPlacementMode; }
    void setLabelPlacementMode(LabelPlacementMode value) { set(&Fields::labelPlacementMode, value); }

    /// In pixels, to the right.
    float labelOffsetX() const noexcept { return m_data->fields.labelOffsetX; }
    void setLabelOffsetX(float value) { set(&Fields::labelOffsetX, value); }

    /// In pixels, downwards.
    float labelOffsetY() const noexcept { return m_data->fields.labelOffsetY; }
    void setLabelOffsetY(float value) { set(&Fields::labelOffsetY, value); }

    /// Clockwise.
    float labelRotationDegrees() const noexcept { return m_data->fields.labelRotationDegrees; }
    void setLabelRotationDegrees(float value) { set(&Fields::labelRotationDegrees, value); }

    /// Along a line, in pixels; 0 places one label. What is not greater than 0 (NaN included) is stored as 0.
    double labelRepeatDistance() const noexcept { return m_data->fields.labelRepeatDistance; }
    void setLabelRepeatDistance(double value);

    /// \name Lines and outlines
    /// @{
    /// Drawn and left out in turn, in pixels, from the beginning of each part; empty draws all. The first 32
    /// count; a length that is not greater than 0 is stored as 0, one above 10,000 as that.
    const QList<double>& lineDashes() const noexcept { return m_data->fields.lineDashes; }
    void setLineDashes(const QList<double>& value);

    /// How far into the dashes a line begins, in pixels, from -10,000 to 10,000; NaN is stored as 0.
    float lineDashOffset() const noexcept { return m_data->fields.lineDashOffset; }
    void setLineDashOffset(float value);

    LineCap lineCap() const noexcept { return m_data->fields.lineCap; }
    void setLineCap(LineCap value) { set(&Fields::lineCap, value); }

    LineJoin lineJoin() const noexcept { return m_data->fields.lineJoin; }
    void setLineJoin(LineJoin value) { set(&Fields::lineJoin, value); }

    /// Of the casing, a wider line below the line, without dashes. Below all lines of the layer, so that
    /// crossings are open; below the outline of an area.
    const QString& casingColor() const noexcept { return m_data->fields.casingColor; }
    void setCasingColor(const QString& value) { set(&Fields::casingColor, value); }

    /// In pixels, on each side; 0 draws none. Sizes are stored from 0 to 10,000, NaN as 0.
    float casingWidth() const noexcept { return m_data->fields.casingWidth; }
    void setCasingWidth(float value);
    /// @}

    /// \name Pattern on the fill of areas
    /// Tied to the origin of the map, so that the patterns of neighbours are one.
    /// @{
    FillPattern fillPattern() const noexcept { return m_data->fields.fillPattern; }
    void setFillPattern(FillPattern value) { set(&Fields::fillPattern, value); }

    /// Whatever fillOpacity() is; #AARRGGBB makes it translucent.
    const QString& patternColor() const noexcept { return m_data->fields.patternColor; }
    void setPatternColor(const QString& value) { set(&Fields::patternColor, value); }

    /// Degrees from 0 to less than 360; lines lie level at 0 and turn clockwise. What is not finite is stored
    /// as 0.
    float patternAngle() const noexcept { return m_data->fields.patternAngle; }
    void setPatternAngle(float value);

    /// From one line or dot to the next, in pixels, from 1 to 10,000; NaN is stored as 1.
    float patternSpacing() const noexcept { return m_data->fields.patternSpacing; }
    void setPatternSpacing(float value);

    /// Of the lines, or the diameter of the dots, in pixels; a size as the casing's.
    float patternWidth() const noexcept { return m_data->fields.patternWidth; }
    void setPatternWidth(float value);
    /// @}

    /// \name Symbols of points
    /// Filled with pointColor(), pointSize() large; the outline is the style's line.
    /// @{
    MarkerShape markerShape() const noexcept { return m_data->fields.markerShape; }
    void setMarkerShape(MarkerShape value) { set(&Fields::markerShape, value); }

    /// The text of an SVG document, for MarkerShape::Svg. Kept as it is; who draws it judges it.
    const QString& markerSvg() const noexcept { return m_data->fields.markerSvg; }
    void setMarkerSvg(const QString& value) { set(&Fields::markerSvg, value); }

    /// Degrees clockwise, from 0 to less than 360; what is not finite is stored as 0.
    float markerRotation() const noexcept { return m_data->fields.markerRotation; }
    void setMarkerRotation(float value);

    /// An attribute with further degrees for each feature.
    const QString& markerRotationField() const noexcept { return m_data->fields.markerRotationField; }
    void setMarkerRotationField(const QString& value) { set(&Fields::markerRotationField, value); }
    /// @}

    /// \name Halo
    /// Around the symbols of points, and below the lines and casings of a layer.
    /// @{
    const QString& haloColor() const noexcept { return m_data->fields.haloColor; }
    void setHaloColor(const QString& value) { set(&Fields::haloColor, value); }

    /// In pixels beyond the symbol; 0 draws none. A size as the casing's.
    float haloWidth() const noexcept { return m_data->fields.haloWidth; }
    void setHaloWidth(float value);
    /// @}

    /// \name Size by value
    /// Of points their size, of lines their width; GisFeatureSymbol has the rule.
    /// @{
    /// The attribute; empty for none.
    const QString& sizeField() const noexcept { return m_data->fields.sizeField; }
    void setSizeField(const QString& value) { set(&Fields::sizeField, value); }

    /// The values with the least and the greatest size; what is not finite is stored as 0.
    double sizeFromValue() const noexcept { return m_data->fields.sizeFromValue; }
    void setSizeFromValue(double value);
    double sizeToValue() const noexcept { return m_data->fields.sizeToValue; }
    void setSizeToValue(double value);

    /// In pixels; sizes as the casing's. The one may be the greater.
    float sizeFrom() const noexcept { return m_data->fields.sizeFrom; }
    void setSizeFrom(float value);
    float sizeTo() const noexcept { return m_data->fields.sizeTo; }
    void setSizeTo(float value);

    SizeScaling sizeScaling() const noexcept { return m_data->fields.sizeScaling; }
    void setSizeScaling(SizeScaling value) { set(&Fields::sizeScaling, value); }
    /// @}

private:
    struct Fields {
        bool operator==(const Fields& other) const = default;

        QString fillColor = QStringLiteral("#C8D6D2");
        int fillOpacity = 215;
        QString lineColor = QStringLiteral("#6F8380");
        float lineWidth = 0.9F;
        QString pointColor = QStringLiteral("#2F80C2");
        float pointSize = 8.0F;
        QString selectedLineColor = QStringLiteral("#F59E0B");
        float selectedLineWidth = 3.0F;
        bool showLabels = false;
        QString labelField;
        QString labelColor = QStringLiteral("#253238");
        float labelFontSize = 8.0F;
        bool labelHaloEnabled = true;
        QString labelHaloColor = QStringLiteral("#FFFFFF");
        float labelHaloWidth = 2.0F;
        QString labelFontFamily = QStringLiteral("Arial");
        bool labelBold = false;
        bool labelItalic = false;
        double labelMinVisibleScale = 0.0;
        double labelMaxVisibleScale = 0.0;
        bool labelAllowOverlap = false;
        int labelPriority = 0;
        QString labelPriorityField;
        bool labelAvoidObstacles = true;
        double labelObstacleWeight = 1.0;
        int labelMaxCandidatesPerFeature = 9;
        LabelPlacementMode labelPlacementMode = LabelPlacementMode::Automatic;
        float labelOffsetX = 0.0F;
        float labelOffsetY = 0.0F;
        float labelRotationDegrees = 0.0F;
        double labelRepeatDistance = 0.0;
        QList<double> lineDashes;
        float lineDashOffset = 0.0F;
        LineCap lineCap = LineCap::Round;
        LineJoin lineJoin = LineJoin::Round;
        QString casingColor = QStringLiteral("#FFFFFF");
        float casingWidth = 0.0F;
        FillPattern fillPattern = FillPattern::None;
        QString patternColor = QStringLiteral("#253238");
        float patternAngle = 45.0F;
        float patternSpacing = 8.0F;
        float patternWidth = 1.0F;
        MarkerShape markerShape = MarkerShape::Circle;
        QString markerSvg;
        float markerRotation = 0.0F;
        QString markerRotationField;
        QString haloColor = QStringLiteral("#FFFFFF");
        float haloWidth = 0.0F;
        QString sizeField;
        double sizeFromValue = 0.0;
        double sizeToValue = 1.0;
        float sizeFrom = 2.0F;
        float sizeTo = 20.0F;
        SizeScaling sizeScaling = SizeScaling::Area;
    };
    struct Data : QSharedData {
        Fields fields;
    };
    using Shared = QSharedDataPointer<Data>;
    friend class GisLayer;

    template <typename Value>
    void set(Value Fields::*field, const Value& value) {
        Value& member = (*m_data).fields.*field;
        const bool isOther = m_owner != nullptr && !(member == value);
        member = value;
        if (isOther) {
            tellOwner();
        }
    }
    Shared take() && noexcept { return m_owner != nullptr ? m_data : std::exchange(m_data, {}); }
    void assign(Shared data) noexcept {
        m_data.swap(data);
        if (m_owner != nullptr) {
            tellOwnerSince(data);
        }
    }
    void tellOwner() noexcept;
    void tellOwnerSince(const Shared& before) noexcept;

    Shared m_data;
    GisLayer* m_owner = nullptr; // set by the layer for its own style; not copied
};

} // namespace Cartolith::Core::Layers

Q_DECLARE_TYPEINFO(Cartolith::Core::Layers::GisLayerStyle, Q_RELOCATABLE_TYPE);
