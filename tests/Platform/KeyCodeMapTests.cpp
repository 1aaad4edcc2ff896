#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"

#include <gtest/gtest.h>

#include <bit>
#include <map>
#include <set>
#include <string>

using namespace mosaro;

TEST(KeyCodeMapTests, TableIsABijectionThatRoundTrips)
{
    std::set<std::uint16_t> macSeen;
    std::set<std::uint32_t> evdevSeen;
    for (const auto& entry : keyCodeMappings()) {
        EXPECT_TRUE(macSeen.insert(entry.macKeyCode).second) << "virtual key " << entry.macKeyCode << " twice";
        EXPECT_TRUE(evdevSeen.insert(entry.evdevCode).second) << "evdev " << entry.evdevCode << " twice";
        EXPECT_EQ(evdevForMacKeyCode(entry.macKeyCode), entry.evdevCode);
        EXPECT_EQ(macKeyCodeForEvdev(entry.evdevCode), entry.macKeyCode);
    }
    EXPECT_GE(keyCodeMappings().size(), 110u);
    for (std::uint16_t code : {52, 66, 68, 70, 77, 102, 104, 108, 112, 127, 0xFFFF})
        EXPECT_FALSE(evdevForMacKeyCode(code).has_value()) << code;
    for (std::uint32_t code : {0u, 84u, 240u, 0xFFFFFFFFu})
        EXPECT_FALSE(macKeyCodeForEvdev(code).has_value()) << code;
}

TEST(KeyCodeMapTests, KeysFollowThePhysicalPositionOfAPcKeyboard)
{
    // Virtual key codes of letters and digits; on a PC keyboard each row is numbered in order.
    const std::map<char, std::uint16_t> mac = {
        {'a', 0},  {'s', 1},  {'d', 2},  {'f', 3},  {'h', 4},  {'g', 5},  {'z', 6},  {'x', 7},  {'c', 8},
        {'v', 9},  {'b', 11}, {'q', 12}, {'w', 13}, {'e', 14}, {'r', 15}, {'y', 16}, {'t', 17}, {'1', 18},
        {'2', 19}, {'3', 20}, {'4', 21}, {'6', 22}, {'5', 23}, {'9', 25}, {'7', 26}, {'8', 28}, {'0', 29},
        {'o', 31}, {'u', 32}, {'i', 34}, {'p', 35}, {'l', 37}, {'j', 38}, {'k', 40}, {'n', 45}, {'m', 46}};
    const std::pair<std::string, std::uint32_t> rows[] = {
        {"1234567890", 2}, {"qwertyuiop", 16}, {"asdfghjkl", 30}, {"zxcvbnm", 44}};
    for (const auto& [keys, first] : rows) {
        for (std::size_t i = 0; i < keys.size(); ++i)
            EXPECT_EQ(evdevForMacKeyCode(mac.at(keys[i])), first + i) << "key " << keys[i];
    }

    // The trigger and the overlay's built-in keys, then keys whose names differ between the models.
    const std::pair<std::uint16_t, std::uint32_t> named[] = {{36, 28},
                                                             {76, 96},
                                                             {53, 1},
                                                             {123, 105},
                                                             {124, 106},
                                                             {125, 108},
                                                             {126, 103},
                                                             {49, 57},
                                                             {51, 14} /* delete: Backspace */,
                                                             {117, 111} /* forward delete: Delete */,
                                                             {114, 110} /* Help: Insert */,
                                                             {10, 86} /* ISO section: 102nd key */,
                                                             {55, 125} /* Command: Super */,
                                                             {58, 56} /* Option: Alt */};
    for (const auto& [code, evdev] : named)
        EXPECT_EQ(evdevForMacKeyCode(code), evdev) << code;

    // F1-F10 are consecutive, F11 and F12 come after the keypad, F13 on have their own block.
    const std::uint16_t functionKeys[20] = {122, 120, 99,  118, 96,  97,  98, 100, 101, 109,
                                            103, 111, 105, 107, 113, 106, 64, 79,  80,  90};
    for (std::uint32_t n = 1; n <= 20; ++n)
        EXPECT_EQ(evdevForMacKeyCode(functionKeys[n - 1]), n <= 10 ? 58 + n : n <= 12 ? 76 + n : 170 + n) << n;

    // Keypad 1-9 run from the bottom row up; 0 sits below.
    const std::uint16_t keypad[10] = {82, 83, 84, 85, 86, 87, 88, 89, 91, 92};
    for (std::uint32_t d = 1; d <= 9; ++d)
        EXPECT_EQ(evdevForMacKeyCode(keypad[d]), 79 - 4 * ((d - 1) / 3) + (d - 1) % 3) << "keypad " << d;
    EXPECT_EQ(evdevForMacKeyCode(keypad[0]), 82u);
}

TEST(KeyCodeMapTests, ModifiersTranslateBitByBitAndDropTheRest)
{
    using namespace X11ModMask;
    EXPECT_EQ(modifierFlagsFromX11State(mod4 | shift), ModifierFlag::command | ModifierFlag::shift);
    EXPECT_EQ(modifierFlagsFromX11State(lock | control | mod1),
              ModifierFlag::capsLock | ModifierFlag::control | ModifierFlag::option);
    // Num Lock, Mod3, Mod5 and pointer buttons are not part of the key model.
    EXPECT_EQ(modifierFlagsFromX11State(mod2 | mod3 | mod5 | 0x100 | 0x8000), 0u);
    // The trigger's Command grabs Super; Caps Lock and fn have no modifier to grab.
    EXPECT_EQ(x11ModifiersFromCarbon(0x100), mod4);
    EXPECT_EQ(x11ModifiersFromCarbon(0x400 | 0x20000), 0);
    EXPECT_EQ(x11ModifiersFromFlags(ModifierFlag::capsLock | ModifierFlag::function | ModifierFlag::numericPad), 0);

    // All sixteen combinations of Command, Shift, Option and Control survive X and back.
    const std::uint32_t carbonBits[4] = {0x100, 0x200, 0x800, 0x1000};
    for (std::uint32_t bits = 0; bits < 16; ++bits) {
        std::uint32_t carbon = 0;
        for (int i = 0; i < 4; ++i)
            carbon |= (bits >> i & 1) ? carbonBits[i] : 0;
        const auto x = x11ModifiersFromCarbon(carbon);
        EXPECT_EQ(carbonModifiersFromX11State(x | lock | mod2), carbon) << bits;
        EXPECT_EQ(x11ModifiersFromFlags(modifierFlagsFromX11State(x)), x) << bits;
        EXPECT_EQ(std::popcount(unsigned(x)), std::popcount(bits)) << bits;
    }
}
