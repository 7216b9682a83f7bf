#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

#include <QByteArrayView>
#include <QtGlobal>
#include <ogr_recordbatch.h>

#include <memory>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The features of an OGR layer, read by columns: where a driver has a way of its own to do that, it spares
/// the making of an OGRFeature for each row. Values are those that the features have; what Arrow could not
/// carry to the last bit is not read this way.
class ArrowFeatures {
public:
    /// Null where the driver has no quick way, or the layer has fields other than whole and real numbers,
    /// texts and bytes, or two of one name: dates lose their zone, single precision loses digits, and of
    /// eight logical values GDAL 3.6 keeps the last. Also null for a table without a column of ids, which all
    /// become 0. A driver that is no database is FlatGeobuf's: null where the file, by the name that GDAL has
    /// for it, has columns of other types than 32-bit and 64-bit numbers, texts and bytes, of which GDAL
    /// reads those of 8 bits wrongly; without a name this is known not to be so. Reading begins at the first
    /// feature.
    ///
    /// A layer of a FlatGeobuf file with a spatial filter says that it has no quick way, but has one as long
    /// as there is at least one hit: that is for the caller to see to.
    static std::unique_ptr<ArrowFeatures> of(OGRLayer& layer, bool isDatabase, const QByteArray& gdalName,
                                             bool hasHits = false);
    ~ArrowFeatures();
    ArrowFeatures(const ArrowFeatures&) = delete;
    ArrowFeatures& operator=(const ArrowFeatures&) = delete;

    /// Goes to the next feature, first of all to the first; false at the end, and when reading failed.
    bool next();
    /// Whether something went wrong. What it was, reading feature by feature tells.
    bool hasFailed() const { return m_hasFailed; }

    /// Of the feature that it stands at; fields by their number in the layer. A view is valid until next().
    qint64 id() const;
    bool hasValue(int field) const { return isPresent(m_fields[static_cast<std::size_t>(field)]); }
    qint64 integer(int field) const;
    double real(int field) const;
    /// A text ends before its first zero.
    QByteArrayView bytes(int field) const;
    /// As WKB; null where there is none.
    QByteArrayView geometry() const;

private:
    struct Column {
        int child;
        char format; ///< of the Arrow C data interface
        const ArrowArray* values = nullptr;
    };

    ArrowFeatures() = default;
    bool begin(OGRLayer& layer, bool isDatabase, const QByteArray& gdalName, bool hasHits);
    bool openStream(OGRLayer& layer, ArrowSchema& schema);
    bool nextBatch();
    void dropBatch();
    bool isPresent(const Column& column) const;
    std::size_t place(const Column& column) const;
    template <typename Value>
    Value at(const Column& column) const;
    QByteArrayView bytesAt(const Column& column) const;

    ArrowArrayStream m_stream = {};
    ArrowArray m_batch = {};
    qint64 m_row = 0;
    Column m_id = {};
    Column m_geometry = {};
    std::vector<Column> m_fields;
    int m_childCount = 0;
    bool m_hasFailed = false;
};

} // namespace Cartolith::Core::Layers::Internal
