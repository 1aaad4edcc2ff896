#pragma once

#include "App/MenuContent.h"

#include <QIcon>
#include <QObject>

#include <memory>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace mosaro {

// The tray icon and its menu, kept in step with the menu's content.
class TrayMenu : public QObject {
    Q_OBJECT
public:
    TrayMenu(MenuContent& content, const QIcon& icon, QObject* parent = nullptr);
    ~TrayMenu() override;

    // Puts the icon in the tray. Without a tray Mosaro goes on without it, and says so once.
    void show();
    void hide();

    QMenu* menu() const { return m_menu.get(); }
    QSystemTrayIcon* trayIcon() const { return m_icon.get(); }

private:
    void rebuild();

    MenuContent& m_content;
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<QSystemTrayIcon> m_icon;
};

} // namespace mosaro
