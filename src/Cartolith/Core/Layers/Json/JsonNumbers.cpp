#include <Cartolith/Core/Layers/Json/JsonNumbersInternal.h>
#include <Cartolith/Core/Layers/Json/JsonTextInternal.h>

#include <ogrsf_frmts.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr QByteArrayView numberLetters = "+-.0123456789eE";

double numberOf(QByteArrayView text) {
    double number = std::nan("");
    std::from_chars(text.begin(), text.end(), number);
    return number;
}

bool isSameNumber(double a, double b) {
    return a == b && std::signbit(a) == std::signbit(b);
}

bool isNear(double a, double b) {
    constexpr double share = 1e-9; // far more than the digits that are cut
    constexpr double least = 1e-15;
    return std::abs(a - b) <= share * std::abs(b) + least;
}

/// The coordinates of each point, line and ring.
using Runs = std::vector<std::vector<double>>;

void addPoint(const OGRPoint& point, bool hasZ, std::vector<double>& run) {
    run.insert(run.end(), {point.getX(), point.getY()});
    if (hasZ) {
        run.push_back(point.getZ());
    }
}

void addRuns(const OGRGeometry& geometry, bool hasZ, Runs& runs) {
    const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
    if (type == wkbPoint) {
        addPoint(*geometry.toPoint(), hasZ, runs.emplace_back());
    } else if (type == wkbLineString || type == wkbLinearRing) {
        std::vector<double>& run = runs.emplace_back();
        for (const OGRPoint& point : *geometry.toLineString()) {
            addPoint(point, hasZ, run);
        }
    } else if (type == wkbPolygon) {
        for (const OGRLinearRing* ring : *geometry.toPolygon()) {
            addRuns(*ring, hasZ, runs);
        }
    } else if (OGR_GT_IsSubClassOf(type, wkbGeometryCollection) != 0) {
        for (const OGRGeometry* member : *geometry.toGeometryCollection()) {
            addRuns(*member, hasZ, runs);
        }
    }
}

/// Position by position from the last to the first.
std::vector<double> reversed(const std::vector<double>& run, std::size_t width) {
    std::vector<double> back;
    back.reserve(run.size());
    for (std::size_t at = run.size(); at >= width; at -= width) {
        for (std::size_t i = at - width; i < at; ++i) {
            back.push_back(run[i]);
        }
    }
    return back;
}

std::vector<double> numbersOf(const OGREnvelope3D& box, bool hasZ) {
    return hasZ ? std::vector{box.MinX, box.MinY, box.MinZ, box.MaxX, box.MaxY, box.MaxZ}
                : std::vector{box.MinX, box.MinY, box.MaxX, box.MaxY};
}

void appendNumber(QByteArray& text, double number) {
    std::array<char, 32> digits = {};
    const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    text.append(digits.data(), end - digits.data());
    const std::string_view written(digits.data(), static_cast<std::size_t>(end - digits.data()));
    text += written.find_first_of(".e") == std::string_view::npos ? ".0" : ""; // no whole number
}

} // namespace

std::vector<QByteArrayView> JsonNumbers::tokensOf(QByteArrayView json) {
    std::vector<QByteArrayView> tokens;
    for (qsizetype at = 0; at < json.size();) {
        const char c = json[at];
        const qsizetype start = at;
        if (c == '"') {
            at = endOfJsonValue(json, at);
        } else if (c == '-' || (c >= '0' && c <= '9')) {
            while (at < json.size() && numberLetters.contains(json[at])) {
                ++at;
            }
            tokens.push_back(json.sliced(start, at - start));
        } else {
            ++at;
        }
    }
    return tokens;
}

void JsonNumbers::compare(const Tokens& tokens, std::size_t first, const std::vector<double>& numbers) {
    for (std::size_t i = 0; i < numbers.size() && first + i < tokens.texts.size(); ++i) {
        const QByteArrayView text = tokens.texts[first + i];
        if (std::isfinite(numbers[i]) && !isSameNumber(numberOf(text), numbers[i])) {
            m_others.push_back({tokens.place + (text.begin() - tokens.begin), text.size(), numbers[i]});
        }
    }
}

