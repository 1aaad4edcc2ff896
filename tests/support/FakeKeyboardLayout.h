#pragma once

#include "Platform/KeyboardLayout.h"

#include <map>

namespace mosaro::test {

// A US layout: what each character key prints without modifiers.
class FakeKeyboardLayout : public KeyboardLayout {
public:
    FakeKeyboardLayout()
    {
        const char* letters = "asdfhgzxcv\0bqweryt";
        for (std::uint16_t code = 0; code <= 17; ++code) {
            if (letters[code])
                characters[code] = QString(QChar(letters[code]));
        }
        const std::map<std::uint16_t, const char*> others{
            {18, "1"}, {19, "2"}, {20, "3"}, {21, "4"}, {22, "6"}, {23, "5"}, {24, "="}, {25, "9"},
            {26, "7"}, {27, "-"}, {28, "8"}, {29, "0"}, {30, "]"}, {31, "o"}, {32, "u"}, {33, "["},
            {34, "i"}, {35, "p"}, {37, "l"}, {38, "j"}, {39, "'"}, {40, "k"}, {41, ";"}, {42, "\\"},
            {43, ","}, {44, "/"}, {45, "n"}, {46, "m"}, {47, "."}, {50, "`"}};
        for (const auto& [code, text] : others)
            characters[code] = QString::fromLatin1(text);
    }

    std::optional<QString> translateForDisplay(std::uint16_t keyCode) const override
    {
        const auto it = characters.find(keyCode);
        if (it == characters.end())
            return std::nullopt;
        return it->second;
    }

    std::map<std::uint16_t, QString> characters;
};

} // namespace mosaro::test
