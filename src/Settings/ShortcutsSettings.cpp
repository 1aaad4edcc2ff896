#include "Settings/ShortcutsSettings.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"

namespace mosaro {

const std::vector<ShortcutSection>& shortcutSections()
{
    using A = HotkeyAction;
    static const std::vector<ShortcutSection> sections{
        {QStringLiteral("System-wide"),
         QStringLiteral("The only shortcut that works from any app. All other shortcuts below only fire while the "
                        "overlay is visible."),
         {{QStringLiteral("Toggle overlay"), A::trigger}}},
        {QStringLiteral("Confirm & dismiss"),
         {},
         {{QStringLiteral("Confirm placement"), A::confirm}, {QStringLiteral("Dismiss overlay"), A::dismiss}}},
        {QStringLiteral("Navigate"),
         {},
         {{QStringLiteral("Move up"), A::navigateUp},
          {QStringLiteral("Move down"), A::navigateDown},
          {QStringLiteral("Move left"), A::navigateLeft},
          {QStringLiteral("Move right"), A::navigateRight}}},
        {QStringLiteral("Extend selection"),
         {},
         {{QStringLiteral("Extend up"), A::extendUp},
          {QStringLiteral("Extend down"), A::extendDown},
          {QStringLiteral("Extend left"), A::extendLeft},
          {QStringLiteral("Extend right"), A::extendRight}}},
        {QStringLiteral("Displays & grid size"),
         {},
         {{QStringLiteral("Jump to next display"), A::crossDisplayNext},
          {QStringLiteral("Jump to previous display"), A::crossDisplayPrevious},
          {QStringLiteral("Add column to grid"), A::resizeAddColumn},
          {QStringLiteral("Remove column from grid"), A::resizeRemoveColumn},
          {QStringLiteral("Add row to grid"), A::resizeAddRow},
          {QStringLiteral("Remove row from grid"), A::resizeRemoveRow}}},
    };
    return sections;
}

void resetShortcutsToDefaults()
{
    KeyboardShortcuts::reset(nameFor(HotkeyAction::trigger));
    for (HotkeyAction action : allHotkeyActions()) {
        if (action != HotkeyAction::trigger)
            KeyboardShortcuts::storeActionShortcut(std::nullopt, nameFor(action));
    }
}

} // namespace mosaro
