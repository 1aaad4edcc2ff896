#pragma once

#include "Platform/NotificationCenter.h"

#include <QString>
#include <array>
#include <optional>

namespace mosaro {

// The settings window's tabs, in their order.
enum class SettingsPane {
    general,
    shortcuts,
    about,
};

inline constexpr std::array<SettingsPane, 3> allSettingsPanes{SettingsPane::general, SettingsPane::shortcuts,
                                                              SettingsPane::about};

// "general", "shortcuts", "about"
QString rawValue(SettingsPane pane);
// Exact match only.
std::optional<SettingsPane> settingsPaneFromRawValue(const QString& rawValue);
// "General", "Shortcuts", "About"
QString tabLabel(SettingsPane pane);
// "Mosaro Settings - " and the tab label.
QString settingsWindowTitle(SettingsPane pane);

// Posted on the default centre by whoever wants the window on a given pane, before opening it;
// the user info's "pane" holds the pane's raw value.
inline const QString openSettingsToPaneNotification = QStringLiteral("tech.brenmark.mosaro.openSettingsToPane");
inline const QString openSettingsToPaneKey = QStringLiteral("pane");

// The pane a request names: nothing without user info, without the entry, for a value that is
// not text, or for text that names no pane.
std::optional<SettingsPane> requestedPane(const Notification& note);

// The user info of a request for the pane.
QVariantMap openSettingsToPaneUserInfo(SettingsPane pane);

} // namespace mosaro
