// Types through KWin's fake-input protocol, for the KWin tests:
//
//   mosaro_kwin_client   reads lines of tokens from standard input and answers "ok" once KWin has
//                        each line; a token is a key name or evdev code ("Escape", "28"), or a
//                        chord pressed in order and released in reverse ("Meta+Shift+Left")
//
// KWin offers fake input only to a program whose executable a .desktop file names, and finds the
// executable through /proc, so this program runs as KWin's own user.

#include "fake-input-client-protocol.h"

#include <wayland-client.h>

#include <linux/input-event-codes.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

int keyCode(const std::string& name)
{
    static const std::pair<const char*, int> names[] = {
        {"Meta", KEY_LEFTMETA}, {"Shift", KEY_LEFTSHIFT}, {"Ctrl", KEY_LEFTCTRL}, {"Alt", KEY_LEFTALT},
        {"Return", KEY_ENTER},  {"Escape", KEY_ESC},      {"Left", KEY_LEFT},     {"Right", KEY_RIGHT},
        {"Up", KEY_UP},         {"Down", KEY_DOWN},       {"Space", KEY_SPACE},   {"Tab", KEY_TAB},
        {"F1", KEY_F1},         {"F11", KEY_F11},         {"F12", KEY_F12},       {"Y", KEY_Y}};
    for (const auto& [n, code] : names) {
        if (name == n)
            return code;
    }
    char* end = nullptr;
    const long code = std::strtol(name.c_str(), &end, 10);
    return (!name.empty() && *end == '\0' && code > 0 && code < KEY_MAX) ? int(code) : -1;
}

struct FakeInput {
    wl_display* display = nullptr;
    org_kde_kwin_fake_input* input = nullptr;
};

void onGlobal(void* data, wl_registry* registry, uint32_t name, const char* interface, uint32_t)
{
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0) {
        static_cast<FakeInput*>(data)->input = static_cast<org_kde_kwin_fake_input*>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4));
    }
}

void onGlobalRemove(void*, wl_registry*, uint32_t)
{}

// Sends one line of tokens; false on an unknown key name.
bool typeLine(FakeInput& fake, const std::string& line)
{
    std::istringstream tokens(line);
    std::string token;
    while (tokens >> token) {
        std::vector<int> chord;
        std::stringstream parts(token);
        for (std::string part; std::getline(parts, part, '+');) {
            chord.push_back(keyCode(part));
            if (chord.back() < 0) {
                std::fprintf(stderr, "unknown key: %s\n", part.c_str());
                return false;
            }
        }
        for (int code : chord)
            org_kde_kwin_fake_input_keyboard_key(fake.input, code, WL_KEYBOARD_KEY_STATE_PRESSED);
        for (auto it = chord.rbegin(); it != chord.rend(); ++it)
            org_kde_kwin_fake_input_keyboard_key(fake.input, *it, WL_KEYBOARD_KEY_STATE_RELEASED);
    }
    return wl_display_roundtrip(fake.display) >= 0;
}

int keys()
{
    FakeInput fake;
    fake.display = wl_display_connect(nullptr);
    if (!fake.display) {
        std::fprintf(stderr, "no Wayland display\n");
        return 1;
    }
    static const wl_registry_listener listener = {onGlobal, onGlobalRemove};
    wl_registry_add_listener(wl_display_get_registry(fake.display), &listener, &fake);
    wl_display_roundtrip(fake.display);
    if (!fake.input) {
        std::fprintf(stderr, "the compositor does not offer %s to this program\n",
                     org_kde_kwin_fake_input_interface.name);
        return 2;
    }
    org_kde_kwin_fake_input_authenticate(fake.input, "Mosaro tests", "types the keys of the integration tests");
    int status = 0;
    for (std::string line; status == 0 && std::getline(std::cin, line);) {
        status = typeLine(fake, line) ? 0 : 1;
        std::cout << (status == 0 ? "ok" : "failed") << std::endl;
    }
    wl_display_disconnect(fake.display);
    return status;
}

} // namespace

int main()
{
    return keys();
}
