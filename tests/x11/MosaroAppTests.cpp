// End-to-end tests: the real application on a private X server with a window manager, driven
// through XTEST and observed through X, its preferences file and its log.

#include "support/KeyCodes.h"
#include "support/x11/MosaroAppFixture.h"

#include "Diagnostics/Log/LogMessages.h"
#include "Grid/GridTypes.h"
#include "Platform/KeyEvent.h"
#include "Platform/X11/X11ScreenList.h"
#include "Preferences/PreferencesFile.h"

#include <QFile>

#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

using namespace mosaro;
using namespace mosaro::test;

namespace M = mosaro::LogMessages;

namespace {

constexpr std::uint64_t kNone = 0;
constexpr std::uint64_t kShift = ModifierFlag::shift;
constexpr std::uint64_t kAlt = ModifierFlag::option;
constexpr std::uint64_t kSuper = ModifierFlag::command;

using Key = std::pair<std::uint16_t, std::uint64_t>;

// Every overlay binding on the way to the region (0,0)-(1,1) of a 4 x 3 grid, from the centre of
// 3 x 2; a key that did anything else would leave another region or size.
const std::vector<Key> kEveryBinding{
    {keys::up, kNone},  {keys::right, kNone},  {keys::down, kNone},   {keys::left, kNone},  {keys::left, kNone},
    {keys::up, kNone},  {keys::right, kShift}, {keys::right, kShift}, {keys::left, kShift}, {keys::down, kShift},
    {keys::up, kShift}, {keys::down, kShift},  {keys::right, kAlt},   {keys::right, kAlt},  {keys::left, kAlt},
    {keys::down, kAlt}, {keys::down, kAlt},    {keys::up, kAlt},
};
const HighlightedRegion kEveryBindingRegion{{0, 0}, {1, 1}};

// The real application on a private X server with the window manager of the parameter.
class MosaroAppTest : public MosaroAppFixture, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(startSession({1280, 800, QString::fromLatin1(GetParam())}));
        ASSERT_TRUE(app->watchBells());
    }

    void key(std::uint16_t code, std::uint64_t modifiers = kNone) { ASSERT_TRUE(app->key(code, modifiers)); }
    void keys(const std::vector<Key>& sequence) { ASSERT_TRUE(app->keys(sequence)); }
    void openOverlay() { ASSERT_TRUE(app->openOverlay()); }
    void jump(std::uint16_t arrow) { ASSERT_TRUE(app->jump(arrow)); }

    bool waitForFrame(xcb_window_t window, const Rect& expected)
    {
        return session->waitUntil([&] { return session->outerFrame(window) == expected; });
    }
};

} // namespace

// The trigger shows the overlay over the visible frame of the focused window's display and
// closes it again; Escape and an unbound key close it too; none of this moves the window, rings
// the bell or writes the preferences, not even a resize undone before closing. A jump with one
// display is refused with a bell and leaves the overlay up.
TEST_P(MosaroAppTest, OverlayOpensOnTheVisibleFrameAndClosesWithoutMovingTheWindow)
{
    ASSERT_TRUE(session->startClient({"--dock-strut", "bottom:40"}));
    ASSERT_TRUE(session->waitUntil([&] {
        return app->xVisible(app->screenAt(0)) == Rect{0, 0, 1280, 760};
    })) << str(app->xVisible(app->screenAt(0)));
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto target = activeClient({"--title", "Target", "--geometry", "400x300+120+90"});
    const Rect before = session->outerFrame(target.window);

    ASSERT_NO_FATAL_FAILURE(openOverlay());
    EXPECT_TRUE(app->waitForOverlay(Rect{0, 0, 1280, 760})) << ::testing::PrintToString(app->overlayWindows());
    int mark = app->logMark();
    key(keys::returnKey, kSuper);
    EXPECT_TRUE(app->waitForNoOverlay()) << ::testing::PrintToString(app->overlayWindows());
    EXPECT_TRUE(app->waitForLog(mark, QString::fromUtf8(M::triggerWhileVisible)))
        << "the trigger did not reach the trigger handler while the overlay was up:\n";

    // Escape, then an unbound letter.
    for (const std::uint16_t closer : {keys::escape, keys::a}) {
        ASSERT_NO_FATAL_FAILURE(openOverlay());
        mark = app->logMark();
        key(closer);
        EXPECT_TRUE(app->waitForNoOverlay()) << "key " << closer;
        EXPECT_TRUE(app->waitForLog(mark, QString::fromUtf8(M::overlayDismiss)));
    }

    // A resize taken back before closing, and a jump with nowhere to go.
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    mark = app->logMark();
    keys({{keys::right, kAlt}, {keys::left, kAlt}, {keys::right, kSuper | kShift}});
    EXPECT_TRUE(app->waitForBells(1));
    EXPECT_TRUE(app->waitForLog(mark, QString::fromUtf8(M::crossDisplaySingle)));
    EXPECT_EQ(app->overlayWindows(), std::vector<Rect>{(Rect{0, 0, 1280, 760})}) << "the overlay stays";
    key(keys::escape);
    EXPECT_TRUE(app->waitForNoOverlay());
    EXPECT_TRUE(app->waitForLog(mark, QString::fromUtf8(M::overlayDismiss)));

    EXPECT_EQ(session->outerFrame(target.window), before) << str(session->outerFrame(target.window));
    EXPECT_EQ(session->activeWindow(), target.window);
    EXPECT_EQ(app->bellCount(), 1);
    EXPECT_FALSE(QFile::exists(app->preferencesPath()));
    EXPECT_TRUE(app->linesSince(0, logPrefix(M::persistedGlobalResize)).isEmpty());
    EXPECT_TRUE(app->isRunning());
}

