#include "App/Wayland/WaylandPlatform.h"

#include "App/Desktop/DesktopCheckFacts.h"
#include "App/Wayland/GnomePlatform.h"
#include "App/Wayland/KWinPlatform.h"
#include "App/Wayland/SwayPlatform.h"
#include "Diagnostics/Log/Log.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/BuildInfo.h"
#include "Platform/HostTexts.h"
#include "Platform/Wayland/Gnome/GnomeDesktop.h"
#include "Platform/Wayland/KWin/KWinDesktop.h"
#include "Platform/Wayland/KWin/KWinScripting.h"
#include "Platform/Wayland/Sway/SwayDesktop.h"
#include "Platform/Wayland/Sway/SwayHotKeyService.h"
#include "Platform/Wayland/Sway/SwayIpc.h"
#include "Platform/Wayland/WaylandBeeper.h"
#include "Platform/Wayland/WaylandKeymap.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QFileInfo>

#include <wayland-client.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace mosaro {

namespace {

constexpr const char* unknownCompositorMessage =
    "no channel to this Wayland compositor: Mosaro places windows through the compositor's own channel and "
    "knows sway's IPC ($SWAYSOCK), KWin's scripting (org.kde.KWin on the session bus) and GNOME Shell (through "
    "its extension); XWayland cannot place native Wayland windows";

QString waylandDisplayName()
{
    const QString name = qEnvironmentVariable("WAYLAND_DISPLAY");
    return name.isEmpty() ? QStringLiteral("wayland-0") : name;
}

// The globals the compositor offers, for what `--check` says about keys; nothing when the display
// does not open.
std::optional<QStringList> waylandGlobals()
{
    wl_display* display = wl_display_connect(nullptr);
    if (!display)
        return std::nullopt;
    QStringList names;
    wl_registry* registry = wl_display_get_registry(display);
    static const wl_registry_listener listener{
        [](void* data, wl_registry*, uint32_t, const char* interface, uint32_t) {
            static_cast<QStringList*>(data)->append(QString::fromLatin1(interface));
        },
        [](void*, wl_registry*, uint32_t) {},
    };
    wl_registry_add_listener(registry, &listener, &names);
    wl_display_roundtrip(display);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return names;
}

void readSway(const QString& socket, DesktopFacts& facts)
{
    CompositorFacts& c = *facts.wayland;
    c.name = QStringLiteral("sway");
    c.channel = socket;
    Sway::Ipc ipc(socket);
    const auto version = ipc.request(Sway::MessageType::getVersion);
    if (!version) {
        c.channelProblem = Sway::describe(version.error());
        return;
    }
    c.channelAnswers = true;
    c.version = Sway::versionText(*version).value_or(QString());
    // Only versions that have the event accept a subscription to it.
    const auto accepted = ipc.subscribe({Sway::EventType::output});
    c.outputEvents = !accepted.empty();
    if (const auto reply = ipc.request(Sway::MessageType::getOutputs))
        if (const auto outputs = Sway::outputs(*reply))
            c.outputs = int(std::count_if(outputs->begin(), outputs->end(), [](const auto& o) { return o.active; }));
    const QStringList beep = WaylandBeeper::command();
    c.beepPlayer = beep.isEmpty() ? QString() : QFileInfo(beep.first()).fileName();

    const std::shared_ptr<const Wayland::Keymap> keymap = Wayland::Keymap::create();
    WaylandKeyboardLayout layout(keymap);
    const auto trigger = readStoredTrigger(facts, layout);
    if (!trigger)
        return;
    SwayHotKeyService hotKeys(ipc, keymap);
    if (const auto binding =
            hotKeys.userBinding(std::uint32_t(trigger->carbonKeyCode), std::uint32_t(trigger->carbonModifiers))) {
        facts.triggerOwner = DesktopFacts::TriggerOwner::desktopBinding;
        facts.triggerBinding =
            QStringLiteral("“%1” (%2, line %3)").arg(binding->command, binding->file).arg(binding->line);
    } else {
        facts.triggerOwner = DesktopFacts::TriggerOwner::free;
    }
}

// KWin's side of `--check`: whether Mosaro's script loads and calls back (a running Mosaro has it
// loaded already, under the same name, so then the running one is taken at its word).
void readKWin(const QString& service, DesktopFacts& facts)
{
    CompositorFacts& c = *facts.wayland;
    c.name = QStringLiteral("KWin");
    c.channel = service;
    c.moves = QStringLiteral("moves: through Mosaro's KWin script, loaded over D-Bus and calling back; the frame "
                             "KWin settles at is the answer");
    c.outputEvents = true;
    KWinScripting kwin;
    c.version = kwin.version();
    const auto running = askRunningMosaro(QDBusConnection::sessionBus());
    if (running) {
        c.channelAnswers = true;
    } else if (kwin.load({})) {
        c.channelAnswers = true;
    } else {
        c.channelProblem = kwin.problem();
        return;
    }
    if (const auto answer =
            kwin.loaded() ? kwin.request({{QStringLiteral("op"), QStringLiteral("outputs")}}) : std::nullopt)
        if (const auto outputs = KWin::outputs(answer->value(QStringLiteral("outputs"))))
            c.outputs = int(outputs->size());
    const QStringList beep = WaylandBeeper::command();
    c.beepPlayer = beep.isEmpty() ? QString() : QFileInfo(beep.first()).fileName();

    const std::shared_ptr<const Wayland::Keymap> keymap = Wayland::Keymap::create();
    WaylandKeyboardLayout layout(keymap);
    const auto trigger = readStoredTrigger(facts, layout);
    if (!trigger || !keymap)
        return;
    KWinHotKeyService hotKeys(
        kwin, [&](std::uint32_t code, std::uint32_t modifiers) { return KWin::kdeKey(*keymap, code, modifiers); });
    const auto binding =
        hotKeys.desktopBinding(std::uint32_t(trigger->carbonKeyCode), std::uint32_t(trigger->carbonModifiers));
    // The running Mosaro holds its own trigger: that is no conflict.
    if (binding && !(running && running->grabbed)) {
        facts.triggerOwner = DesktopFacts::TriggerOwner::desktopBinding;
        facts.triggerBinding = QStringLiteral("“%1” (KDE's shortcuts)").arg(*binding);
    } else if (facts.triggerOwner == DesktopFacts::TriggerOwner::unknown) {
        facts.triggerOwner = DesktopFacts::TriggerOwner::free;
    }
}

void readGnome(DesktopFacts& facts, int outputs)
{
    CompositorFacts& c = *facts.wayland;
    c.name = QStringLiteral("GNOME Shell");
    c.channel = QStringLiteral("the session bus");
    QString shellVersion;
    const auto extension = readExtensionFacts(nullptr, QDBusConnection::sessionBus(),
                                              BuildBundleInfo().shortVersion().value_or(QString()), &shellVersion);
    const Gnome::ExtensionState state = Gnome::extensionState(extension);
    c.version = shellVersion;
    c.extension = Gnome::describe(state);
    c.channelAnswers = state == Gnome::ExtensionState::enabled;
    // The advice the help window gives, in GNOME's words, whatever session --check itself was started in.
    setHostSession(HostSession::gnome);
    c.extensionAdvice = hostText(Gnome::advice(state));
    c.shortcutsInhibit = true;
    c.outputEvents = true;
    c.outputs = outputs;
    c.moves = QStringLiteral("moves: through Mosaro's GNOME Shell extension; a maximized window is un-maximized to "
                             "take its cell");
    c.keys = QStringLiteral("keys: the extension sets GNOME's own shortcuts aside while the panel shows");
    c.announcer = QStringLiteral("the extension");
    c.beep = QStringLiteral("beep: the desktop's bell sound, played by GNOME Shell");
}

} // namespace

