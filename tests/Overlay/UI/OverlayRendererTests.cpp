// The drawing done in pieces: each frame repaints only what changed, and what the surface ends
// up holding equals a full repaint of that frame, pixel for pixel.

#include "Overlay/OverlayDrawing.h"
#include "Overlay/UI/OverlayPainter.h"
#include "Overlay/UI/OverlayRenderer.h"
#include "Overlay/UI/OverlayView.h"
#include "support/FakeOverlayPlatform.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QImage>
#include <QPainter>
#include <QTimer>
#include <gtest/gtest.h>

using namespace mosaro;
using mosaro::test::presentation;

namespace {

const QColor kAccent(0, 122, 255);

// A surface over an image: fills and images set pixels as they are; the outline mode paints
// its two layers in their colours over a marker that shows what was never drawn.
class ImageSurface : public OverlaySurface {
public:
    ImageSurface(QSize size, Mode mode) : image(size, QImage::Format_ARGB32_Premultiplied), m_mode(mode)
    {
        image.fill(kUndrawn);
    }

    Mode mode() const override { return m_mode; }
    QSize size() const override { return image.size(); }
    const std::optional<OverlayFrame>& contents() const override { return m_contents; }
    void setContents(std::optional<OverlayFrame> frame) override { m_contents = std::move(frame); }

    void fillRects(const std::vector<QRect>& rects, QRgb pixel) override
    {
        for (const QRect& r : rects) {
            touched += r;
            for (int y = r.top(); y <= r.bottom(); ++y)
                for (int x = r.left(); x <= r.right(); ++x)
                    reinterpret_cast<QRgb*>(image.scanLine(y))[x] = pixel;
        }
    }
    void putImage(const QImage& tile, QPoint at) override
    {
        touched += QRect(at, tile.size());
        QPainter painter(&image);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(at, tile);
    }
    void setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour) override
    {
        image.fill(kUndrawn);
        QPainter painter(&image);
        for (const QRect& r : lines)
            painter.fillRect(r, QColor::fromRgb(lineColour));
        for (const QRect& r : outline)
            painter.fillRect(r, QColor::fromRgb(outlineColour));
        outlineShape = outline;
        lineShape = lines;
    }

    static constexpr QRgb kUndrawn = 0x12345678;
    QImage image;
    QRegion touched;
    QRegion lineShape, outlineShape;

private:
    Mode m_mode;
    std::optional<OverlayFrame> m_contents;
};

QImage fullRepaint(const OverlayFrame& frame)
{
    QImage image(frame.size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintOverlayFrame(painter, frame, kAccent);
    painter.end();
    return image;
}

// The first pixel where two images differ, for a readable failure.
std::string firstDifference(const QImage& a, const QImage& b)
{
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixel(x, y) != b.pixel(x, y))
                return "(" + std::to_string(x) + ", " + std::to_string(y) + ")";
    return "none";
}

QRegion unionOfBounds(const Rect& a, const Rect& b)
{
    return QRegion(highlightPixelBounds(a)) + highlightPixelBounds(b);
}

// What a step changes: the old and the new highlight, but not the flat inside they share.
QRegion changedByStep(const Rect& a, const Rect& b)
{
    return unionOfBounds(a, b) - (QRegion(highlightInterior(a)) & highlightInterior(b));
}

struct Case {
    const char* name;
    QSize size;
    std::int64_t columns, rows;
    HighlightedRegion from, to;
};

// Even and fractional cell sizes, single cells and regions crossing grid lines.
const Case kCases[] = {
    {"3x2 on 1512x944", {1512, 944}, 3, 2, HighlightedRegion::single({1, 1}), HighlightedRegion::single({2, 1})},
    {"7x5 on 1920x1053", {1920, 1053}, 7, 5, HighlightedRegion::single({3, 2}), HighlightedRegion{{3, 2}, {5, 4}}},
    {"4x3 region shrinking", {1366, 743}, 4, 3, HighlightedRegion{{0, 0}, {3, 2}}, HighlightedRegion::single({0, 2})},
    // A tall region: its sides are crossed by four grid lines, rows between them look alike.
    {"5x6 tall region", {1920, 1080}, 5, 6, HighlightedRegion::single({0, 0}), HighlightedRegion{{1, 1}, {1, 5}}},
};