// Every binding has its effect on the final placement: the window lands exactly on the frame
// of the region on the visible frame beside a dock, with margin 0 and with margin 10. The grid
// size is written back when the overlay closes: as the global grid, or with per-display mode
// as the display's own size, which the next session starts from.
TEST_P(MosaroAppTest, BindingsPlaceTheWindowAndTheResizedGridIsSaved)
{
    ASSERT_TRUE(session->startClient({"--dock-strut", "bottom:40"}));
    ASSERT_TRUE(session->waitUntil([&] { return app->xVisible(app->screenAt(0)) == Rect{0, 0, 1280, 760}; }));
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto target = activeClient({"--title", "Target", "--geometry", "400x300+120+90"});
    const ScreenRef screen = app->screenAt(0);
    const QString displayName = screen->localizedName();

    // No preferences yet: 3 x 2, margin 0, saved as the global grid.
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    int mark = app->logMark();
    keys(kEveryBinding);
    key(keys::returnKey);
    const Rect plain = app->expectedFrame(screen, {4, 3}, 0, kEveryBindingRegion);
    EXPECT_EQ(plain, (Rect{0, 0, 640, 507}));
    EXPECT_TRUE(waitForFrame(target.window, plain)) << str(session->outerFrame(target.window));
    EXPECT_TRUE(app->waitForNoOverlay());
    ASSERT_TRUE(app->waitForLog(mark, logPrefix(M::commitMove)));
    EXPECT_FALSE(app->linesSince(mark, QStringLiteral("persisted global resize: 4×3")).isEmpty());
    auto stored = storedPreferences();
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->proSettings.globalGrid, (GridDimensions{4, 3}));
    EXPECT_TRUE(stored->proSettings.perDisplayGrids.overrides.empty());

    // Margin 10 and per-display mode.
    Preferences prefs;
    prefs.proSettings.margin = 10;
    prefs.proSettings.perDisplayMode = true;
    prefs.proSettings.perDisplayGrids.overrides[QStringLiteral("elsewhere")] = {7, 7};
    ASSERT_TRUE(savePreferences(prefs, app->preferencesPath()));
    ASSERT_TRUE(session->activateWindow(target.window));
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    mark = app->logMark();
    keys(kEveryBinding);
    key(keys::returnKey);
    const Rect margined = app->expectedFrame(screen, {4, 3}, 10, kEveryBindingRegion);
    EXPECT_EQ(margined, (Rect{10, 10, 625, 488}));
    EXPECT_TRUE(waitForFrame(target.window, margined)) << str(session->outerFrame(target.window));
    ASSERT_TRUE(app->waitForLog(mark, logPrefix(M::commitMove)));
    EXPECT_FALSE(
        app->linesSince(mark, QStringLiteral("persisted resize for display '%1': 4×3").arg(displayName)).isEmpty());
    stored = storedPreferences();
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->proSettings.globalGrid, (GridDimensions{3, 2}));
    EXPECT_EQ(stored->proSettings.perDisplayGrids.overrides,
              (std::map<QString, GridDimensions>{{QStringLiteral("elsewhere"), {7, 7}}, {displayName, {4, 3}}}));
    EXPECT_EQ(stored->proSettings.margin, 10);

    // The display's 4 x 3 is where the next session starts; a resize closed with Escape is saved
    // too, and the window stays where it is.
    const Rect placed = session->outerFrame(target.window);
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    mark = app->logMark();
    keys({{keys::up, kAlt}, {keys::up, kAlt}});
    key(keys::escape);
    EXPECT_TRUE(app->waitForNoOverlay());
    EXPECT_TRUE(app->waitForLog(mark, QStringLiteral("persisted resize for display '%1': 4×1").arg(displayName)));
    stored = storedPreferences();
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->proSettings.perDisplayGrids.overrides[displayName], (GridDimensions{4, 1}));
    EXPECT_EQ(stored->proSettings.globalGrid, (GridDimensions{3, 2}));

    // The centre cell of 4 x 1 is column 2.
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    key(keys::returnKey);
    EXPECT_TRUE(waitForFrame(target.window, app->expectedFrame(screen, {4, 1}, 10, {{2, 0}, {2, 0}})))
        << str(session->outerFrame(target.window)) << " was " << str(placed);
    EXPECT_EQ(app->bellCount(), 0);
}

