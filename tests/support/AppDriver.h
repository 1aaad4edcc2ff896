#pragma once

#include "App/AppDelegate.h"
#include "Diagnostics/Log/Log.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Permission/AccessibilityStatusMonitor.h"
#include "Permission/PermissionGate.h"
#include "support/FakeAccessibility.h"
#include "support/FakeHotKeyService.h"
#include "support/FakeOverlayPlatform.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeScreens.h"
#include "support/InMemoryDefaultsStore.h"

#include <QTemporaryDir>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace mosaro::test {

// The application delegate with every platform piece faked, and one journal that records, in
// the order they happen, the log lines of launching and the welcome window being considered.
class AppDriver {
public:
    struct DesktopFake : DesktopSession {
        bool isActive() const override { return active; }
        bool hasVisibleTitledWindow() const override { return titledVisible; }
        void hide() override { ++hides; }
        bool active = true;
        bool titledVisible = false;
        int hides = 0;
    };

    AppDriver()
    {
        Log::Store::shared().clear();
        PermissionGate::resetRecordedStateForTesting();
        AccessibilityStatusMonitor::shared().resetForTesting();
        KeyboardShortcuts::resetForTesting();
        KeyboardShortcuts::configure({&defaults, &hotKeys, nullptr, &center});
        m_sink = Log::Store::shared().addSink([this](const Log::Entry& e) {
            if (e.kind == Log::Entry::Kind::message)
                journal.push_back("log " + e.category.toStdString() + ": " + e.message.toStdString());
        });
        screens.add({0, 0, 1440, 900}, {0, 25, 1440, 875}, "Alpha");
        panels.center = &center;
        trust.trusted = true;
        delegate = std::make_unique<AppDelegate>(
            AppEnvironment{accessibility, trust, defaults, urls, scheduler, desktop,
                           OverlayPlatform{screens, beeper, app, monitor, panels, center, workspace, preferencesPath()},
                           [this](std::function<void()> onContinue) {
                               journal.push_back("onboarding");
                               continueAction = std::move(onContinue);
                           }});
    }

    ~AppDriver()
    {
        delegate.reset();
        Log::Store::shared().removeSink(m_sink);
        AccessibilityStatusMonitor::shared().resetForTesting();
        KeyboardShortcuts::resetForTesting();
    }

    void launch() { delegate->applicationDidFinishLaunching(); }

    QString preferencesPath() const { return m_dir.filePath(QStringLiteral("preferences.json")); }

    // Runs the one-shot timers, as the event loop would, and gives the delay each was set for.
    std::vector<double> runOneShotTimers()
    {
        std::vector<double> ran;
        for (auto [token, timer] : std::map<Scheduler::Token, FakeScheduler::Timer>(scheduler.timers)) {
            if (!timer.repeating) {
                scheduler.timers.erase(token);
                timer.callback();
                ran.push_back(timer.seconds);
            }
        }
        return ran;
    }

    // Announces that a window closes, as the platform does.
    void windowWillClose(bool titled)
    {
        center.post(PlatformNotifications::windowWillClose, &m_closingWindow,
                    {{PlatformNotifications::windowIsTitledKey, titled}});
    }

    std::vector<std::string> journal;
    InMemoryDefaultsStore defaults;
    FakeHotKeyService hotKeys;
    NotificationCenter center, workspace;
    FakeScreens screens;
    FakeAccessibility accessibility;
    FakeAccessibilityTrust trust;
    FakeUrlOpener urls;
    FakeScheduler scheduler;
    DesktopFake desktop;
    FakeBeeper beeper;
    FakeApplication app;
    FakeEventMonitor monitor;
    FakeOverlayWindowFactory panels;
    std::unique_ptr<AppDelegate> delegate;
    std::function<void()> continueAction;

private:
    QTemporaryDir m_dir;
    int m_sink = 0;
    int m_closingWindow = 0;
};

} // namespace mosaro::test
