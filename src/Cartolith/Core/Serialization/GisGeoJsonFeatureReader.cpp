#include <Cartolith/Core/Serialization/GeoJsonFeatureTextInternal.h>
#include <Cartolith/Core/Serialization/GeoJsonStreamInternal.h>
#include <Cartolith/Core/Serialization/GisGeoJsonFeatureReader.h>

#include <QByteArray>
#include <QIODevice>

#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Serialization::GeoJson {

using Internal::Found;
using Internal::GeoJsonStream;

namespace {

/// Where one feature lies in the text.
struct Extent {
    qint64 start = 0;
    Found geometry = Found::None;
    qint64 geometryStart = 0;
    qint64 geometryEnd = 0;
};

enum class Key { Type, Features, Geometry, Other, Escaped };

Key keyOf(QByteArrayView quoted) {
    return quoted == "\"type\""       ? Key::Type
           : quoted == "\"features\"" ? Key::Features
           : quoted == "\"geometry\"" ? Key::Geometry
           : quoted.contains('\\')    ? Key::Escaped
                                      : Key::Other;
}

/// Finds the features in a text, hands them out and counts them.
class Session {
public:
    Session(QIODevice& device, const GisGeoJsonFeatureReader::Use& use, const GisGeoJsonReadOptions& options)
        : m_stream(device, options.maxFeatureSize), m_use(use), m_options(options) {}

    GisGeoJsonReadCounts run() {
        m_stream.skipByteOrderMark();
        while (!m_stopped && atNextText()) {
            readText();
        }
        return m_counts;
    }

private:
    bool atNextText() {
        constexpr int recordSeparator = 0x1e;
        while (m_stream.peekPastBlanks() == recordSeparator) {
            m_stream.next();
        }
        return m_stream.peek() >= 0;
    }

    /// The members of the next object; `value` is called with the key of each and takes the value.
    template <typename Value>
    void readMembers(Value value) {
        m_stream.expect('{', "an object is expected");
        if (m_stream.peekPastBlanks() == '}') {
            m_stream.next();
            return;
        }
        for (;;) {
            m_stream.peekPastBlanks();
            const bool keeping = m_stream.keeping();
            const qint64 start = m_stream.position();
            if (!keeping) {
                m_stream.keep();
            }
            m_stream.skipString();
            const Key key = keyOf(m_stream.text(start));
            if (!keeping) {
                m_stream.drop();
            }
            m_stream.expect(':', "a colon is expected");
            m_stream.peekPastBlanks();
            value(key);
            if (m_stopped) {
                return;
            }
            const char c = m_stream.nextPastBlanks();
            if (c == '}') {
                return;
            }
            if (c != ',') {
                m_stream.fail("a comma is expected");
            }
        }
    }

    void noteValue(Key key, Extent& extent) {
        const qint64 start = m_stream.position();
        m_stream.skipValue();
        if (key == Key::Escaped || (key == Key::Geometry && extent.geometry != Found::None)) {
            extent.geometry = Found::Unsure;
        } else if (key == Key::Geometry) {
            extent.geometry = Found::One;
            extent.geometryStart = start;
            extent.geometryEnd = m_stream.position();
        }
    }

    /// A collection is recognised by its type or, when that has not come yet, by its features. Until then the
    /// text may be a single feature, so it is kept.
    void readText() {
        QByteArray type;
        bool streamed = false;
        m_stream.keep();
        Extent extent{m_stream.position()};
        readMembers([&](Key key) {
            const qint64 start = m_stream.position();
            if (key == Key::Features && m_stream.peek() == '[' && (type.isEmpty() || isCollection(type))) {
                if (streamed) {
                    m_stream.fail("features are there twice");
                }
                streamed = true;
                m_stream.drop();
                readCollection();
            } else if (key == Key::Type) {
                const bool keeping = m_stream.keeping();
                if (!keeping) {
                    m_stream.keep();
                }
                m_stream.skipValue();
                type = m_stream.text(start).toByteArray();
                if (!keeping || isCollection(type)) {
                    m_stream.drop();
                }
            } else {
                noteValue(key, extent);
            }
        });
        if (m_stopped) {
            return;
        }
        if (streamed != isCollection(type)) {
            m_stream.fail(streamed ? "what has features is no FeatureCollection"
                                   : "a FeatureCollection has no features");
        }
        if (!streamed) {
            if (!m_stream.keeping()) { // a type before this one said that it was a collection
                m_stream.fail("type is there twice");
            }
            readFeature(extent);
        }
    }

    static bool isCollection(QByteArrayView type) { return type == "\"FeatureCollection\""; }

    void readCollection() {
        m_stream.expect('[', "an array is expected");
        if (m_stream.peekPastBlanks() == ']') {
            m_stream.next();
            return;
        }
        for (;;) {
            m_stream.peekPastBlanks();
            m_stream.keep();
            Extent extent{m_stream.position()};
            readMembers([&](Key key) { noteValue(key, extent); });
            readFeature(extent);
            m_stream.drop();
            if (m_stopped) {
                return;
            }
            const char c = m_stream.nextPastBlanks();
            if (c == ']') {
                return;
            }
            if (c != ',') {
                m_stream.fail("a comma is expected");
            }
        }
    }

    void readFeature(const Extent& extent) {
        const QByteArrayView text = m_stream.text(extent.start);
        const Internal::GeometryText geometry{extent.geometry,
                                              static_cast<qsizetype>(extent.geometryStart - extent.start),
                                              static_cast<qsizetype>(extent.geometryEnd - extent.start)};
        std::optional<GisGeoJsonFeature> feature;
        try {
            feature = Internal::readFeature(text, geometry, m_options.unsupported);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(QStringLiteral("GeoJSON feature %1 at byte %2: %3")
                                         .arg(m_counts.read + m_counts.skipped + 1)
                                         .arg(extent.start)
                                         .arg(QString::fromUtf8(error.what()))
                                         .toStdString());
        }
        if (!feature) {
            ++m_counts.skipped;
            return;
        }
        ++m_counts.read;
        m_stopped = !m_use(std::move(*feature));
    }

    GeoJsonStream m_stream;
    const GisGeoJsonFeatureReader::Use& m_use;
    const GisGeoJsonReadOptions& m_options;
    GisGeoJsonReadCounts m_counts;
    bool m_stopped = false;
};

} // namespace

GisGeoJsonReadCounts GisGeoJsonFeatureReader::readFeatures(QIODevice& device, const Use& use,
                                                           const GisGeoJsonReadOptions& options) {
    if (!device.isReadable()) {
        throw std::runtime_error("GeoJSON cannot be read: the device is not open for reading.");
    }
    return Session(device, use, options).run();
}

} // namespace Cartolith::Core::Serialization::GeoJson
