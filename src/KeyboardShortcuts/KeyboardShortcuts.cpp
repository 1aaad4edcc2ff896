#include "KeyboardShortcuts/KeyboardShortcuts.h"

#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "Platform/DefaultsStore.h"
#include "Platform/NotificationCenter.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace mosaro::KeyboardShortcuts {

namespace {

using Actions = std::vector<std::function<void()>>;
// Kept in subscription order so that dispatch order is predictable.
using HandlerList = std::vector<std::pair<Name, Actions>>;

struct PackageState {
    Environment environment;
    HandlerList keyDownHandlers;
    HandlerList keyUpHandlers;
    std::set<Shortcut> registeredShortcuts;
    QSet<QString> createdNames;
    bool observersInstalled = false;
    NotificationCenter* observerCenter = nullptr;
    std::vector<NotificationCenter::Token> observerTokens;
};

PackageState& state()
{
    static PackageState s;
    return s;
}

NotificationCenter& center()
{
    NotificationCenter* c = state().environment.center;
    return c ? *c : NotificationCenter::defaultCenter();
}

void postChange(const Name& name)
{
    center().post(shortcutByNameDidChange, nullptr, {{QStringLiteral("name"), QVariant::fromValue(name)}});
}

void dispatch(const HandlerList& handlers, const Shortcut& pressed)
{
    // Snapshot: an action may subscribe or change shortcuts while we walk.
    const HandlerList snapshot = handlers; // NOLINT(performance-unnecessary-copy-initialization)
    for (const auto& [name, actions] : snapshot) {
        if (getShortcut(name) != pressed)
            continue;
        for (const auto& action : actions) {
            if (action)
                action();
        }
    }
}

void registerHotKey(const Shortcut& shortcut)
{
    CarbonKeyboardShortcuts::registerShortcut(
        shortcut, [](const Shortcut& pressed) { dispatch(state().keyDownHandlers, pressed); },
        [](const Shortcut& pressed) { dispatch(state().keyUpHandlers, pressed); });
}

// Registers when not yet in the set; a refused registration still counts as registered, so the
// shortcut stays inactive until it is set again.
void registerIfNeeded(const Shortcut& shortcut)
{
    if (state().registeredShortcuts.contains(shortcut))
        return;
    registerHotKey(shortcut);
    state().registeredShortcuts.insert(shortcut);
}

void unregisterHotKey(const Shortcut& shortcut)
{
    CarbonKeyboardShortcuts::unregisterShortcut(shortcut);
    state().registeredShortcuts.erase(shortcut);
}

void addHandler(HandlerList& handlers, const Name& name, std::function<void()> action)
{
    auto it = std::find_if(handlers.begin(), handlers.end(), [&](const auto& entry) { return entry.first == name; });
    if (it == handlers.end())
        handlers.emplace_back(name, Actions{std::move(action)});
    else
        it->second.push_back(std::move(action));
    if (const auto shortcut = getShortcut(name))
        registerIfNeeded(*shortcut);
}

bool fitsInt64(double value)
{
    return std::isfinite(value) && value == std::trunc(value) && value >= -9223372036854775808.0 &&
           value < 9223372036854775808.0;
}

void installMenuTrackingObservers()
{
    PackageState& s = state();
    if (s.observersInstalled)
        return;
    s.observersInstalled = true;
    s.observerCenter = &center();
    s.observerTokens.push_back(
        s.observerCenter->addObserver(PlatformNotifications::menuDidBeginTracking, nullptr,
                                      [](const Notification&) { CarbonKeyboardShortcuts::setMenuTracking(true); }));
    s.observerTokens.push_back(
        s.observerCenter->addObserver(PlatformNotifications::menuDidEndTracking, nullptr,
                                      [](const Notification&) { CarbonKeyboardShortcuts::setMenuTracking(false); }));
}

} // namespace

void configure(Environment environment)
{
    state().environment = environment;
}

const Environment& environment()
{
    return state().environment;
}

void resetForTesting()
{
    PackageState& s = state();
    if (s.observerCenter) {
        for (auto token : s.observerTokens)
            s.observerCenter->removeObserver(token);
    }
    s = PackageState{};
    CarbonKeyboardShortcuts::resetForTesting();
}