TEST(OverlayRenderer, EveryAnimationStepRepaintsOnlyWhereTheHighlightChangedAndEqualsAFullRepaint)
{
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        ImageSurface surface(c.size, OverlaySurface::Mode::translucent);
        OverlayRenderer renderer(kAccent);
        const OverlayFrame start = overlayFrame(presentation(c.columns, c.rows, c.from, c.size), c.size);
        const OverlayFrame end = overlayFrame(presentation(c.columns, c.rows, c.to, c.size), c.size);

        // The first frame on a surface that holds nothing paints it all.
        EXPECT_EQ(renderer.draw(surface, start), QRegion(QRect(QPoint(0, 0), c.size)));
        ASSERT_EQ(surface.image, fullRepaint(start)) << firstDifference(surface.image, fullRepaint(start));

        Rect previous = start.highlight;
        for (double t : {0.2, 0.45, 0.8, 1.0}) {
            OverlayFrame step = end;
            step.highlight = interpolatedRect(start.highlight, end.highlight, t);
            surface.touched = QRegion();
            const QRegion painted = renderer.draw(surface, step);
            EXPECT_EQ(painted, changedByStep(previous, step.highlight)) << "t=" << t;
            EXPECT_TRUE((surface.touched - painted).isEmpty()) << "drew outside the region it reported, t=" << t;
            const QImage reference = fullRepaint(step);
            ASSERT_EQ(surface.image, reference)
                << "t=" << t << " first difference at " << firstDifference(surface.image, reference);
            previous = step.highlight;
        }
        // The union of two highlights is far less than the screen.
        const QRect both = unionOfBounds(start.highlight, end.highlight).boundingRect();
        EXPECT_LT(double(both.width()) * both.height(), double(c.size.width()) * c.size.height());
    }
}

TEST(OverlayRenderer, ANewGridRepaintsItsLinesAndAShowingRepaintsItsHighlight)
{
    const QSize size(1600, 900);
    ImageSurface surface(size, OverlaySurface::Mode::translucent);
    OverlayRenderer renderer(kAccent);
    const OverlayFrame threeByTwo = overlayFrame(presentation(3, 2, HighlightedRegion::single({1, 1}), size), size);
    const OverlayFrame fourByTwo = overlayFrame(presentation(4, 2, HighlightedRegion::single({1, 1}), size), size);
    renderer.draw(surface, threeByTwo);

    // Nothing changed: nothing is drawn, unless a showing asks for its highlight.
    EXPECT_TRUE(renderer.draw(surface, threeByTwo).isEmpty());
    EXPECT_EQ(renderer.draw(surface, threeByTwo, true), QRegion(highlightPixelBounds(threeByTwo.highlight)));

    const QRegion painted = renderer.draw(surface, fourByTwo);
    EXPECT_TRUE(painted.contains(QPoint(400, 10)));  // the new line at x = 400
    EXPECT_TRUE(painted.contains(QPoint(533, 10)));  // the old one at x = 533
    EXPECT_FALSE(painted.contains(QPoint(100, 10))); // nothing else in the top-left cell
    EXPECT_EQ(surface.image, fullRepaint(fourByTwo)) << firstDifference(surface.image, fullRepaint(fourByTwo));

    // A surface that forgot what it holds (a new buffer) is painted in full.
    surface.setContents(std::nullopt);
    EXPECT_EQ(renderer.draw(surface, fourByTwo), QRegion(QRect(QPoint(0, 0), size)));
}

