#include <Cartolith/Core/Serialization/WktScannerInternal.h>

#include <QByteArray>
#include <QLocale>

#include <algorithm>
#include <charconv>

namespace Cartolith::Core::Serialization::Wkt::Internal {

using Shapes::GisShapePoint;

namespace {

// Two routes lead to the same coordinate. The plain one takes tokens of the UTF-16 text to QLocale, which
// decides what a number is and costs over a microsecond for one of full precision. The fast one works on a
// Latin-1 copy and handles only spellings for which std::from_chars is known to agree with QLocale: digits
// with an optional minus sign before them, then whatever from_chars takes, up to a blank or the end of the
// item. It gives up on anything else, and the plain route decides.

bool isBlank(char16_t c) noexcept {
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

/// The next token of the text, which then begins after it.
QStringView takeToken(QStringView& text) {
    const auto* const begin = std::find_if_not(text.utf16(), text.utf16() + text.size(), isBlank);
    const auto* const end = std::find_if(begin, text.utf16() + text.size(), isBlank);
    text = QStringView(end, text.utf16() + text.size());
    return QStringView(begin, end);
}

std::optional<GisShapePoint> plainPoint(QStringView text) {
    if (!text.isValidUtf16()) { // not text at all
        return std::nullopt;
    }
    text = text.trimmed();
    const QLocale locale = QLocale::c();
    bool xIsNumber = false;
    bool yIsNumber = false;
    const double x = locale.toDouble(takeToken(text), &xIsNumber);
    const double y = locale.toDouble(takeToken(text), &yIsNumber);
    return xIsNumber && yIsNumber ? std::optional<GisShapePoint>(std::in_place, x, y) : std::nullopt;
}

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

const char* skipBlanks(const char* at, const char* end) noexcept {
    while (at != end && isBlank(static_cast<unsigned char>(*at))) {
        ++at;
    }
    return at;
}

/// Where the number ends; null when it is not plainly written.
const char* fastNumber(const char* at, const char* end, double& value) noexcept {
    const char* const digits = at != end && *at == '-' ? at + 1 : at;
    if (digits == end || !isDigit(*digits)) {
        return nullptr;
    }
    const std::from_chars_result result = std::from_chars(at, end, value);
    return result.ec == std::errc{} ? result.ptr : nullptr;
}

/// Where the item ends: at the next comma or the end of the text. Null when it is not plainly written.
const char* fastPoint(const char* at, const char* end, double& x, double& y) noexcept {
    at = fastNumber(skipBlanks(at, end), end, x);
    if (at == nullptr || at == end || !isBlank(static_cast<unsigned char>(*at))) {
        return nullptr;
    }
    at = fastNumber(skipBlanks(at, end), end, y);
    if (at == nullptr || at == end || *at == ',') {
        return at;
    }
    if (!isBlank(static_cast<unsigned char>(*at))) {
        return nullptr;
    }
    // Further ordinates are not looked at, as long as they are surely text: "?" stands for every character
    // that Latin-1 lacks.
    for (; at != end && *at != ','; ++at) {
        if (*at == '?' || (static_cast<unsigned char>(*at) & 0x80U) != 0) {
            return nullptr;
        }
    }
    return at;
}

} // namespace

std::optional<GisShapePoint> scanPoint(QStringView text) {
    const QByteArray latin1 = text.toLatin1();
    double x = 0.0;
    double y = 0.0;
    // Here a comma separates nothing: it is part of a token.
    if (fastPoint(latin1.cbegin(), latin1.cend(), x, y) == latin1.cend()) {
        return std::optional<GisShapePoint>(std::in_place, x, y);
    }
    return plainPoint(text);
}

QStringView scanPoints(QStringView text, QList<GisShapePoint>& points) {
    const QByteArray latin1 = text.toLatin1();
    const char* const begin = latin1.cbegin();
    const char* const end = latin1.cend();
    // A vertex needs four characters, "1 2,": a text of mere commas must not claim memory for vertices.
    // Beyond some size growing costs little beside reading.
    constexpr qsizetype most = 4096;
    points.reserve(std::min({latin1.count(','), latin1.size() / 4, most}) + 1);
    for (const char* at = begin; at != end;) {
        if (*at == ',') {
            ++at;
            continue;
        }
        double x = 0.0;
        double y = 0.0;
        const char* next = fastPoint(at, end, x, y);
        if (next != nullptr) {
            points.emplaceBack(x, y);
        } else {
            next = std::find(at, end, ',');
            const QStringView item = text.sliced(at - begin, next - at).trimmed();
            const std::optional<GisShapePoint> point = plainPoint(item);
            if (!point) {
                return item;
            }
            points.append(*point);
        }
        at = next;
    }
    return {};
}

} // namespace Cartolith::Core::Serialization::Wkt::Internal
