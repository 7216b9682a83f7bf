#pragma once

#include "SerializationTestSupport.h"

#include <Cartolith/Core/Serialization/GisGeoJsonFeatureReader.h>

#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>

#include <algorithm>

namespace FeaturesTest {

using namespace SerializationTest;
using namespace Cartolith::Core::Serialization::GeoJson;
using ReadOptions = GisGeoJsonReadOptions;

/// Hands out a text, then for ever what repeats, a few bytes at a time.
class Trickle : public QIODevice {
public:
    explicit Trickle(QByteArray text, std::uint64_t seed, QByteArray repeated = {})
        : m_text(std::move(text)), m_repeated(std::move(repeated)), m_random(seed) {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    bool atEnd() const override { return m_at == m_text.size() && m_repeated.isEmpty(); }
    qint64 handedOut = 0;

protected:
    qint64 readData(char* data, qint64 most) override {
        if (m_at == m_text.size() && !m_repeated.isEmpty()) {
            m_text = m_repeated.repeated(1000);
            m_at = 0;
        }
        const qint64 wanted = m_repeated.isEmpty() ? 1 + below(m_random, 7) : most;
        const qint64 count = std::min({most, wanted, m_text.size() - m_at});
        std::copy_n(m_text.constData() + m_at, count, data);
        m_at += count;
        handedOut += count;
        return count;
    }
    qint64 writeData(const char* data, qint64) override { return data == nullptr ? 0 : -1; }

private:
    QByteArray m_text;
    qsizetype m_at = 0;
    QByteArray m_repeated;
    std::mt19937_64 m_random;
};

inline std::string json(const QVariant& value) {
    const QByteArray array = QJsonDocument(QJsonArray{QJsonValue::fromVariant(value)}).toJson(QJsonDocument::Compact);
    return std::string(value.typeName() == nullptr ? "none" : value.typeName()) + array.toStdString();
}

inline std::string described(const GisGeoJsonFeature& feature) {
    std::string text = json(feature.id) + " " + (feature.shape ? bits(*feature.shape) : "nowhere");
    QStringList names = feature.attributes.keys();
    names.sort();
    for (const QString& name : names) {
        text += " " + name.toStdString() + "=" + json(feature.attributes[name]);
    }
    return text + "\n";
}

inline std::string readAll(QIODevice& device, const ReadOptions& options = {}) {
    std::string all;
    const std::string end = outcome([&] {
        const auto counts = GisGeoJsonFeatureReader::readFeatures(
            device, [&all](GisGeoJsonFeature&& feature) { return all += described(feature), true; }, options);
        return std::to_string(counts.read) + " read, " + std::to_string(counts.skipped) + " skipped";
    });
    return all + end;
}

} // namespace FeaturesTest
