#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"

#include <gtest/gtest.h>

#include <bit>
#include <set>

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