TEST(OverlayRenderer, OutlineModeDrawsOpaqueLinesAndAThickOutlineOnly)
{
    const QSize size(1512, 944);
    ImageSurface surface(size, OverlaySurface::Mode::outline);
    OverlayRenderer renderer(kAccent);
    // A region over two cells, so that the line between them runs under the outline.
    const OverlayFrame frame = overlayFrame(presentation(3, 2, HighlightedRegion{{1, 1}, {2, 1}}, size), size);
    renderer.draw(surface, frame);
    const QImage& image = surface.image;
    const QRgb accent = kAccent.rgb(), white = qRgb(255, 255, 255);

    // The highlight spans x 508…1508, y 476…940; a 4-pixel outline centred on its edge.
    for (int x : {506, 507, 508, 509})
        EXPECT_EQ(image.pixel(x, 700), accent) << x;
    EXPECT_EQ(image.pixel(505, 700), ImageSurface::kUndrawn);
    EXPECT_EQ(image.pixel(510, 700), ImageSurface::kUndrawn); // no fill, no dimming
    EXPECT_EQ(image.pixel(1000, 700), ImageSurface::kUndrawn);
    // Grid lines in white, the outline above them where they cross.
    EXPECT_EQ(image.pixel(504, 100), white);
    EXPECT_EQ(image.pixel(1008, 300), white);
    EXPECT_EQ(image.pixel(1008, 700), white);  // inside the region: still a line
    EXPECT_EQ(image.pixel(1008, 477), accent); // the outline's top edge crosses it
    EXPECT_EQ(image.pixel(100, 472), white);
    // The corners are rounded: the outer corner pixel stays clear.
    EXPECT_EQ(image.pixel(506, 474), ImageSurface::kUndrawn);
    // The two layers never overlap, so each pixel has one colour.
    EXPECT_TRUE((surface.lineShape & surface.outlineShape).isEmpty());

    // A move changes only the outlines (and the lines they uncover), not the whole grid.
    OverlayFrame moved = frame;
    moved.highlight = overlayFrame(presentation(3, 2, HighlightedRegion::single({0, 0}), size), size).highlight;
    const QRegion changed = renderer.draw(surface, moved);
    EXPECT_FALSE(changed.contains(QPoint(504, 900)));
    EXPECT_TRUE(changed.contains(QPoint(507, 700)));
    EXPECT_TRUE(changed.contains(QPoint(2, 200)));
}

// Waits for the view's next frame (the frame timer's), not for any length of time.
void waitForFrame(OverlayView& view)
{
    QEventLoop loop;
    QObject::connect(&view, &OverlayView::framePainted, &loop, &QEventLoop::quit);
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    loop.exec();
}

TEST(OverlayView, AMoveGlidesFromTheFirstFrameOnAndEndsExactlyOnTheRegion)
{
    int argc = 0;
    QCoreApplication app(argc, nullptr);
    const QSize size(1280, 720);
    ImageSurface surface(size, OverlaySurface::Mode::translucent);
    std::int64_t now = 0;
    OverlayView view(surface, kAccent, [&] { return now; });
    auto model = std::make_shared<OverlayViewModel>();
    model->setPresentation(presentation(3, 2, HighlightedRegion::single({1, 1}), size));
    view.setViewModel(model);
    std::vector<QRegion> frames;
    QObject::connect(&view, &OverlayView::framePainted, [&](const QRegion& r) { frames.push_back(r); });
    view.show();
    ASSERT_EQ(frames.size(), 1u);
    const OverlayFrame before = overlayFrame(*model->presentation(), size);
    EXPECT_EQ(surface.image, fullRepaint(before));

    frames.clear();
    model->apply(OverlayInput::navigate(Direction::right));
    const OverlayFrame after = overlayFrame(*model->presentation(), size);
    // The first step is drawn before apply() returns, already on its way to the new cell.
    ASSERT_EQ(frames.size(), 1u);
    EXPECT_TRUE(view.isAnimating());
    EXPECT_NE(surface.image, fullRepaint(before));

    // Half-way through the 0.08 s glide the highlight is between the cells; at its end, on the
    // new one, and the glide is over.
    now = 30'000'000;
    waitForFrame(view);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_TRUE(view.isAnimating());
    EXPECT_NE(surface.image, fullRepaint(after));
    now = 80'000'000;
    waitForFrame(view);
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_FALSE(view.isAnimating());
    EXPECT_EQ(surface.image, fullRepaint(after)) << firstDifference(surface.image, fullRepaint(after));

    // Every frame repaints the highlight where it was and where it is now: within the two cells.
    const QRegion span = unionOfBounds(before.highlight, after.highlight).boundingRect();
    for (const QRegion& r : frames)
        EXPECT_TRUE((r - span).isEmpty());
}

} // namespace
