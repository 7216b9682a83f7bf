#pragma once

#include <QList>
#include <QStringList>

class QCommandLineParser;

/// One of several files on a command line, and the options that belong to it.
struct FileArguments {
    QString file;
    QStringList options;

    /// The options behind each file up to the next one; those before the first belong to the first. What is
    /// an option's value is for `addOptions` to say, which fills a parser.
    static QList<FileArguments> split(const QStringList& arguments, void (*addOptions)(QCommandLineParser&));
};
