#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>
#include <Cartolith/Core/Layers/Formats/DbfTableInternal.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

// A header of 32 bytes, 32 bytes for each column and an end mark; then records of one length.
constexpr qsizetype dbfBlock = 32;
constexpr char endOfColumns = '\r';
constexpr qsizetype dbfTypeAt = 11;
constexpr qsizetype dbfWidthAt = 16;
constexpr qsizetype dbfEncodingAt = 29;
constexpr qsizetype dbfNameLength = 11;

[[noreturn]] void refuseTable(const QString& reason) {
    throw std::runtime_error(reason.toStdString());
}

struct DbfColumn {
    QString name;
    char type;
    qsizetype offset; ///< in a record
    qsizetype width;
};

struct DbfLayout {
    explicit DbfLayout(QByteArrayView table) {
        qsizetype offset = 1; // the first byte of a record says whether it is deleted
        qsizetype at = dbfBlock;
        for (; at < table.size() && table[at] != endOfColumns; at += dbfBlock) {
            if (at + dbfBlock > table.size()) {
                break;
            }
            const char* const column = table.data() + at;
            const auto width = qsizetype{static_cast<uchar>(column[dbfWidthAt])};
            columns.push_back(
                {QString::fromLatin1(column, static_cast<qsizetype>(qstrnlen(column, dbfNameLength))),
                 column[dbfTypeAt], offset, width});
            offset += width;
        }
        if (at >= table.size()) {
            refuseTable(QStringLiteral("its table ends within its header"));
        }
        count = qFromLittleEndian<quint32>(table.data() + 4);
        start = qFromLittleEndian<quint16>(table.data() + 8);
        length = qFromLittleEndian<quint16>(table.data() + 10);
        if (offset > length || start + count * length > table.size()) {
            refuseTable(QStringLiteral("its table is incomplete"));
        }
    }

    std::vector<DbfColumn> columns;
    qsizetype count; ///< of records
    qsizetype start; ///< of the first
    qsizetype length;
};

/// The letters of a logical value, and what stands for none.
bool isLogical(char value) {
    return value != '\0' && QByteArrayView("TtFfYyNn? ").contains(value);
}

bool isBlank(QByteArrayView text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c == ' ' || c == '\0'; });
}

/// Texts stand at the left of a column, numbers at the right. False where the new column is too narrow.
bool putValue(const DbfColumn& from, const char* old, const DbfColumn& to, char* record) {
    const bool isText = to.type == 'C';
    const qsizetype width = std::min(from.width, to.width);
    const QByteArrayView value(old + from.offset, from.width);
    char* const target = record + to.offset;
    std::memset(target, ' ', static_cast<std::size_t>(to.width));
    std::memcpy(target + (isText ? 0 : to.width - width),
                (isText ? value.first(width) : value.last(width)).data(), static_cast<std::size_t>(width));
    return isBlank(isText ? value.sliced(width) : value.chopped(width));
}

} // namespace

DbfTable::DbfTable(QByteArray bytes) : m_bytes(std::move(bytes)) {}

std::optional<DbfTable> DbfTable::beside(const QString& shapefile) {
    const QDir folder = QFileInfo(shapefile).dir();
    const QStringList tables = membersOf(shapefile, QStringList(QStringLiteral("dbf")));
    if (tables.isEmpty()) {
        return std::nullopt;
    }
    QFile file(folder.filePath(tables.last()));
    if (!file.open(QIODevice::ReadOnly)) {
        refuseTable(file.errorString());
    }
    DbfTable table(file.readAll());
    const DbfLayout layout(table.m_bytes);
    for (const DbfColumn& column : layout.columns) {
        if (column.type == '\0' || !QByteArrayView("CNFDL").contains(column.type)) {
            refuseTable(QStringLiteral("its column '%1' is of the type '%2', which would be lost")
                            .arg(column.name, QString(QLatin1Char(column.type))));
        }
    }
    for (const QString& index : membersOf(shapefile, QStringList(QStringLiteral("shx")))) {
        constexpr qint64 header = 100;
        constexpr qint64 entry = 8;
        const qint64 shapes = (QFileInfo(folder, index).size() - header) / entry;
        if (shapes != layout.count) {
            refuseTable(QStringLiteral("it has %1 records for %2 shapes, and some would be lost")
                            .arg(layout.count)
                            .arg(shapes));
        }
    }
    return table;
}

void DbfTable::completeDates(char* table, qsizetype size) {
    const DbfLayout layout({table, size});
    for (const DbfColumn& column : layout.columns) {
        for (qsizetype row = 0; column.type == 'D' && row < layout.count; ++row) {
            char* const date = table + layout.start + row * layout.length + column.offset;
            if (!isBlank({date, column.width})) {
                std::replace(date, date + column.width, ' ', '0');
            }
        }
    }
}

void DbfTable::restore(char* table, qsizetype size) const {
    const DbfLayout before(m_bytes);
    const DbfLayout now({table, size});
    if (before.columns.size() != now.columns.size()) {
        refuseTable(QStringLiteral("its table has other columns than before"));
    }
    table[dbfEncodingAt] = m_bytes[dbfEncodingAt];
    for (std::size_t i = 0; i < now.columns.size(); ++i) {
        const DbfColumn& old = before.columns[i];
        const DbfColumn& column = now.columns[i];
        const bool isLogicalColumn = old.type == 'L';
        for (qsizetype row = 0; row < now.count; ++row) {
            char* const record = table + now.start + row * now.length;
            const Kept* const kept =
                row < std::ssize(m_kept) ? &m_kept[static_cast<std::size_t>(row)] : nullptr;
            if (kept != nullptr && !kept->changedColumns.contains(static_cast<int>(i)) &&
                kept->record < before.count) {
                const char* const from = m_bytes.constData() + before.start + kept->record * before.length;
                if (!putValue(old, from, column, record)) {
                    refuseTable(QStringLiteral("the column '%1' would be narrower").arg(old.name));
                }
            } else if (isLogicalColumn && (column.width != 1 || !isLogical(record[column.offset]))) {
                refuseTable(QStringLiteral("the logical column '%1' takes T, F, Y, N and nothing else")
                                .arg(old.name));
            }
        }
        char* const head = table + (static_cast<qsizetype>(i) + 1) * dbfBlock;
        std::memcpy(head, m_bytes.constData() + (static_cast<qsizetype>(i) + 1) * dbfBlock, dbfNameLength);
        if (old.type == 'F' || isLogicalColumn) {
            head[dbfTypeAt] = old.type;
        }
    }
}

} // namespace Cartolith::Core::Layers::Internal
