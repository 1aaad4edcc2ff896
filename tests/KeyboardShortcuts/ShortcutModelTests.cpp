#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/SpecialKey.h"
#include "Platform/KeyEvent.h"
#include "support/ShortcutPackageFixture.h"

#include <QSet>
#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::KeyboardShortcuts;
namespace Flag = ModifierFlag;

namespace {

class ShortcutModelTest : public test::ShortcutPackageTest {};

TEST(ShortcutModifiers, TranslateBitByBitAndNormaliseOnConstruction)
{
    EXPECT_EQ(carbonFromAppKit(Flag::shift | Flag::control | Flag::option | Flag::command | Flag::function),
              0x200 | 0x1000 | 0x800 | 0x100 | 0x20000);
    EXPECT_EQ(appKitFromCarbon(0x100 | 0x200 | 0x800 | 0x1000 | 0x20000),
              Flag::command | Flag::shift | Flag::option | Flag::control | Flag::function);
    // Unknown bits vanish in both directions: Caps Lock, numeric pad, help, device bits, Carbon alphaLock.
    EXPECT_EQ(carbonFromAppKit(Flag::capsLock | Flag::numericPad | Flag::help | 0xFF), 0);
    EXPECT_EQ(appKitFromCarbon(0x400 | 0x1 | 0x4000), 0u);
    EXPECT_EQ(normalizedCarbonModifiers(0x100 | 0x400), 0x100);

    const Shortcut plain(Key::a, Flag::command | Flag::shift);
    EXPECT_EQ(plain, Shortcut(0, 0x300));
    EXPECT_EQ(Shortcut(Key::a, Flag::command | Flag::shift | Flag::capsLock | 0x8 | 0x10), plain);
    EXPECT_EQ(plain.modifiers(), Flag::command | Flag::shift);
    EXPECT_EQ(Shortcut(Key::f5, Flag::function).carbonModifiers, 0x20000);
}

TEST(ShortcutModifiers, SymbolsInFixedOrderWithoutSeparators)
{
    EXPECT_EQ(symbolicRepresentation(Flag::command | Flag::shift | Flag::option | Flag::control), "⌃⌥⇧⌘");
    EXPECT_EQ(symbolicRepresentation(Flag::function | Flag::command), QStringLiteral("⌘\U0001F310\uFE0E"));
    EXPECT_EQ(symbolicRepresentation(Flag::capsLock | Flag::shift), "⇧");
}

TEST_F(ShortcutModelTest, DescriptionShowsSymbolsThenKey)
{
    EXPECT_EQ(Shortcut(36, 256).description(), "⌘↩");
    EXPECT_EQ(Shortcut(Key::a, Flag::command | Flag::shift).description(), "⇧⌘A");
    EXPECT_EQ(Shortcut(Key::f5, Flag::option).description(), "⌥F5");
    EXPECT_EQ(Shortcut(Key::q, Flag::command).description(), "⌘Q");
    EXPECT_EQ(Shortcut(Key::space, Flag::control).description(), "⌃Space");
    EXPECT_EQ(Shortcut(Key::keypad7).description(), "7\u20E3");
    EXPECT_EQ(Shortcut(Key::help).description(), "?\u20DD");

    const QString replacement(QChar(0xFFFD));
    EXPECT_EQ(Shortcut(65536, 0).description(), replacement);
    EXPECT_EQ(Shortcut(-1, 256).description(), "⌘" + replacement);
    EXPECT_EQ(Shortcut(Key::section).description(), replacement); // the layout prints nothing there
    layout.characters[Key::o.rawValue] = "oe";
    EXPECT_EQ(Shortcut(Key::o).description(), replacement);

    configure({&defaults, &hotKeys, nullptr, &center});
    EXPECT_EQ(Shortcut(Key::a).description(), replacement);
    EXPECT_EQ(Shortcut(Key::escape).description(), "⎋"); // special keys need no layout
}

TEST(SpecialKeys, FiftyThreeKeysWithDistinctCodesAndSymbols)
{
    const auto& table = specialKeyTable();
    QSet<std::int64_t> codes;
    for (const auto& entry : table) {
        codes.insert(entry.keyCode);
        EXPECT_EQ(specialKey(entry.keyCode), entry.key);
        EXPECT_FALSE(symbol(entry.key).isEmpty());
    }
    EXPECT_EQ(codes.size(), 53);
    EXPECT_EQ(specialKey(0), std::nullopt);
    EXPECT_EQ(specialKey(90), SpecialKey::f20);
    EXPECT_EQ(symbol(SpecialKey::f20), "F20");
    EXPECT_EQ(specialKey(92), SpecialKey::keypad9);
    EXPECT_EQ(symbol(SpecialKey::keypadEnter), "↩\u20E3");
}

TEST(ShortcutNames, IdentityIsTheRawValueAlone)
{
    const Name withDefault("trigger", Shortcut(36, 256));
    const Name without("trigger");
    EXPECT_EQ(withDefault, without);
    EXPECT_EQ(std::hash<Name>()(withDefault), std::hash<Name>()(without));
    EXPECT_NE(withDefault, Name("confirm"));

    const QVariant carried = QVariant::fromValue(withDefault);
    EXPECT_EQ(carried.value<Name>().rawValue, "trigger");
    EXPECT_EQ(carried.value<Name>().defaultShortcut, Shortcut(36, 256));
}

} // namespace
