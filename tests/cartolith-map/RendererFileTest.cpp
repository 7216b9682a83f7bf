#include "RendererFile.h"

#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Cartolith::Core::Symbology;

namespace {

TEST(RendererFile, SayWhereTheFaultIsAndKeepWhatIsThere) {
    const QTemporaryDir folder;
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"", "JSON, line 1"},
        {"[]", "an object is expected"},
        {"{\n\"type\": simple}", "JSON, line 2"},
        {R"({"type": "striped"})", "renderer.type"},
        {R"({"type": "ruleBased", "rules": [{"operator": "near"}]})", "rules[0].operator"},
        {R"({"type": "ruleBased", "rules": [{"style": {"fillColour": "#FFFFFF"}}]})", "rules[0].style"},
        {R"({"type": "simple", "style": {"fillColor": "redd"}})", "renderer.style.fillColor: \"redd\" is no colour"},
        {R"({"type": "graduated", "defaultStyle": {"lineColor": ""}})", "renderer.defaultStyle.lineColor"},
        {R"({"type": "categorized", "classes": [{}, {"style": {"pointColor": "FF0000"}}]})",
         "classes[1].style.pointColor"},
        {R"({"type": "graduated", "ranges": [{"style": {"labelHaloColor": "#12345"}}]})",
         "ranges[0].style.labelHaloColor"},
        {R"({"type": "ruleBased", "rules": [{"style": {"selectedLineColor": "none"}}]})",
         "rules[0].style.selectedLineColor"},
    };
    const QString path = folder.filePath("style.json");
    for (const auto& test : cases) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(test.text);
        file.close();
        try {
            RendererFile::read(path);
            ADD_FAILURE() << test.text;
        } catch (const std::runtime_error& error) {
            EXPECT_TRUE(QString(error.what()).contains(path)) << error.what();
            EXPECT_TRUE(QString(error.what()).contains(test.message)) << error.what();
        }
    }
    EXPECT_THROW(RendererFile::read(folder.path()), std::runtime_error);
    EXPECT_THROW(RendererFile::read("/dev/zero"), std::runtime_error) << "has no end";

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"type": "simple", "style": {"fillColor": "red", "lineColor": "#123", "labelColor": "#80FF0000"}})");
    file.close();
    EXPECT_NO_THROW(RendererFile::read(path));

    GisGraduatedSymbolRenderer renderer("v");
    renderer.addRange({0.1, 0.2, true, true, "low", {}});
    RendererFile::save(renderer, path);
    EXPECT_EQ(dynamic_cast<GisGraduatedSymbolRenderer&>(*RendererFile::read(path)).ranges(), renderer.ranges());
    EXPECT_THROW(RendererFile::save(renderer, folder.path()), std::runtime_error);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList{"style.json"});
}

} // namespace