// With two monitors of different heights, the overlay opens on the monitor that holds the
// window; jumps go to the other monitor either way, saving a resize for the monitor left, and
// Return places the window on the centre cell of the grid of the monitor the overlay is on.
TEST_P(MosaroAppTest, JumpsBetweenMonitorsAndCommitsOnTheOtherOne)
{
    ASSERT_TRUE(session->xrandrSetMonitors(
        {{QStringLiteral("left"), 0, 0, 640, 800, true}, {QStringLiteral("right"), 640, 0, 640, 600, false}}));
    ASSERT_TRUE(session->waitUntil([&] { return app->screens().screens().size() == 2; }));
    const ScreenRef left = app->screenAt(0), right = app->screenAt(1);
    ASSERT_EQ(app->xVisible(left), (Rect{0, 0, 640, 800}));
    ASSERT_EQ(app->xVisible(right), (Rect{640, 0, 640, 600}));
    ASSERT_NE(left->localizedName(), right->localizedName());

    Preferences prefs;
    prefs.proSettings.perDisplayMode = true;
    prefs.proSettings.margin = 4;
    prefs.proSettings.perDisplayGrids.overrides[right->localizedName()] = {2, 3};
    ASSERT_TRUE(savePreferences(prefs, app->preferencesPath()));
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto target = activeClient({"--title", "Traveller", "--geometry", "300x200+60+50"});

    ASSERT_NO_FATAL_FAILURE(openOverlay());
    EXPECT_TRUE(app->waitForOverlay(app->xVisible(left))) << ::testing::PrintToString(app->overlayWindows());
    int mark = app->logMark();
    key(keys::right, kAlt);
    ASSERT_NO_FATAL_FAILURE(jump(keys::right));
    EXPECT_TRUE(app->waitForOverlay(app->xVisible(right))) << ::testing::PrintToString(app->overlayWindows());
    EXPECT_TRUE(app->waitForLog(
        mark, QStringLiteral("cross-display jump (next): %1 → %2").arg(left->localizedName(), right->localizedName())));
    // The resize was saved for the monitor left before the jump.
    auto stored = storedPreferences();
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->proSettings.perDisplayGrids.overrides[left->localizedName()], (GridDimensions{4, 2}));

    mark = app->logMark();
    ASSERT_NO_FATAL_FAILURE(jump(keys::left));
    EXPECT_TRUE(app->waitForOverlay(app->xVisible(left))) << ::testing::PrintToString(app->overlayWindows());
    EXPECT_TRUE(app->waitForLog(
        mark,
        QStringLiteral("cross-display jump (previous): %1 → %2").arg(right->localizedName(), left->localizedName())));
    ASSERT_NO_FATAL_FAILURE(jump(keys::right));
    EXPECT_TRUE(app->waitForOverlay(app->xVisible(right))) << ::testing::PrintToString(app->overlayWindows());
    // A move on the right monitor's 2 x 3 grid before committing: from the centre (1,1) down.
    key(keys::down);
    key(keys::returnKey);
    const Rect landed = app->expectedFrame(right, {2, 3}, 4, {{1, 2}, {1, 2}});
    EXPECT_EQ(landed, (Rect{962, 401, 314, 195}));
    EXPECT_TRUE(waitForFrame(target.window, landed)) << str(session->outerFrame(target.window));
    EXPECT_TRUE(app->waitForNoOverlay());

    // The window is on the right monitor now, and so is the next overlay.
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    EXPECT_TRUE(app->waitForOverlay(app->xVisible(right))) << ::testing::PrintToString(app->overlayWindows());
    key(keys::escape);
    EXPECT_TRUE(app->waitForNoOverlay());
    EXPECT_EQ(session->outerFrame(target.window), landed);
    EXPECT_EQ(app->bellCount(), 0);
}

