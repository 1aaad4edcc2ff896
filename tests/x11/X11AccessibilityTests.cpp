#include "Diagnostics/Log/Log.h"
#include "Platform/X11/X11Accessibility.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "support/LogLines.h"
#include "support/x11/X11Session.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>

using namespace mosaro;
using namespace mosaro::test;

namespace {

class X11AccessibilityTest : public ::testing::TestWithParam<const char*> {
protected:
    void start(const QString& wm)
    {
        session = std::make_unique<X11Session>(X11Session::Options{1280, 800, wm});
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        connection = std::make_unique<X11Connection>(session->displayName());
        ax = std::make_unique<X11Accessibility>(*connection);
    }
    void SetUp() override
    {
        Log::setMinimumLevel(Log::Level::debug);
        Log::Store::shared().clear();
        start(QString::fromLatin1(GetParam()));
    }
    void TearDown() override
    {
        // What the window manager was asked and answered, when something went wrong.
        if (HasFailure())
            std::fprintf(stderr, "%s\n", qPrintable(loggedMessages(QStringLiteral("windowmanager")).join('\n')));
        Log::setMinimumLevel(Log::Level::info);
    }

    X11SessionClient client(const QStringList& args)
    {
        auto c = session->startClient(args);
        EXPECT_TRUE(c) << "client did not start: " << args.join(QLatin1Char(' ')).toStdString();
        return c.value_or(X11SessionClient{});
    }

    // The focused window of the frontmost application, after activating the given window.
    AXElementRef focus(const X11SessionClient& c)
    {
        EXPECT_TRUE(session->activateWindow(c.window));
        const auto pid = ax->frontmostApplicationProcessID();
        if (!pid)
            return nullptr;
        std::optional<AXValue> value;
        EXPECT_EQ(ax->copyAttributeValue(ax->createApplicationElement(*pid), AXAttribute::focusedWindow, value),
                  AXErrorCode::success);
        const auto* element = value ? std::get_if<AXElementRef>(&*value) : nullptr;
        return element ? *element : nullptr;
    }

    template <class T>
    std::optional<T> read(const AXElementRef& element, const QString& attribute)
    {
        std::optional<AXValue> value;
        if (ax->copyAttributeValue(element, attribute, value) != AXErrorCode::success || !value)
            return std::nullopt;
        if (const T* v = std::get_if<T>(&*value))
            return *v;
        return std::nullopt;
    }

    std::optional<Rect> axFrame(const AXElementRef& element)
    {
        const auto p = read<AXGeometry>(element, AXAttribute::position);
        const auto s = read<AXGeometry>(element, AXAttribute::size);
        if (!p || !s)
            return std::nullopt;
        return Rect{p->a, p->b, s->a, s->b};
    }

    AXError setPosition(const AXElementRef& e, double x, double y)
    {
        return ax->setAttributeValue(e, AXAttribute::position, AXValue{AXGeometry{AXGeometry::Kind::point, x, y}});
    }
    AXError setSize(const AXElementRef& e, double w, double h)
    {
        return ax->setAttributeValue(e, AXAttribute::size, AXValue{AXGeometry{AXGeometry::Kind::size, w, h}});
    }
    // The order in which window control moves a window: position, size, position.
    void place(const AXElementRef& e, const Rect& r)
    {
        EXPECT_EQ(setPosition(e, r.x, r.y), AXErrorCode::success);
        EXPECT_EQ(setSize(e, r.width, r.height), AXErrorCode::success);
        EXPECT_EQ(setPosition(e, r.x, r.y), AXErrorCode::success);
    }

    std::unique_ptr<X11Session> session;
    std::unique_ptr<X11Connection> connection;
    std::unique_ptr<X11Accessibility> ax;
};

} // namespace

