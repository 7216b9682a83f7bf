#pragma once

#include <Cartolith/Map/MapSheet.h>

#include <QList>
#include <QString>

class QCommandLineParser;
class StepLog;

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

/// Where the shapes go that a command has made: a picture or a data source, as the name's ending says.
class ResultOutput {
public:
    static void addTo(QCommandLineParser& parser);
    /// The part of a help text about these options, a line each.
    static QString help();

    /// \throws UsageError when there is no -o, its ending is unknown, or a value is out of range;
    /// std::runtime_error when nothing can be written there
    ResultOutput(const QString& command, const QCommandLineParser& parser);

    using Layers = QList<Cartolith::Core::Layers::GisLayerVector*>;

    /// Written beside its name first and put in place when it is complete. A picture shows the inputs pale
    /// below or above the result. \throws std::runtime_error when there is nothing to write or it cannot be
    /// written
    void write(Cartolith::Core::Layers::GisLayerVector& result, const Layers& below, const Layers& above,
               StepLog& log) const;

private:
    void draw(Cartolith::Core::Layers::GisLayerVector& result, const Layers& below, const Layers& above,
              StepLog& log) const;

    QString m_path;
    bool m_isPicture;
    Cartolith::Map::MapSheet::Options m_sheet;
};
