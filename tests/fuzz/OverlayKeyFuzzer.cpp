// A key-down while the overlay is the key window, decoded against recorded shortcuts as the
// defaults store may hold them (JSON text of any shape, or a value of another kind).

#include "FuzzInput.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Overlay/OverlayKeyDecoder.h"
#include "Platform/KeyEvent.h"
#include "support/InMemoryDefaultsStore.h"

using namespace mosaro;
using mosaro::fuzz::FuzzInput;

namespace {
test::InMemoryDefaultsStore& defaults()
{
    static test::InMemoryDefaultsStore& store = *new test::InMemoryDefaultsStore;
    return store;
}
} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool configured = [] {
        KeyboardShortcuts::configure({&defaults(), nullptr, nullptr, nullptr});
        return true;
    }();
    (void)configured;
    defaults().values.clear();

    FuzzInput input(data, size);
    const auto keyCode = input.take<std::uint16_t>();
    const auto flags = input.take<std::uint64_t>();
    // Up to three recorded shortcuts, each for an action the input picks.
    for (int i = 0; i < 3 && !input.empty(); ++i) {
        const auto& actions = allHotkeyActions();
        const HotkeyAction action = actions[input.take<std::uint8_t>() % actions.size()];
        const QString key = KeyboardShortcuts::userDefaultsKey(nameFor(action));
        switch (input.take<std::uint8_t>() % 4) {
        case 0:
            defaults().values.insert(key, QString::fromUtf8(input.bytes(512)));
            break;
        case 1:
            defaults().values.insert(key, input.take<std::uint8_t>() % 2 == 1);
            break;
        case 2:
            defaults().values.insert(key, qint64(input.take<std::int64_t>()));
            break;
        default:
            defaults().values.insert(key, input.take<double>());
            break;
        }
    }

    // Flags beyond Shift, Control, Option and Command never change what a key means.
    MOSARO_FUZZ_CHECK(decodeOverlayKey(keyCode, flags) ==
                      decodeOverlayKey(keyCode, flags & ModifierFlag::comparedMask));
    return 0;
}
