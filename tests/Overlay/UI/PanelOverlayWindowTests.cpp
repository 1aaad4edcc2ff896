// The panel on a platform's surface: its key status follows the keyboard hand-over, its keys go
// through the application's monitors, and a showing draws only what the surface does not hold.

#include "Overlay/OverlayViewModel.h"
#include "Overlay/UI/PanelOverlayWindow.h"
#include "support/FakeOverlayPlatform.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {

class FakeKeyboard : public PanelKeyboard {
public:
    explicit FakeKeyboard(bool heldAtSettle) : m_heldAtSettle(heldAtSettle) {}
    void request() override {}
    void settle() override
    {
        if (m_heldAtSettle)
            onHeld();
    }
    void release() override {}

private:
    bool m_heldAtSettle;
};

class FakeSurface : public TranslucentPanelSurface {
public:
    QSize size() const override { return {300, 200}; }
    bool keptPixels() const override { return kept; }
    void setInputRegion(const QRegion& region) override { input = region; }
    void show() override { shown = true; }
    void hide() override { shown = false; }
    bool isShown() const override { return shown; }
    void flush() override {}
    void fillRects(const std::vector<QRect>& rects, QRgb) override
    {
        for (const QRect& r : rects)
            painted += qint64(r.width()) * r.height();
    }
    void putImage(const QImage& image, QPoint) override { painted += qint64(image.width()) * image.height(); }

    bool kept = true, shown = false;
    QRegion input{0, 0, 1, 1};
    qint64 painted = 0; // pixels set, counted once per write
};

struct FakeHost : PanelHost {
    std::unique_ptr<PanelKeyboard> makeKeyboard() override
    {
        auto keyboard = std::make_unique<FakeKeyboard>(heldAtSettle);
        last = keyboard.get();
        return keyboard;
    }
    PanelSurface& surfaceFor(const Rect&) override { return *next; }
    ScreenRef screenOf(const Rect&) const override { return nullptr; }

    bool heldAtSettle = true;
    FakeKeyboard* last = nullptr;
    FakeSurface first, second;
    FakeSurface* next = &first;
};

struct Panel {
    FakeHost host;
    PanelDrawing drawing;
    LocalEventMonitors monitors;
    NotificationCenter center;
    std::shared_ptr<OverlayViewModel> model = std::make_shared<OverlayViewModel>();
    int resigned = 0;

    std::unique_ptr<PanelOverlayWindow> show()
    {
        auto window = std::make_unique<PanelOverlayWindow>(host, drawing, monitors, center, QColor(0, 122, 255));
        center.addObserver(PlatformNotifications::windowDidResignKey, window.get(), [this](auto&) { ++resigned; });
        model->setPresentation(test::presentation(3, 2, HighlightedRegion::single({1, 1}), {300, 200}));
        window->setFrame({0, 0, 300, 200});
        window->setContent(model);
        window->takeKeyboard();
        window->makeKeyAndOrderFront();
        return window;
    }
};

TEST(PanelOverlayWindow, KeyStatusFollowsTheHandOverAndItsEndResignsOnce)
{
    struct Row {
        const char* name;
        bool heldAtSettle;
        bool later; // true: the hand-over completes later; false: the keyboard is lost
        bool keyAfter;
        int resigned;
    };
    const Row rows[] = {
        {"held at once, then taken away", true, false, false, 1},
        {"held later", false, true, true, 0},
        {"never held", false, false, false, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Panel panel;
        panel.host.heldAtSettle = row.heldAtSettle;
        auto window = panel.show();
        EXPECT_EQ(window->isKeyWindow(), row.heldAtSettle);
        EXPECT_TRUE(window->isVisible());
        EXPECT_TRUE(panel.host.first.input.isEmpty()); // clicks reach the windows below
        row.later ? panel.host.last->onHeld() : panel.host.last->onLost();
        EXPECT_EQ(window->isKeyWindow(), row.keyAfter);
        EXPECT_EQ(panel.resigned, row.resigned);
        window->close();
        EXPECT_FALSE(panel.host.first.shown);
    }
}

TEST(PanelOverlayWindow, KeysGoThroughTheMonitorsAsThePanelsAndOnlyKeyDownsReachIt)
{
    Panel panel;
    auto window = panel.show();
    std::vector<const void*> seen;
    panel.monitors.addLocalMonitor(EventMask::keyDown | EventMask::keyUp, [&](const KeyEvent& event) {
        seen.push_back(event.window);
        return event;
    });
    std::vector<std::uint16_t> downs;
    window->onKeyDown = [&](const KeyEvent& event) { downs.push_back(event.keyCode); };
    panel.host.last->onKey({KeyEvent::Type::keyDown, 36, 0, nullptr});
    panel.host.last->onKey({KeyEvent::Type::keyUp, 36, 0, nullptr});
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0], static_cast<const OverlayWindow*>(window.get()));
    EXPECT_EQ(downs, std::vector<std::uint16_t>{36});
}

TEST(PanelOverlayWindow, AShowingDrawsAllOnlyWhereTheSurfaceLostItsPixelsOrIsAnother)
{
    const qint64 all = qint64(300) * 200;
    struct Row {
        const char* name;
        bool kept;
        bool other;
        bool drawsAll;
    };
    const Row rows[] = {
        {"kept", true, false, false},
        {"lost its pixels", false, false, true},
        {"another surface", true, true, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Panel panel;
        auto earlier = panel.show();
        if (!row.other)
            earlier->close();
        EXPECT_GE(panel.host.first.painted, all);
        panel.host.first.painted = 0;
        panel.host.first.kept = row.kept;
        if (row.other)
            panel.host.next = &panel.host.second;
        auto window = panel.show();
        const FakeSurface& drawn = *panel.host.next;
        EXPECT_EQ(drawn.painted >= all, row.drawsAll) << drawn.painted;
        EXPECT_GT(drawn.painted, 0); // a showing draws at least its highlight
        EXPECT_TRUE(drawn.shown);
        EXPECT_FALSE(panel.host.first.shown && row.other); // the other mode's surface is put away
    }
}

} // namespace
