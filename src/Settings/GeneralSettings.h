#pragma once

#include "Grid/GridTypes.h"
#include "Platform/LoginItemService.h"
#include "Preferences/Preferences.h"

#include <QString>
#include <QStringList>
#include <cstdint>
#include <vector>

namespace mosaro {

// A closed range of whole numbers a stepper moves in, one at a time.
struct StepperRange {
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
    std::int64_t clamped(std::int64_t value) const;
    friend bool operator==(const StepperRange&, const StepperRange&) = default;
};

// The same limits the loader enforces on the document.
inline constexpr StepperRange columnsRange{1, 30};
inline constexpr StepperRange rowsRange{1, 20};
inline constexpr StepperRange marginRange{0, 64};

// "8 px"
QString marginLabel(std::int64_t margin);

// One display of the per-display list.
struct ScreenEntry {
    QString name;
    bool isConnected = true;
    friend bool operator==(const ScreenEntry&, const ScreenEntry&) = default;
};

// The attached displays in the platform's order, then every display with a grid of its own that
// is not attached now, in the order of their names.
std::vector<ScreenEntry> displayList(const QStringList& attachedNames, const PerDisplayGridMap& grids);

// What a display's section shows: its own grid when it has one (and a name), else the global grid.
GridDimensions displayGrid(const ProSettings& settings, const QString& displayName);
// The settings with the display's grid set to the columns given and the rows shown (or the
// columns shown and the rows given), creating its entry when it followed the global grid.
ProSettings withDisplayColumns(ProSettings settings, const QString& displayName, std::int64_t columns);
ProSettings withDisplayRows(ProSettings settings, const QString& displayName, std::int64_t rows);
// The settings without the display's entry, so it follows the global grid again. An empty name
// changes nothing.
ProSettings withDisplayReset(ProSettings settings, const QString& displayName);

struct LegalLink {
    QString title;
    QString url;
};
// "Terms of Service" and "Privacy Policy", leading where the build configured them.
const std::vector<LegalLink>& legalLinks();

// The "Launch Mosaro at login" switch: reads the platform's registration and asks it to change.
class LaunchAtLoginSwitch {
public:
    explicit LaunchAtLoginSwitch(LoginItemService& service) : m_service(service) {}

    // What the switch shows when the pane appears.
    bool read() const;
    // The user flipped the switch; returns what it shows now: the new value, or on failure (which
    // is logged) what the platform really holds.
    bool flip(bool enabled);

private:
    LoginItemService& m_service;
};

} // namespace mosaro
