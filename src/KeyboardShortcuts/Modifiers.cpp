#include "KeyboardShortcuts/Modifiers.h"

#include "Platform/KeyEvent.h"

#include <array>
#include <utility>

namespace mosaro::KeyboardShortcuts {

namespace {
constexpr std::array<std::pair<std::uint64_t, std::int64_t>, 5> modifierTable{{
    {ModifierFlag::shift, CarbonModifier::shift},
    {ModifierFlag::control, CarbonModifier::control},
    {ModifierFlag::option, CarbonModifier::option},
    {ModifierFlag::command, CarbonModifier::command},
    {ModifierFlag::function, CarbonModifier::function},
}};
} // namespace

std::int64_t carbonFromAppKit(std::uint64_t flags)
{
    std::int64_t mask = 0;
    for (const auto& [flag, carbon] : modifierTable) {
        if (flags & flag)
            mask |= carbon;
    }
    return mask;
}

std::uint64_t appKitFromCarbon(std::int64_t carbonModifiers)
{
    std::uint64_t flags = 0;
    for (const auto& [flag, carbon] : modifierTable) {
        if (carbonModifiers & carbon)
            flags |= flag;
    }
    return flags;
}

std::int64_t normalizedCarbonModifiers(std::int64_t carbonModifiers)
{
    return carbonFromAppKit(appKitFromCarbon(carbonModifiers));
}

QString symbolicRepresentation(std::uint64_t flags)
{
    QString text;
    if (flags & ModifierFlag::control)
        text += QChar(0x2303);
    if (flags & ModifierFlag::option)
        text += QChar(0x2325);
    if (flags & ModifierFlag::shift)
        text += QChar(0x21E7);
    if (flags & ModifierFlag::command)
        text += QChar(0x2318);
    if (flags & ModifierFlag::function)
        text += QStringLiteral("\U0001F310\uFE0E");
    return text;
}

} // namespace mosaro::KeyboardShortcuts
