#include "LicenceMark.h"

#include "MarkedPicture.h"

#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicensedDrivers.h>

#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Cartolith::Core::Licensing;

namespace {

QImage picture(const QSize& size, const char* paper, const QList<QRect>& drawn = {}) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor(paper));
    QPainter painter(&image);
    for (const QRect& box : drawn) {
        painter.fillRect(box, Qt::darkGreen);
        painter.fillRect(box.adjusted(1, 1, -1, -1), Qt::green);
    }
    return image;
}

/// The pixels that differ.
QRect changed(const QImage& before, const QImage& after) {
    QRect box;
    for (int y = 0; y < before.height(); ++y) {
        for (int x = 0; x < before.width(); ++x) {
            if (before.pixel(x, y) != after.pixel(x, y)) {
                box |= QRect(x, y, 1, 1);
            }
        }
    }
    return box;
}

TEST(LicenceMark, LiesOverNothing) {
    const QRect note(500, 580, 295, 18);
    const QRect foot(0, 590, 800, 10);
    struct Row {
        const char* name;
        QImage before;
        QRect within;    ///< null: nothing is drawn
        double contrast; ///< of the mark with its paper, at least
    };
    const Row rows[] = {
        {"light", picture({800, 600}, "white"), {600, 570, 200, 30}, 150},
        {"dark", picture({800, 600}, "#101820"), {600, 570, 200, 30}, 150},
        {"a note in the corner", picture({800, 600}, "white", {note}), {0, 570, 200, 30}, 150},
        {"something all along the foot", picture({800, 600}, "white", {foot}), {600, 0, 200, 30}, 150},
        {"a picture all over", picture({800, 600}, "white", {foot, {0, 0, 800, 10}}), {0, 570, 200, 30}, 60},
        {"huge", picture({6000, 4000}, "white"), {4800, 3900, 1200, 100}, 150},
        {"small", picture({96, 64}, "white"), {0, 54, 96, 10}, 100},
        {"tiny", picture({64, 64}, "white"), {}, 0},
    };
    for (const Row& row : rows) {
        QImage after = row.before;
        LicenceMark::draw(after);
        const QRect box = changed(row.before, after);
        EXPECT_EQ(row.within.isNull(), box.isNull()) << row.name;
        EXPECT_TRUE(row.within.contains(box) || box.isNull()) << row.name << ": " << box.x() << ',' << box.y();
        if (!box.isNull()) {
            EXPECT_GT(box.width() * 25, row.before.width() * 2) << row.name << ": too small to be read";
            int darkest = 255;
            int lightest = 0;
            for (int x = box.left(); x <= box.right(); ++x) {
                for (int y = box.top(); y <= box.bottom(); ++y) {
                    const int grey = qGray(after.pixel(x, y));
                    darkest = std::min(darkest, grey);
                    lightest = std::max(lightest, grey);
                }
            }
            EXPECT_GT(lightest - darkest, row.contrast) << row.name;
        }
    }
}

TEST(LicenceMark, IsOnPicturesWithoutALicenceOnly) {
    LicenceSettings settings;
    settings.cacheFolder.clear();
    settings.systemFile.clear();
    settings.environment = [](const char*) { return QByteArray(); };
    LicenceManager::setCurrent(std::make_shared<LicenceManager>(settings));
    const QTemporaryDir folder;
    const QImage plain = picture({800, 600}, "white");
    MarkedPicture::save(plain, folder.filePath("map.png"));
    const QImage saved = QImage(folder.filePath("map.png")).convertToFormat(plain.format());
    EXPECT_EQ(changed(plain, saved).isNull(), CARTOLITH_LICENSING == 0);
    EXPECT_EQ(LicenceManager::current()->verdict().features.contains(unmarkedOutputFeature()),
              CARTOLITH_LICENSING == 0);
    LicenceManager::setCurrent(nullptr);
}

} // namespace
