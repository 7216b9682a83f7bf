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
constexpr qsizetype block = 32;
constexpr char endOfColumns = '\r';
constexpr qsizetype typeAt = 11;
constexpr qsizetype widthAt = 16;
constexpr qsizetype nameLength = 11;

[[noreturn]] void refuse(const QString& reason) {
    throw std::runtime_error(reason.toStdString());
}

/// The number of columns that a table's beginning tells of.
qsizetype columnCount(QByteArrayView table) {
    qsizetype count = 0;
    for (qsizetype at = block; at < table.size() && table[at] != endOfColumns; at += block) {
        ++count;
    }
    if (table.size() < (count + 1) * block) {
        refuse(QStringLiteral("its table ends within its header"));
    }
    return count;
}

QString nameOf(QByteArrayView table, qsizetype column) {
    const char* const name = table.data() + (column + 1) * block;
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
    QByteArray types(columnCount(header), '\0');
    for (qsizetype i = 0; i < types.size(); ++i) {
        const char type = header[(i + 1) * block + typeAt];
        if (type == '\0' || !QByteArrayView("CNFDL").contains(type)) {
            refuse(QStringLiteral("its column '%1' is of the type '%2', which would be lost")
                       .arg(nameOf(header, i), QString(QLatin1Char(type))));
        }
        types[i] = type;
    }
    return types;
}

void DbfColumns::setTypes(char* table, qsizetype size, QByteArrayView types) {
    const QByteArrayView view(table, size);
    if (columnCount(view) != types.size()) {
        refuse(QStringLiteral("its table has other columns than before"));
    }
    const auto count = qsizetype{qFromLittleEndian<quint32>(table + 4)};
    const auto start = qsizetype{qFromLittleEndian<quint16>(table + 8)};
    const auto length = qsizetype{qFromLittleEndian<quint16>(table + 10)};
    if (start + count * length > size) {
        refuse(QStringLiteral("its table is incomplete"));
    }
    qsizetype offset = 1; // the first byte of a record says whether it is deleted
    for (qsizetype i = 0; i < types.size(); ++i) {
        char* const column = table + (i + 1) * block;
        const auto width = qsizetype{static_cast<uchar>(column[widthAt])};
        const bool isLogicalColumn = types[i] == 'L' && width == 1;
        for (qsizetype row = 0; isLogicalColumn && row < count; ++row) {
            if (!isLogical(table[start + row * length + offset])) {
                refuse(QStringLiteral("the logical column '%1' takes T, F, Y, N and nothing else")
                           .arg(nameOf(view, i)));
            }
        }
        if (types[i] != column[typeAt] && (types[i] == 'F' || isLogicalColumn)) {
            column[typeAt] = types[i];
        }
        // A text may be of two bytes of width, which together are one number.
        const bool isWide = column[typeAt] == 'C';
        offset += width + (isWide ? qsizetype{static_cast<uchar>(column[widthAt + 1])} << 8 : 0);
    }
}

} // namespace Cartolith::Core::Layers::Internal
