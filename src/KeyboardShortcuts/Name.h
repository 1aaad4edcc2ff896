#pragma once

#include "KeyboardShortcuts/Shortcut.h"

#include <QHash>
#include <QMetaType>
#include <QString>
#include <functional>
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

inline size_t qHash(const Name& name, size_t seed = 0)
{
    return ::qHash(name.rawValue, seed);
}

} // namespace mosaro::KeyboardShortcuts

template <>
struct std::hash<mosaro::KeyboardShortcuts::Name> {
    std::size_t operator()(const mosaro::KeyboardShortcuts::Name& name) const noexcept { return qHash(name.rawValue); }
};

Q_DECLARE_METATYPE(mosaro::KeyboardShortcuts::Name)
