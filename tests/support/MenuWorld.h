#pragma once

#include "App/MenuContent.h"
#include "Permission/AccessibilityStatusMonitor.h"
#include "Permission/PermissionGate.h"
#include "support/FakeOverlayPlatform.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeUpdateService.h"
#include "support/InMemoryDefaultsStore.h"

#include <memory>
#include <string>
#include <vector>

namespace mosaro::test {

// The tray menu's content over a faked permission poll and update service; every action it runs
// is written to `ran`.
struct MenuWorld {
    MenuWorld()
    {
        PermissionGate::resetRecordedStateForTesting();
        AccessibilityStatusMonitor::shared().resetForTesting();
        AccessibilityStatusMonitor::shared().configure(&gate, &scheduler);
        updater = std::make_unique<UpdaterController>(service);
        content = std::make_unique<MenuContent>(
            AccessibilityStatusMonitor::shared(), *updater, app,
            MenuContent::Actions{[this] { ran.push_back("about"); }, [this] { ran.push_back("permission help"); },
                                 [this] { ran.push_back("settings"); }, [this] { ran.push_back("diagnostics"); },
                                 [this] { ran.push_back("bug report"); }, [this] { ran.push_back("quit"); }});
    }
    ~MenuWorld() { AccessibilityStatusMonitor::shared().resetForTesting(); }
    MenuWorld(const MenuWorld&) = delete;
    MenuWorld& operator=(const MenuWorld&) = delete;

    FakeAccessibilityTrust trust;
    InMemoryDefaultsStore defaults;
    FakeUrlOpener urls;
    PermissionGate gate{trust, defaults, urls};
    FakeScheduler scheduler;
    FakeUpdateService service;
    std::unique_ptr<UpdaterController> updater;
    FakeApplication app;
    std::unique_ptr<MenuContent> content;
    std::vector<std::string> ran;
};

} // namespace mosaro::test
