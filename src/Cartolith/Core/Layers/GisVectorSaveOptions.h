#pragma once

#include <QString>

#include <chrono>
#include <functional>

namespace Cartolith::Core::Layers {

/// What GisLayerVector::saveAs() does beside writing.
struct GisVectorSaveOptions {
    enum class Existing {
        /// An error when there is a file of that name, in a database a table of that name, or for a
        /// Shapefile a file beside it that would be one of its files, whatever the case of its letters.
        /// (Nothing is written then.)
        Refuse,
        Replace, ///< the file goes, with all layers in it
    };

    Existing existing = Existing::Refuse;

    /// The layer's name in formats that name their layers, and the table's in a database; empty means the
    /// layer's own name, or the file's when it has none.
    QString layerName;

    /// Gets the fraction done, from 0 to 1, every few hundred shapes and once at the end; returns false to
    /// cancel, after which everything is as before. May be empty. An exception from it passes
    /// through, and everything is as before then, too.
    std::function<bool(double fraction)> progress;

    /// How long to wait for another process that is putting files of that name in place, or is writing to the
    /// database that is to be replaced.
    std::chrono::milliseconds wait = std::chrono::seconds(2);

    enum class Order {
        AsInLayer,
        /// Along a Hilbert curve through the centres of the features' boxes, those of one place as in the
        /// layer: what lies near each other is near in the file, so that windows of a GeoPackage read fewer
        /// pages. A format that numbers its features does so in this order, and it is the order in which they
        /// are drawn when the file is read. (A FlatGeobuf file with an index is so ordered by its driver.)
        Hilbert,
    };
    /// In which order features are written; rows without geometry come last.
    Order order = Order::AsInLayer;
};

} // namespace Cartolith::Core::Layers
