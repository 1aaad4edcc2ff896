#include "Overlay/UI/OverlayPainter.h"
#include "support/FakeOverlayPlatform.h"

#include <QImage>
#include <QPainter>
#include <gtest/gtest.h>

using namespace mosaro;

namespace {

QImage render(const std::optional<OverlayPresentation>& p)
{
    QImage image(1512, 944, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintOverlay(painter, p, QSizeF(1512, 944), {QColor(0, 122, 255), std::nullopt});
    painter.end();
    return image.convertToFormat(QImage::Format_ARGB32);
}

TEST(OverlayPainter, ThreeByTwoOnTheBuiltInDisplay)
{
    const QImage image = render(test::presentation(3, 2, HighlightedRegion::single({1, 1}), {1512, 944}));
    const QRgb dimOnly = image.pixel(300, 100);
    EXPECT_EQ(qAlpha(dimOnly), 46); // black at 0.18
    EXPECT_EQ(qRed(dimOnly), 0);

    // Vertical lines at x = 504 and 1008, a horizontal one at y = 472, nothing beside them.
    for (int x : {504, 1008})
        EXPECT_GT(qRed(image.pixel(x, 100)), 100) << x;
    EXPECT_EQ(image.pixel(503, 100), dimOnly);
    EXPECT_EQ(image.pixel(505, 100), dimOnly);
    EXPECT_GT(qRed(image.pixel(100, 472)), 100);
    EXPECT_EQ(image.pixel(100, 471), dimOnly);
    // Outer edges are not drawn.
    EXPECT_EQ(image.pixel(0, 100), dimOnly);
    EXPECT_EQ(image.pixel(100, 943), dimOnly);

    // The highlight: 496 x 464 centred at (756, 708), filled with the accent.
    const QRgb centre = image.pixel(756, 708);
    EXPECT_GT(qBlue(centre), qRed(centre) + 60);
    EXPECT_GT(qAlpha(centre), 150);
    EXPECT_GT(qBlue(image.pixel(512, 708)), 200); // just inside the stroke at the left edge
    EXPECT_EQ(image.pixel(505, 708), dimOnly);    // the 4-point gap outside it (left of the line)
    EXPECT_EQ(image.pixel(756, 478 - 5), dimOnly);
    EXPECT_EQ(image.pixel(1005, 708), dimOnly);
}

TEST(OverlayPainter, NothingWithoutPresentation)
{
    const QImage empty = render(std::nullopt);
    EXPECT_EQ(empty.pixel(700, 400), qRgba(0, 0, 0, 0));
}

} // namespace
