#pragma once

#include "Platform/Geometry.h"
#include "support/x11/MosaroAppFixture.h"

#include <gtest/gtest.h>

#include <QString>
#include <QStringList>

#include <string>
#include <vector>

namespace mosaro::test {

// A kind of client window the matrix places.
struct DesktopClient {
    const char* name;
    QString program;
    QStringList args;
    QString instance; // WM_CLASS instance of its window
};
// An xterm (size increments), an xlogo (a plain Xt window) and a GTK window with client-side
// decorations.
const std::vector<DesktopClient>& desktopClients();

// The desktops people use, for the integration tests: the real application running under one
// window manager (given as the test parameter), placing real clients with a 3 x 2 grid, margin 0.
class DesktopMatrixTest : public MosaroAppFixture, public ::testing::WithParamInterface<std::string> {
protected:
    // A plain window goes to the top-left cell with Up Left Return, one next to a top dock too
    // (just below the dock), a maximized one to the bottom-right cell with Down Right Return (along
    // the edge a task bar holds).
    struct Scenario {
        const char* name;
        bool dock;
        bool maximized;
    };

    void SetUp() override;

    // Every client in every scenario, each compared with its cell; prints one line per cell.
    void placeEveryClient();
    void placeClient(const DesktopClient& client, const Scenario& scenario);

    // Starts a client and gives it the focus.
    std::optional<X11SessionClient> startFocused(const DesktopClient& client);
    // Opens the overlay, types the keys and waits until the log tells of the move.
    bool commitWith(const std::vector<MosaroAppDriver::Key>& keys);
    // The frame a person sees: the manager's outer frame from the window tree, without the
    // shadow a client with client-side decorations draws inside its own area.
    Rect visibleFrame(xcb_window_t window);
    // Exact position; the size within one increment of the client's size hints.
    bool matches(xcb_window_t window, const Rect& expected, Rect* actual);
    bool supports(const char* atom);
    bool hasState(xcb_window_t window, const char* state);
};

// The managers of a comma-separated list, as test parameters.
std::vector<std::string> desktopList(const char* commaSeparated);
std::string desktopName(const ::testing::TestParamInfo<std::string>& info);

} // namespace mosaro::test
