#include "KeyboardShortcuts/Shortcut.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "KeyboardShortcuts/Modifiers.h"
#include "KeyboardShortcuts/SpecialKey.h"
#include "Platform/KeyboardLayout.h"

namespace mosaro::KeyboardShortcuts {

Shortcut::Shortcut(Key key, std::uint64_t modifierFlags)
    : carbonKeyCode(key.rawValue), carbonModifiers(carbonFromAppKit(appKitFromCarbon(carbonFromAppKit(modifierFlags))))
{}

std::uint64_t Shortcut::modifiers() const
{
    return appKitFromCarbon(carbonModifiers);
}

QString keyDisplayString(std::int64_t keyCode)
{
    static const QString replacement(QChar(0xFFFD));
    if (const auto special = specialKey(keyCode))
        return symbol(*special);
    if (keyCode < 0 || keyCode > 0xFFFF)
        return replacement;
    const KeyboardLayout* layout = environment().layout;
    if (!layout)
        return replacement;
    const auto text = layout->translateForDisplay(static_cast<std::uint16_t>(keyCode));
    if (!text || text->size() != 1)
        return replacement;
    return text->toUpper();
}

QString Shortcut::description() const
{
    return symbolicRepresentation(modifiers()) + keyDisplayString(carbonKeyCode);
}

} // namespace mosaro::KeyboardShortcuts
