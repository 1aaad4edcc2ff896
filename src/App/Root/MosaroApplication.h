#pragma once

#include "Platform/Linux/DBusSingleInstance.h"
#include "Platform/SingleInstance.h"

#include <QString>

#include <functional>
#include <memory>

namespace mosaro {

class AppDelegate;
class DesktopPlatform;
class UpdaterController;
class LoginItemService;

// The application: every long-lived service built over the desktop platform chosen at start, the
// delegate that starts them in their order, the tray menu, the About and help windows, and the
// answers to the session's other Mosaro processes. Lives as long as the event loop runs.
class MosaroApplication {
public:
    // Needs the QApplication; takes the platform over.
    explicit MosaroApplication(std::unique_ptr<DesktopPlatform> platform);
    ~MosaroApplication();
    MosaroApplication(const MosaroApplication&) = delete;
    MosaroApplication& operator=(const MosaroApplication&) = delete;

    // Launching has finished: the delegate builds and starts everything, then the tray icon shows.
    void start();
    // The termination path: the presenter stops (a visible overlay is dismissed, a changed grid
    // size saved), then the tray icon and the windows go.
    void terminate();

    // A command of another Mosaro process of the session.
    void handle(RemoteCommand command);

    void showAbout();
    // Opens the settings window, or brings it to the front.
    void openSettings();

    // Whether the trigger's grab is held, and the trigger as the desktop writes it.
    DBusSingleInstance::TriggerState triggerState();

    DesktopPlatform& platform();
    AppDelegate& delegate();
    UpdaterController& updater();
    LoginItemService& loginItems();

private:
    struct Services;
    void showSettingsFromOutside();

    std::unique_ptr<DesktopPlatform> m_platform;
    std::unique_ptr<Services> m_services;
};

// The program: reads the command line, answers --help and --version without a display, hands
// --trigger and --quit to the running Mosaro, and otherwise runs it. Returns the exit status.
int runMosaro(int argc, char** argv);

} // namespace mosaro
