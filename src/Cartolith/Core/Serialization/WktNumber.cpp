#include <Cartolith/Core/Serialization/WktNumberInternal.h>

#include <QLocale>
#include <QString>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace Cartolith::Core::Serialization::Wkt::Internal {

namespace {

__extension__ using UInt128 = unsigned __int128;

constexpr quint64 tenTo8 = 100'000'000;
constexpr quint64 tenTo16 = tenTo8 * tenTo8;

/// "00" to "99".
constexpr auto digitPairs = [] {
    std::array<char16_t, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char16_t>(u'0' + i / 10);
        pairs[2 * i + 1] = static_cast<char16_t>(u'0' + i % 10);
    }
    return pairs;
}();

void writePair(char16_t* target, quint32 value) noexcept {
    std::copy_n(&digitPairs[std::size_t{2} * value], 2, target);
}

void write8Digits(char16_t* target, quint32 value) noexcept {
    const quint32 high = value / 10000;
    const quint32 low = value % 10000;
    writePair(target, high / 100);
    writePair(target + 2, high % 100);
    writePair(target + 4, low / 100);
    writePair(target + 6, low % 100);
}

char16_t* writeInteger(char16_t* target, quint64 value) noexcept {
    std::array<char16_t, 20> digits;
    auto begin = digits.end();
    do {
        *--begin = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    } while (value != 0);
    return std::copy(begin, digits.end(), target);
}

// The digits are those of QLocale::toString(value, 'f', 16), which takes several times as long. std::to_chars
// was not used either: it is slower too, and it rounds exact ties (odd multiples of 2^-17) to even, where
// QLocale rounds them away from zero.

/// The fraction, 0 <= fraction < 1, in units of 1e-16, rounded half up: 0 to 1e16 inclusive. Exact, because
/// the 53 bits of a double times 1e16 fit 128 bits.
quint64 decimals(double fraction) noexcept {
    const auto bits = std::bit_cast<quint64>(fraction);
    const int shift = 1075 - static_cast<int>(bits >> 52U); // fraction = significand / 2^shift, shift >= 53
    if (shift > 107) {
        return 0; // below half a unit, also zero and subnormals
    }
    const quint64 significand = (bits & 0xF'FFFF'FFFF'FFFFU) | 0x10'0000'0000'0000U;
    const UInt128 product = UInt128{significand} * tenTo16;
    return static_cast<quint64>((product + (UInt128{1} << (shift - 1))) >> shift);
}

char16_t* writePlainly(char16_t* target, double value) {
    const QString text = QLocale::c().toString(value, 'f', 16);
    qsizetype size = text.size();
    if (text.contains(u'.')) {
        while (text[size - 1] == u'0') {
            --size;
        }
        size -= text[size - 1] == u'.' ? 1 : 0;
    }
    return std::copy_n(QStringView(text).utf16(), size, target);
}

} // namespace

char16_t* writeNumber(char16_t* target, double value) {
    const double magnitude = std::fabs(value);
    if (!(magnitude < 0x1p63)) { // also NaN
        return writePlainly(target, value);
    }
    auto whole = static_cast<quint64>(magnitude);
    quint64 fraction = decimals(magnitude - static_cast<double>(whole));
    if (fraction == tenTo16) {
        ++whole;
        fraction = 0;
    }
    if (std::signbit(value) && (whole != 0 || fraction != 0)) {
        *target++ = u'-';
    }
    target = writeInteger(target, whole);
    if (fraction == 0) {
        return target;
    }
    *target++ = u'.';
    write8Digits(target, static_cast<quint32>(fraction / tenTo8));
    write8Digits(target + 8, static_cast<quint32>(fraction % tenTo8));
    target += 16;
    while (target[-1] == u'0') {
        --target;
    }
    return target;
}

} // namespace Cartolith::Core::Serialization::Wkt::Internal
