#pragma once

#include <QByteArray>
#include <QColor>
#include <QStringView>

/// The pieces of which SVG consists: short numbers, escaped texts.
namespace Cartolith::Map::Output::Internal::SvgSyntax {

/// A number of so many decimals given as an integer: 1250 with 2 is "12.5", -50 is "-.5".
void appendScaled(QByteArray& bytes, qint64 scaled, int decimals);

/// Rounded to 4 decimals; 0 for what is not finite.
void appendNumber(QByteArray& bytes, double value);

/// For attributes in double quotes and for content.
void appendEscaped(QByteArray& bytes, QStringView text);

/// " fill=..." with its opacity, for any attribute that takes a colour; "none" for one that is not seen.
void appendColor(QByteArray& bytes, const char* attribute, const QColor& color);

/// What an id may hold of a name; never empty, never with an underscore first.
QString idOf(const QString& name);

} // namespace Cartolith::Map::Output::Internal::SvgSyntax
