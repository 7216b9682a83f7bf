#include <Cartolith/Map/Output/TileContainerInternal.h>

#include <QFileInfo>

#include <array>
#include <sqlite3.h>

namespace Cartolith::Map::Output::Internal {

namespace {

constexpr const char* applicationId = "1297105496"; // "MPBX"

constexpr std::array<const char*, 4> schema{
    "CREATE TABLE metadata (name TEXT PRIMARY KEY, value TEXT)",
    "CREATE TABLE images (tile_id INTEGER PRIMARY KEY, tile_data BLOB)",
    "CREATE TABLE map (zoom_level INTEGER, tile_column INTEGER, tile_row INTEGER, tile_id INTEGER, "
    "PRIMARY KEY (zoom_level, tile_column, tile_row)) WITHOUT ROWID",
    "CREATE VIEW tiles AS SELECT zoom_level, tile_column, tile_row, tile_data FROM map "
    "JOIN images ON images.tile_id = map.tile_id"};

/// Tiles in SQLite: places in one table, pictures in another, so that several places share a picture. Those
/// of a single colour have the colour as their number, below 0; others are counted.
class MbTiles : public TileContainer {
public:
    MbTiles(const QString& path, const QByteArray& job) : m_path(path), m_job(job) {
        // Also one that a run left that ended before its first transaction did.
        const bool isNew = QFileInfo(path).size() == 0;
        constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOFOLLOW;
        sqlite3* file = nullptr;
        const int code = sqlite3_open_v2(path.toUtf8().constData(), &file, flags, nullptr);
        m_file.reset(file); // also one that could not be opened
        check(code);
        // Whatever the file holds, it may call nothing.
        run("PRAGMA trusted_schema = OFF");
        run("PRAGMA locking_mode = EXCLUSIVE");
        if (isNew) {
            run("BEGIN IMMEDIATE");
            run(QByteArray("PRAGMA application_id = ") + applicationId);
            for (const char* statement : schema) {
                run(statement);
            }
            setMetadata("job", job);
            run("COMMIT");
        } else if (single("PRAGMA application_id") != applicationId || !hasOwnSchema() ||
                   single("SELECT value FROM metadata WHERE name = 'job'") != job) {
            refuseOtherJob(path);
        }
        run("BEGIN IMMEDIATE");
        m_next = single("SELECT max(0, coalesce(max(tile_id), 0)) FROM images").toLongLong();
        prepare(m_find, "SELECT 1 FROM map WHERE zoom_level = ?1 AND tile_column = ?2 AND tile_row = ?3");
        prepare(m_image, "INSERT INTO images VALUES (?1, ?2)");
        prepare(m_place, "INSERT INTO map VALUES (?1, ?2, ?3, ?4)");
        prepare(m_known, "SELECT 1 FROM images WHERE tile_id = ?1");
    }

    bool has(const TileId& tile) override {
        bindTile(m_find.get(), tile);
        return step(m_find.get());
    }
    void put(const TileId& tile, const QByteArray& bytes) override {
        putImage(++m_next, bytes);
        putPlace(tile, m_next);
    }
    void putSingle(const TileId& tile, QRgb colour, const Bytes& bytes) override {
        const qint64 id = -1 - qint64{colour};
        check(sqlite3_bind_int64(m_known.get(), 1, id));
        if (!step(m_known.get())) {
            putImage(id, bytes());
        }
        putPlace(tile, id);
    }
    void commit() override {
        run("COMMIT");
        run("BEGIN IMMEDIATE");
    }
    void finish(const QJsonObject& metadata) override {
        run("DELETE FROM metadata");
        for (auto row = metadata.begin(); row != metadata.end(); ++row) {
            setMetadata(row.key().toUtf8(), row.value().toString().toUtf8());
        }
        setMetadata("job", m_job); // so that it can be opened again until it has its name
        run("COMMIT");
        close();
    }

private:
    using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