// A fixed-size window is refused with a bell and no overlay (a full-screen one takes the same way
// out; reading that state is the accessibility test's). A window that disappears while the
// overlay is up makes the commit fail with a bell; the application carries on and the next
// trigger places another window.
TEST_P(MosaroAppTest, RefusalsAndVanishedWindowsAreAbsorbed)
{
    ASSERT_NO_FATAL_FAILURE(startApp());
    const QString notTileable = logPrefix(M::notTileable);

    const auto fixed = activeClient({"--title", "Fixed", "--fixed-size", "--geometry", "300x200+100+100"});
    const Rect fixedFrame = session->outerFrame(fixed.window);
    int mark = app->logMark();
    key(keys::returnKey, kSuper);
    EXPECT_TRUE(app->waitForBells(1));
    ASSERT_TRUE(app->waitForLog(mark, notTileable));
    EXPECT_TRUE(app->linesSince(mark, notTileable).front().contains(QStringLiteral("resizable=false")));
    EXPECT_TRUE(app->overlayWindows().empty());
    EXPECT_TRUE(app->linesSince(mark, logPrefix(M::panelPresented)).isEmpty());
    EXPECT_EQ(session->outerFrame(fixed.window), fixedFrame);
    session->stop(fixed.pid);

    // The target goes away under the overlay.
    const auto doomed = activeClient({"--title", "Doomed", "--geometry", "300x200+100+100"});
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    session->stop(doomed.pid);
    ASSERT_TRUE(session->waitUntil(
        [&] { return !session->connection().windowExists(doomed.window) && !session->manages(doomed.window); }));
    // The overlay still holds the keyboard: no other window became active.
    mark = app->logMark();
    key(keys::up);
    const bool overlayKept = app->waitForLog(mark, QStringLiteral("keyDown keyCode=126"));
    EXPECT_TRUE(overlayKept) << "the overlay closed when its target vanished (active window now 0x" << std::hex
                             << session->activeWindow() << "):\n";
    if (overlayKept) {
        key(keys::returnKey);
        EXPECT_TRUE(app->waitForLog(mark, logPrefix(M::commitFailed)));
        EXPECT_TRUE(app->waitForBells(2));
        EXPECT_TRUE(app->waitForNoOverlay());
    }
    EXPECT_TRUE(app->isRunning());

    const int bellsBefore = app->bellCount();
    const auto survivor = activeClient({"--title", "Survivor", "--geometry", "300x200+500+300"});
    ASSERT_NO_FATAL_FAILURE(openOverlay());
    key(keys::returnKey);
    EXPECT_TRUE(waitForFrame(survivor.window, app->expectedFrame(app->screenAt(0), {3, 2}, 0, {{1, 1}, {1, 1}})))
        << str(session->outerFrame(survivor.window));
    EXPECT_EQ(app->bellCount(), bellsBefore);
    EXPECT_TRUE(app->isRunning());
}

INSTANTIATE_TEST_SUITE_P(WindowManagers, MosaroAppTest, ::testing::Values("openbox", "icewm"));
