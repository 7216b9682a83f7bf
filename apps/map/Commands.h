#pragma once

#include <QStringList>

/// The sub-commands of cartolith-map. Each takes its arguments without the program's and its own name, prints
/// to standard output and returns the exit code; failures are exceptions: UsageError for a command line that
/// cannot be obeyed, std::exception for everything else.
namespace Commands {

int render(const QStringList& arguments);
int tiles(const QStringList& arguments);
int info(const QStringList& arguments);
int themes(const QStringList& arguments);
int overlay(const QStringList& arguments);
int buffer(const QStringList& arguments);
int check(const QStringList& arguments);
int overviews(const QStringList& arguments);
int route(const QStringList& arguments);
int log(const QStringList& arguments);
int licence(const QStringList& arguments);

QString renderHelp();
QString tilesHelp();
QString infoHelp();
QString themesHelp();
QString overlayHelp();
QString bufferHelp();
QString checkHelp();
QString overviewsHelp();
QString routeHelp();
QString logHelp();
QString licenceHelp();

} // namespace Commands