// Trust is the presence of an EWMH window manager; once it is gone (its check property may
// linger) trust is lost, one line on the notice stream says why and points to mosaro --check,
// and asking again only logs once. A manager without EWMH is told apart from no manager.
TEST_P(X11AccessibilityTest, TrustFollowsTheWindowManager)
{
    std::FILE* notices = std::tmpfile();
    ASSERT_TRUE(notices);
    X11AccessibilityTrust trust(*connection, notices);
    EXPECT_TRUE(ax->isProcessTrusted());
    EXPECT_TRUE(trust.isProcessTrustedWithOptions(true));
    EXPECT_FALSE(trust.status().name.isEmpty()) << "managers name themselves";

    session->stopWindowManager();
    Log::Store::shared().clear();
    EXPECT_FALSE(ax->isProcessTrusted());
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(false));
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(true));
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(true));
    EXPECT_EQ(loggedMessages(QStringLiteral("permission")).size(), 1);

    // Someone redirecting the root's substructure without EWMH: a manager Mosaro cannot drive.
    X11Connection primitive(session->displayName());
    const std::uint32_t redirect = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT;
    ASSERT_TRUE(primitive.ask<xcb_request_check>(xcb_change_window_attributes_checked, primitive.root(),
                                                 XCB_CW_EVENT_MASK, &redirect));
    EXPECT_EQ(trust.status().kind, X11WindowManagerStatus::Kind::notDrivable);
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(false));
    const std::uint32_t none = 0;
    ASSERT_TRUE(primitive.ask<xcb_request_check>(xcb_change_window_attributes_checked, primitive.root(),
                                                 XCB_CW_EVENT_MASK, &none));

    std::rewind(notices);
    char buffer[1024] = {};
    const std::size_t read = std::fread(buffer, 1, sizeof buffer - 1, notices);
    std::fclose(notices);
    const QStringList lines = QString::fromUtf8(buffer, qsizetype(read)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 2) << buffer;
    EXPECT_EQ(lines[0], QStringLiteral("mosaro: no window manager is running, so Mosaro cannot move windows; "
                                       "run `mosaro --check` for details"));
    EXPECT_EQ(lines[1], QStringLiteral("mosaro: the window manager does not tell which window is active (EWMH), so "
                                       "Mosaro cannot move windows; run `mosaro --check` for details"));

    ASSERT_TRUE(session->startWindowManager(QString::fromLatin1(GetParam())));
    EXPECT_TRUE(ax->isProcessTrusted());
    EXPECT_TRUE(trust.isProcessTrustedWithOptions(false));
}

// The frontmost application is the owner of the active window; titles come from _NET_WM_NAME
// (UTF-8) or WM_NAME (Latin-1); a window without a process identifier
// belongs to process 0 unless it is one of ours.
TEST_P(X11AccessibilityTest, FrontmostApplicationFocusedWindowAndTitle)
{
    const auto plain = client({"--title", "Plain"});
    const auto utf8 = client({"--utf8-title-bytes", "436166c3a920e29c93"});
    const auto latin1 = client({"--wm-name-bytes", "4c6174696ee9"});
    const auto anonymous = client({"--title", "Anonymous", "--no-pid"});

    const std::vector<std::pair<X11SessionClient, QString>> cases = {
        {plain, QStringLiteral("Plain")},
        {utf8, QStringLiteral("Caf\u00e9 \u2713")},
        {latin1, QStringLiteral("Latin\u00e9")},
    };
    for (const auto& [c, title] : cases) {
        const AXElementRef window = focus(c);
        ASSERT_TRUE(window) << title.toStdString();
        EXPECT_EQ(ax->frontmostApplicationProcessID(), c.pid);
        EXPECT_EQ(X11Accessibility::windowOf(window), c.window);
        EXPECT_EQ(read<QString>(window, AXAttribute::title), title);
    }

    const AXElementRef unknownOwner = focus(anonymous);
    EXPECT_EQ(ax->frontmostApplicationProcessID(), 0);
    EXPECT_EQ(X11Accessibility::windowOf(unknownOwner), anonymous.window);
    ax->markOwnWindow(anonymous.window);
    EXPECT_EQ(ax->frontmostApplicationProcessID(), std::int32_t(getpid()));
    EXPECT_EQ(ax->currentProcessID(), std::int32_t(getpid()));

    // An application that is not active still has a focused window: its topmost one.
    std::optional<AXValue> value;
    EXPECT_EQ(ax->copyAttributeValue(ax->createApplicationElement(plain.pid), AXAttribute::focusedWindow, value),
              AXErrorCode::success);
    ASSERT_TRUE(value);
    EXPECT_EQ(X11Accessibility::windowOf(std::get<AXElementRef>(*value)), plain.window);
    // A process without windows has none.
    EXPECT_EQ(ax->copyAttributeValue(ax->createApplicationElement(999999), AXAttribute::focusedWindow, value),
              AXErrorCode::noValue);
    EXPECT_FALSE(value);
}

// Minimised and full-screen windows are reported as such (the end-to-end tests refuse them and
// fixed-size ones); attributes a window does not have are unsupported.
TEST_P(X11AccessibilityTest, StateFlags)
{
    const auto normal = client({"--title", "Normal", "--geometry", "300x200+40+40"});
    const auto full = client({"--title", "Full", "--fullscreen"});

    const AXElementRef normalWindow = ax->windowElement(normal.window);
    EXPECT_EQ(read<bool>(normalWindow, AXAttribute::minimized), false);
    EXPECT_EQ(read<bool>(normalWindow, AXAttribute::fullScreen), false);
    const AXElementRef fullWindow = ax->windowElement(full.window);
    EXPECT_TRUE(session->waitUntil([&] { return read<bool>(fullWindow, AXAttribute::fullScreen) == true; }));
    EXPECT_EQ(axFrame(fullWindow), (Rect{0, 0, 1280, 800}));

    ASSERT_TRUE(session->iconify(normal.window));
    EXPECT_TRUE(session->waitUntil([&] { return read<bool>(normalWindow, AXAttribute::minimized) == true; }));

    bool settable = false;
    EXPECT_EQ(ax->isAttributeSettable(normalWindow, QStringLiteral("AXRole"), settable),
              AXErrorCode::attributeUnsupported);
    std::optional<AXValue> value;
    EXPECT_EQ(ax->copyAttributeValue(normalWindow, QStringLiteral("AXRole"), value), AXErrorCode::attributeUnsupported);
}

