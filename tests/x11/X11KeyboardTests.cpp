#include "support/KeyCodes.h"
#include "support/LogLines.h"
#include "support/x11/X11Session.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"
#include "Platform/X11/X11HotKeyService.h"
#include "Platform/X11/XkbKeyboardLayout.h"
#include "support/x11/XTestKeyboard.h"

#include <QStandardPaths>

#include "Platform/X11/XcbXkb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <vector>

using namespace mosaro;
using namespace mosaro::test;

namespace {

constexpr std::uint32_t carbonCommand = 0x100;
constexpr EventHotKeyID triggerID{fourCharCode("KBHK"), 7};

struct Delivered {
    std::uint32_t kind = 0;
    EventHotKeyID id;
    friend bool operator==(const Delivered&, const Delivered&) = default;
};

// Installs a handler that records what it is given and answers noErr.
struct Recorder {
    std::vector<Delivered> events;
    EventHandlerRef ref = 0;

    OSStatus install(HotKeyService& service, const std::vector<EventTypeSpec>& types)
    {
        return service.installEventHandler(
            [this](const HotKeyEvent* event) {
                Delivered d;
                d.kind = event->kind();
                event->hotKeyID(d.id);
                events.push_back(d);
                return HotKeyStatus::noErr;
            },
            types, ref);
    }
    std::vector<std::uint32_t> kinds() const
    {
        std::vector<std::uint32_t> out;
        std::transform(events.begin(), events.end(), std::back_inserter(out), [](auto& e) { return e.kind; });
        return out;
    }
};

const std::vector<EventTypeSpec> hotKeyKinds{{kEventClassKeyboard, HotKeyEventKind::hotKeyPressed},
                                             {kEventClassKeyboard, HotKeyEventKind::hotKeyReleased}};

// Keys and hotkeys share one connection: once the server answered a request sent after the
// keys, every event the keys caused is already queued, so draining the queue is exact.
void pressTrigger(XTestKeyboard& keyboard, X11Connection& connection)
{
    ASSERT_TRUE(keyboard.sendKeyCombination(keys::returnKey, ModifierFlag::command));
    connection.processPendingEvents();
    // The press froze the keyboard until its handler ran; the keys typed after it follow now.
    ASSERT_TRUE(keyboard.sync());
    connection.processPendingEvents();
}

// Whether a fresh client may grab the combination (no one else holds it).
bool grabbable(const QString& display, std::uint16_t modifiers)
{
    X11Connection probe(display);
    const auto keycode = xcb_keycode_t(*evdevForMacKeyCode(keys::returnKey) + x11KeycodeOffset);
    return bool(probe.ask<xcb_request_check>(xcb_grab_key_checked, 0, probe.root(), modifiers, keycode,
                                             XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
}

} // namespace

TEST(X11HotKeys, TheTriggerReachesTheHandlerWhateverTheLocks)
{
    X11Session session;
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection& connection = session.connection();

    // Sees the root's key presses before the service does, to know the server repeated a key.
    int returnPresses = 0;
    const auto returnKeycode = *evdevForMacKeyCode(keys::returnKey) + x11KeycodeOffset;
    connection.addEventListener([&](xcb_generic_event_t* event) {
        if ((event->response_type & 0x7f) == XCB_KEY_PRESS &&
            reinterpret_cast<xcb_key_press_event_t*>(event)->detail == returnKeycode)
            ++returnPresses;
        return false;
    });

    X11HotKeyService service(connection);
    XTestKeyboard keyboard(connection);
    ASSERT_TRUE(keyboard.isAvailable());
    Recorder recorder;
    ASSERT_EQ(recorder.install(service, hotKeyKinds), HotKeyStatus::noErr);
    EventHotKeyRef ref = 0;
    ASSERT_EQ(service.registerEventHotKey(keys::returnKey, carbonCommand, triggerID, ref), HotKeyStatus::noErr);

    // The keys go to a client window that has the input focus.
    auto client = session.startClient({"--title", "focused", "--geometry", "300x200+50+60"});
    ASSERT_TRUE(client);
    ASSERT_TRUE(connection.ask<xcb_request_check>(xcb_set_input_focus_checked, XCB_INPUT_FOCUS_PARENT, client->window,
                                                  XCB_CURRENT_TIME));
    connection.processPendingEvents();

    pressTrigger(keyboard, connection);
    const std::vector<Delivered> expected{{HotKeyEventKind::hotKeyPressed, triggerID},
                                          {HotKeyEventKind::hotKeyReleased, triggerID}};
    EXPECT_EQ(recorder.events, expected);

    // Caps Lock, Num Lock, and both at once change nothing; another modifier on top does.
    for (const auto& locks : std::vector<std::vector<std::uint16_t>>{
             {keys::capsLock}, {keys::keypadClear}, {keys::capsLock, keys::keypadClear}}) {
        for (auto lock : locks)
            ASSERT_TRUE(keyboard.tap(lock));
        recorder.events.clear();
        pressTrigger(keyboard, connection);
        ASSERT_TRUE(keyboard.sendKeyCombination(keys::returnKey, ModifierFlag::command | ModifierFlag::shift));
        connection.processPendingEvents();
        EXPECT_EQ(recorder.kinds(), (std::vector<std::uint32_t>{5, 6})) << "locks " << locks.size();
        for (auto lock : locks)
            ASSERT_TRUE(keyboard.tap(lock));
    }

    // Held until the server repeats it: still one press and one release, also when Command
    // goes up before Return.
    recorder.events.clear();
    returnPresses = 0;
    ASSERT_TRUE(keyboard.press(keys::command) && keyboard.press(keys::returnKey));
    connection.waitForEvent([&](xcb_generic_event_t*) { return returnPresses >= 3; }, 3000);
    ASSERT_TRUE(keyboard.release(keys::command) && keyboard.release(keys::returnKey));
    connection.processPendingEvents();
    EXPECT_GE(returnPresses, 3) << "the server did not repeat the held key";
    EXPECT_EQ(recorder.kinds(), (std::vector<std::uint32_t>{5, 6}));

    // Nothing while the hotkey kinds are not requested.
    ASSERT_EQ(service.removeEventTypesFromHandler(recorder.ref, hotKeyKinds), HotKeyStatus::noErr);
    recorder.events.clear();
    pressTrigger(keyboard, connection);
    EXPECT_TRUE(recorder.events.empty());

    EXPECT_EQ(service.addEventTypesToHandler(9999, hotKeyKinds), HotKeyStatus::paramErr);

    // Unregistered: no delivery, and the combination is free for others.
    ASSERT_EQ(service.addEventTypesToHandler(recorder.ref, hotKeyKinds), HotKeyStatus::noErr);
    ASSERT_EQ(service.unregisterEventHotKey(ref), HotKeyStatus::noErr);
    EXPECT_EQ(service.unregisterEventHotKey(ref), HotKeyStatus::paramErr);
    recorder.events.clear();
    pressTrigger(keyboard, connection);
    EXPECT_TRUE(recorder.events.empty());
    EXPECT_TRUE(grabbable(session.displayName(), X11ModMask::mod4));
}

TEST(X11HotKeys, GrabsAreAllOrNothingAndFollowNumLock)
{
    X11Session session;
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection& connection = session.connection();
    X11HotKeyService service(connection);
    ASSERT_EQ(service.numLockMask(), X11ModMask::mod2);
    const auto returnKey = xcb_keycode_t(*evdevForMacKeyCode(keys::returnKey) + x11KeycodeOffset);

    // Another client holds only the Num Lock variant: the grabs made before the refusal go too.
    {
        X11Connection other(session.displayName());
        ASSERT_TRUE(other.ask<xcb_request_check>(xcb_grab_key_checked, 0, other.root(),
                                                 X11ModMask::mod4 | X11ModMask::mod2, returnKey, XCB_GRAB_MODE_ASYNC,
                                                 XCB_GRAB_MODE_ASYNC));
        EventHotKeyRef ref = 99;
        EXPECT_EQ(service.registerEventHotKey(keys::returnKey, carbonCommand, triggerID, ref),
                  HotKeyStatus::hotKeyExists);
        EXPECT_EQ(ref, 0u);
        EXPECT_TRUE(grabbable(session.displayName(), X11ModMask::mod4));
        EXPECT_TRUE(grabbable(session.displayName(), X11ModMask::mod4 | X11ModMask::lock));
    }
    // Once the other client is gone the combination is ours.
    EventHotKeyRef ref = 0;
    ASSERT_EQ(service.registerEventHotKey(keys::returnKey, carbonCommand, triggerID, ref), HotKeyStatus::noErr);
    EXPECT_FALSE(grabbable(session.displayName(), X11ModMask::mod4 | X11ModMask::lock | X11ModMask::mod2));

    // Our own second registration of it is refused as well, and so are keys without an X keycode.
    EventHotKeyRef none = 0;
    EXPECT_EQ(service.registerEventHotKey(keys::returnKey, carbonCommand, triggerID, none), HotKeyStatus::hotKeyExists);
    for (std::uint32_t code : {52u, 63u /* fn */, 0x10000u, 0xFFFFFFFFu})
        EXPECT_EQ(service.registerEventHotKey(code, 0, triggerID, none), HotKeyStatus::hotKeyInvalid) << code;

    // Num Lock's key moves from Mod2 to Mod3: the combination is grabbed again with Mod3.
    auto mapping = connection.ask<xcb_get_modifier_mapping_reply>(xcb_get_modifier_mapping);
    ASSERT_TRUE(mapping);
    const std::ptrdiff_t per = mapping->keycodes_per_modifier;
    std::vector<xcb_keycode_t> keys(xcb_get_modifier_mapping_keycodes(mapping.get()),
                                    xcb_get_modifier_mapping_keycodes(mapping.get()) + 8 * per);
    const auto numLockKey = xcb_keycode_t(*evdevForMacKeyCode(keys::keypadClear) + x11KeycodeOffset);
    auto mod2 = std::find(keys.begin() + 4 * per, keys.begin() + 5 * per, numLockKey);
    auto mod3 = std::find(keys.begin() + 5 * per, keys.begin() + 6 * per, xcb_keycode_t(0));
    ASSERT_TRUE(mod2 != keys.begin() + 5 * per && mod3 != keys.begin() + 6 * per);
    std::swap(*mod2, *mod3);
    auto set = connection.ask<xcb_set_modifier_mapping_reply>(xcb_set_modifier_mapping, std::uint8_t(per), keys.data());
    ASSERT_TRUE(set && set->status == XCB_MAPPING_STATUS_SUCCESS);
    ASSERT_TRUE(session.waitUntil([&] { return service.numLockMask() == X11ModMask::mod3; }, 5000));

    XTestKeyboard keyboard(connection);
    Recorder recorder;
    recorder.install(service, hotKeyKinds);
    ASSERT_TRUE(keyboard.tap(keys::keypadClear));
    pressTrigger(keyboard, connection);
    EXPECT_EQ(recorder.kinds(), (std::vector<std::uint32_t>{5, 6}));
    EXPECT_FALSE(grabbable(session.displayName(), X11ModMask::mod4 | X11ModMask::mod3));
}

TEST(X11HotKeys, ALostConnectionFailsCalmly)
{
    // A display that never opened.
    {
        X11Connection nowhere(QStringLiteral(":4242"));
        X11HotKeyService service(nowhere);
        XkbKeyboardLayout layout(nowhere);
        EventHotKeyRef ref = 0;
        EXPECT_EQ(service.registerEventHotKey(keys::returnKey, carbonCommand, triggerID, ref), HotKeyStatus::paramErr);
        EXPECT_FALSE(layout.translateForDisplay(0).has_value());
    }

    X11Session session;
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    auto connection = std::make_unique<X11Connection>(session.displayName());
    X11HotKeyService service(*connection);
    XTestKeyboard keyboard(*connection);
    EventHotKeyRef ref = 0;
    ASSERT_EQ(service.registerEventHotKey(keys::returnKey, carbonCommand, triggerID, ref), HotKeyStatus::noErr);

    // The session kills our client through a window we own.
    xcb_connection_t* c = connection->connection();
    const xcb_window_t window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, window, connection->root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    ASSERT_TRUE(connection->windowExists(window));
    X11Connection& killer = session.connection();
    ASSERT_TRUE(killer.ask<xcb_request_check>(xcb_kill_client_checked, window));

    // Calls fail with a status and one log line, however often they are made.
    Log::Store::shared().clear();
    EventHotKeyRef second = 0;
    EXPECT_EQ(service.registerEventHotKey(53, 0, triggerID, second), HotKeyStatus::paramErr);
    EXPECT_EQ(service.registerEventHotKey(53, 0, triggerID, second), HotKeyStatus::paramErr);
    EXPECT_EQ(loggedMessages(QStringLiteral("lifecycle")).filter(QStringLiteral("global hotkeys")).size(), 1);
    EXPECT_EQ(service.unregisterEventHotKey(ref), HotKeyStatus::noErr);
    EXPECT_FALSE(keyboard.sendKeyCombination(keys::returnKey, ModifierFlag::command));
    EXPECT_EQ(connection->processPendingEvents(), 0);
}

TEST(XkbKeyboardLayoutTests, NamesKeysInTheCurrentLayout)
{
    X11Session session;
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection& connection = session.connection();
    XkbKeyboardLayout layout(connection);
    ASSERT_TRUE(layout.hasKeymap());

    EXPECT_EQ(layout.translateForDisplay(0), QStringLiteral("a"));
    EXPECT_EQ(layout.translateForDisplay(12), QStringLiteral("q"));
    EXPECT_EQ(layout.translateForDisplay(44), QStringLiteral("/"));
    // Keys that print nothing, and codes no key has.
    for (std::uint16_t code : {keys::returnKey, std::uint16_t(53), std::uint16_t(123), keys::command,
                               std::uint16_t(122), std::uint16_t(52), std::uint16_t(0xFFFF)})
        EXPECT_FALSE(layout.translateForDisplay(code).has_value()) << code;

    const QString setxkbmap = QStandardPaths::findExecutable(QStringLiteral("setxkbmap"));
    if (setxkbmap.isEmpty())
        GTEST_SKIP() << "setxkbmap is not installed";
    ASSERT_EQ(session.run(setxkbmap, {QStringLiteral("fr")}), 0);
    ASSERT_TRUE(session.waitUntil([&] { return layout.translateForDisplay(0) == QStringLiteral("q"); }, 5000));
    EXPECT_EQ(layout.translateForDisplay(46), QStringLiteral(","));
    EXPECT_EQ(layout.translateForDisplay(33), QStringLiteral("^")); // a dead key shows its accent

    // Two groups: the locked group decides.
    ASSERT_EQ(session.run(setxkbmap, {QStringLiteral("-layout"), QStringLiteral("us,fr")}), 0);
    ASSERT_TRUE(session.waitUntil([&] { return layout.translateForDisplay(0) == QStringLiteral("a"); }, 5000));
    xcb_xkb_latch_lock_state(connection.connection(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, XCB_XKB_GROUP_2, 0, 0, 0);
    connection.flush();
    ASSERT_TRUE(session.waitUntil([&] { return layout.translateForDisplay(0) == QStringLiteral("q"); }, 5000));
    EXPECT_EQ(layout.translateForDisplay(12), QStringLiteral("a"));
}
