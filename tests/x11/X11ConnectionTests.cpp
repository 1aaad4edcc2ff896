#include "Diagnostics/Log/Log.h"
#include "Platform/X11/X11Beeper.h"
#include "Platform/X11/X11Connection.h"
#include "support/x11/X11Session.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstring>

using namespace mosaro;
using namespace mosaro::test;

namespace {

X11Window createWindow(X11Connection& c, std::uint32_t events = 0)
{
    X11Window w(c);
    xcb_create_window(c.connection(), XCB_COPY_FROM_PARENT, w.id(), c.root(), 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    return w;
}

void setProperty(X11Connection& c, xcb_window_t w, const char* name, xcb_atom_t type, int format, const void* data,
                 std::uint32_t count)
{
    xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, w, c.atom(name), type, std::uint8_t(format), count,
                        data);
}

int lifecycleErrors()
{
    int n = 0;
    for (const auto& e : Log::Store::shared().entries())
        n += e.category == QLatin1String("lifecycle") && e.level == Log::Level::error;
    return n;
}

} // namespace

// Values come off the wire with their type and format (what the readers then accept is the
// property readers' business), text is decoded by its declared type, and a vanished window is
// reported as such.
TEST(X11Connection, PropertyReadsRejectMalformedValuesAndReportVanishedWindows)
{
    X11Session session;
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    ASSERT_TRUE(c.isConnected());
    EXPECT_EQ(c.atom("_NET_ACTIVE_WINDOW"), c.atom("_NET_ACTIVE_WINDOW"));
    EXPECT_EQ(c.atomName(c.atom("_NET_ACTIVE_WINDOW")), QStringLiteral("_NET_ACTIVE_WINDOW"));

    X11Window owned = createWindow(c);
    const xcb_window_t w = owned.id();
    const std::uint32_t four[] = {1, 2, 3, 4};
    const std::uint16_t shorts[] = {7, 8};
    setProperty(c, w, "GOOD", XCB_ATOM_CARDINAL, 32, four, 4);
    setProperty(c, w, "SHORTS", XCB_ATOM_CARDINAL, 16, shorts, 2);
    const char invalidUtf8[] = "T\xc3\x28tle\xff";
    setProperty(c, w, "BROKEN_UTF8", c.atom("UTF8_STRING"), 8, invalidUtf8, std::uint32_t(std::strlen(invalidUtf8)));
    setProperty(c, w, "LATIN1", XCB_ATOM_STRING, 8, "Caf\xe9", 4);

    EXPECT_EQ(c.cardinals(w, c.atom("GOOD"), 4), (std::vector<std::uint32_t>{1, 2, 3, 4}));
    EXPECT_FALSE(c.cardinals(w, c.atom("NOT_SET")));
    EXPECT_EQ(c.text(w, c.atom("BROKEN_UTF8")), QStringLiteral("T\uFFFD(tle\uFFFD"));
    EXPECT_EQ(c.text(w, c.atom("LATIN1")), QStringLiteral("Caf\u00e9"));

    // A reply larger than the caller accepts is treated as no value, not cut short.
    auto capped = c.property(w, c.atom("GOOD"), XCB_ATOM_ANY, 8);
    ASSERT_TRUE(capped);
    EXPECT_FALSE(*capped);

    // Asked together and read in any order; one never read is thrown away and leaves the
    // replies of later requests where they belong.
    {
        auto good = c.askProperty(w, c.atom("GOOD"));
        auto forgotten = c.askProperty(w, c.atom("LATIN1"));
        auto shortValues = c.askProperty(w, c.atom("SHORTS"));
        auto missing = c.askProperty(w, c.atom("NOT_SET"));
        const auto shortsValue = c.propertyValue(shortValues);
        ASSERT_TRUE(shortsValue);
        EXPECT_EQ(shortsValue->format, 16);
        EXPECT_EQ(X11Properties::list32(c.propertyValue(good), XCB_ATOM_CARDINAL, 4),
                  (std::vector<std::uint32_t>{1, 2, 3, 4}));
        auto missingValue = c.property(missing);
        ASSERT_TRUE(missingValue);
        EXPECT_FALSE(*missingValue);
        auto moved = std::move(forgotten);
    }
    EXPECT_EQ(c.text(w, c.atom("LATIN1")), QStringLiteral("Caf\u00e9"));
    c.internAtoms({"MOSARO_TEST_ONE", "GOOD", "MOSARO_TEST_TWO"});
    EXPECT_NE(c.atom("MOSARO_TEST_ONE"), c.atom("MOSARO_TEST_TWO"));
    EXPECT_EQ(c.atomName(c.atom("MOSARO_TEST_TWO")), QStringLiteral("MOSARO_TEST_TWO"));

    EXPECT_TRUE(c.windowExists(w));
    {
        const X11Window moved = std::move(owned); // the window goes with the handle that holds it last
        EXPECT_TRUE(c.windowExists(moved.id()));
    }
    EXPECT_FALSE(c.cardinals(w, c.atom("GOOD")));
    EXPECT_FALSE(c.windowExists(w));
    const auto geometry = c.ask<xcb_get_geometry_reply>(xcb_get_geometry, w);
    ASSERT_FALSE(geometry);
    EXPECT_EQ(geometry.error().kind, X11Error::Kind::invalidWindow);
    auto vanished = c.askProperty(w, c.atom("GOOD"));
    const auto vanishedValue = c.property(vanished);
    ASSERT_FALSE(vanishedValue);
    EXPECT_EQ(vanishedValue.error().kind, X11Error::Kind::invalidWindow);
    EXPECT_TRUE(c.isConnected()) << "an X error does not end the connection";
}

