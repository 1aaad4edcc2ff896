#include "App/Root/MosaroApplication.h"

#include "App/AppDelegate.h"
#include "App/CommandLine.h"
#include "App/Desktop/DesktopPlatform.h"
#include "App/Desktop/DesktopServices.h"
#include "App/MenuContent.h"
#include "App/RemoteCommands.h"
#include "App/UI/AboutDialog.h"
#include "App/UI/ApplicationIcon.h"
#include "App/UI/MenuTracking.h"
#include "App/UI/TrayMenu.h"
#include "App/Wayland/WaylandPlatform.h"
#include "App/X11/X11Platform.h"
#include "Diagnostics/DiagnosticsReport.h"
#include "Diagnostics/Log/Log.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Overlay/UI/PanelOverlayWindow.h"
#include "Permission/AccessibilityStatusMonitor.h"
#include "Permission/OnboardingPresenter.h"
#include "Permission/UI/OnboardingWidget.h"
#include "Permission/UI/WindowManagerHelpWindow.h"
#include "Platform/BuildInfo.h"
#include "Platform/FileDefaultsStore.h"
#include "Platform/Linux/DBusSingleInstance.h"
#include "Platform/Linux/JournalLog.h"
#include "Platform/Linux/LinuxSystemInfo.h"
#include "Platform/Linux/XdgAutostartLoginItemService.h"
#include "Platform/LocalEventMonitors.h"
#include "Platform/QtScheduler.h"
#include "Platform/SystemClock.h"
#include "Preferences/PreferencesFile.h"
#include "Settings/UI/SettingsWindow.h"
#include "Updates/AppcastUpdateService.h"
#include "Updates/UI/UpdateAnswerDialog.h"
#include "Updates/UpdaterController.h"

#include <QApplication>
#include <QPointer>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace mosaro {

// Declared in the order they are built; destroyed in reverse, the windows before the services
// they use.
struct MosaroApplication::Services {
    explicit Services(DesktopPlatform& desktop)
        : platform(desktop), panels(platform.panelHost(), monitors, NotificationCenter::defaultCenter()),
          welcomeWindows(NotificationCenter::defaultCenter()), help([this] { return platform.describeDesktop(); }),
          delegate(AppEnvironment{
              platform.accessibility(),
              platform.trust(),
              defaults,
              urlOpener,
              scheduler,
              platform.application(),
              OverlayPlatform{platform.screens(), platform.beeper(), platform.application(), monitors, panels,
                              NotificationCenter::defaultCenter(), NotificationCenter::workspaceCenter(),
                              preferencesFileURL()},
              [this](std::function<void()> onContinue) {
                  auto& onboarding = OnboardingPresenter::shared();
                  onboarding.configure(delegate.permissionGate(), &welcomeWindows, &platform.application());
                  onboarding.showIfNeeded(std::move(onContinue));
              },
          }),
          operatingSystem(system, platform),
          diagnostics(DiagnosticsSources{bundle, operatingSystem, hardware, platform.screens(), platform.trust(),
                                         preferencesFileURL(), logReader, clock, pasteboard, urlOpener}),
          updateAnswers(urlOpener),
          updateService(AppcastUpdateService::Environment{defaults, scheduler, clock, updateAnswers,
                                                          bundle.shortVersion().value_or(QString())}),
          updater(updateService)
    {}

    DesktopPlatform& platform;
    FileDefaultsStore defaults;
    LocalEventMonitors monitors;
    QtScheduler scheduler;
    DesktopUrlOpener urlOpener;
    PanelOverlayWindowFactory panels;
    QtOnboardingWindowFactory welcomeWindows;
    WindowManagerHelp help;
    AppDelegate delegate;
    BuildBundleInfo bundle;
    LinuxOperatingSystemInfo system;
    SessionOperatingSystemInfo operatingSystem;
    LinuxHardwareInfo hardware;
    ProcessLogReader logReader;
    SystemClock clock;
    DesktopPasteboard pasteboard;
    Diagnostics diagnostics;
    UpdateAnswerDialogs updateAnswers;
    AppcastUpdateService updateService;
    UpdaterController updater;
    XdgAutostartLoginItemService loginItems;
    std::unique_ptr<SettingsWindowController> settings;
    std::unique_ptr<MenuContent> menu;
    std::unique_ptr<TrayMenu> tray;
    MenuTracking menuTracking{NotificationCenter::defaultCenter()};
    QPointer<AboutDialog> about;
    bool terminated = false;
};

