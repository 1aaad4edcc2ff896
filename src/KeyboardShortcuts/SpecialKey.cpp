#include "KeyboardShortcuts/SpecialKey.h"

namespace mosaro::KeyboardShortcuts {

namespace {
constexpr QChar keycap(0x20E3); // combining enclosing keycap

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
        return QString::number(index - static_cast<int>(keypad0)) + keycap;
    switch (key) {
    case returnKey:
        return QString(QChar(0x21A9));
    case deleteKey:
        return QString(QChar(0x232B));
    case deleteForward:
        return QString(QChar(0x2326));
    case end:
        return QString(QChar(0x2198));
    case escape:
        return QString(QChar(0x238B));
    case help:
        return QStringLiteral("?") + QChar(0x20DD);
    case home:
        return QString(QChar(0x2196));
    case space:
        return capitalized(localizedSpaceKey());
    case tab:
        return QString(QChar(0x21E5));
    case pageUp:
        return QString(QChar(0x21DE));
    case pageDown:
        return QString(QChar(0x21DF));
    case upArrow:
        return QString(QChar(0x2191));
    case rightArrow:
        return QString(QChar(0x2192));
    case downArrow:
        return QString(QChar(0x2193));
    case leftArrow:
        return QString(QChar(0x2190));
    case keypadClear:
        return QString(QChar(0x2612)) + keycap;
    case keypadDecimal:
        return QStringLiteral(".") + keycap;
    case keypadDivide:
        return QStringLiteral("/") + keycap;
    case keypadEnter:
        return QString(QChar(0x21A9)) + keycap;
    case keypadEquals:
        return QStringLiteral("=") + keycap;
    case keypadMinus:
        return QStringLiteral("-") + keycap;
    case keypadMultiply:
        return QStringLiteral("*") + keycap;
    case keypadPlus:
        return QStringLiteral("+") + keycap;
    default:
        return {};
    }
}

} // namespace mosaro::KeyboardShortcuts