// Events reach every listener in turn until one consumes them; waitForEvent returns on the
// matching event and gives up (false) when none comes.
TEST(X11Connection, ListenersAndBoundedWaits)
{
    X11Session session;
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    const X11Window window = createWindow(c, XCB_EVENT_MASK_PROPERTY_CHANGE);
    const xcb_window_t w = window.id();

    int first = 0, second = 0;
    bool consume = false;
    const auto a = c.addEventListener([&](xcb_generic_event_t*) {
        ++first;
        return consume;
    });
    c.addEventListener([&](xcb_generic_event_t*) {
        ++second;
        return false;
    });

    const std::uint32_t one = 1;
    setProperty(c, w, "A", XCB_ATOM_CARDINAL, 32, &one, 1);
    auto isProperty = [](xcb_generic_event_t* e) { return (e->response_type & 0x7f) == XCB_PROPERTY_NOTIFY; };
    EXPECT_TRUE(c.waitForEvent(isProperty, 2000));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);

    consume = true;
    setProperty(c, w, "B", XCB_ATOM_CARDINAL, 32, &one, 1);
    EXPECT_TRUE(c.waitForEvent(isProperty, 2000));
    EXPECT_EQ(first, 2);
    EXPECT_EQ(second, 1) << "the first listener consumed the event";

    c.removeEventListener(a);
    setProperty(c, w, "C", XCB_ATOM_CARDINAL, 32, &one, 1);
    c.flush();
    EXPECT_TRUE(session.waitUntil([&] {
        c.processPendingEvents();
        return second == 2;
    }));
    EXPECT_EQ(first, 2);

    EXPECT_FALSE(c.waitForEvent(isProperty, 50));
}

// Attached to the Qt event loop, events are dispatched as they arrive, including those xcb read
// off the socket while waiting for a reply.
TEST(X11Connection, EventLoopDispatchesArrivingAndQueuedEvents)
{
    int argc = 1;
    char name[] = "mosaro_x11_tests";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    X11Session session;
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    const X11Window window = createWindow(c, XCB_EVENT_MASK_PROPERTY_CHANGE);
    const xcb_window_t w = window.id();
    int seen = 0;
    QEventLoop loop;
    c.addEventListener([&](xcb_generic_event_t* e) {
        if ((e->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && ++seen == 2)
            loop.quit();
        return false;
    });
    c.attachToEventLoop();

    const std::uint32_t one = 1;
    setProperty(c, w, "A", XCB_ATOM_CARDINAL, 32, &one, 1);
    c.flush();
    QTimer::singleShot(5000, &loop, &QEventLoop::quit); // a bound, not an expectation
    QTimer::singleShot(0, &loop, [&] {
        // The reply to this request comes after the event of the next change, which xcb then
        // keeps in its queue with nothing left on the socket to wake the loop.
        setProperty(c, w, "B", XCB_ATOM_CARDINAL, 32, &one, 1);
        c.atomName(XCB_ATOM_STRING);
    });
    loop.exec();
    EXPECT_EQ(seen, 2);
}

// A display that cannot be opened and a server that goes away both leave a connection whose
// calls fail quietly, with one log line each.
TEST(X11Connection, DeadConnectionsFailWithOneLogLine)
{
    Log::Store::shared().clear();
    {
        X11Connection never(QStringLiteral(":4242"));
        EXPECT_FALSE(never.isConnected());
        EXPECT_EQ(never.atom("_NET_ACTIVE_WINDOW"), xcb_atom_t(XCB_ATOM_NONE));
        EXPECT_FALSE(never.cardinals(never.root(), 1));
        EXPECT_FALSE(never.waitForEvent([](xcb_generic_event_t*) { return true; }, 10));
        X11Beeper(never).beep();
    }
    EXPECT_EQ(lifecycleErrors(), 1);

    auto session = std::make_unique<X11Session>();
    ASSERT_TRUE(session->ok()) << session->error().toStdString();
    X11Connection c(session->displayName());
    ASSERT_TRUE(c.isConnected());
    X11Beeper(c).beep();
    const xcb_window_t root = c.root();
    const xcb_atom_t workArea = c.atom("_NET_WORKAREA");
    session.reset(); // the server is gone
    Log::Store::shared().clear();

    const auto lost = c.property(root, workArea);
    EXPECT_FALSE(c.isConnected());
    ASSERT_FALSE(lost);
    EXPECT_EQ(lost.error().kind, X11Error::Kind::connectionLost);
    EXPECT_FALSE(c.sendRootMessage(root, 1, 0));
    EXPECT_FALSE(c.postRootMessage(root, 1, 0));
    auto asked = c.askProperty(root, workArea);
    EXPECT_FALSE(c.property(asked));
    c.internAtoms({"MOSARO_NEVER_ASKED"});
    EXPECT_EQ(c.atom("MOSARO_NEVER_ASKED"), xcb_atom_t(XCB_ATOM_NONE));
    EXPECT_EQ(c.processPendingEvents(), 0);
    EXPECT_FALSE(c.flush());
    X11Beeper(c).beep();
    EXPECT_EQ(lifecycleErrors(), 1);
}
