#pragma once

#include "Layers/Saving.h"

#include <string>

// What the tests against a server have in common.
namespace test {

/// A test with a table "t" of its own on the server that CARTOLITH_TEST_POSTGIS names.
class WithServer : public testing::Test {
protected:
    void SetUp() override {
        m_path = qEnvironmentVariable("CARTOLITH_TEST_POSTGIS");
        if (m_path.isEmpty()) {
            GTEST_SKIP() << "no server: run scripts/lib/postgis with this program";
        }
        GDALAllRegister();
        m_session = openToWrite(m_path);
        ASSERT_NE(m_session, nullptr);
        sql("DROP TABLE IF EXISTS t, m, made CASCADE; DROP SCHEMA IF EXISTS \"S.'x\" CASCADE; "
            "CREATE TABLE t (id serial PRIMARY KEY, name varchar(5), big numeric(30,12), price numeric(5,2), "
            "ts timestamptz, f real, n int DEFAULT 7, geom geometry(Point,4326)); "
            "INSERT INTO t (name, big, price, ts, f, geom) SELECT 'a' || i, 123456789012345678.123456789012, 1.5, "
            "'2024-01-02 03:04:05.123456Z', 0.1, ST_SetSRID(ST_Point(i, i), 4326) FROM generate_series(1, 3) i");
    }

    /// In the other session: the first value of what is selected.
    std::string sql(const std::string& statement) const { return sql(*m_session, statement); }
    static std::string sql(GDALDataset& session, const std::string& statement) {
        return execute(session, statement.c_str());
    }
    /// The columns of a row as the server writes them.
    std::string row(int id) const {
        return sql(
            "WITH r AS (SELECT concat_ws('|', name, big, price, ts AT TIME ZONE 'UTC', f, n, ST_AsText(geom)) AS "
            "text FROM t WHERE id = " +
            std::to_string(id) + ") SELECT text FROM r");
    }

    QString m_path;
    GDALDatasetUniquePtr m_session;
};

} // namespace test
