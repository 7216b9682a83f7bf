#include <Cartolith/Core/Layers/Ogr/ArrowFeaturesInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrDigestInternal.h>

#include <algorithm>
#include <cstring>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// The finalizer of MurmurHash3 (Austin Appleby, 2011) over words.
class Mixer {
public:
    void add(quint64 word) {
        m_state = (m_state ^ word) * 0xff51afd7ed558ccdULL;
        m_state = (m_state ^ (m_state >> 33U)) * 0xc4ceb9fe1a85ec53ULL;
        m_state ^= m_state >> 33U;
    }
    void add(const void* bytes, std::size_t size) {
        add(size);
        const auto* const from = static_cast<const unsigned char*>(bytes);
        for (std::size_t at = 0; at < size; at += sizeof(quint64)) {
            quint64 word = 0;
            std::memcpy(&word, from + at, std::min(sizeof word, size - at));
            add(word);
        }
    }
    void add(QByteArrayView bytes) { add(bytes.data(), static_cast<std::size_t>(bytes.size())); }
    quint64 result() const { return m_state; }

private:
    quint64 m_state = 0x9e3779b97f4a7c15ULL;
};

constexpr quint64 nullMark = ~quint64{0}; // in the place of a type

void addField(Mixer& mixer, OGRFeature& feature, int index) {
    const OGRFieldDefn& field = *feature.GetFieldDefnRef(index);
    if (!feature.IsFieldSetAndNotNull(index)) {
        mixer.add(nullMark);
        return;
    }
    mixer.add(static_cast<quint64>(field.GetType()));
    const OGRField& value = *feature.GetRawFieldRef(index);
    switch (field.GetType()) {
    case OFTInteger:
        mixer.add(static_cast<quint64>(value.Integer));
        break;
    case OFTInteger64:
        mixer.add(static_cast<quint64>(value.Integer64));
        break;
    case OFTReal:
        mixer.add(&value.Real, sizeof value.Real);
        break;
    case OFTString:
        mixer.add(value.String, std::strlen(value.String));
        break;
    case OFTBinary:
        mixer.add(value.Binary.paData, static_cast<std::size_t>(value.Binary.nCount));
        break;
    case OFTDate:
    case OFTTime:
    case OFTDateTime:
        mixer.add((static_cast<quint64>(value.Date.Year) << 32U) |
                  (static_cast<quint64>(value.Date.Month) << 24U) |
                  (static_cast<quint64>(value.Date.Day) << 16U) |
                  (static_cast<quint64>(value.Date.Hour) << 8U) | value.Date.Minute);
        mixer.add(&value.Date.Second, sizeof value.Date.Second);
        mixer.add(value.Date.TZFlag);
        break;
    default: {
        const char* const text = feature.GetFieldAsString(index);
        mixer.add(text, std::strlen(text));
    }
    }
}

void addField(Mixer& mixer, OGRFieldType type, const ArrowFeatures& feature, int index) {
    if (!feature.hasValue(index)) {
        mixer.add(nullMark);
        return;
    }
    mixer.add(static_cast<quint64>(type));
    switch (type) {
    case OFTInteger:
    case OFTInteger64:
        mixer.add(static_cast<quint64>(feature.integer(index)));
        break;
    case OFTReal: {
        const double value = feature.real(index);
        mixer.add(&value, sizeof value);
        break;
    }
    default:
        mixer.add(feature.bytes(index));
    }
}

} // namespace

quint64 OgrDigest::ofFields(OGRLayer& layer) {
    Mixer mixer;
    OGRFeatureDefn& schema = *layer.GetLayerDefn();
    for (int i = 0; i < schema.GetFieldCount(); ++i) {
        const char* const name = schema.GetFieldDefn(i)->GetNameRef();
        mixer.add(name, std::strlen(name));
    }
    return mixer.result();
}

quint64 OgrDigest::ofSystem(OGRLayer& layer) {
    Mixer mixer;
    char* text = nullptr;
    const OGRSpatialReference* const system = layer.GetSpatialRef();
    if (system != nullptr && system->exportToWkt(&text) == OGRERR_NONE) {
        mixer.add(text, std::strlen(text));
    }
    CPLFree(text);
    return mixer.result();
}

QByteArrayView OgrDigest::wkbOf(const OGRGeometry& geometry) {
    m_wkb.resize(geometry.WkbSize());
    geometry.exportToWkb(wkbNDR, m_wkb.data(), wkbVariantIso);
    return {m_wkb.data(), static_cast<qsizetype>(m_wkb.size())};
}

quint64 OgrDigest::of(OGRFeature& feature, int fields) {
    Mixer mixer;
    mixer.add(static_cast<quint64>(feature.GetFID()));
    for (int i = 0; i < fields; ++i) {
        addField(mixer, feature, i);
    }
    if (const OGRGeometry* const geometry = feature.GetGeometryRef()) {
        mixer.add(wkbOf(*geometry));
    }
    return mixer.result();
}

quint64 OgrDigest::of(OGRFeatureDefn& layer, const ArrowFeatures& feature, const OGRGeometry* geometry) {
    Mixer mixer;
    mixer.add(static_cast<quint64>(feature.id()));
    for (int i = 0; i < layer.GetFieldCount(); ++i) {
        addField(mixer, layer.GetFieldDefn(i)->GetType(), feature, i);
    }
    mixer.add(geometry != nullptr ? wkbOf(*geometry) : feature.geometry());
    return mixer.result();
}

} // namespace Cartolith::Core::Layers::Internal