    void check(int code) {
        if (code != SQLITE_OK) {
            refuseTiles(m_path, QString::fromUtf8(m_file == nullptr ? sqlite3_errstr(code)
                                                                    : sqlite3_errmsg(m_file.get())));
        }
    }
    void prepare(Statement& statement, const QByteArray& text) {
        sqlite3_stmt* prepared = nullptr;
        check(sqlite3_prepare_v2(m_file.get(), text.constData(), -1, &prepared, nullptr));
        statement.reset(prepared);
    }
    /// Whether there was a row; the statement can be used again.
    bool step(sqlite3_stmt* statement) {
        const int code = sqlite3_step(statement);
        const bool isRow = code == SQLITE_ROW;
        if (!isRow && code != SQLITE_DONE) {
            check(code);
        }
        check(sqlite3_reset(statement));
        return isRow;
    }
    void run(const QByteArray& text) {
        check(sqlite3_exec(m_file.get(), text.constData(), nullptr, nullptr, nullptr));
    }
    QByteArray single(const QByteArray& text) {
        Statement statement(nullptr, sqlite3_finalize);
        prepare(statement, text);
        const int code = sqlite3_step(statement.get());
        if (code != SQLITE_ROW && code != SQLITE_DONE) {
            check(code);
        }
        const void* bytes = code == SQLITE_ROW ? sqlite3_column_blob(statement.get(), 0) : nullptr;
        return bytes == nullptr
                   ? QByteArray()
                   : QByteArray(static_cast<const char*>(bytes), sqlite3_column_bytes(statement.get(), 0));
    }
    bool hasOwnSchema() {
        QByteArray expected;
        for (const char* statement : schema) {
            expected += statement;
        }
        return single(
                   "SELECT group_concat(sql, '') FROM (SELECT sql FROM sqlite_master WHERE sql IS NOT NULL "
                   "ORDER BY rowid)") == expected;
    }
    void bindTile(sqlite3_stmt* statement, const TileId& tile) {
        check(sqlite3_bind_int(statement, 1, tile.zoom));
        check(sqlite3_bind_int(statement, 2, tile.x));
        check(sqlite3_bind_int(statement, 3, (1 << tile.zoom) - 1 - tile.y)); // rows count from the south
    }
    void putImage(qint64 id, const QByteArray& bytes) {
        check(sqlite3_bind_int64(m_image.get(), 1, id));
        check(sqlite3_bind_blob64(m_image.get(), 2, bytes.constData(),
                                  static_cast<sqlite3_uint64>(bytes.size()), nullptr));
        step(m_image.get());
        check(sqlite3_clear_bindings(m_image.get()));
    }
    void putPlace(const TileId& tile, qint64 image) {
        bindTile(m_place.get(), tile);
        check(sqlite3_bind_int64(m_place.get(), 4, image));
        step(m_place.get());
    }
    void setMetadata(const QByteArray& name, const QByteArray& value) {
        Statement statement(nullptr, sqlite3_finalize);
        prepare(statement, "INSERT INTO metadata VALUES (?1, ?2)");
        check(sqlite3_bind_text(statement.get(), 1, name.constData(), -1, nullptr));
        check(sqlite3_bind_text64(statement.get(), 2, value.constData(),
                                  static_cast<sqlite3_uint64>(value.size()), nullptr, SQLITE_UTF8));
        step(statement.get());
    }
    void close() {
        m_find.reset();
        m_image.reset();
        m_place.reset();
        m_known.reset();
        m_file.reset();
    }

    QString m_path;
    QByteArray m_job;
    /// Closed after its statements; what is not committed goes.
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> m_file{nullptr, sqlite3_close};
    qint64 m_next = 0;
    Statement m_find{nullptr, sqlite3_finalize};
    Statement m_image{nullptr, sqlite3_finalize};
    Statement m_place{nullptr, sqlite3_finalize};
    Statement m_known{nullptr, sqlite3_finalize};
};

} // namespace

std::unique_ptr<TileContainer> openMbTiles(const QString& path, const QByteArray& job) {
    return std::make_unique<MbTiles>(path, job);
}

} // namespace Cartolith::Map::Output::Internal
