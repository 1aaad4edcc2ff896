#pragma once

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/NotificationCenter.h"
#include "support/FakeHotKeyService.h"
#include "support/FakeKeyboardLayout.h"
#include "support/InMemoryDefaultsStore.h"

#include <gtest/gtest.h>

namespace mosaro::test {

// The shortcut package wired to fakes, with its process-wide state dropped around each test.
class ShortcutPackageTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        KeyboardShortcuts::resetForTesting();
        KeyboardShortcuts::configure({&defaults, &hotKeys, &layout, &center});
        center.addObserver(KeyboardShortcuts::shortcutByNameDidChange, nullptr, [this](const Notification& note) {
            changedNames.push_back(
                note.userInfo.value(QStringLiteral("name")).value<KeyboardShortcuts::Name>().rawValue);
        });
    }
    void TearDown() override { KeyboardShortcuts::resetForTesting(); }

    QVariant storedValue(HotkeyAction action) const
    {
        return defaults.values.value(QStringLiteral("KeyboardShortcuts_") + rawValue(action));
    }

    InMemoryDefaultsStore defaults;
    FakeHotKeyService hotKeys;
    FakeKeyboardLayout layout;
    NotificationCenter center;
    QStringList changedNames;
};

inline const QString triggerDefaultJson = QStringLiteral("{\"carbonKeyCode\":36,\"carbonModifiers\":256}");

} // namespace mosaro::test
