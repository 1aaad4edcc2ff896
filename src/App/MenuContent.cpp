#include "App/MenuContent.h"

#include "Platform/HostTexts.h"

#include <algorithm>

namespace mosaro {

namespace {

MenuContent::Entry button(MenuContent::Item item, QString title, QString keyEquivalent = {})
{
    return {item, std::move(title), std::move(keyEquivalent)};
}

MenuContent::Entry separator()
{
    return {};
}

void run(const std::function<void()>& action)
{
    if (action)
        action();
}

} // namespace

MenuContent::MenuContent(AccessibilityStatusMonitor& monitor, UpdaterController& updater, Application& application,
                         Actions actions, QObject* parent)
    : QObject(parent), m_monitor(monitor), m_updater(updater), m_application(application), m_actions(std::move(actions))
{
    connect(&m_monitor, &AccessibilityStatusMonitor::isGrantedChanged, this, &MenuContent::changed);
    connect(&m_updater, &UpdaterController::canCheckForUpdatesChanged, this, &MenuContent::changed);
}

std::vector<MenuContent::Entry> MenuContent::entries() const
{
    Entry permission =
        m_monitor.isGranted()
            ? Entry{Item::permissionGranted, hostText(HostText::menuPermissionGranted), {}, true, false, true}
            : button(Item::openAccessibilitySettings, hostText(HostText::menuOpenAccessibilitySettings));
    Entry updates = button(Item::checkForUpdates, QStringLiteral("Check for Updates…"));
    updates.enabled = m_updater.canCheckForUpdates();
    return {
        button(Item::about, QStringLiteral("About Mosaro")),
        separator(),
        permission,
        separator(),
        button(Item::settings, QStringLiteral("Settings…"), hostText(HostText::settingsKeyEquivalent)),
        updates,
        separator(),
        button(Item::copyDiagnostics, QStringLiteral("Copy Diagnostics")),
        button(Item::reportBug, QStringLiteral("Report a Bug…")),
        separator(),
        button(Item::quit, QStringLiteral("Quit Mosaro"), hostText(HostText::quitKeyEquivalent)),
    };
}

void MenuContent::activate(Item item)
{
    const auto all = entries();
    const auto entry = std::find_if(all.begin(), all.end(), [item](const Entry& e) { return e.item == item; });
    if (entry == all.end() || !entry->enabled || !entry->actionable)
        return;
    switch (item) {
    case Item::about:
        m_application.activateIgnoringOtherApps();
        run(m_actions.showAbout);
        break;
    case Item::permissionGranted:
        break;
    case Item::openAccessibilitySettings:
        run(m_actions.openAccessibilitySettings);
        break;
    case Item::settings:
        m_application.activateIgnoringOtherApps();
        run(m_actions.openSettings);
        break;
    case Item::checkForUpdates:
        m_updater.checkForUpdates();
        break;
    case Item::copyDiagnostics:
        run(m_actions.copyDiagnostics);
        break;
    case Item::reportBug:
        run(m_actions.reportBug);
        break;
    case Item::quit:
        run(m_actions.quit);
        break;
    }
}

} // namespace mosaro
