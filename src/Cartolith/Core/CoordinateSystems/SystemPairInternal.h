#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/CoordinateSystems/DomainCutInternal.h>

#include <optional>
#include <vector>

namespace Cartolith::Core::CoordinateSystems {

class CoordinateSystem;

namespace Internal {

using Vertex = DomainCut::Vertex;

/// Two systems and the ways between them: from the source, to the target, and to the longitudes and latitudes
/// of the target, in degrees, between them.
class SystemPair {
public:
    /// \throws std::runtime_error as CoordinateTransformer
    SystemPair(const CoordinateSystem& source, const CoordinateSystem& target);

    /// From the source to the target, in one go; what has no image becomes NaN.
    void toTarget(std::vector<double>& x, std::vector<double>& y) const;
    std::optional<Vertex> toTarget(const Vertex& source) const;
    std::optional<Vertex> toDegrees(const Vertex& source) const;
    std::optional<Vertex> fromDegrees(const Vertex& degrees) const;
    std::optional<Vertex> toSource(const Vertex& degrees) const;

    bool isSourceInDegrees() const { return m_isSourceInDegrees; }
    bool isTargetInDegrees() const { return m_isTargetInDegrees; }
    /// Whether the source has the degrees of the target.
    bool areDegreesShared() const { return m_toDegrees == nullptr; }
    /// Metres, about, on the ground at the most.
    double sourceUnit() const { return m_sourceUnit; }
    double targetUnit() const { return m_targetUnit; }
    const OGRSpatialReference& target() const { return m_target; }

private:
    bool isDirectFromDegrees() const;

    OGRSpatialReference m_source;
    OGRSpatialReference m_target;
    OGRSpatialReference m_degrees;
    Common::Internal::TransformationPtr m_direct;
    Common::Internal::TransformationPtr m_toDegrees;   // null where there is nothing to do
    Common::Internal::TransformationPtr m_toSource;    // the same
    Common::Internal::TransformationPtr m_fromDegrees; // the same
    bool m_isSourceInDegrees = false;
    bool m_isTargetInDegrees = false;
    double m_sourceUnit = 1.0;
    double m_targetUnit = 1.0;
};

} // namespace Internal
} // namespace Cartolith::Core::CoordinateSystems
