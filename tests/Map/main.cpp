#include <QGuiApplication>
#include <gtest/gtest.h>

/// Drawing text needs an application object; no display is needed.
int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    testing::InitGoogleTest(&argc, argv);
    const QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
