#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/LabelPlacementMode.h>

#include <QString>
#include <QTypeInfo>

namespace Cartolith::Core::Layers {

/// How a feature is drawn and labelled: the value that a symbol renderer returns for each feature.
///
/// Colours are text of the form #RRGGBB and are stored as given. A plain value, cheap to copy.
class CARTOLITH_CORE_EXPORT GisLayerStyle {
public:
    bool operator==(const GisLayerStyle& other) const = default;

    /// Colour as #RRGGBB.
    const QString& fillColor() const noexcept { return m_fillColor; }
    void setFillColor(const QString& value) { m_fillColor = value; }

    /// 0 (transparent) to 255 (opaque); not clamped here.
    int fillOpacity() const noexcept { return m_fillOpacity; }
    void setFillOpacity(int value) noexcept { m_fillOpacity = value; }

    const QString& lineColor() const noexcept { return m_lineColor; }
    void setLineColor(const QString& value) { m_lineColor = value; }

    /// In pixels.
    float lineWidth() const noexcept { return m_lineWidth; }
    void setLineWidth(float value) noexcept { m_lineWidth = value; }

    const QString& pointColor() const noexcept { return m_pointColor; }
    void setPointColor(const QString& value) { m_pointColor = value; }

    /// Diameter in pixels.
    float pointSize() const noexcept { return m_pointSize; }
    void setPointSize(float value) noexcept { m_pointSize = value; }

    const QString& selectedLineColor() const noexcept { return m_selectedLineColor; }
    void setSelectedLineColor(const QString& value) { m_selectedLineColor = value; }

    /// In pixels.
    float selectedLineWidth() const noexcept { return m_selectedLineWidth; }
    void setSelectedLineWidth(float value) noexcept { m_selectedLineWidth = value; }

    bool showLabels() const noexcept { return m_showLabels; }
    void setShowLabels(bool value) noexcept { m_showLabels = value; }

    /// The attribute that the label shows.
    const QString& labelField() const noexcept { return m_labelField; }
    void setLabelField(const QString& value) { m_labelField = value; }

    const QString& labelColor() const noexcept { return m_labelColor; }
    void setLabelColor(const QString& value) { m_labelColor = value; }

    /// In points.
    float labelFontSize() const noexcept { return m_labelFontSize; }
    void setLabelFontSize(float value) noexcept { m_labelFontSize = value; }

    bool labelHaloEnabled() const noexcept { return m_labelHaloEnabled; }
    void setLabelHaloEnabled(bool value) noexcept { m_labelHaloEnabled = value; }

    const QString& labelHaloColor() const noexcept { return m_labelHaloColor; }
    void setLabelHaloColor(const QString& value) { m_labelHaloColor = value; }

    /// In pixels.
    float labelHaloWidth() const noexcept { return m_labelHaloWidth; }
    void setLabelHaloWidth(float value) noexcept { m_labelHaloWidth = value; }

    const QString& labelFontFamily() const noexcept { return m_labelFontFamily; }
    void setLabelFontFamily(const QString& value) { m_labelFontFamily = value; }

    bool labelBold() const noexcept { return m_labelBold; }
    void setLabelBold(bool value) noexcept { m_labelBold = value; }

    bool labelItalic() const noexcept { return m_labelItalic; }
    void setLabelItalic(bool value) noexcept { m_labelItalic = value; }

    /// 0 means no bound; what is not finite and greater than 0 is stored as 0.
    double labelMinVisibleScale() const noexcept { return m_labelMinVisibleScale; }
    void setLabelMinVisibleScale(double value) noexcept;

    /// 0 means no bound; what is not finite and greater than 0 is stored as 0.
    double labelMaxVisibleScale() const noexcept { return m_labelMaxVisibleScale; }
    void setLabelMaxVisibleScale(double value) noexcept;

    bool labelAllowOverlap() const noexcept { return m_labelAllowOverlap; }
    void setLabelAllowOverlap(bool value) noexcept { m_labelAllowOverlap = value; }