/// A ring may have been turned. Coordinates that were transformed are others.
void JsonNumbers::compareGeometry(const Tokens& tokens, const Runs& runs, std::size_t width) {
    std::size_t first = 0;
    for (const std::vector<double>& run : runs) {
        const auto isWritten = [&](const std::vector<double>& numbers) {
            for (std::size_t i = 0; i < numbers.size(); ++i) {
                if (!isNear(numberOf(tokens.texts[first + i]), numbers[i])) {
                    return false;
                }
            }
            return true;
        };
        if (isWritten(run)) {
            compare(tokens, first, run);
        } else if (const auto turned = reversed(run, width); isWritten(turned)) {
            compare(tokens, first, turned);
        }
        first += run.size();
    }
}

void JsonNumbers::add(OGRFeature& feature, QByteArrayView text, qsizetype place) {
    const qsizetype start = text.indexOf('{');
    if (start < 0) {
        return;
    }
    const JsonObject object(text.sliced(start));
    const auto tokens = [&](QByteArrayView json) { return Tokens{text.begin(), place, tokensOf(json)}; };
    if (const JsonMember* const properties = object.find(QStringLiteral("properties"))) {
        for (const JsonMember& member : jsonMembersOf(properties->value)) {
            const int index =
                feature.GetDefnRef()->GetFieldIndexCaseSensitive(member.name().toUtf8().constData());
            const OGRFieldType type = index >= 0 ? feature.GetFieldDefnRef(index)->GetType() : OFTString;
            if (type == OFTReal) {
                compare(tokens(member.value), 0, {feature.GetFieldAsDouble(index)});
            } else if (type == OFTRealList) {
                int count = 0;
                const double* const numbers = feature.GetFieldAsDoubleList(index, &count);
                compare(tokens(member.value), 0, {numbers, numbers + count});
            }
        }
    }
    const OGRGeometry* const geometry = feature.GetGeometryRef();
    const JsonMember* const written = object.find(QStringLiteral("geometry"));
    if (geometry == nullptr || geometry->IsEmpty() || written == nullptr) {
        return;
    }
    const bool hasZ = geometry->Is3D() != 0;
    Runs runs;
    addRuns(*geometry, hasZ, runs);
    std::size_t count = 0;
    for (const std::vector<double>& run : runs) {
        count += run.size();
    }
    if (const Tokens found = tokens(written->value); found.texts.size() == count) {
        compareGeometry(found, runs, hasZ ? 3 : 2);
    }
    OGREnvelope3D box;
    geometry->getEnvelope(&box);
    m_box.Merge(box);
    if (const JsonMember* const member = object.find(QStringLiteral("bbox"))) {
        compare(tokens(member->value), 0, numbersOf(box, hasZ));
    }
}

void JsonNumbers::addBox(QByteArrayView written) {
    constexpr QByteArrayView begin = "\n\"bbox\": [";
    const qsizetype start = written.indexOf(begin);
    const qsizetype features = written.indexOf("\n\"features\":");
    const qsizetype end = start >= 0 && start < features ? written.indexOf(']', start) : -1;
    if (end >= 0 && m_box.IsInit()) {
        const Tokens found{written.begin(), 0, tokensOf(written.sliced(start, end - start))};
        compare(found, 0, numbersOf(m_box, found.texts.size() == 6));
    }
}

QByteArray JsonNumbers::resolved(QByteArrayView written) const {
    std::vector<Other> others = m_others;
    std::sort(others.begin(), others.end(), [](const Other& a, const Other& b) { return a.place < b.place; });
    QByteArray text;
    text.reserve(written.size());
    qsizetype at = 0;
    for (const Other& other : others) {
        text.append(written.data() + at, other.place - at);
        appendNumber(text, other.number);
        at = other.place + other.size;
    }
    return text.append(written.data() + at, written.size() - at);
}

} // namespace Cartolith::Core::Layers::Internal
