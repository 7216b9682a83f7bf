#pragma once

#include <Cartolith/Core/Layers/GisArrowOptions.h>
#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/Requests/ArrowColumnInternal.h>
#include <Cartolith/Core/Layers/Requests/RowColumnsInternal.h>

#include <memory>
#include <optional>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

/// The features of a reader as batches of columns.
class ArrowBatches {
public:
    /// \throws std::invalid_argument for what GisFeatureReader::toArrow() does
    ArrowBatches(std::shared_ptr<GisFeatureReader> reader, const GisArrowOptions& options);

    /// Reads the first batch where the types hang on it.
    void describe(ArrowSchema& schema);
    /// False at the end. After it has thrown, it is not to be called again.
    bool next(ArrowArray& batch);

private:
    bool read();
    void appendFields();
    void appendGeometry();
    bool isFull() const;
    void settle();

    const std::shared_ptr<GisFeatureReader> m_reader;
    const GisArrowOptions m_options;
    std::optional<ArrowColumn> m_id;
    std::vector<ArrowColumn> m_fields;
    std::optional<ArrowColumn> m_geometry;
    std::vector<ArrowColumn*> m_columns; ///< all of them
    RowColumns m_places;
    qint64 m_rows = 0;
    bool m_isRead = false; ///< a batch, which nobody has taken yet
    bool m_isSettled = false;
};

} // namespace Cartolith::Core::Layers::Internal
