#include "KeyboardShortcuts/SpecialKey.h"

#include "Platform/HostTexts.h"

namespace mosaro::KeyboardShortcuts {

namespace {
QString capitalized(const QString& text)
{
    QString out = text;
    bool wordStart = true;
    for (QChar& c : out) {
        if (c.isSpace()) {
            wordStart = true;
        } else {
            c = wordStart ? c.toUpper() : c.toLower();
            wordStart = false;
        }
    }
    return out;
}
} // namespace

const std::array<SpecialKeyEntry, specialKeyCount>& specialKeyTable()
{
    using enum SpecialKey;
    static const std::array<SpecialKeyEntry, specialKeyCount> table{{
        {returnKey, 36},
        {deleteKey, 51},
        {deleteForward, 117},
        {end, 119},
        {escape, 53},
        {help, 114},
        {home, 115},
        {space, 49},
        {tab, 48},
        {pageUp, 116},
        {pageDown, 121},
        {upArrow, 126},
        {rightArrow, 124},
        {downArrow, 125},
        {leftArrow, 123},
        {f1, 122},
        {f2, 120},
        {f3, 99},
        {f4, 118},
        {f5, 96},
        {f6, 97},
        {f7, 98},
        {f8, 100},
        {f9, 101},
        {f10, 109},
        {f11, 103},
        {f12, 111},
        {f13, 105},
        {f14, 107},
        {f15, 113},
        {f16, 106},
        {f17, 64},
        {f18, 79},
        {f19, 80},
        {f20, 90},
        {keypad0, 82},
        {keypad1, 83},
        {keypad2, 84},
        {keypad3, 85},
        {keypad4, 86},
        {keypad5, 87},
        {keypad6, 88},
        {keypad7, 89},
        {keypad8, 91},
        {keypad9, 92},
        {keypadClear, 71},
        {keypadDecimal, 65},
        {keypadDivide, 75},
        {keypadEnter, 76},
        {keypadEquals, 81},
        {keypadMinus, 78},
        {keypadMultiply, 67},
        {keypadPlus, 69},
    }};
    return table;
}

std::optional<SpecialKey> specialKey(std::int64_t keyCode)
{
    for (const auto& entry : specialKeyTable()) {
        if (entry.keyCode == keyCode)
            return entry.key;
    }
    return std::nullopt;
}

QString localizedSpaceKey()
{
    return QStringLiteral("space");
}

QString symbol(SpecialKey key)
{
    using enum SpecialKey;
    const int index = static_cast<int>(key);
    if (key >= f1 && key <= f20)
        return QStringLiteral("F%1").arg(index - static_cast<int>(f1) + 1);
    if (key >= keypad0 && key <= keypad9)
        return hostText(HostText::keypadKey).arg(index - static_cast<int>(keypad0));
    switch (key) {
    case returnKey:
        return hostText(HostText::keyReturn);
    case deleteKey:
        return hostText(HostText::keyDelete);
    case deleteForward:
        return hostText(HostText::keyDeleteForward);
    case end:
        return hostText(HostText::keyEnd);
    case escape:
        return hostText(HostText::keyEscape);
    case help:
        return hostText(HostText::keyHelp);
    case home:
        return hostText(HostText::keyHome);
    case space:
        return capitalized(localizedSpaceKey());
    case tab:
        return hostText(HostText::keyTab);
    case pageUp:
        return hostText(HostText::keyPageUp);
    case pageDown:
        return hostText(HostText::keyPageDown);
    case upArrow:
        return hostText(HostText::keyUpArrow);
    case rightArrow:
        return hostText(HostText::keyRightArrow);
    case downArrow:
        return hostText(HostText::keyDownArrow);
    case leftArrow:
        return hostText(HostText::keyLeftArrow);
    case keypadClear:
        return hostText(HostText::keypadClear);
    case keypadDecimal:
        return hostText(HostText::keypadKey).arg(QLatin1Char('.'));
    case keypadDivide:
        return hostText(HostText::keypadKey).arg(QLatin1Char('/'));
    case keypadEnter:
        return hostText(HostText::keypadEnter);
    case keypadEquals:
        return hostText(HostText::keypadKey).arg(QLatin1Char('='));
    case keypadMinus:
        return hostText(HostText::keypadKey).arg(QLatin1Char('-'));
    case keypadMultiply:
        return hostText(HostText::keypadKey).arg(QLatin1Char('*'));
    case keypadPlus:
        return hostText(HostText::keypadKey).arg(QLatin1Char('+'));
    default:
        return {};
    }
}

} // namespace mosaro::KeyboardShortcuts
