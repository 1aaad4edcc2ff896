#include "Platform/KeyCodeMap.h"

#include "Platform/KeyEvent.h"

#include <algorithm>
#include <iterator>

namespace mosaro {

namespace {

constexpr auto carbonCommand = std::uint32_t(CarbonModifier::command);
constexpr auto carbonShift = std::uint32_t(CarbonModifier::shift);
constexpr auto carbonOption = std::uint32_t(CarbonModifier::option);
constexpr auto carbonControl = std::uint32_t(CarbonModifier::control);

// Ordered by virtual key code so lookups in that direction can bisect.
constexpr KeyCodeMapping table[] = {
    {0, 30},    // A
    {1, 31},    // S
    {2, 32},    // D
    {3, 33},    // F
    {4, 35},    // H
    {5, 34},    // G
    {6, 44},    // Z
    {7, 45},    // X
    {8, 46},    // C
    {9, 47},    // V
    {10, 86},   // ISO section <-> the extra key left of Z
    {11, 48},   // B
    {12, 16},   // Q
    {13, 17},   // W
    {14, 18},   // E
    {15, 19},   // R
    {16, 21},   // Y
    {17, 20},   // T
    {18, 2},    // 1
    {19, 3},    // 2
    {20, 4},    // 3
    {21, 5},    // 4
    {22, 7},    // 6
    {23, 6},    // 5
    {24, 13},   // =
    {25, 10},   // 9
    {26, 8},    // 7
    {27, 12},   // -
    {28, 9},    // 8
    {29, 11},   // 0
    {30, 27},   // ]
    {31, 24},   // O
    {32, 22},   // U
    {33, 26},   // [
    {34, 23},   // I
    {35, 25},   // P
    {36, 28},   // Return
    {37, 38},   // L
    {38, 36},   // J
    {39, 40},   // '
    {40, 37},   // K
    {41, 39},   // ;
    {42, 43},   // backslash
    {43, 51},   // ,
    {44, 53},   // /
    {45, 49},   // N
    {46, 50},   // M
    {47, 52},   // .
    {48, 15},   // Tab
    {49, 57},   // Space
    {50, 41},   // `
    {51, 14},   // Backspace
    {53, 1},    // Escape
    {54, 126},  // right Command <-> right Super
    {55, 125},  // Command <-> left Super
    {56, 42},   // left Shift
    {57, 58},   // Caps Lock
    {58, 56},   // Option <-> left Alt
    {59, 29},   // left Control
    {60, 54},   // right Shift
    {61, 100},  // right Option <-> right Alt
    {62, 97},   // right Control
    {63, 464},  // fn
    {64, 187},  // F17
    {65, 83},   // keypad .
    {67, 55},   // keypad *
    {69, 78},   // keypad +
    {71, 69},   // keypad Clear <-> Num Lock, same place
    {72, 115},  // volume up
    {73, 114},  // volume down
    {74, 113},  // mute
    {75, 98},   // keypad /
    {76, 96},   // keypad Enter
    {78, 74},   // keypad -
    {79, 188},  // F18
    {80, 189},  // F19
    {81, 117},  // keypad =
    {82, 82},   // keypad 0
    {83, 79},   // keypad 1
    {84, 80},   // keypad 2
    {85, 81},   // keypad 3
    {86, 75},   // keypad 4
    {87, 76},   // keypad 5
    {88, 77},   // keypad 6
    {89, 71},   // keypad 7
    {90, 190},  // F20
    {91, 72},   // keypad 8
    {92, 73},   // keypad 9
    {93, 124},  // JIS yen
    {94, 89},   // JIS underscore (ro)
    {95, 95},   // JIS keypad comma
    {96, 63},   // F5
    {97, 64},   // F6
    {98, 65},   // F7
    {99, 61},   // F3
    {100, 66},  // F8
    {101, 67},  // F9
    {103, 87},  // F11
    {105, 183}, // F13
    {106, 186}, // F16
    {107, 184}, // F14
    {109, 68},  // F10
    {110, 127}, // context menu <-> Compose/Menu
    {111, 88},  // F12
    {113, 185}, // F15
    {114, 110}, // Help <-> Insert, same place
    {115, 102}, // Home
    {116, 104}, // Page Up
    {117, 111}, // forward Delete
    {118, 62},  // F4
    {119, 107}, // End
    {120, 60},  // F2
    {121, 109}, // Page Down
    {122, 59},  // F1
    {123, 105}, // Left
    {124, 106}, // Right
    {125, 108}, // Down
    {126, 103}, // Up
};

static_assert(std::is_sorted(std::begin(table), std::end(table), [](const KeyCodeMapping& a, const KeyCodeMapping& b) {
    return a.macKeyCode < b.macKeyCode;
}));

} // namespace

std::span<const KeyCodeMapping> keyCodeMappings()
{
    return table;
}

std::optional<std::uint16_t> macKeyCodeForEvdev(std::uint32_t evdevCode)
{
    for (const auto& entry : table) {
        if (entry.evdevCode == evdevCode)
            return entry.macKeyCode;
    }
    return std::nullopt;
}

bool isModifierKeyCode(std::uint16_t code)
{
    using namespace ModifierKeyCode;
    for (const std::uint16_t modifier :
         {rightCommand, command, shift, capsLock, option, control, rightShift, rightOption, rightControl, function})
        if (code == modifier)
            return true;
    return false;
}

std::optional<std::uint32_t> evdevForMacKeyCode(std::uint16_t macKeyCode)
{
    const auto it = std::lower_bound(std::begin(table), std::end(table), macKeyCode,
                                     [](const KeyCodeMapping& e, std::uint16_t code) { return e.macKeyCode < code; });
    if (it == std::end(table) || it->macKeyCode != macKeyCode)
        return std::nullopt;
    return it->evdevCode;
}

std::uint64_t modifierFlagsFromX11State(std::uint16_t state)
{
    std::uint64_t flags = 0;
    if (state & X11ModMask::shift)
        flags |= ModifierFlag::shift;
    if (state & X11ModMask::lock)
        flags |= ModifierFlag::capsLock;
    if (state & X11ModMask::control)
        flags |= ModifierFlag::control;
    if (state & X11ModMask::mod1)
        flags |= ModifierFlag::option;
    if (state & X11ModMask::mod4)
        flags |= ModifierFlag::command;
    return flags;
}

std::uint16_t x11ModifiersFromCarbon(std::uint32_t carbonMask)
{
    std::uint16_t mods = 0;
    if (carbonMask & carbonShift)
        mods |= X11ModMask::shift;
    if (carbonMask & carbonControl)
        mods |= X11ModMask::control;
    if (carbonMask & carbonOption)
        mods |= X11ModMask::mod1;
    if (carbonMask & carbonCommand)
        mods |= X11ModMask::mod4;
    return mods;
}

std::uint16_t x11ModifiersFromFlags(std::uint64_t flags)
{
    std::uint16_t mods = 0;
    if (flags & ModifierFlag::shift)
        mods |= X11ModMask::shift;
    if (flags & ModifierFlag::control)
        mods |= X11ModMask::control;
    if (flags & ModifierFlag::option)
        mods |= X11ModMask::mod1;
    if (flags & ModifierFlag::command)
        mods |= X11ModMask::mod4;
    return mods;
}

std::uint32_t carbonModifiersFromX11State(std::uint16_t state)
{
    std::uint32_t mask = 0;
    if (state & X11ModMask::shift)
        mask |= carbonShift;
    if (state & X11ModMask::control)
        mask |= carbonControl;
    if (state & X11ModMask::mod1)
        mask |= carbonOption;
    if (state & X11ModMask::mod4)
        mask |= carbonCommand;
    return mask;
}

} // namespace mosaro
