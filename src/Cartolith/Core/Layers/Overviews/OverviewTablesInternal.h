#pragma once

#include <Cartolith/Core/Layers/Overviews/OverviewLevelsInternal.h>

#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// Overviews as tables of the server that has the source, in its schema: TABLE_overviews, which says what
/// there is, and TABLE_overviews_0, ..._1. All in one transaction.
class OverviewTables : public OverviewLevels {
public:
    OverviewTables(const QString& source, const OverviewPlan& plan, OGRLayer& layer);
    ~OverviewTables() override;
    OverviewTables(const OverviewTables&) = delete;
    OverviewTables& operator=(const OverviewTables&) = delete;

    void publish(const QString& layer, bool isFirst, const IndexFile::Stamp& stamp,
                 const std::function<void()>& check) override;

    /// The table that says what there is of a layer, as GDAL names it.
    static QString tableFor(const QString& layer);
    /// A state of a table: its file, and how many rows were put in, changed and deleted as the server counts
    /// them, a few seconds late. None of what is no table of rows, and where the server does not count.
    static std::optional<IndexFile::Stamp> stampOf(GDALDataset& source, OGRLayer& layer);

private:
    void begin(const QByteArray& schema, const QByteArray& table);

    QStringList m_options;
    QString m_table;
    bool m_isOpen = false;
};

} // namespace Cartolith::Core::Layers::Internal
