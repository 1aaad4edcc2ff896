#include "App/Wayland/WaylandPlatform.h"

#include "App/Desktop/DesktopCheckFacts.h"
#include "App/Wayland/GnomePlatform.h"
#include "App/Wayland/SwayPlatform.h"
#include "Diagnostics/Log/Log.h"
#include "Platform/BuildInfo.h"
#include "Platform/HostTexts.h"
#include "Platform/Wayland/Gnome/GnomeDesktop.h"
#include "Platform/Wayland/Sway/SwayDesktop.h"
#include "Platform/Wayland/Sway/SwayHotKeyService.h"
#include "Platform/Wayland/Sway/SwayIpc.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <wayland-client.h>

#include <cstdio>
#include <cstring>
#include <memory>

namespace mosaro {

namespace {

constexpr const char* unknownCompositorMessage =
    "no channel to this Wayland compositor: Mosaro places windows through the compositor's own channel and "
    "knows sway's IPC ($SWAYSOCK) and GNOME Shell (through its extension); XWayland cannot place native Wayland "
    "windows";

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
    const QStringList beep = SwayBeeper::command();
    c.beepPlayer = beep.isEmpty() ? QString() : QFileInfo(beep.first()).fileName();

    SwayKeyboardLayout layout;
    const auto trigger = readStoredTrigger(facts, layout);
    if (!trigger)
        return;
    SwayHotKeyService hotKeys(ipc, Sway::Keymap::create());
    if (const auto binding =
            hotKeys.userBinding(std::uint32_t(trigger->carbonKeyCode), std::uint32_t(trigger->carbonModifiers))) {
        facts.triggerOwner = DesktopFacts::TriggerOwner::desktopBinding;
        facts.triggerBinding =
            QStringLiteral("“%1” (%2, line %3)").arg(binding->command, binding->file).arg(binding->line);
    } else {
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
    c.beepPlayer = QStringLiteral("GNOME Shell");
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
        const WaylandChoice choice = chooseWaylandBackend();
        if (choice.backend == WaylandBackend::sway)
            readSway(choice.channel, facts);
        else if (choice.backend == WaylandBackend::gnome)
            readGnome(facts, int(globals->count(QStringLiteral("wl_output"))));
    }
    readSessionFacts(facts, QDBusConnection::sessionBus());
    return printFindings(facts);
}

} // namespace mosaro
