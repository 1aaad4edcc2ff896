#include "App/X11/DesktopCheck.h"
#include "App/X11/X11Platform.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/FileDefaultsStore.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11HotKeyService.h"
#include "Platform/X11/X11Properties.h"
#include "Platform/X11/X11WindowMover.h"
#include "Platform/X11/XkbKeyboardLayout.h"
#include "Preferences/Preferences.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>

namespace mosaro {

namespace {

using Clock = std::chrono::steady_clock;

DesktopFacts::Probe probeMoves(X11Connection& c, bool* frameExtents)
{
    // A small normal window of our own, where a person would hardly look.
    xcb_connection_t* conn = c.connection();
    X11Window owned(c);
    const xcb_window_t window = owned.id();
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(conn, XCB_COPY_FROM_PARENT, window, c.root(), 0, 0, 160, 100, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    const char title[] = "Mosaro check";
    const char wmClass[] = "mosaro-check\0Mosaro";
    xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, c.atom("_NET_WM_NAME"), c.atom("UTF8_STRING"), 8,
                        sizeof title - 1, title);
    xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof wmClass,
                        wmClass);
    xcb_map_window(conn, window);
    c.flush();

    const xcb_atom_t wmState = c.atom("WM_STATE");
    const auto managedBy = Clock::now() + std::chrono::seconds(3);
    bool managed = false;
    while (!managed && Clock::now() < managedBy) {
        managed = c.propertyValue(window, wmState).has_value();
        if (!managed)
            c.waitForEvent([&](xcb_generic_event_t*) { return true; }, 100);
    }

    DesktopFacts::Probe probe = DesktopFacts::Probe::notRun;
    if (managed) {
        X11WindowMover mover(c);
        const auto outcome = mover.place(window, Point{48, 48}, Size{240, 150}, Clock::now() + std::chrono::seconds(2));
        switch (outcome) {
        case X11WindowMover::Outcome::placed:
            probe = mover.lastReport().corrected       ? DesktopFacts::Probe::corrected
                    : mover.lastReport().usedConfigure ? DesktopFacts::Probe::configured
                                                       : DesktopFacts::Probe::honoured;
            break;
        case X11WindowMover::Outcome::keptInPlace:
            probe = DesktopFacts::Probe::keptInPlace;
            break;
        case X11WindowMover::Outcome::placedElsewhere:
        case X11WindowMover::Outcome::timedOut:
            probe = DesktopFacts::Probe::misplaced;
            break;
        case X11WindowMover::Outcome::windowGone:
        case X11WindowMover::Outcome::connectionLost:
            break;
        }
        *frameExtents = c.propertyValue(window, c.atom("_NET_FRAME_EXTENTS")).has_value();
    }
    xcb_unmap_window(conn, window);
    return probe; // the window goes with its handle
}

void readTrigger(X11Connection& c, DesktopFacts& facts)
{
    XkbKeyboardLayout layout(c);
    const auto trigger = readStoredTrigger(facts, layout);
    if (!trigger)
        return;

    // Whether another client holds it: try to grab it ourselves, and let go at once.
    X11HotKeyService hotKeys(c);
    EventHotKeyRef ref = 0;
    const OSStatus status =
        hotKeys.registerEventHotKey(std::uint32_t(trigger->carbonKeyCode), std::uint32_t(trigger->carbonModifiers),
                                    EventHotKeyID{fourCharCode("MChk"), 1}, ref);
    if (status == HotKeyStatus::noErr) {
        hotKeys.unregisterEventHotKey(ref);
        facts.triggerOwner = DesktopFacts::TriggerOwner::free;
    } else {
        facts.triggerOwner =
            c.isConnected() ? DesktopFacts::TriggerOwner::otherClient : DesktopFacts::TriggerOwner::unknown;
    }
}

QString xembedTray(X11Connection& c)
{
    const QByteArray selection = QByteArray("_NET_SYSTEM_TRAY_S") + QByteArray::number(c.screenNumber());
    auto owner = c.ask<xcb_get_selection_owner_reply>(xcb_get_selection_owner, c.atom(selection.toStdString()));
    if (owner && owner->owner != XCB_WINDOW_NONE)
        return QStringLiteral("an XEmbed system tray");
    return {};
}

} // namespace

DesktopFacts gatherDesktopFacts(X11Connection& c, const QDBusConnection& bus)
{
    DesktopFacts facts;
    facts.displayName = c.displayName();
    facts.sessionType = qEnvironmentVariable("XDG_SESSION_TYPE");
    facts.displayReachable = c.isConnected();
    if (!facts.displayReachable)
        return facts;

    const X11WindowManagerStatus status = windowManagerStatus(c);
    facts.managerName = status.name;
    switch (status.kind) {
    case X11WindowManagerStatus::Kind::drivable:
        facts.manager = DesktopFacts::Manager::drivable;
        facts.probe = probeMoves(c, &facts.frameExtentsPublished);
        break;
    case X11WindowManagerStatus::Kind::notDrivable:
        facts.manager = DesktopFacts::Manager::notDrivable;
        break;
    case X11WindowManagerStatus::Kind::none:
    case X11WindowManagerStatus::Kind::noConnection:
        facts.manager = DesktopFacts::Manager::none;
        break;
    }
    facts.workAreaPublished = c.propertyValue(c.root(), c.atom("_NET_WORKAREA")).has_value();

    // While a Mosaro runs, it holds the trigger itself: ask it rather than the server.
    readTrigger(c, facts);
    readSessionFacts(facts, bus);
    if (facts.tray.isEmpty())
        facts.tray = xembedTray(c);
    return facts;
}

int runX11DesktopCheck(int argc, char** argv)
{
    std::unique_ptr<QCoreApplication> app;
    if (!QCoreApplication::instance())
        app = std::make_unique<QCoreApplication>(argc, argv);
    X11Connection connection;
    return printFindings(gatherDesktopFacts(connection, QDBusConnection::sessionBus()));
}

} // namespace mosaro
