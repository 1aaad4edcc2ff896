#include "KeyboardShortcuts/Modifiers.h"

#include "Platform/HostTexts.h"
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
    // In the desktop's notation each modifier carries its "+", so the key follows directly.
    QString text;
    if (flags & ModifierFlag::control)
        text += hostText(HostText::modifierControl);
    if (flags & ModifierFlag::option)
        text += hostText(HostText::modifierOption);
    if (flags & ModifierFlag::shift)
        text += hostText(HostText::modifierShift);
    if (flags & ModifierFlag::command)
        text += hostText(HostText::modifierCommand);
    if (flags & ModifierFlag::function)
        text += hostText(HostText::modifierFunction);
    return text;
}

} // namespace mosaro::KeyboardShortcuts
