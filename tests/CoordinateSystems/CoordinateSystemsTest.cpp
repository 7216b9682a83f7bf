#include "TestServer.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cpl_conv.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ogr_spatialref.h>

#include <cmath>
#include <limits>
#include <proj.h>
#include <stdexcept>

using namespace Cartolith::Core;
using namespace Cartolith::Core::CoordinateSystems;
using Shapes::GisShapePoint;

namespace {

const CoordinateSystem unusable(0, "Nowhere", true, " ", std::nullopt);

/// The message of the runtime_error that the call throws; empty when it throws none.
template <typename Call>
std::string errorOf(Call call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(CoordinateSystemFactory, GivesNullForWhatIsNoSystemAndPrintsNothing) {
    testing::internal::CaptureStderr();
    for (const int code : {0, -4326, 999999}) {
        EXPECT_EQ(CoordinateSystemFactory::fromEpsg(code), nullptr) << code;
    }
    for (const char* text : {"", "   ", "EPSG:999999", "no such thing", "GEOGCS[", "EPSG:5773" /* heights only */}) {
        EXPECT_EQ(CoordinateSystemFactory::fromUserInput(text), nullptr) << text;
    }
    EXPECT_FALSE(CoordinateSystemFactory::areaOfUse(unusable));
    EXPECT_FALSE(CoordinateSystemFactory::areEquivalent(unusable, unusable));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(CoordinateSystemFactory, DescribesTheSystem) {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    ASSERT_NE(degrees, nullptr);
    EXPECT_EQ(degrees->epsgCode(), 4326);
    EXPECT_TRUE(degrees->isGeographic());
    EXPECT_EQ(degrees->metersPerUnit(), std::nullopt);
    EXPECT_TRUE(degrees->definition().startsWith("GEOGCS"));

    const auto feet = CoordinateSystemFactory::fromUserInput("  EPSG:2225 ");
    ASSERT_NE(feet, nullptr);
    EXPECT_TRUE(feet->isProjected());
    EXPECT_NEAR(feet->metersPerUnit().value_or(0), 0.3048006, 1e-7);

    const auto area = CoordinateSystemFactory::areaOfUse(*CoordinateSystemFactory::fromEpsg(3006));
    ASSERT_TRUE(area);
    EXPECT_NEAR(area->xMin(), 10.03, 0.2);

    const auto rebuilt = CoordinateSystemFactory::fromUserInput(degrees->definition());
    EXPECT_TRUE(CoordinateSystemFactory::areEquivalent(*degrees, *rebuilt));
    EXPECT_FALSE(CoordinateSystemFactory::areEquivalent(*degrees, *feet));
}

TEST(CoordinateSystemFactory, NamesAndUnitsHaveFallbacks) {
    OGRSpatialReference nameless;
    nameless.importFromProj4("+proj=utm +zone=33 +datum=WGS84");
    nameless.SetProjCS("");
    const auto system = CoordinateSystemFactory::fromSpatialReference(nameless);
    ASSERT_NE(system, nullptr);
    EXPECT_EQ(system->metersPerUnit(), 1.0);
    EXPECT_FALSE(system->name().isEmpty());
}

/// Of PROJ itself, without GDAL and without us: from the geographic system that a projected one is based on.
class PlainProj {
public:
    PlainProj() : m_context(proj_context_create()) { proj_log_level(m_context, PJ_LOG_NONE); }
    ~PlainProj() {
        clear();
        proj_context_destroy(m_context);
    }
    PlainProj(const PlainProj&) = delete;
    PlainProj& operator=(const PlainProj&) = delete;

    QList<int> deprecatedCodes(PJ_TYPE type) {
        QList<int> codes;
        char** const all = proj_get_codes_from_database(m_context, "EPSG", type, 1);
        for (char** code = all; *code != nullptr; ++code) {
            PJ* const system = proj_create_from_database(m_context, "EPSG", *code, PJ_CATEGORY_CRS, 0, nullptr);
            if (proj_is_deprecated(system) != 0) {
                codes.append(QByteArray(*code).toInt());
            }
            proj_destroy(system);
        }
        proj_string_list_destroy(all);
        return codes;
    }

    /// Gives the code of the base.
    int use(int code) {
        clear();
        m_system = proj_create_from_database(m_context, "EPSG", QByteArray::number(code).constData(), PJ_CATEGORY_CRS,
                                             0, nullptr);
        m_base = proj_crs_get_geodetic_crs(m_context, m_system);
        m_raw = proj_create_crs_to_crs_from_pj(m_context, m_base, m_system, nullptr, nullptr);
        m_operation = proj_normalize_for_visualization(m_context, m_raw);
        return QByteArray(proj_get_id_code(m_base, 0)).toInt();
    }
    PJ_XY transform(double x, double y) { return proj_trans(m_operation, PJ_FWD, proj_coord(x, y, 0, 0)).xy; }

private:
    void clear() {
        for (PJ** const object : {&m_operation, &m_raw, &m_base, &m_system}) {
            proj_destroy(*object);
            *object = nullptr;
        }
    }
    PJ_CONTEXT* m_context;
    PJ* m_system = nullptr;
    PJ* m_base = nullptr;
    PJ* m_raw = nullptr;
    PJ* m_operation = nullptr;
};

TEST(CoordinateSystemFactory, EveryDeprecatedCodeMeansItself) {
    PlainProj proj;
    int compared = 0;
    const QList<int> codes = proj.deprecatedCodes(PJ_TYPE_PROJECTED_CRS);
    for (const int code : codes) {
        const auto system = CoordinateSystemFactory::fromEpsg(code);
        const int baseCode = proj.use(code);
        const auto base = CoordinateSystemFactory::fromEpsg(baseCode);
        ASSERT_TRUE(system && base) << code;
        EXPECT_EQ(system->epsgCode(), code);
        EXPECT_EQ(base->epsgCode(), baseCode);
        const CoordinateTransformer transformer(*base, *system);
        const CoordinateTransformer byText(
            *base, *CoordinateSystemFactory::fromUserInput(QString("urn:ogc:def:crs:EPSG::%1").arg(code)));
        bool any = false;
        for (int x = -170; x <= 180; x += 35) {
            for (int y = -80; y <= 80; y += 32) {
                const PJ_XY there = proj.transform(x, y);
                if (std::abs(there.x) < 1e8 && std::abs(there.y) < 1e8) {
                    for (const auto* const one : {&transformer, &byText}) {
                        const GisShapePoint ours = one->transform(GisShapePoint(x, y));
                        ASSERT_LT(std::hypot(ours.x() - there.x, ours.y() - there.y), 1e-5) << code;
                    }
                    any = true;
                }
            }
        }
        compared += any ? 1 : 0;
    }
    EXPECT_GT(codes.size(), 300);
    EXPECT_GT(compared, codes.size() * 9 / 10); // a few have no value in any of the places: they were in error
    for (const int code : proj.deprecatedCodes(PJ_TYPE_GEOGRAPHIC_2D_CRS)) {
        EXPECT_EQ(CoordinateSystemFactory::fromEpsg(code)->epsgCode(), code);
    }
}

TEST(CoordinateSystemFactory, LeavesTheHostsChoiceAboutDeprecatedCodes) {
    const char* const option = "OSR_USE_NON_DEPRECATED";
    for (const char* const hosts : {static_cast<const char*>(nullptr), "YES", "NO"}) {
        CPLSetThreadLocalConfigOption(option, hosts);
        const auto system = CoordinateSystemFactory::fromEpsg(2192);
        EXPECT_EQ(system->epsgCode(), 2192);
        EXPECT_TRUE(CoordinateSystemFactory::areaOfUse(*system));
        EXPECT_STREQ(CPLGetThreadLocalConfigOption(option, nullptr), hosts);
    }
    CPLSetThreadLocalConfigOption(option, nullptr);
}

TEST(CoordinateSystemFactory, SaysWhatReplacedADeprecatedCode) {
    const struct {
        int code;
        bool isDeprecated;
        QList<int> replacements;
    } rows[] = {{2192, true, {2154}}, {2191, true, {2942, 2943}}, {21817, true, {}},
                {2154, false, {}},    {999999, false, {}},        {-1, false, {}}};
    testing::internal::CaptureStderr();
    for (const auto& row : rows) {
        EXPECT_EQ(CoordinateSystemFactory::isDeprecated(row.code), row.isDeprecated) << row.code;
        EXPECT_EQ(CoordinateSystemFactory::replacementsOf(row.code), row.replacements) << row.code;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(CoordinateSystemFactory, TextsReadNoFileAndSendNoRequest) {
    const test::Server server;
    ASSERT_FALSE(server.url().isEmpty());
    const QTemporaryDir folder;
    const QString there = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(folder.path())); // PROJ and GDAL look there too
    const auto file = [&folder](const char* name, const QByteArray& content) {
        QFile made(folder.filePath(name));
        EXPECT_TRUE(made.open(QIODevice::WriteOnly) && made.write(content) == content.size());
        return made.fileName();
    };
    const QByteArray wkt = CoordinateSystemFactory::fromEpsg(3006)->definition().toUtf8();
    const QString prj = file("system.prj", wkt);
    const QString init = file("epsg", "<3006> +proj=merc <>\n<7> +proj=merc <>\n");
    file("codes.wkt", "7," + wkt + "\n");
    const struct {
        QString text;
        int code; ///< 0: null
    } rows[] = {
        {prj, 0},
        {"system.prj", 0},
        {"ESRI::" + prj, 0},
        {"DICT:codes.wkt,7", 0},
        {"ESRI:: dict:codes.wkt,7", 0},
        {"+init=" + init + ":3006", 0},
        {"+init=epsg:7", 0},
        {"+proj=utm +zone=33 +init=epsg:3006", 0},
        {"init=epsg:3006 +lon_0=7", 0},
        {"/vsicurl/" + server.url(), 0},
        {server.url() + "3006", 0},
        {server.url() + "opengis.net/def/crs/EPSG/0/3006", 0},
        {"+init=epsg:3006", 3006},
        {"+init=EPSG:3006 +type=crs", 3006},
        {"http://www.opengis.net/def/crs/EPSG/0/3006", 3006},
        {"https://www.opengis.net/def/crs/EPSG/0/2192", 2192},
        {QString::fromUtf8(wkt), 3006},
    };
    CPLSetThreadLocalConfigOption("GDAL_HTTP_TIMEOUT", "1");
    for (const auto& row : rows) {
        const auto system = CoordinateSystemFactory::fromUserInput(row.text);
        EXPECT_EQ(system ? system->epsgCode() : 0, row.code) << qPrintable(row.text);
        const CoordinateSystem given(0, "given", false, row.text, 1.0);
        EXPECT_EQ(CoordinateSystemFactory::areEquivalent(given, given), row.code != 0) << qPrintable(row.text);
        EXPECT_FALSE(server.wasAsked()) << qPrintable(row.text);
    }
    CPLSetThreadLocalConfigOption("GDAL_HTTP_TIMEOUT", nullptr);

    const QString old = file("old.prj", "Projection    UTM\nDatum         WGS84\nZunits        NO\n"
                                        "Units         METERS\nZone          33\nXshift        0.0\n"
                                        "Yshift        0.0\nParameters\n");
    EXPECT_EQ(CoordinateSystemFactory::fromFile(prj)->epsgCode(), 3006);
    EXPECT_EQ(CoordinateSystemFactory::fromFile(old)->epsgCode(), 32633);
    for (const QString& none : {QString(), folder.path(), folder.filePath("none"), QString("/dev/zero"),
                                file("link", prj.toUtf8()), file("large", wkt + QByteArray(1 << 20, ' '))}) {
        EXPECT_EQ(CoordinateSystemFactory::fromFile(none), nullptr) << qPrintable(none);
    }
    QDir::setCurrent(there);
}

TEST(CoordinateTransformer, TakesXAsLongitude) {
    const CoordinateTransformer transformer(*CoordinateSystemFactory::fromEpsg(4326),
                                            *CoordinateSystemFactory::fromEpsg(3857));
    const GisShapePoint point = transformer.transform(GisShapePoint(29, 41));
    EXPECT_NEAR(point.x(), 3228265.2, 0.1);
    EXPECT_NEAR(point.y(), 5012341.7, 0.1);
}

TEST(CoordinateTransformer, ListsAndShapesEqualPointByPoint) {
    const CoordinateTransformer transformer(*CoordinateSystemFactory::fromEpsg(4326),
                                            *CoordinateSystemFactory::fromEpsg(3035));
    Shapes::GisShapePolygon polygon;
    polygon.setId(9);
    polygon.attributes().insert("name", "x");
    polygon.parts() = {{{10, 50}, {11, 50}, {11, 51}, {10, 50}}, {{10.5, 50.1}, {10.6, 50.2}, {10.5, 50.1}}};
    const auto moved = transformer.transformShape(polygon);
    EXPECT_EQ(moved->id(), 9);
    EXPECT_EQ(moved->attributes(), polygon.attributes());
    const auto& parts = static_cast<Shapes::GisShapePolygon&>(*moved).parts();
    ASSERT_EQ(parts.size(), 2);
    for (int part = 0; part < 2; ++part) {
        const auto list = transformer.transformPoints(polygon.parts()[part]);
        ASSERT_EQ(parts[part].size(), polygon.parts()[part].size());
        for (int i = 0; i < list.size(); ++i) {
            const GisShapePoint alone = transformer.transform(polygon.parts()[part][i]);
            EXPECT_EQ(alone.x(), list[i].x());
            EXPECT_EQ(alone.x(), parts[part][i].x());
            EXPECT_EQ(alone.y(), parts[part][i].y());
        }
    }
    EXPECT_TRUE(transformer.transformPoints({}).isEmpty());
    EXPECT_TRUE(transformer.transformShape(GisShapePoint())->isEmpty());
    EXPECT_EQ(polygon.parts()[0][0].x(), 10) << "the source is untouched";
}

TEST(CoordinateTransformer, SaysWhatFailed) {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    testing::internal::CaptureStderr();
    EXPECT_EQ(errorOf([&] { const CoordinateTransformer t(unusable, *degrees); }),
              "Unable to initialize CRS 'Nowhere' (EPSG:0) with GDAL/PROJ.");
    const CoordinateTransformer mercator(*degrees, *CoordinateSystemFactory::fromEpsg(3395));
    const std::string failed = "GDAL/PROJ coordinate transformation failed.";
    EXPECT_EQ(errorOf([&] { mercator.transform(GisShapePoint(0, 100)); }), failed);
    EXPECT_EQ(errorOf([&] { mercator.transformPoints({{0, 0}, {0, 100}, {1, 1}}); }), failed);
    const CoordinateTransformer fromWeb(*CoordinateSystemFactory::fromEpsg(3857), *degrees);
    EXPECT_EQ(errorOf([&] { fromWeb.transform(GisShapePoint(1e300, 0)); }), failed) << "GDAL would not return";
    const CoordinateTransformer same(*degrees, *degrees);
    EXPECT_EQ(errorOf([&] { same.transform(GisShapePoint(0, std::numeric_limits<double>::infinity())); }), failed);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
