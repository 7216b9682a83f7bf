#pragma once

#include <QString>
#include <QVariant>

#include <optional>
#include <utility>

namespace Cartolith::Core::Symbology::Internal {

/// A value as renderers compare it: with its number and its normalised text, each converted once, when first
/// asked for. Used by one thread.
class SymbolValue {
public:
    explicit SymbolValue(QVariant value) : m_value(std::move(value)) {}

    const QVariant& value() const { return m_value; }
    /// What the value converts to, be it finite or not; none when it does not convert.
    std::optional<double> number() const;
    /// Trimmed and case-folded; empty for an invalid or null value.
    const QString& text() const;

private:
    QVariant m_value;
    mutable bool m_numberKnown = false;
    mutable std::optional<double> m_number;
    mutable std::optional<QString> m_text;
};

/// The same for a value that a renderer keeps: converted when it is made, and read by any thread.
struct StoredSymbolValue {
    explicit StoredSymbolValue(const QVariant& from);

    QVariant value;
    std::optional<double> number;
    QString text;
};

/// Equality of a renderer's value and a feature's: both invalid; or of one type and equal by QVariant's own
/// comparison; or, when both are numbers, equal within a relative 1e-12 of 1 + x; or else of equal text.
bool equal(const StoredSymbolValue& stored, const SymbolValue& value);

/// x and y are 1 + the numbers compared.
bool shiftedNumbersEqual(double x, double y);

} // namespace Cartolith::Core::Symbology::Internal
