#include "App/UI/TrayMenu.h"

#include "Diagnostics/Log/Log.h"

#include <QAction>
#include <QCursor>
#include <QKeySequence>
#include <QMenu>
#include <QSystemTrayIcon>

namespace mosaro {

namespace {

constexpr const char* noTrayMessage = "no system tray is available: Mosaro runs without its tray icon; its shortcut, "
                                      "mosaro --trigger and mosaro --quit still work";
constexpr const char* menuShownMessage = "tray menu shown: %{public}s";

} // namespace

TrayMenu::TrayMenu(MenuContent& content, const QIcon& icon, QObject* parent)
    : QObject(parent), m_content(content), m_menu(std::make_unique<QMenu>()),
      m_icon(std::make_unique<QSystemTrayIcon>(icon))
{
    m_menu->setTitle(QStringLiteral("Mosaro"));
    m_icon->setToolTip(QStringLiteral("Mosaro"));
    m_icon->setContextMenu(m_menu.get());
    // A tray whose primary click activates rather than opening the menu gets the menu all the same.
    connect(m_icon.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger && !m_menu->isVisible())
            m_menu->popup(QCursor::pos());
    });
    connect(m_menu.get(), &QMenu::aboutToShow, this, [this] {
        Log::lifecycle().debug(menuShownMessage, [this] {
            QStringList titles;
            for (const QAction* action : m_menu->actions())
                titles << (action->isSeparator() ? QStringLiteral("—") : action->text());
            return titles.join(QStringLiteral(" | "));
        });
    });
    connect(&m_content, &MenuContent::changed, this, &TrayMenu::rebuild);
    rebuild();
}

TrayMenu::~TrayMenu()
{
    m_icon->hide();
}

void TrayMenu::show()
{
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        Log::lifecycle().info(noTrayMessage);
    // Shown even so: the icon docks by itself when a tray appears later.
    m_icon->show();
}

void TrayMenu::hide()
{
    m_icon->hide();
}

void TrayMenu::rebuild()
{
    m_menu->clear();
    for (const MenuContent::Entry& entry : m_content.entries()) {
        if (entry.isSeparator()) {
            m_menu->addSeparator();
            continue;
        }
        QAction* action = m_menu->addAction(entry.title);
        action->setEnabled(entry.enabled && entry.actionable);
        if (entry.checkmark) {
            action->setCheckable(true);
            action->setChecked(true);
        }
        if (!entry.keyEquivalent.isEmpty()) {
            action->setShortcut(QKeySequence::fromString(entry.keyEquivalent, QKeySequence::PortableText));
            action->setShortcutVisibleInContextMenu(true);
        }
        const MenuContent::Item item = *entry.item;
        connect(action, &QAction::triggered, this, [this, item] { m_content.activate(item); });
    }
}

} // namespace mosaro
