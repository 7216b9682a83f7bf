#include <Cartolith/Core/Layers/DbfColumnsInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <limits>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

// A header of 32 bytes, 32 bytes for each column and an end mark; then records of one length.
constexpr qsizetype dbfBlock = 32;
constexpr char endOfColumns = '\r';
constexpr qsizetype dbfTypeAt = 11;
constexpr qsizetype dbfWidthAt = 16;
constexpr qsizetype nameLength = 11;

[[noreturn]] void refuseTable(const QString& reason) {
    throw std::runtime_error(reason.toStdString());
}

/// The number of columns that a table's beginning tells of.
qsizetype dbfColumnCount(QByteArrayView table) {
    qsizetype count = 0;
    for (qsizetype at = dbfBlock; at < table.size() && table[at] != endOfColumns; at += dbfBlock) {
        ++count;
    }
    if (table.size() < (count + 1) * dbfBlock) {
        refuseTable(QStringLiteral("its table ends within its header"));
    }
    return count;
}

QString columnNameOf(QByteArrayView table, qsizetype column) {
    const char* const name = table.data() + (column + 1) * dbfBlock;
    return QString::fromLatin1(name, static_cast<qsizetype>(qstrnlen(name, nameLength)));
}

/// The letters of a logical value, and what stands for none.
bool isLogical(char value) {
    return value != '\0' && QByteArrayView("TtFfYyNn? ").contains(value);
}

} // namespace

QByteArray DbfColumns::typesBeside(const QString& shapefile) {
    const QFileInfo info(shapefile);
    const QDir folder = info.dir();
    QFile file;
    for (const QString& name : folder.entryList(QDir::Files)) {
        if (name.compare(info.completeBaseName() + QStringLiteral(".dbf"), Qt::CaseInsensitive) == 0) {
            file.setFileName(folder.filePath(name));
        }
    }
    if (file.fileName().isEmpty() || !file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray header = file.read(std::numeric_limits<quint16>::max());
    QByteArray types(dbfColumnCount(header), '\0');
    for (qsizetype i = 0; i < types.size(); ++i) {
        const char type = header[(i + 1) * dbfBlock + dbfTypeAt];
        if (type == '\0' || !QByteArrayView("CNFDL").contains(type)) {
            refuseTable(QStringLiteral("its column '%1' is of the type '%2', which would be lost")
                            .arg(columnNameOf(header, i), QString(QLatin1Char(type))));
        }
        types[i] = type;
    }
    return types;
}

void DbfColumns::setTypes(char* table, qsizetype size, QByteArrayView types) {
    const QByteArrayView view(table, size);
    if (dbfColumnCount(view) != types.size()) {
        refuseTable(QStringLiteral("its table has other columns than before"));
    }
    const auto count = qsizetype{qFromLittleEndian<quint32>(table + 4)};
    const auto start = qsizetype{qFromLittleEndian<quint16>(table + 8)};
    const auto length = qsizetype{qFromLittleEndian<quint16>(table + 10)};
    if (start + count * length > size) {
        refuseTable(QStringLiteral("its table is incomplete"));
    }
    qsizetype offset = 1; // the first byte of a record says whether it is deleted
    for (qsizetype i = 0; i < types.size(); ++i) {
        char* const column = table + (i + 1) * dbfBlock;
        const auto width = qsizetype{static_cast<uchar>(column[dbfWidthAt])};
        const bool isLogicalColumn = types[i] == 'L' && width == 1;
        for (qsizetype row = 0; isLogicalColumn && row < count; ++row) {
            if (!isLogical(table[start + row * length + offset])) {
                refuseTable(QStringLiteral("the logical column '%1' takes T, F, Y, N and nothing else")
                                .arg(columnNameOf(view, i)));
            }
        }
        if (types[i] != column[dbfTypeAt] && (types[i] == 'F' || isLogicalColumn)) {
            column[dbfTypeAt] = types[i];
        }
        // A text may be of two bytes of width, which together are one number.
        const bool isWide = column[dbfTypeAt] == 'C';
        offset += width + (isWide ? qsizetype{static_cast<uchar>(column[dbfWidthAt + 1])} << 8 : 0);
    }
}

} // namespace Cartolith::Core::Layers::Internal
