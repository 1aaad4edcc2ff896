#pragma once

#include "Platform/Expected.h"
#include "Preferences/Preferences.h"
#include "Preferences/PreferencesFile.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <optional>

namespace mosaro::Migrations {

// Schema version 1: no grid settings and no opt-in flag yet.
struct V1 {
    std::int64_t schemaVersion = 1;
    bool showInDockIcon = false;
    std::optional<QString> highlightedRegionTintHex;
    std::optional<QString> lastSeenAppVersion;

    static Expected<V1, PreferencesError> decode(const QByteArray& bytes);
};

// Turns a document of an older version into the current one. Unknown versions give the defaults.
Expected<Preferences, PreferencesError> migrate(const QByteArray& bytes, std::int64_t version);

} // namespace mosaro::Migrations
