// "Locked by someone else" reads at a glance at every zoom: its badge is a large red padlock,
// drawn from the host's own pictures, while a project nobody holds shows no red at all.
#include <QIcon>
#include <QImage>
#include <QPixmap>
#include <gtest/gtest.h>
#include <string>

namespace {

// The share of the picture's pixels that are clearly red, drawn at `size` pixels square.
double RedShare(const QString& picture, int size) {
    const QImage image = QIcon(QStringLiteral(":/icons/") + picture + QStringLiteral(".svg"))
                             .pixmap(size, size)
                             .toImage()
                             .convertToFormat(QImage::Format_ARGB32);
    int red = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor colour = image.pixelColor(x, y);
            red += colour.alpha() > 128 && colour.red() > 150 && colour.green() < 90 &&
                           colour.blue() < 90
                       ? 1
                       : 0;
        }
    }
    return image.isNull() ? 0.0 : static_cast<double>(red) / (image.width() * image.height());
}

TEST(LockBadge, LockedBySomeoneElseIsARedPadlockAtEveryZoom) {
    for (const int size : {12, 16, 24, 32, 48}) {
        for (const char* picture : {"kMvProductionPanelProjectClosedLockedDecal",
                                    "kMvProductionPanelProjectOpenLockedDecal"}) {
            EXPECT_GT(RedShare(QString::fromLatin1(picture), size), 0.15)
                << picture << " at " << size << " px";
        }
    }
}

TEST(LockBadge, AProjectNobodyHoldsShowsNoRed) {
    for (const int size : {16, 32}) {
        for (const char* picture : {"kMvProductionPanelProjectClosedNoLockDecal",
                                    "kMvProductionPanelProjectOpenNoLockDecal",
                                    "kMvProductionPanelProjectOpenEditableDecal"}) {
            EXPECT_LT(RedShare(QString::fromLatin1(picture), size), 0.01)
                << picture << " at " << size << " px";
        }
    }
}

} // namespace