    /// Higher ones are placed first.
    int labelPriority() const noexcept { return m_labelPriority; }
    void setLabelPriority(int value) noexcept { m_labelPriority = value; }

    /// An attribute that gives each feature a priority of its own.
    const QString& labelPriorityField() const noexcept { return m_labelPriorityField; }
    void setLabelPriorityField(const QString& value) { m_labelPriorityField = value; }

    bool labelAvoidObstacles() const noexcept { return m_labelAvoidObstacles; }
    void setLabelAvoidObstacles(bool value) noexcept { m_labelAvoidObstacles = value; }

    /// What is not greater than 0 (NaN included) is stored as 0.
    double labelObstacleWeight() const noexcept { return m_labelObstacleWeight; }
    void setLabelObstacleWeight(double value) noexcept;

    /// Clamped to 1..16.
    int labelMaxCandidatesPerFeature() const noexcept { return m_labelMaxCandidatesPerFeature; }
    void setLabelMaxCandidatesPerFeature(int value) noexcept;

    LabelPlacementMode labelPlacementMode() const noexcept { return m_labelPlacementMode; }
    void setLabelPlacementMode(LabelPlacementMode value) noexcept { m_labelPlacementMode = value; }

    /// In pixels, to the right.
    float labelOffsetX() const noexcept { return m_labelOffsetX; }
    void setLabelOffsetX(float value) noexcept { m_labelOffsetX = value; }

    /// In pixels, downwards.
    float labelOffsetY() const noexcept { return m_labelOffsetY; }
    void setLabelOffsetY(float value) noexcept { m_labelOffsetY = value; }

    /// Clockwise.
    float labelRotationDegrees() const noexcept { return m_labelRotationDegrees; }
    void setLabelRotationDegrees(float value) noexcept { m_labelRotationDegrees = value; }

    /// Along a line, in pixels; 0 places one label. What is not greater than 0 (NaN included) is stored as 0.
    double labelRepeatDistance() const noexcept { return m_labelRepeatDistance; }
    void setLabelRepeatDistance(double value) noexcept;

private:
    QString m_fillColor = QStringLiteral("#C8D6D2");
    int m_fillOpacity = 215;
    QString m_lineColor = QStringLiteral("#6F8380");
    float m_lineWidth = 0.9F;
    QString m_pointColor = QStringLiteral("#2F80C2");
    float m_pointSize = 8.0F;
    QString m_selectedLineColor = QStringLiteral("#F59E0B");
    float m_selectedLineWidth = 3.0F;
    bool m_showLabels = false;
    QString m_labelField;
    QString m_labelColor = QStringLiteral("#253238");
    float m_labelFontSize = 8.0F;
    bool m_labelHaloEnabled = true;
    QString m_labelHaloColor = QStringLiteral("#FFFFFF");
    float m_labelHaloWidth = 2.0F;
    QString m_labelFontFamily = QStringLiteral("Arial");
    bool m_labelBold = false;
    bool m_labelItalic = false;
    double m_labelMinVisibleScale = 0.0;
    double m_labelMaxVisibleScale = 0.0;
    bool m_labelAllowOverlap = false;
    int m_labelPriority = 0;
    QString m_labelPriorityField;
    bool m_labelAvoidObstacles = true;
    double m_labelObstacleWeight = 1.0;
    int m_labelMaxCandidatesPerFeature = 9;
    LabelPlacementMode m_labelPlacementMode = LabelPlacementMode::Automatic;
    float m_labelOffsetX = 0.0F;
    float m_labelOffsetY = 0.0F;
    float m_labelRotationDegrees = 0.0F;
    double m_labelRepeatDistance = 0.0;
};

} // namespace Cartolith::Core::Layers

Q_DECLARE_TYPEINFO(Cartolith::Core::Layers::GisLayerStyle, Q_RELOCATABLE_TYPE);
