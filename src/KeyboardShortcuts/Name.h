#pragma once

#include "KeyboardShortcuts/Shortcut.h"

#include <QMetaType>
#include <QString>
#include <optional>

namespace mosaro::KeyboardShortcuts {

// Identifies one bindable shortcut. Two names are the same name when their raw values match;
// the default travels with the value but takes no part in identity.
struct Name {
    QString rawValue;
    std::optional<Shortcut> defaultShortcut;

    Name() = default;
    explicit Name(QString raw, std::optional<Shortcut> defaultValue = std::nullopt)
        : rawValue(std::move(raw)), defaultShortcut(defaultValue)
    {}

    friend bool operator==(const Name& a, const Name& b) { return a.rawValue == b.rawValue; }
    friend bool operator<(const Name& a, const Name& b) { return a.rawValue < b.rawValue; }
};

} // namespace mosaro::KeyboardShortcuts

Q_DECLARE_METATYPE(mosaro::KeyboardShortcuts::Name)
