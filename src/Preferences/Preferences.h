#pragma once

#include "Grid/GridTypes.h"

#include <QString>
#include <cstdint>
#include <map>
#include <optional>

namespace mosaro {

// Per-display grid sizes keyed by the display's localized name.
struct PerDisplayGridMap {
    std::map<QString, GridDimensions> overrides;
    friend bool operator==(const PerDisplayGridMap&, const PerDisplayGridMap&) = default;
};

struct ProSettings {
    GridDimensions globalGrid{3, 2};
    bool perDisplayMode = false;
    PerDisplayGridMap perDisplayGrids;
    std::int64_t margin = 0;
    friend bool operator==(const ProSettings&, const ProSettings&) = default;
};

// The settings document stored as preferences.json.
struct Preferences {
    static constexpr std::int64_t currentSchemaVersion = 2;

    std::int64_t schemaVersion = currentSchemaVersion;
    bool showInDockIcon = false;
    std::optional<QString> highlightedRegionTintHex;
    std::optional<QString> lastSeenAppVersion;
    ProSettings proSettings;
    bool analyticsOptIn = false;

    static Preferences defaults() { return {}; }
    // Global grid clamped into 1...30 x 1...20 and margin into 0...64; nothing else changes.
    Preferences sanitized() const;

    friend bool operator==(const Preferences&, const Preferences&) = default;
};

} // namespace mosaro