WaylandChoice chooseWaylandBackend()
{
    const QString sway = qEnvironmentVariable("SWAYSOCK");
    if (!sway.isEmpty()) {
        Sway::IpcSocket probe;
        if (probe.open(sway, Sway::IpcSocket::Clock::now() + Sway::Ipc::messagingTimeout))
            return {WaylandBackend::sway, sway};
    }
    const QString kwin = QStringLiteral("org.kde.KWin");
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected() && bus.interface()->isServiceRegistered(kwin).value())
        return {WaylandBackend::kwin, kwin};
    if (Gnome::shellRuns(QDBusConnection::sessionBus()))
        return {WaylandBackend::gnome, QString()};
    return {};
}

bool probeWaylandDisplay(QString* error)
{
    wl_display* display = wl_display_connect(nullptr);
    if (display) {
        wl_display_disconnect(display);
        return true;
    }
    if (error)
        *error = QStringLiteral("cannot connect to the Wayland display %1 (%2)")
                     .arg(waylandDisplayName(), QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}

std::unique_ptr<DesktopPlatform> makeWaylandPlatform(QString* error)
{
    const WaylandChoice choice = chooseWaylandBackend();
    switch (choice.backend) {
    case WaylandBackend::sway:
        return makeSwayPlatform(choice.channel);
    case WaylandBackend::kwin:
        return makeKWinPlatform();
    case WaylandBackend::gnome:
        return makeGnomePlatform();
    case WaylandBackend::unknown:
        break;
    }
    Log::lifecycle().error(unknownCompositorMessage);
    if (error)
        *error = QString::fromLatin1(unknownCompositorMessage) + QStringLiteral("; `mosaro --check` says more");
    return nullptr;
}

int runWaylandDesktopCheck(int argc, char** argv)
{
    std::unique_ptr<QCoreApplication> app;
    if (!QCoreApplication::instance())
        app = std::make_unique<QCoreApplication>(argc, argv);
    DesktopFacts facts;
    facts.sessionType = qEnvironmentVariable("XDG_SESSION_TYPE");
    facts.wayland.emplace();
    facts.wayland->waylandDisplay = waylandDisplayName();
    if (const auto globals = waylandGlobals()) {
        facts.wayland->displayReachable = true;
        facts.wayland->shortcutsInhibit =
            globals->contains(QStringLiteral("zwp_keyboard_shortcuts_inhibit_manager_v1"));
        facts.wayland->outputs = int(globals->count(QStringLiteral("wl_output")));
        const WaylandChoice choice = chooseWaylandBackend();
        if (choice.backend == WaylandBackend::sway)
            readSway(choice.channel, facts);
        else if (choice.backend == WaylandBackend::kwin)
            readKWin(choice.channel, facts);
        else if (choice.backend == WaylandBackend::gnome)
            readGnome(facts, int(globals->count(QStringLiteral("wl_output"))));
    }
    readSessionFacts(facts, QDBusConnection::sessionBus());
    return printFindings(facts);
}

std::optional<HeldTrigger> triggerHeldByDesktop(HotKeyService& hotKeys)
{
    const auto trigger = KeyboardShortcuts::getShortcut(nameFor(HotkeyAction::trigger));
    if (!trigger)
        return std::nullopt;
    const auto binding =
        hotKeys.desktopBinding(std::uint32_t(trigger->carbonKeyCode), std::uint32_t(trigger->carbonModifiers));
    return binding ? std::optional<HeldTrigger>(HeldTrigger{trigger->description(), *binding}) : std::nullopt;
}

} // namespace mosaro
