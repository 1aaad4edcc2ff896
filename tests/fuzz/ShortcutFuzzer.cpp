// A stored shortcut's text as the shortcut package decodes it, and what it shows for it.

#include "FuzzInput.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"

using namespace mosaro;

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const auto shortcut = KeyboardShortcuts::decodeShortcut(text);
    if (!shortcut)
        return 0;
    // A decoded shortcut encodes to text that decodes to the same shortcut, and can be shown.
    MOSARO_FUZZ_CHECK(KeyboardShortcuts::decodeShortcut(KeyboardShortcuts::encodeShortcut(*shortcut)) == shortcut);
    (void)shortcut->description();
    (void)shortcut->modifiers();
    (void)KeyboardShortcuts::keyDisplayString(shortcut->carbonKeyCode);
    return 0;
}
