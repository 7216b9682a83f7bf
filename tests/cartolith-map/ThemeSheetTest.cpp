#include "ThemeSheet.h"

#include "Arguments.h"

#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>

#include <QSet>
#include <gtest/gtest.h>

using namespace Cartolith::Core;

TEST(ThemeSheet, ShowsEveryThemeInItsColours) {
    for (const QSize size : {QSize(1200, 700), QSize(64, 64)}) {
        const QImage sheet = ThemeSheet::draw(size);
        ASSERT_EQ(sheet.size(), size);
        QSet<QRgb> colours;
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                colours.insert(sheet.pixel(x, y));
            }
        }
        for (const Symbology::GisSymbolTheme& theme : Symbology::GisDefaultSymbolStyles::themes()) {
            const bool all = size.width() > 1000;
            EXPECT_TRUE(colours.contains(QColor(theme.backgroundColor).rgb())) << qPrintable(theme.name);
            for (const QString& colour :
                 {theme.textColor, theme.areaStyle.fillColor(), theme.areaStyle.selectedLineColor(),
                  theme.pointStyle.pointColor(), theme.areaStyle.labelColor()}) {
                EXPECT_TRUE(!all || colours.contains(QColor(colour).rgb()))
                    << qPrintable(theme.name) << qPrintable(colour);
            }
        }
    }
}

TEST(Arguments, RefuseWhatIsNotPlain) {
    for (const char* text : {"", "100", "100x", "0x100", "99999x99999", "100x100x100", "-5x100"}) {
        EXPECT_THROW(Arguments::size(text), UsageError) << text;
    }
    for (const char* text : {"", "1,2,3", "1,2,3,nan", "1,2,3,4,5", "a,b,c,d", "1,2,3,1e999"}) {
        EXPECT_THROW(Arguments::extent(text), UsageError) << text;
    }
    EXPECT_THROW(Arguments::lonLat("identify", "181,0"), UsageError);
    EXPECT_THROW(Arguments::colour("fill", "redd"), UsageError);
    EXPECT_EQ(Arguments::colour("fill", "#abcdef"), "#ABCDEF");
}
