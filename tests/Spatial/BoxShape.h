#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>

#include <QString>

/// The cheapest shape there can be, a stored extent, so that only the index is looked at.
class BoxShape final : public Cartolith::Core::Shapes::GisShape {
public:
    explicit BoxShape(const Cartolith::Core::Shapes::GisExtent& extent) : m_extent(extent) {}

    Cartolith::Core::Shapes::GisExtent extent() const override { return m_extent; }
    bool isEmpty() const override { return m_extent.isEmpty(); }
    bool contains(const Cartolith::Core::Shapes::GisShapePoint&, double) const override { return false; }
    QString toWkt() const override { return {}; }
    void fromWkt(const QString&) override {}

private:
    Cartolith::Core::Shapes::GisExtent m_extent;
};
