// A plain X client window for the integration tests. Prints its window id once mapped, then
// stays until it is terminated or its server goes away.
//
//   --title TEXT                 _NET_WM_NAME (UTF-8) and WM_NAME
//   --utf8-title-bytes HEX       raw bytes for _NET_WM_NAME, no WM_NAME
//   --wm-name-bytes HEX          raw bytes for WM_NAME (STRING), no _NET_WM_NAME
//   --geometry WxH+X+Y           requested size and position (user-specified)
//   --fixed-size                 minimum size = maximum size
//   --windows N                  N - 1 more plain windows like it (a busy desktop), announced once all are mapped
//   --dock-strut SIDE:N          a dock reserving N pixels at the top or bottom
//   --fullscreen                 initial _NET_WM_STATE
//   --no-pid                     no _NET_WM_PID
//   --background RRGGBB          background colour (white by default)

#include <xcb/xcb.h>
#include <xcb/xcb_icccm.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

xcb_connection_t* conn = nullptr;

xcb_atom_t atom(const char* name)
{
    xcb_intern_atom_reply_t* r =
        xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, std::strlen(name), name), nullptr);
    const xcb_atom_t a = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(r);
    return a;
}

std::vector<unsigned char> fromHex(const std::string& hex)
{
    std::vector<unsigned char> out;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

void setProp(xcb_window_t w, const char* name, xcb_atom_t type, int format, const void* data, std::size_t count)
{
    xcb_change_property(conn, XCB_PROP_MODE_REPLACE, w, atom(name), type, format, count, data);
}

int fail(const char* what)
{
    std::fprintf(stderr, "mosaro_test_client: %s\n", what);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    std::string title = "mosaro test client";
    std::string utf8Bytes, wmNameBytes, dockSide;
    bool fixedSize = false, fullscreen = false, noPid = false, hasGeometry = false;
    int width = 400, height = 300, x = 0, y = 0, strut = 0, count = 1;
    std::optional<std::uint32_t> background;

    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : std::string(); };
        if (arg == "--title")
            title = next();
        else if (arg == "--utf8-title-bytes")
            utf8Bytes = next();
        else if (arg == "--wm-name-bytes")
            wmNameBytes = next();
        else if (arg == "--geometry") {
            if (std::sscanf(next().c_str(), "%dx%d+%d+%d", &width, &height, &x, &y) != 4)
                return fail("bad --geometry");
            hasGeometry = true;
        } else if (arg == "--fixed-size")
            fixedSize = true;
        else if (arg == "--windows")
            count = std::atoi(next().c_str());
        else if (arg == "--dock-strut") {
            const std::string v = next();
            const auto colon = v.find(':');
            if (colon == std::string::npos)
                return fail("bad --dock-strut");
            dockSide = v.substr(0, colon);
            strut = std::atoi(v.c_str() + colon + 1);
        } else if (arg == "--fullscreen")
            fullscreen = true;
        else if (arg == "--no-pid")
            noPid = true;
        else if (arg == "--background")
            background = std::uint32_t(std::stoul(next(), nullptr, 16));
        else
            return fail("unknown argument");
    }

    conn = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(conn))
        return fail("cannot connect");
    xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(conn)).data;

    if (!dockSide.empty() && !hasGeometry) {
        const int w = screen->width_in_pixels, h = screen->height_in_pixels;
        x = 0, y = dockSide == "top" ? 0 : h - strut, width = w, height = strut;
    }

    // A TrueColor root visual takes 0xRRGGBB as the pixel.
    const std::uint32_t values[] = {background.value_or(screen->white_pixel),
                                    XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE};
    const char wmClass[] = "mosaro_test_client\0MosaroTestClient";
    std::vector<xcb_window_t> windows(std::size_t(std::max(count, 1)));
    for (xcb_window_t& w : windows) {
        w = xcb_generate_id(conn);
        xcb_create_window(conn, XCB_COPY_FROM_PARENT, w, screen->root, std::int16_t(x), std::int16_t(y),
                          std::uint16_t(width), std::uint16_t(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        setProp(w, "WM_CLASS", XCB_ATOM_STRING, 8, wmClass, sizeof wmClass);
    }
    const xcb_window_t win = windows[0];

    const xcb_atom_t utf8 = atom("UTF8_STRING");
    if (!utf8Bytes.empty()) {
        const auto bytes = fromHex(utf8Bytes);
        setProp(win, "_NET_WM_NAME", utf8, 8, bytes.data(), bytes.size());
    } else if (!wmNameBytes.empty()) {
        const auto bytes = fromHex(wmNameBytes);
        setProp(win, "WM_NAME", XCB_ATOM_STRING, 8, bytes.data(), bytes.size());
    } else {
        setProp(win, "_NET_WM_NAME", utf8, 8, title.data(), title.size());
        setProp(win, "WM_NAME", XCB_ATOM_STRING, 8, title.data(), title.size());
    }
    if (!noPid) {
        const std::uint32_t pid = std::uint32_t(getpid());
        setProp(win, "_NET_WM_PID", XCB_ATOM_CARDINAL, 32, &pid, 1);
        char host[256] = {};
        gethostname(host, sizeof host - 1);
        setProp(win, "WM_CLIENT_MACHINE", XCB_ATOM_STRING, 8, host, std::strlen(host));
    }
    const xcb_atom_t deleteWindow = atom("WM_DELETE_WINDOW");
    setProp(win, "WM_PROTOCOLS", XCB_ATOM_ATOM, 32, &deleteWindow, 1);

    xcb_size_hints_t hints{};
    if (hasGeometry || !dockSide.empty()) {
        xcb_icccm_size_hints_set_position(&hints, 1, x, y);
        xcb_icccm_size_hints_set_size(&hints, 1, width, height);
    }
    if (fixedSize) {
        xcb_icccm_size_hints_set_min_size(&hints, width, height);
        xcb_icccm_size_hints_set_max_size(&hints, width, height);
    }
    xcb_icccm_size_hints_set_win_gravity(&hints, XCB_GRAVITY_NORTH_WEST);
    xcb_icccm_set_wm_normal_hints(conn, win, &hints);

    if (fullscreen) {
        const xcb_atom_t state = atom("_NET_WM_STATE_FULLSCREEN");
        setProp(win, "_NET_WM_STATE", XCB_ATOM_ATOM, 32, &state, 1);
    }

    if (!dockSide.empty()) {
        const xcb_atom_t dock = atom("_NET_WM_WINDOW_TYPE_DOCK");
        setProp(win, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, 32, &dock, 1);
        // left, right, top, bottom, then the start/end ranges of each.
        std::uint32_t partial[12] = {};
        const int top = dockSide == "top" ? 0 : 1;
        partial[2 + top] = std::uint32_t(strut);
        partial[8 + 2 * top] = std::uint32_t(x), partial[9 + 2 * top] = std::uint32_t(x + width - 1);
        setProp(win, "_NET_WM_STRUT_PARTIAL", XCB_ATOM_CARDINAL, 32, partial, 12);
        setProp(win, "_NET_WM_STRUT", XCB_ATOM_CARDINAL, 32, partial, 4);
    }

    for (const xcb_window_t w : windows)
        xcb_map_window(conn, w);
    xcb_flush(conn);

    std::size_t mapped = 0;
    while (xcb_generic_event_t* ev = xcb_wait_for_event(conn)) {
        const std::uint8_t type = ev->response_type & 0x7f;
        // Announced once, when the last window is mapped (a new manager maps them again).
        if (type == XCB_MAP_NOTIFY && ++mapped == windows.size()) {
            std::printf("0x%x\n", win);
            std::fflush(stdout);
        } else if (type == XCB_CLIENT_MESSAGE) {
            auto* cm = reinterpret_cast<xcb_client_message_event_t*>(ev);
            if (cm->data.data32[0] == deleteWindow) {
                std::free(ev);
                break;
            }
        }
        std::free(ev);
    }
    xcb_disconnect(conn);
    return 0;
}
