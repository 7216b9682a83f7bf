#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Shapes/AttributeRowInternal.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QMetaType>
#include <QVariant>

#include <array>
#include <vector>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Layers::Internal {

/// The schema of an OGR layer.
QList<Defs::GisAttributeDefinition> attributeDefinitions(OGRFeatureDefn& layer);

/// The value of a field, typed as the schema says; invalid when it is null or unset.
QVariant fieldValue(OGRFeature& feature, int index);

class ArrowFeatures;

/// Makes rows of attributes of the features of one layer.
class FeatureRows {
public:
    explicit FeatureRows(OGRFeatureDefn& layer);
    /// What is null or unset is absent. Of fields of one name, the last that has a value counts.
    Shapes::Internal::AttributeRow of(OGRFeature& feature);
    Shapes::Internal::AttributeRow of(const ArrowFeatures& feature);
    /// Whether the last row had a text that is not UTF-8, so that U+FFFD stands for some of its bytes.
    bool hadOtherText() const { return m_hadOtherText; }
    /// Whether the last row had a time with digits beyond milliseconds.
    bool hadFraction() const { return m_hadFraction; }

private:
    struct Column {
        int field;
        int column;
        OGRFieldType type; ///< OFTMaxType where fields of that name have several
    };
    /// A text that was read lately. When it comes again, rows share it from then on.
    struct Recent {
        static constexpr qsizetype most = 39;
        std::array<char, most> utf8;
        quint8 size = 0;
        Shapes::Internal::SharedTextPointer shared;
    };
    /// A text of the row being made.
    struct Text {
        QByteArrayView utf8;
        Shapes::Internal::SharedTextPointer shared; ///< null where the row keeps it
    };
    Text textOf(QByteArrayView utf8);
    template <typename Source>
    Shapes::Internal::AttributeRow rowOf(Source& source);

    Shapes::Internal::AttributeSchema::Pointer m_schema;
    std::vector<Column> m_columns; // from the last field to the first
    std::vector<Recent> m_recent;
    std::vector<Text> m_texts; // in the order of the columns
    bool m_hadOtherText = false;
    bool m_hadFraction = false;
};

/// Whether two attribute values are the same, so that neither needs to be written over the other: numbers of
/// two types when they are the same number, not-a-number being the same as itself and zero not the same as
/// negative zero; dates with times when they show the same time in the same zone.
bool areSame(const QVariant& a, const QVariant& b);
/// The same of tables.
bool areSame(const QHash<QString, QVariant>& a, const QHash<QString, QVariant>& b);
/// The same of the attributes of shapes.
bool haveSameAttributes(const Shapes::GisShape& a, const Shapes::GisShape& b);

/// The type that holds values of both; text when no other does.
QMetaType::Type commonType(QMetaType::Type a, QMetaType::Type b);

} // namespace Cartolith::Core::Layers::Internal