MosaroApplication::MosaroApplication(std::unique_ptr<DesktopPlatform> platform)
    : m_platform(std::move(platform)), m_services(std::make_unique<Services>(*m_platform))
{
    Services& s = *m_services;
    // Where the host would open its accessibility settings or show its prompt, the help on
    // window managers comes to the front.
    s.urlOpener.showAccessibilitySettings = [&s] { s.help.show(); };
    m_platform->showHelp = [&s] { s.help.show(); };
    // A lost desktop ends the run as any quit does, saving first, with exit code 1.
    m_platform->onConnectionLost = [this] {
        terminate();
        QCoreApplication::exit(1);
    };

    KeyboardShortcuts::configure(
        {&s.defaults, &m_platform->hotKeys(), &m_platform->keyboardLayout(), &NotificationCenter::defaultCenter()});
    KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));

    s.menu = std::make_unique<MenuContent>(AccessibilityStatusMonitor::shared(), s.updater, m_platform->application(),
                                           MenuContent::Actions{
                                               [this] { showAbout(); },
                                               [&s] {
                                                   if (PermissionGate* gate = s.delegate.permissionGate())
                                                       gate->openAccessibilitySettings();
                                               },
                                               [this] { openSettings(); },
                                               [&s] { s.diagnostics.copyDiagnostics(); },
                                               [&s] { s.diagnostics.reportBug(); },
                                               [] { QCoreApplication::quit(); },
                                           });
    s.tray = std::make_unique<TrayMenu>(*s.menu, applicationIcon());
}

MosaroApplication::~MosaroApplication()
{
    terminate();
    OnboardingPresenter::shared().configure(nullptr, nullptr, nullptr);
    m_platform->showHelp = nullptr;
    m_platform->onConnectionLost = nullptr;
    // The services go before the platform they were built over.
    m_services.reset();
}

void MosaroApplication::start()
{
    m_services->delegate.applicationDidFinishLaunching();
    m_services->tray->show();
}

void MosaroApplication::terminate()
{
    Services& s = *m_services;
    if (s.terminated)
        return;
    s.terminated = true;
    s.delegate.applicationWillTerminate();
    s.tray->hide();
    if (s.about)
        s.about->close();
    s.settings.reset();
}

void MosaroApplication::handle(RemoteCommand command)
{
    switch (command) {
    case RemoteCommand::trigger:
        if (OverlayPresenter* presenter = m_services->delegate.presenter())
            presenter->handleTrigger();
        break;
    case RemoteCommand::showSettings:
        showSettingsFromOutside();
        break;
    case RemoteCommand::showAbout:
        m_platform->application().activateIgnoringOtherApps();
        showAbout();
        break;
    case RemoteCommand::quit:
        QCoreApplication::quit();
        break;
    }
}

void MosaroApplication::showAbout()
{
    Services& s = *m_services;
    if (!s.about)
        s.about = new AboutDialog(QCoreApplication::applicationVersion());
    s.about->show();
    s.about->raise();
    s.about->activateWindow();
}

void MosaroApplication::openSettings()
{
    Services& s = *m_services;
    // The window needs the permission gate, which the launch builds.
    PermissionGate* gate = s.delegate.permissionGate();
    if (!gate)
        return;
    if (!s.settings) {
        s.settings = std::make_unique<SettingsWindowController>(SettingsEnvironment{
            NotificationCenter::defaultCenter(),
            m_platform->screens(),
            s.loginItems,
            s.updater,
            *gate,
            s.scheduler,
            OnboardingPresenter::shared(),
            BundleFacts{s.bundle.shortVersion(), s.bundle.buildVersion(), QStringLiteral("tech.brenmark.mosaro")},
        });
    }
    m_platform->application().activateIgnoringOtherApps();
    s.settings->show();
}

void MosaroApplication::showSettingsFromOutside()
{
    m_platform->application().activateIgnoringOtherApps();
    openSettings();
}

DBusSingleInstance::TriggerState MosaroApplication::triggerState()
{
    const auto shortcut = KeyboardShortcuts::getShortcut(nameFor(HotkeyAction::trigger));
    if (!shortcut)
        return {};
    return {m_platform->holdsHotKey(std::uint32_t(shortcut->carbonKeyCode), std::uint32_t(shortcut->carbonModifiers)),
            shortcut->description()};
}

DesktopPlatform& MosaroApplication::platform()
{
    return *m_platform;
}

AppDelegate& MosaroApplication::delegate()
{
    return m_services->delegate;
}

UpdaterController& MosaroApplication::updater()
{
    return m_services->updater;
}

LoginItemService& MosaroApplication::loginItems()
{
    return m_services->loginItems;
}

// ---------------------------------------------------------------------------------------------

namespace {

int g_signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] auto n = ::write(g_signalPipe[1], &c, 1);
}

