#include "FileArguments.h"

#include <QCommandLineParser>

QList<FileArguments> FileArguments::split(const QStringList& arguments,
                                          void (*addOptions)(QCommandLineParser&)) {
    QList<FileArguments> files;
    QStringList before;
    bool onlyFilesFollow = false;
    QCommandLineParser parser;
    addOptions(parser);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        // Whether an argument is a file or a value shows when the parser has read up to it, and no further.
        parser.parse(QStringList{QString()} + arguments.first(i + 1));
        if (parser.positionalArguments().size() > files.size()) {
            files.append({arguments.at(i), before});
            before.clear();
        } else if (arguments.at(i) == QLatin1String("--") && !onlyFilesFollow) {
            onlyFilesFollow = true;
        } else {
            (files.isEmpty() ? before : files.last().options).append(arguments.at(i));
        }
    }
    return files;
}
