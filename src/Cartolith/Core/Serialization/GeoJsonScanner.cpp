#include <Cartolith/Core/Serialization/GeoJsonScannerInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QList>

#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

namespace Cartolith::Core::Serialization::GeoJson::Internal {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

using Parts = QList<QList<GisShapePoint>>;

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

/// One geometry. Every step returns false where the text is not of the usual form.
class Scanner {
public:
    explicit Scanner(QByteArrayView utf8) noexcept : m_at(utf8.begin()), m_end(utf8.end()) {}

    std::unique_ptr<GisShape> geometry() {
        std::string_view type;
        if (!take('{') || !member(type) || !take(',') || !member(type) || !take('}')) {
            return nullptr;
        }
        skipBlanks();
        if (m_at != m_end) {
            return nullptr;
        }
        // Each of the two members was there once, or one of these is still what it was: no type has depth 0.
        if (type == "Point" && m_depth == 1) {
            return std::make_unique<GisShapePoint>(m_parts.constFirst().constFirst());
        }
        if ((type == "LineString" && m_depth == 2) || (type == "MultiLineString" && m_depth == 3)) {
            return shapeOfParts<GisShapePolyline>();
        }
        if ((type == "Polygon" && m_depth == 3) || (type == "MultiPolygon" && m_depth == 4)) {
            return shapeOfParts<GisShapePolygon>();
        }
        return nullptr;
    }

private:
    template <typename Shape>
    std::unique_ptr<GisShape> shapeOfParts() {
        auto shape = std::make_unique<Shape>();
        shape->parts() = std::move(m_parts);
        return shape;
    }

    bool member(std::string_view& type) {
        std::string_view key;
        if (!word(key) || !take(':')) {
            return false;
        }
        return key == "type" ? word(type) : key == "coordinates" && coordinates();
    }

    /// A string of ASCII letters.
    bool word(std::string_view& text) noexcept {
        if (!take('"')) {
            return false;
        }
        const char* const begin = m_at;
        while (m_at != m_end && ((*m_at >= 'a' && *m_at <= 'z') || (*m_at >= 'A' && *m_at <= 'Z'))) {
            ++m_at;
        }
        text = std::string_view(begin, m_at);
        return m_at != m_end && *m_at++ == '"';
    }

    /// The arrays and all in them. The innermost of the opening brackets says how deep positions lie.
    bool coordinates() {
        constexpr int deepest = 4;
        if (m_depth != 0) {
            return false;
        }
        do {
            if (++m_depth > deepest || !take('[')) {
                return false;
            }
            skipBlanks();
        } while (m_at != m_end && *m_at == '[');
        for (int depth = m_depth;;) {
            if (depth == m_depth) {
                if (!position()) {
                    return false;
                }
                --depth;
            }
            // After a member at this depth: the end of the array, or the next member.
            for (;;) {
                if (depth == 0) {
                    if (m_depth == 1) {
                        endPart();
                    }
                    return true;
                }
                skipBlanks();
                if (m_at == m_end) {
                    return false;
                }
                const char c = *m_at++;
                if (c == ',') {
                    break;
                }
                if (c != ']') {
                    return false;
                }
                if (depth == m_depth - 1) {
                    endPart();
                }
                --depth;
            }
            while (depth < m_depth) {
                if (!take('[')) {
                    return false;
                }
                ++depth;
            }
        }
    }

    /// What stands between the brackets of a position, and the closing one.
    bool position() {
        double x = 0.0;
        double y = 0.0;
        if (!number(x) || !take(',') || !number(y)) {
            return false;
        }
        double further = 0.0;
        for (;;) {
            skipBlanks();
            if (m_at == m_end) {
                return false;
            }
            const char c = *m_at++;
            if (c == ']') {
                m_points.emplace_back(x, y);
                return true;
            }
            if (c != ',' || !number(further)) {
                return false;
            }
        }
    }

    /// Makes a part of the positions read.
    void endPart() {
        QList<GisShapePoint>& part = m_parts.emplaceBack();
        part.reserve(static_cast<qsizetype>(m_points.size()));
        for (const auto& [x, y] : m_points) {
            part.emplaceBack(x, y);
        }
        m_points.clear();
    }

    /// A number by the letter of JSON, for which std::from_chars and Qt's parser give the same: it is finite,
    /// and zero only when it says so. Qt makes an integer of every number that is one, which loses the sign
    /// of zero.
    bool number(double& value) noexcept {
        skipBlanks();
        const char* const begin = m_at;
        const char* at = begin;
        if (at != m_end && *at == '-') {
            ++at;
        }
        const char* const digits = at;
        skipDigits(at);
        if (at == digits || (*digits == '0' && at - digits > 1)) {
            return false;
        }
        if (at != m_end && *at == '.') {
            const char* const decimals = ++at;
            skipDigits(at);
            if (at == decimals) {
                return false;
            }
        }
        if (at != m_end && (*at == 'e' || *at == 'E')) {
            ++at;
            if (at != m_end && (*at == '-' || *at == '+')) {
                ++at;
            }
            const char* const exponent = at;
            skipDigits(at);
            if (at == exponent) {
                return false;
            }
        }
        constexpr std::ptrdiff_t longest = 64;
        if (at - begin > longest) {
            return false;
        }
        const std::from_chars_result result = std::from_chars(begin, at, value);
        m_at = at;
        if (result.ec != std::errc{} || result.ptr != at || !std::isfinite(value)) {
            return false;
        }
        if (value == 0.0) {
            value = 0.0;
            return std::string_view(begin, at).find_first_of("123456789") == std::string_view::npos;
        }
        return true;
    }

    void skipDigits(const char*& at) const noexcept {
        while (at != m_end && isDigit(*at)) {
            ++at;
        }
    }

    void skipBlanks() noexcept {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\n' || *m_at == '\r' || *m_at == '\t')) {
            ++m_at;
        }
    }

    bool take(char c) noexcept {
        skipBlanks();
        if (m_at == m_end || *m_at != c) {
            return false;
        }
        ++m_at;
        return true;
    }

    const char* m_at;
    const char* m_end;
    int m_depth = 0; ///< of a position, counted in brackets; 0 until the coordinates were read
    Parts m_parts;
    std::vector<std::pair<double, double>> m_points; ///< of the part being read
};

} // namespace

std::unique_ptr<GisShape> scanGeometry(QByteArrayView utf8) {
    return Scanner(utf8).geometry();
}

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