// SIGINT, SIGTERM and SIGHUP (the terminal or the session going away) end the event loop
// normally, so they take the termination path.
void quitOnSignals(QCoreApplication& app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_signalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [] {
        char c;
        [[maybe_unused]] auto n = ::read(g_signalPipe[0], &c, 1);
        QCoreApplication::quit();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

void printLine(std::FILE* stream, const QString& text)
{
    if (text.isEmpty())
        return;
    std::fputs(text.toLocal8Bit().constData(), stream);
    if (!text.endsWith(QLatin1Char('\n')))
        std::fputc('\n', stream);
}

void configureLog(const CommandLine& line)
{
    Log::enablePrivateDataIfRequested(QCoreApplication::arguments());
    const bool verbose = line.isSet("verbose");
    if (verbose)
        Log::setMinimumLevel(Log::Level::debug);
    // --log-stdout and --log-stderr echo the log for whoever started us (tests, the demo).
    installLogSinks(line.isSet("log-stdout") ? stdout : verbose || line.isSet("log-stderr") ? stderr : nullptr);
}

int sendToRunningInstance(int argc, char** argv, const CommandLine& line, RemoteCommand command)
{
    QCoreApplication app(argc, argv);
    configureLog(line);
    // The command answers with one line at most. Qt's bus thread can warn about its own signals
    // while this short-lived process exits; that is not for the user's terminal.
    if (!line.isSet("verbose"))
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
            if (type == QtCriticalMsg || type == QtFatalMsg)
                std::fprintf(stderr, "%s\n", qPrintable(message));
        });
    DBusSingleInstance instance;
    const LaunchOutcome outcome = sendRemoteCommand(instance, command);
    printLine(stderr, outcome.errorText);
    return outcome.exitCode;
}

// The platform is chosen once, from the session: a Wayland session is driven through its
// compositor's channel (XWayland cannot place native Wayland windows), anything else is X11.
bool isWaylandSession()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ||
           qEnvironmentVariable("XDG_SESSION_TYPE").compare(QLatin1String("wayland"), Qt::CaseInsensitive) == 0;
}

} // namespace

int runMosaro(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const CommandLine line = CommandLine::parse(arguments);
    switch (line.action()) {
    case CommandLine::Action::fail:
        printLine(stderr, QStringLiteral("mosaro: %1\nTry 'mosaro --help' for the options.").arg(line.error()));
        return 2;
    case CommandLine::Action::showHelp:
        printLine(stdout, CommandLine::helpText());
        return 0;
    case CommandLine::Action::showVersion:
        printLine(stdout, CommandLine::versionText(QStringLiteral(MOSARO_VERSION)));
        return 0;
    case CommandLine::Action::sendTrigger:
        return sendToRunningInstance(argc, argv, line, RemoteCommand::trigger);
    case CommandLine::Action::sendQuit:
        return sendToRunningInstance(argc, argv, line, RemoteCommand::quit);
    case CommandLine::Action::checkDesktop:
        return isWaylandSession() ? runWaylandDesktopCheck(argc, argv) : runX11DesktopCheck(argc, argv);
    case CommandLine::Action::run:
        break;
    }

    // Before Qt, which aborts when it cannot connect; before anything is written.
    const bool wayland = isWaylandSession();
    QString error;
    if (!(wayland ? probeWaylandDisplay(&error) : probeX11Display(&error))) {
        printLine(stderr, QStringLiteral("mosaro: ") + error);
        return 1;
    }
    // All geometry is in the desktop's layout pixels, whatever scaling Qt would apply.
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    // Qt's own choice follows XDG_SESSION_TYPE; the panel needs the platform of the session.
    qputenv("QT_QPA_PLATFORM", wayland ? "wayland" : "xcb");

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Mosaro"));
    QApplication::setApplicationVersion(QStringLiteral(MOSARO_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("tech.brenmark.mosaro"));
    QApplication::setWindowIcon(applicationIcon());
    QApplication::setQuitOnLastWindowClosed(false);
    configureLog(line);

    // The session's one Mosaro: commands of later ones reach it once it runs.
    MosaroApplication* running = nullptr;
    DBusSingleInstance instance;
    const LaunchOutcome outcome = claimSession(instance, [&running](RemoteCommand command) {
        if (running)
            running->handle(command);
    });
    if (!outcome.keepRunning) {
        printLine(stderr, outcome.errorText);
        return outcome.exitCode;
    }

    auto platform = wayland ? makeWaylandPlatform(&error) : makeX11Platform(&error);
    if (!platform) {
        printLine(stderr, QStringLiteral("mosaro: ") + error);
        return 1;
    }
    const auto mosaro = std::make_unique<MosaroApplication>(std::move(platform));
    // `mosaro --check` asks the running one whether it holds its trigger.
    instance.triggerState = [&running] {
        return running ? running->triggerState() : DBusSingleInstance::TriggerState{};
    };
    quitOnSignals(app);
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [&mosaro] { mosaro->terminate(); });
    mosaro->start();
    running = mosaro.get();
    const int status = QApplication::exec();
    running = nullptr;
    return status;
}

} // namespace mosaro
