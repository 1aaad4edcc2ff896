#include "Platform/KeyEvent.h"
#include "support/ShortcutPackageFixture.h"

#include <QVariantList>
#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::KeyboardShortcuts;
using test::triggerDefaultJson;

namespace {

class ShortcutStorageTest : public test::ShortcutPackageTest {};

TEST_F(ShortcutStorageTest, FreshStoreGetsTriggerDefaultOnceAndRegistersIt)
{
    const Name trigger = nameFor(HotkeyAction::trigger);
    EXPECT_EQ(storedValue(HotkeyAction::trigger), QVariant(triggerDefaultJson));
    ASSERT_EQ(hotKeys.registerCalls.size(), 1u);
    EXPECT_EQ(hotKeys.registerCalls[0].keyCode, 36u);
    EXPECT_EQ(hotKeys.registerCalls[0].modifiers, 256u);
    EXPECT_EQ(hotKeys.registerCalls[0].id, (EventHotKeyID{0x4B42484B, 1}));
    EXPECT_EQ(changedNames, QStringList{"trigger"});

    // Later uses of the name are not creations.
    nameFor(HotkeyAction::trigger);
    EXPECT_EQ(hotKeys.registerCalls.size(), 1u);
    EXPECT_EQ(changedNames.size(), 1);
}

TEST_F(ShortcutStorageTest, ClearedTriggerStaysClearedAcrossRestartUntilReset)
{
    const Name trigger = nameFor(HotkeyAction::trigger);
    setShortcut(std::nullopt, trigger);
    EXPECT_EQ(storedValue(HotkeyAction::trigger), QVariant(false));
    EXPECT_TRUE(hotKeys.live.empty());
    EXPECT_EQ(changedNames, (QStringList{"trigger", "trigger"}));

    // Clearing what is already clear changes nothing and says nothing.
    setShortcut(std::nullopt, trigger);
    EXPECT_EQ(changedNames.size(), 2);

    // A new process over the same stored defaults.
    resetForTesting();
    hotKeys = test::FakeHotKeyService{};
    configure({&defaults, &hotKeys, &layout, &center});
    nameFor(HotkeyAction::trigger);
    EXPECT_EQ(getShortcut(trigger), std::nullopt);
    EXPECT_TRUE(hasStoredValue(trigger));
    EXPECT_TRUE(hotKeys.registerCalls.empty());

    reset(trigger);
    EXPECT_EQ(storedValue(HotkeyAction::trigger), QVariant(triggerDefaultJson));
    ASSERT_EQ(hotKeys.liveRegistrations().size(), 1u);
    EXPECT_EQ(hotKeys.liveRegistrations()[0].keyCode, 36u);
    EXPECT_EQ(changedNames.size(), 3);

    // Over a value the package cannot read, too.
    defaults.values.insert("KeyboardShortcuts_trigger", "garbage");
    reset(trigger);
    EXPECT_EQ(storedValue(HotkeyAction::trigger), QVariant(triggerDefaultJson));
}

TEST_F(ShortcutStorageTest, OverlayNamesAreWrittenDirectlyAndResetByRemoval)
{
    const Name navigateDown = nameFor(HotkeyAction::navigateDown);
    storeActionShortcut(Shortcut(Key::j), navigateDown);
    EXPECT_EQ(storedValue(HotkeyAction::navigateDown), QVariant("{\"carbonKeyCode\":38,\"carbonModifiers\":0}"));
    EXPECT_TRUE(hotKeys.registerCalls.empty());
    EXPECT_TRUE(changedNames.isEmpty());

    storeActionShortcut(std::nullopt, navigateDown);
    EXPECT_FALSE(hasStoredValue(navigateDown));

    storeActionShortcut(Shortcut(Key::k), navigateDown);
    reset({navigateDown, nameFor(HotkeyAction::confirm)});
    EXPECT_FALSE(hasStoredValue(navigateDown));
    EXPECT_EQ(changedNames, QStringList{"navigateDown"});

    // A foreign value under a name without default is left where it is by reset.
    defaults.values.insert("KeyboardShortcuts_confirm", 12);
    reset(nameFor(HotkeyAction::confirm));
    EXPECT_EQ(defaults.values.value("KeyboardShortcuts_confirm"), QVariant(12));
}

TEST_F(ShortcutStorageTest, ForeignValuesReadAsNoShortcutAndStayInPlace)
{
    const Name name = nameFor(HotkeyAction::confirm);
    const QString key = "KeyboardShortcuts_confirm";
    const QVariant foreign[] = {
        QVariant(36),
        QVariant(true),
        QVariant(QVariantList{36, 256}),
        QVariant("{\"carbonKeyCode\":36,"),
        QVariant("{\"carbonKeyCode\":36}"),
        QVariant("{\"carbonModifiers\":256}"),
        QVariant("{\"carbonKeyCode\":\"36\",\"carbonModifiers\":256}"),
        QVariant("{\"carbonKeyCode\":36.5,\"carbonModifiers\":256}"),
        QVariant("{\"carbonKeyCode\":1e30,\"carbonModifiers\":256}"),
        QVariant(""),
    };
    for (const QVariant& value : foreign) {
        defaults.values.insert(key, value);
        EXPECT_EQ(getShortcut(name), std::nullopt) << value.toString().toStdString();
        EXPECT_TRUE(hasStoredValue(name));
        EXPECT_EQ(defaults.values.value(key), value);
    }
    EXPECT_EQ(decodeShortcut("{\"carbonModifiers\":2304, \"carbonKeyCode\":126}"), Shortcut(126, 2304));
    EXPECT_EQ(encodeShortcut(Shortcut(126, 2304)), "{\"carbonKeyCode\":126,\"carbonModifiers\":2304}");
}

} // namespace
