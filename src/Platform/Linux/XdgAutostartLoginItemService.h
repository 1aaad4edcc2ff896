#pragma once

#include "Platform/LoginItemService.h"

#include <QString>

namespace mosaro {

// Starting at login through an XDG autostart entry, mosaro.desktop in the user's autostart
// folder, whose Exec line is the absolute path of the running program. The entry counts as
// registered exactly when it exists and does not disable itself (Hidden=true, or
// X-GNOME-Autostart-enabled=false).
class XdgAutostartLoginItemService final : public LoginItemService {
public:
    // The user's autostart folder ($XDG_CONFIG_HOME/autostart) and the running program.
    XdgAutostartLoginItemService();
    XdgAutostartLoginItemService(QString autostartFolder, QString executablePath);

    Status<QString> registerApp() override;
    Status<QString> unregisterApp() override;
    RegistrationStatus status() const override;

    QString entryPath() const;
    // The entry's text as registration writes it.
    QString entryText() const;

private:
    QString m_folder;
    QString m_executable;
};

// The Exec value for a program path, quoted as desktop entries require when it needs quoting.
QString desktopEntryExecValue(const QString& programPath);

} // namespace mosaro
