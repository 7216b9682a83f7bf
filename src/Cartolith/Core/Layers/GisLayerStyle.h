#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/LabelPlacementMode.h>

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