QString userDefaultsKey(const Name& name)
{
    return userDefaultsPrefix + name.rawValue;
}

QString encodeShortcut(const Shortcut& shortcut)
{
    return QStringLiteral("{\"carbonKeyCode\":%1,\"carbonModifiers\":%2}")
        .arg(shortcut.carbonKeyCode)
        .arg(shortcut.carbonModifiers);
}

std::optional<Shortcut> decodeShortcut(const QString& text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const QJsonValue keyCode = object.value(QLatin1String("carbonKeyCode"));
    const QJsonValue modifiers = object.value(QLatin1String("carbonModifiers"));
    if (!keyCode.isDouble() || !modifiers.isDouble() || !fitsInt64(keyCode.toDouble()) ||
        !fitsInt64(modifiers.toDouble()))
        return std::nullopt;
    return Shortcut(keyCode.toInteger(), modifiers.toInteger());
}

void registerName(const Name& name)
{
    PackageState& s = state();
    if (!s.environment.defaults || s.createdNames.contains(name.rawValue))
        return;
    s.createdNames.insert(name.rawValue);
    installMenuTrackingObservers();
    if (name.defaultShortcut && !hasStoredValue(name))
        setShortcut(name.defaultShortcut, name);
}

std::optional<Shortcut> getShortcut(const Name& name)
{
    const DefaultsStore* defaults = state().environment.defaults;
    if (!defaults)
        return std::nullopt;
    const auto text = defaults->string(userDefaultsKey(name));
    if (!text)
        return std::nullopt;
    return decodeShortcut(*text);
}

bool hasStoredValue(const Name& name)
{
    const DefaultsStore* defaults = state().environment.defaults;
    return defaults && defaults->object(userDefaultsKey(name)).has_value();
}

void setShortcut(const std::optional<Shortcut>& shortcut, const Name& name)
{
    DefaultsStore* defaults = state().environment.defaults;
    if (!defaults)
        return;
    const auto current = getShortcut(name);
    if (!shortcut) {
        if (!current)
            return;
        if (name.defaultShortcut)
            defaults->setBool(userDefaultsKey(name), false); // keeps the default from coming back at next start
        else
            defaults->removeObject(userDefaultsKey(name));
        unregisterHotKey(*current);
        postChange(name);
        return;
    }
    const QString encoded = encodeShortcut(*shortcut);
    if (current)
        unregisterHotKey(*current);
    registerIfNeeded(*shortcut);
    defaults->setObject(userDefaultsKey(name), encoded);
    postChange(name);
}

void storeActionShortcut(const std::optional<Shortcut>& shortcut, const Name& name)
{
    DefaultsStore* defaults = state().environment.defaults;
    if (!defaults)
        return;
    if (shortcut)
        defaults->setObject(userDefaultsKey(name), encodeShortcut(*shortcut));
    else
        defaults->removeObject(userDefaultsKey(name));
}

void reset(const std::vector<Name>& names)
{
    DefaultsStore* defaults = state().environment.defaults;
    if (!defaults)
        return;
    for (const Name& name : names) {
        if (name.defaultShortcut) {
            setShortcut(name.defaultShortcut, name);
            continue;
        }
        if (const auto current = getShortcut(name)) {
            defaults->removeObject(userDefaultsKey(name));
            unregisterHotKey(*current);
            postChange(name);
        }
    }
}

void onKeyDown(const Name& name, std::function<void()> action)
{
    addHandler(state().keyDownHandlers, name, std::move(action));
}

void onKeyUp(const Name& name, std::function<void()> action)
{
    addHandler(state().keyUpHandlers, name, std::move(action));
}

void enable(const std::vector<Name>& names)
{
    for (const Name& name : names) {
        if (const auto shortcut = getShortcut(name))
            registerIfNeeded(*shortcut);
    }
}

void disable(const std::vector<Name>& names)
{
    for (const Name& name : names) {
        if (const auto shortcut = getShortcut(name))
            unregisterHotKey(*shortcut);
    }
}

bool isEnabled()
{
    return CarbonKeyboardShortcuts::isEnabled();
}

void setEnabled(bool enabled)
{
    CarbonKeyboardShortcuts::setEnabled(enabled);
}

} // namespace mosaro::KeyboardShortcuts
