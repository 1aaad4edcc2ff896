#include "App/X11/DesktopCheck.h"

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

constexpr const char* serviceName = "tech.brenmark.mosaro";
constexpr const char* objectPath = "/tech/brenmark/mosaro";
constexpr const char* interfaceName = "tech.brenmark.mosaro";
constexpr int busTimeoutMs = 1000;

// The stored defaults as the running Mosaro reads them; the check only looks, so what the shortcut
// package would store (a name's default, on registering it) goes nowhere.
class ReadOnlyDefaults : public DefaultsStore {
public:
    std::optional<QVariant> object(const QString& key) const override { return m_file.object(key); }
    void setObject(const QString& /*key*/, const QVariant& /*value*/) override {}
    void removeObject(const QString& /*key*/) override {}

private:
    FileDefaultsStore m_file;
};

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
    // The shortcut package reads the stored trigger; the layout names its key.
    ReadOnlyDefaults defaults;
    XkbKeyboardLayout layout(c);
    KeyboardShortcuts::configure({&defaults, nullptr, &layout, nullptr});
    const KeyboardShortcuts::Name name = nameFor(HotkeyAction::trigger);
    std::optional<KeyboardShortcuts::Shortcut> trigger;
    const auto stored = defaults.object(KeyboardShortcuts::userDefaultsKey(name));
    if (!stored) {
        facts.storedTrigger = DesktopFacts::StoredTrigger::standard;
        trigger = name.defaultShortcut;
    } else if (stored->typeId() == QMetaType::Bool && !stored->toBool()) {
        facts.storedTrigger = DesktopFacts::StoredTrigger::disabled;
    } else if ((trigger = KeyboardShortcuts::getShortcut(name))) {
        facts.storedTrigger = DesktopFacts::StoredTrigger::recorded;
    } else {
        facts.storedTrigger = DesktopFacts::StoredTrigger::undecodable;
        facts.storedTriggerText = stored->toString().left(80);
    }
    if (!trigger)
        return;
    facts.triggerText = trigger->description();

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

QString trayHost(X11Connection& c, const QDBusConnection& bus)
{
    if (bus.isConnected() && bus.interface() &&
        bus.interface()->isServiceRegistered(QStringLiteral("org.kde.StatusNotifierWatcher")).value())
        return QStringLiteral("a StatusNotifierItem host");
    const QByteArray selection = QByteArray("_NET_SYSTEM_TRAY_S") + QByteArray::number(c.screenNumber());
    auto owner = c.ask<xcb_get_selection_owner_reply>(xcb_get_selection_owner, c.atom(selection.toStdString()));
    if (owner && owner->owner != XCB_WINDOW_NONE)
        return QStringLiteral("an XEmbed system tray");
    return {};
}

void readPreferences(DesktopFacts& facts)
{
    const QString path = preferencesFileURL();
    facts.preferencesPath = path;
    const QFileInfo info(path);
    const QDir folder = info.dir();
    for (const QString& entry : folder.entryList({info.fileName() + QStringLiteral("*")}, QDir::Files))
        if (entry != info.fileName())
            facts.keptAside << entry;
    QFile file(path);
    if (!file.exists()) {
        facts.preferences = DesktopFacts::PreferencesFile::missing;
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        facts.preferences = DesktopFacts::PreferencesFile::unreadable;
        facts.preferencesProblem = file.errorString();
        return;
    }
    // Read only: the check never migrates or rewrites anything.
    const QByteArray bytes = file.read(1 << 20);
    const auto probe = PreferencesJson::decodeProbe(bytes);
    if (!probe) {
        facts.preferences = DesktopFacts::PreferencesFile::unreadable;
        facts.preferencesProblem = toString(probe.error());
        return;
    }
    if (probe->schemaVersion > Preferences::currentSchemaVersion) {
        facts.preferences = DesktopFacts::PreferencesFile::newer;
    } else if (probe->schemaVersion < Preferences::currentSchemaVersion) {
        facts.preferences = DesktopFacts::PreferencesFile::older;
    } else if (const auto decoded = PreferencesJson::decode(bytes); decoded) {
        facts.preferences = DesktopFacts::PreferencesFile::loaded;
    } else {
        facts.preferences = DesktopFacts::PreferencesFile::unreadable;
        facts.preferencesProblem = toString(decoded.error());
    }
}

} // namespace

std::optional<RunningTrigger> askRunningMosaro(const QDBusConnection& bus)
{
    if (!bus.isConnected() || !bus.interface() ||
        !bus.interface()->isServiceRegistered(QString::fromLatin1(serviceName)).value())
        return std::nullopt;
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(serviceName), QString::fromLatin1(objectPath),
                                       QString::fromLatin1(interfaceName), QStringLiteral("TriggerStatus"));
    // Asking whether Mosaro runs must not start one.
    call.setAutoStartService(false);
    const QDBusMessage reply = bus.call(call, QDBus::Block, busTimeoutMs);
    const QList<QVariant> args = reply.arguments();
    if (reply.type() != QDBusMessage::ReplyMessage || args.size() != 2 || args[0].typeId() != QMetaType::Bool ||
        args[1].typeId() != QMetaType::QString)
        return std::nullopt;
    return RunningTrigger{args[0].toBool(), args[1].toString()};
}

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
    if (const auto running = askRunningMosaro(bus)) {
        facts.triggerOwner =
            running->grabbed ? DesktopFacts::TriggerOwner::mosaro : DesktopFacts::TriggerOwner::mosaroWithoutGrab;
        if (!running->shortcut.isEmpty())
            facts.triggerText = running->shortcut;
    }

    facts.tray = trayHost(c, bus);
    facts.sessionBus = bus.isConnected();
    facts.journal = ::access("/run/systemd/journal/socket", F_OK) == 0;
    readPreferences(facts);
    return facts;
}

int runDesktopCheck(int argc, char** argv)
{
    std::unique_ptr<QCoreApplication> app;
    if (!QCoreApplication::instance())
        app = std::make_unique<QCoreApplication>(argc, argv);
    X11Connection connection;
    const auto findings = desktopFindings(gatherDesktopFacts(connection, QDBusConnection::sessionBus()));
    std::fputs(qPrintable(formatFindings(findings)), stdout);
    std::fflush(stdout);
    return checkExitCode(findings);
}

} // namespace mosaro
