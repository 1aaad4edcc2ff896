#include "Settings/SettingsPane.h"

#include <QMetaType>

namespace mosaro {

QString rawValue(SettingsPane pane)
{
    switch (pane) {
    case SettingsPane::general:
        return QStringLiteral("general");
    case SettingsPane::shortcuts:
        return QStringLiteral("shortcuts");
    case SettingsPane::about:
        return QStringLiteral("about");
    }
    return {};
}

std::optional<SettingsPane> settingsPaneFromRawValue(const QString& text)
{
    for (SettingsPane pane : allSettingsPanes) {
        if (rawValue(pane) == text)
            return pane;
    }
    return std::nullopt;
}

QString tabLabel(SettingsPane pane)
{
    switch (pane) {
    case SettingsPane::general:
        return QStringLiteral("General");
    case SettingsPane::shortcuts:
        return QStringLiteral("Shortcuts");
    case SettingsPane::about:
        return QStringLiteral("About");
    }
    return {};
}

QString settingsWindowTitle(SettingsPane pane)
{
    return QStringLiteral("Mosaro Settings - ") + tabLabel(pane);
}

std::optional<SettingsPane> requestedPane(const Notification& note)
{
    const auto entry = note.userInfo.constFind(openSettingsToPaneKey);
    if (entry == note.userInfo.constEnd() || entry->typeId() != QMetaType::QString)
        return std::nullopt;
    return settingsPaneFromRawValue(entry->toString());
}

QVariantMap openSettingsToPaneUserInfo(SettingsPane pane)
{
    return {{openSettingsToPaneKey, rawValue(pane)}};
}

} // namespace mosaro
