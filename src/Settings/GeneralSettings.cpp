#include "Settings/GeneralSettings.h"

#include "App/LoginItem/LoginItem.h"
#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"

#include <algorithm>

namespace mosaro {

std::int64_t StepperRange::clamped(std::int64_t value) const
{
    return std::clamp(value, lowest, highest);
}

QString marginLabel(std::int64_t margin)
{
    return QString::number(margin) + QStringLiteral(" px");
}

std::vector<ScreenEntry> displayList(const QStringList& attachedNames, const PerDisplayGridMap& grids)
{
    std::vector<ScreenEntry> entries;
    entries.reserve(attachedNames.size() + grids.overrides.size());
    for (const QString& name : attachedNames)
        entries.push_back({name, true});
    for (const auto& [name, grid] : grids.overrides) {
        if (!attachedNames.contains(name))
            entries.push_back({name, false});
    }
    return entries;
}

GridDimensions displayGrid(const ProSettings& settings, const QString& displayName)
{
    if (!displayName.isEmpty()) {
        const auto it = settings.perDisplayGrids.overrides.find(displayName);
        if (it != settings.perDisplayGrids.overrides.end())
            return it->second;
    }
    return settings.globalGrid;
}

ProSettings withDisplayColumns(ProSettings settings, const QString& displayName, std::int64_t columns)
{
    const GridDimensions shown = displayGrid(settings, displayName);
    settings.perDisplayGrids.overrides[displayName] = {columns, shown.rows};
    return settings;
}

ProSettings withDisplayRows(ProSettings settings, const QString& displayName, std::int64_t rows)
{
    const GridDimensions shown = displayGrid(settings, displayName);
    settings.perDisplayGrids.overrides[displayName] = {shown.columns, rows};
    return settings;
}

ProSettings withDisplayReset(ProSettings settings, const QString& displayName)
{
    if (!displayName.isEmpty())
        settings.perDisplayGrids.overrides.erase(displayName);
    return settings;
}

const std::vector<LegalLink>& legalLinks()
{
    static const std::vector<LegalLink> links{
        {QStringLiteral("Terms of Service"), QStringLiteral(MOSARO_TERMS_OF_SERVICE_URL)},
        {QStringLiteral("Privacy Policy"), QStringLiteral(MOSARO_PRIVACY_POLICY_URL)},
    };
    return links;
}

bool LaunchAtLoginSwitch::read() const
{
    return isLaunchAtLoginEnabled(m_service);
}

bool LaunchAtLoginSwitch::flip(bool enabled)
{
    const auto result = setLaunchAtLogin(m_service, enabled);
    if (result)
        return enabled;
    Log::lifecycle().error(LogMessages::loginItemFailed, enabled, result.error());
    return read();
}

} // namespace mosaro
