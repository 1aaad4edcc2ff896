// Mosaro: a keyboard-driven window tiler for X11 desktops.

#include "App/AppDelegate.h"
#include "App/X11/DesktopServices.h"
#include "App/X11/TerminationGuard.h"
#include "Diagnostics/Log.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Permission/OnboardingPresenter.h"
#include "Permission/UI/OnboardingWidget.h"
#include "Platform/FileDefaultsStore.h"
#include "Platform/LocalEventMonitors.h"
#include "Platform/QtScheduler.h"
#include "Platform/X11/X11Accessibility.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "Platform/X11/X11Beeper.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11DesktopWatcher.h"
#include "Platform/X11/X11HotKeyService.h"
#include "Platform/X11/X11OverlayWindow.h"
#include "Platform/X11/X11ScreenList.h"
#include "Platform/X11/XkbKeyboardLayout.h"
#include "Preferences/PreferencesFile.h"

#include <QApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

using namespace mosaro;

namespace {

int g_signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] auto n = ::write(g_signalPipe[1], &c, 1);
}

// SIGINT, SIGTERM and SIGHUP (the terminal or the session going away) end the event loop
// normally, so the overlay is torn down and a resized grid saved before the process exits.
void quitOnSignals(QApplication& app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_signalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [&app] {
        char c;
        [[maybe_unused]] auto n = ::read(g_signalPipe[0], &c, 1);
        app.quit();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}

bool hasArgument(int argc, char** argv, const char* name)
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], name) == 0)
            return true;
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::fputs("mosaro: cannot open display\n", stderr);
        return 1;
    }
    // All geometry is in X pixels, whatever scaling Qt would apply.
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    qputenv("QT_QPA_PLATFORM", "xcb");

    // Before Qt, which aborts when it cannot connect.
    X11Connection connection;
    if (!connection.isConnected()) {
        std::fprintf(stderr, "mosaro: cannot connect to the X display %s: %s\n", qgetenv("DISPLAY").constData(),
                     qPrintable(X11Connection::describeConnectionError(
                         connection.connection() ? xcb_connection_has_error(connection.connection()) : 0)));
        return 1;
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Mosaro"));
    QApplication::setQuitOnLastWindowClosed(false);

    Log::enablePrivateDataIfRequested(QCoreApplication::arguments());
    const bool verbose = hasArgument(argc, argv, "--verbose");
    if (verbose)
        Log::setMinimumLevel(Log::Level::debug);
    // --log-stdout and --log-stderr echo the log for whoever started us (tests, the demo).
    installLogSinks(hasArgument(argc, argv, "--log-stdout")              ? stdout
                    : verbose || hasArgument(argc, argv, "--log-stderr") ? stderr
                                                                         : nullptr);

    connection.attachToEventLoop();

    X11ScreenList screens(connection);
    X11Accessibility accessibility(connection);
    X11AccessibilityTrust trust(connection);
    X11Beeper beeper(connection);
    X11HotKeyService hotKeys(connection);
    XkbKeyboardLayout layout(connection);
    FileDefaultsStore defaults;
    LocalEventMonitors monitors;
    QtScheduler scheduler;
    DesktopUrlOpener urlOpener;
    X11Application application;
    NotificationCenter& defaultCenter = NotificationCenter::defaultCenter();
    NotificationCenter& workspaceCenter = NotificationCenter::workspaceCenter();
    X11DesktopWatcher watcher(connection, workspaceCenter, defaultCenter);
    screens.onDisplaysChanged = [&watcher] { watcher.displaysChanged(); };
    X11OverlayWindowFactory panels(connection, screens, monitors, defaultCenter, &hotKeys);

    KeyboardShortcuts::configure({&defaults, &hotKeys, &layout, &defaultCenter});
    KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));

    QtOnboardingWindowFactory welcomeWindows(defaultCenter);
    AppDelegate delegate(AppEnvironment{
        accessibility,
        trust,
        defaults,
        urlOpener,
        scheduler,
        application,
        OverlayPlatform{screens, beeper, application, monitors, panels, defaultCenter, workspaceCenter,
                        preferencesFileURL()},
        [&](std::function<void()> onContinue) {
            auto& onboarding = OnboardingPresenter::shared();
            onboarding.configure(delegate.permissionGate(), &welcomeWindows, &application);
            onboarding.showIfNeeded(std::move(onContinue));
        },
    });

    quitOnSignals(app);
    TerminationGuard termination(connection, [&delegate] { delegate.applicationWillTerminate(); });
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [&termination] { termination.terminate(); });
    delegate.applicationDidFinishLaunching();
    return app.exec();
}