// The frame a window was found in is remembered between readings; when a new manager frames
// the window anew (and another client takes the old frame's id, or not), it is found in the
// new frame and placed there.
TEST_P(X11AccessibilityTest, AWindowFramedAnewIsReadAndPlacedInItsNewFrame)
{
    const auto c = client({"--title", "Reframed", "--geometry", "300x200+50+60"});
    AXElementRef window = focus(c);
    ASSERT_TRUE(window);
    const Rect first{0, 0, 640, 400};
    place(window, first);
    ASSERT_EQ(session->outerFrame(c.window), first);

    session->stopWindowManager();
    ASSERT_TRUE(session->startWindowManager(QString::fromLatin1(GetParam())));
    // Taken in by the new manager: decorated again.
    ASSERT_TRUE(session->waitUntil(
        [&] { return session->outerFrame(c.window).height > 200 && session->activateWindow(c.window); }));
    window = focus(c);
    ASSERT_TRUE(window);
    EXPECT_EQ(axFrame(window), session->outerFrame(c.window));

    const Rect target{480, 100, 500, 380};
    place(window, target);
    EXPECT_EQ(axFrame(window), target);
    EXPECT_EQ(session->outerFrame(c.window), target);
}

// A window that is gone answers every call with invalid element, and nothing crashes.
TEST_P(X11AccessibilityTest, VanishedWindowIsAnInvalidElement)
{
    const auto c = client({"--title", "Short-lived"});
    const AXElementRef window = focus(c);
    ASSERT_TRUE(window);
    session->stop(c.pid);
    ASSERT_TRUE(session->waitUntil([&] { return !session->connection().windowExists(c.window); }));

    EXPECT_EQ(setPosition(window, 10, 10), AXErrorCode::invalidUIElement);
    EXPECT_EQ(setSize(window, 100, 100), AXErrorCode::invalidUIElement);
    std::optional<AXValue> value;
    EXPECT_EQ(ax->copyAttributeValue(window, AXAttribute::title, value), AXErrorCode::invalidUIElement);
    EXPECT_FALSE(value);
    bool settable = true;
    EXPECT_EQ(ax->isAttributeSettable(window, AXAttribute::size, settable), AXErrorCode::invalidUIElement);
    EXPECT_FALSE(settable);
}

INSTANTIATE_TEST_SUITE_P(WindowManagers, X11AccessibilityTest, ::testing::Values("openbox", "icewm"));

class X11AccessibilityWithoutWM : public X11AccessibilityTest {
protected:
    void SetUp() override { start({}); }
};

// With nobody to carry out a request, a write gives up at the element's timeout; malformed values
// are refused before anything is sent.
TEST_F(X11AccessibilityWithoutWM, UnmanagedWindowsMoveThemselvesAndBadValuesAreRefused)
{
    EXPECT_FALSE(ax->isProcessTrusted());
    EXPECT_FALSE(ax->frontmostApplicationProcessID());
    const auto c = client({"--title", "Unmanaged", "--geometry", "200x100+10+10"});
    const AXElementRef window = ax->windowElement(c.window);
    EXPECT_EQ(axFrame(window), (Rect{10, 10, 200, 100}));

    // Nobody redirects the request: the window moves by itself, and the server confirms it.
    EXPECT_EQ(ax->setMessagingTimeout(window, 0.2f), AXErrorCode::success);
    EXPECT_EQ(setPosition(window, 300, 300), AXErrorCode::success);
    EXPECT_EQ(axFrame(window), (Rect{300, 300, 200, 100}));
    EXPECT_EQ(setPosition(window, 300, 300), AXErrorCode::success) << "already there";

    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(setPosition(window, nan, 0), AXErrorCode::illegalArgument);
    EXPECT_EQ(setSize(window, 0, 100), AXErrorCode::illegalArgument);
    EXPECT_EQ(setSize(window, 100, 1e9), AXErrorCode::illegalArgument);
    EXPECT_EQ(ax->setAttributeValue(window, AXAttribute::position, AXValue{AXGeometry{AXGeometry::Kind::size, 1, 1}}),
              AXErrorCode::illegalArgument);
    EXPECT_EQ(ax->setAttributeValue(window, AXAttribute::title, AXValue{QStringLiteral("x")}),
              AXErrorCode::attributeUnsupported);
    EXPECT_EQ(ax->setMessagingTimeout(nullptr, 1.0f), AXErrorCode::illegalArgument);
}
