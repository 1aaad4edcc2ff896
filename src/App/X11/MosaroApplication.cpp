#include "App/X11/MosaroApplication.h"

#include "App/AppDelegate.h"
#include "App/CommandLine.h"
#include "App/MenuContent.h"
#include "App/RemoteCommands.h"
#include "App/UI/AboutDialog.h"
#include "App/UI/ApplicationIcon.h"
#include "App/UI/TrayMenu.h"
#include "App/X11/DesktopCheck.h"
#include "App/X11/DesktopServices.h"
#include "App/X11/TerminationGuard.h"
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
#include "Platform/X11/X11Accessibility.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "Platform/X11/X11Beeper.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11DesktopWatcher.h"
#include "Platform/X11/X11HotKeyService.h"
#include "Platform/X11/X11PanelHost.h"
#include "Platform/X11/X11ScreenList.h"
#include "Platform/X11/XkbKeyboardLayout.h"
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

namespace {} // namespace

// Declared in the order they are built; destroyed in reverse, the windows before the services
// they use.
struct MosaroApplication::Services {
    explicit Services(std::unique_ptr<X11Connection> x11)
        : connection(std::move(x11)), screens(*connection), accessibility(*connection), trust(*connection),
          beeper(*connection), hotKeys(*connection), layout(*connection),
          watcher(*connection, NotificationCenter::workspaceCenter(), NotificationCenter::defaultCenter()),
          panelHost(*connection, screens, &hotKeys), panels(panelHost, monitors, NotificationCenter::defaultCenter()),
          welcomeWindows(NotificationCenter::defaultCenter()),
          help([this] { return describeWindowManager(*connection); }),
          delegate(AppEnvironment{
              accessibility,
              trust,
              defaults,
              urlOpener,
              scheduler,
              application,
              OverlayPlatform{screens, beeper, application, monitors, panels, NotificationCenter::defaultCenter(),
                              NotificationCenter::workspaceCenter(), preferencesFileURL()},
              [this](std::function<void()> onContinue) {
                  auto& onboarding = OnboardingPresenter::shared();
                  onboarding.configure(delegate.permissionGate(), &welcomeWindows, &application);
                  onboarding.showIfNeeded(std::move(onContinue));
              },
          }),
          diagnostics(DiagnosticsSources{bundle, operatingSystem, hardware, screens, trust, preferencesFileURL(),
                                         logReader, clock, pasteboard, urlOpener}),
          updateAnswers(urlOpener),
          updateService(AppcastUpdateService::Environment{defaults, scheduler, clock, updateAnswers,
                                                          bundle.shortVersion().value_or(QString())}),
          updater(updateService)
    {}

    std::unique_ptr<X11Connection> connection;
    X11ScreenList screens;
    X11Accessibility accessibility;
    X11AccessibilityTrust trust;
    X11Beeper beeper;
    X11HotKeyService hotKeys;
    XkbKeyboardLayout layout;
    FileDefaultsStore defaults;
    LocalEventMonitors monitors;
    QtScheduler scheduler;
    DesktopUrlOpener urlOpener;
    X11Application application;
    X11DesktopWatcher watcher;
    X11PanelHost panelHost;
    PanelOverlayWindowFactory panels;
    QtOnboardingWindowFactory welcomeWindows;
    WindowManagerHelp help;
    AppDelegate delegate;
    BuildBundleInfo bundle;
    LinuxOperatingSystemInfo operatingSystem;
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
    QPointer<AboutDialog> about;
    bool terminated = false;
};

std::unique_ptr<MosaroApplication> MosaroApplication::create(QString* error)
{
    auto connection = std::make_unique<X11Connection>();
    if (!connection->isConnected()) {
        if (error)
            *error = QStringLiteral("cannot connect to the X display %1").arg(qEnvironmentVariable("DISPLAY"));
        return nullptr;
    }
    connection->attachToEventLoop();
    return std::unique_ptr<MosaroApplication>(new MosaroApplication(std::make_unique<Services>(std::move(connection))));
}

MosaroApplication::MosaroApplication(std::unique_ptr<Services> services) : m_services(std::move(services))
{
    Services& s = *m_services;
    s.screens.onDisplaysChanged = [&s] { s.watcher.displaysChanged(); };
    // A window the manager holds inside the free area it did not fit has landed; the display
    // list knows that area.
    s.accessibility.mover().setHoldingAreas([&s] { return s.screens.xHoldingAreas(); });
    // Where the host would open its accessibility settings or show its prompt, the help on
    // window managers comes to the front.
    s.urlOpener.showAccessibilitySettings = [&s] { s.help.show(); };
    s.trust.showPrompt = [&s] { s.help.show(); };

    KeyboardShortcuts::configure({&s.defaults, &s.hotKeys, &s.layout, &NotificationCenter::defaultCenter()});
    KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));

    s.menu = std::make_unique<MenuContent>(AccessibilityStatusMonitor::shared(), s.updater, s.application,
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
        m_services->application.activateIgnoringOtherApps();
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
            s.screens,
            s.loginItems,
            s.updater,
            *gate,
            s.scheduler,
            OnboardingPresenter::shared(),
            BundleFacts{s.bundle.shortVersion(), s.bundle.buildVersion(), QStringLiteral("tech.brenmark.mosaro")},
        });
    }
    s.application.activateIgnoringOtherApps();
    s.settings->show();
}

void MosaroApplication::showSettingsFromOutside()
{
    m_services->application.activateIgnoringOtherApps();
    openSettings();
}

DBusSingleInstance::TriggerState MosaroApplication::triggerState()
{
    const auto shortcut = KeyboardShortcuts::getShortcut(nameFor(HotkeyAction::trigger));
    if (!shortcut)
        return {};
    return {m_services->hotKeys.holds(std::uint32_t(shortcut->carbonKeyCode), std::uint32_t(shortcut->carbonModifiers)),
            shortcut->description()};
}

X11Connection& MosaroApplication::connection()
{
    return *m_services->connection;
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
        return runDesktopCheck(argc, argv);
    case CommandLine::Action::run:
        break;
    }

    // Before Qt, which aborts when it cannot connect; before anything is written.
    {
        X11Connection probe;
        if (!probe.isConnected()) {
            const QString display = qEnvironmentVariable("DISPLAY");
            const int error = probe.connection() ? xcb_connection_has_error(probe.connection()) : 0;
            printLine(stderr, display.isEmpty() ? QStringLiteral("mosaro: cannot open display")
                                                : QStringLiteral("mosaro: cannot open display %1 (%2)")
                                                      .arg(display, X11Connection::describeConnectionError(error)));
            return 1;
        }
    }
    // All geometry is in X pixels, whatever scaling Qt would apply.
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    qputenv("QT_QPA_PLATFORM", "xcb");

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

    QString error;
    const auto mosaro = MosaroApplication::create(&error);
    if (!mosaro) {
        printLine(stderr, QStringLiteral("mosaro: ") + error);
        return 1;
    }
    // `mosaro --check` asks the running one whether it holds its trigger.
    instance.triggerState = [&running] {
        return running ? running->triggerState() : DBusSingleInstance::TriggerState{};
    };
    quitOnSignals(app);
    TerminationGuard termination(mosaro->connection(), [&mosaro] { mosaro->terminate(); });
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [&termination] { termination.terminate(); });
    mosaro->start();
    running = mosaro.get();
    const int status = QApplication::exec();
    running = nullptr;
    return status;
}

} // namespace mosaro
