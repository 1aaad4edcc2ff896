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

TEST(ShortcutModifiers, NamesInFixedOrderInTheDesktopsNotation)
{
    EXPECT_EQ(symbolicRepresentation(Flag::command | Flag::shift | Flag::option | Flag::control),
              "Ctrl+Alt+Shift+Super+");
    EXPECT_EQ(symbolicRepresentation(Flag::function | Flag::command), "Super+Fn+");
    EXPECT_EQ(symbolicRepresentation(Flag::capsLock | Flag::shift), "Shift+");
    EXPECT_EQ(symbolicRepresentation(0), "");
}

TEST_F(ShortcutModelTest, DescriptionShowsModifiersThenKeyInTheDesktopsNotation)
{
    EXPECT_EQ(Shortcut(36, 256).description(), "Super+Return");
    EXPECT_EQ(Shortcut(Key::a, Flag::command | Flag::shift).description(), "Shift+Super+A");
    EXPECT_EQ(Shortcut(Key::f5, Flag::option).description(), "Alt+F5");
    EXPECT_EQ(Shortcut(Key::q, Flag::command).description(), "Super+Q");
    EXPECT_EQ(Shortcut(Key::space, Flag::control).description(), "Ctrl+Space");
    EXPECT_EQ(Shortcut(Key::leftArrow, Flag::control | Flag::option).description(), "Ctrl+Alt+Left");
    EXPECT_EQ(Shortcut(Key::keypad7).description(), "Num+7");
    EXPECT_EQ(Shortcut(Key::keypadPlus, Flag::shift).description(), "Shift+Num++");
    EXPECT_EQ(Shortcut(Key::help).description(), "Help");

    const QString replacement(QChar(0xFFFD));
    EXPECT_EQ(Shortcut(65536, 0).description(), replacement);
    EXPECT_EQ(Shortcut(-1, 256).description(), "Super+" + replacement);
    EXPECT_EQ(Shortcut(Key::section).description(), replacement); // the layout prints nothing there
    layout.characters[Key::o.rawValue] = "oe";
    EXPECT_EQ(Shortcut(Key::o).description(), replacement);

    configure({&defaults, &hotKeys, nullptr, &center});
    EXPECT_EQ(Shortcut(Key::a).description(), replacement);
    EXPECT_EQ(Shortcut(Key::escape).description(), "Escape"); // special keys need no layout
}

TEST(SpecialKeys, FiftyThreeKeysWithDistinctCodesAndNames)
{
    const auto& table = specialKeyTable();
    QSet<std::int64_t> codes;
    QSet<QString> names;
    for (const auto& entry : table) {
        codes.insert(entry.keyCode);
        EXPECT_EQ(specialKey(entry.keyCode), entry.key);
        EXPECT_FALSE(symbol(entry.key).isEmpty());
        names.insert(symbol(entry.key));
    }
    EXPECT_EQ(codes.size(), 53);
    EXPECT_EQ(names.size(), 53);
    EXPECT_EQ(specialKey(0), std::nullopt);
    EXPECT_EQ(specialKey(90), SpecialKey::f20);
    EXPECT_EQ(symbol(SpecialKey::f20), "F20");
    EXPECT_EQ(specialKey(92), SpecialKey::keypad9);
    EXPECT_EQ(symbol(SpecialKey::keypadEnter), "Num+Enter");
    EXPECT_EQ(symbol(SpecialKey::pageDown), "Page Down");
    EXPECT_EQ(symbol(SpecialKey::keypadDecimal), "Num+.");
}

// A name is its raw value: the default it carries takes no part in finding it.
TEST(ShortcutNames, IdentityIsTheRawValueAlone)
{
    EXPECT_EQ(Name("trigger", Shortcut(36, 256)), Name("trigger"));
    EXPECT_NE(Name("trigger"), Name("confirm"));
}

} // namespace
