#pragma once

#include "Platform/Geometry.h"
#include "Platform/Wayland/WaylandKeymap.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace mosaro::KWin {

// What the session script reports of a window (KWin's coordinates: top-left origin, y down).
struct Window {
    QString id; // KWin's internalId
    QString caption;
    int pid = 0;
    Rect frame;
    bool fullScreen = false;
    bool minimized = false;
    bool resizeable = false;
    bool moveable = false;
    int output = -1;
};

struct Output {
    Rect frame;
    Rect visible; // the area panels leave
    QString name; // KWin 6 only
    QString model;
    friend bool operator==(const Output&, const Output&) = default;
};

// The script's answers are untrusted: a record missing a field, or with a frame that is not one,
// reads as nothing rather than as a guess.
std::optional<Rect> rect(const QJsonValue& value);
std::optional<Window> window(const QJsonValue& value);
std::optional<std::vector<Output>> outputs(const QJsonValue& value);

// Keys as KDE's shortcut settings write them ("Meta+Shift+Right\tMeta+=", "none") per action of
// a kglobalshortcutsrc: the actions whose active keys hold `key` (KDE's key int), each named
// "Action (component)". Mosaro's own entries are left out.
QStringList actionsHolding(const QString& fileText, int key, const QString& ownPrefix);

// A shortcut as KDE's key int (Qt's key and modifiers), the key named by the default layout.
std::optional<int> kdeKey(const Wayland::Keymap& keymap, std::uint32_t keyCode, std::uint32_t modifiers);

} // namespace mosaro::KWin
