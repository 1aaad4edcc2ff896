#include "Platform/X11/X11VisibleFrame.h"

#include <gtest/gtest.h>

using namespace mosaro;
using X11Properties::Reservation;
using X11Properties::reservationsFromStrut;

namespace {

enum Side {
    left,
    right,
    top,
    bottom
};
// A strut as _NET_WM_STRUT_PARTIAL: along one side of a root, over [from, to] of it.
std::vector<Reservation> strut(Side side, std::uint32_t width, std::uint32_t from, std::uint32_t to, Size root)
{
    std::vector<std::uint32_t> v(12, 0);
    v[side] = width;
    v[4 + side * 2] = from;
    v[5 + side * 2] = to;
    return reservationsFromStrut(v, root.width, root.height);
}

} // namespace

// The work area is the manager's word; struts only say which monitor an edge they explain belongs to.
TEST(X11VisibleFrame, WorkAreaCutsEveryMonitorItLiesInStrutsRefinePerMonitor)
{
    const Size one{1440, 900}, two{1920, 1200}, three{3000, 1200};
    const Rect m{0, 0, 1440, 900}, shortLeft{0, 0, 960, 1080}, tallRight{960, 0, 960, 1200};
    const Rect a{0, 0, 1000, 1080}, b{1000, 0, 1000, 1200}, c{2000, 0, 1000, 900};
    auto both = [](std::vector<Reservation> x, const std::vector<Reservation>& y) {
        x.insert(x.end(), y.begin(), y.end());
        return x;
    };
    struct Row {
        const char* name;
        Size root;
        std::vector<Reservation> struts;
        std::optional<Rect> workArea;
        std::vector<std::pair<Rect, Rect>> monitors; // each monitor and its visible frame
    };
    const std::vector<Row> rows{
        {"margins alone (bottom 40)", one, {}, Rect{0, 0, 1440, 860}, {{m, {0, 0, 1440, 860}}}},
        {"top margin, bottom dock",
         one,
         strut(bottom, 25, 0, 1439, one),
         Rect{0, 30, 1440, 845},
         {{m, {0, 30, 1440, 845}}}},
        {"a margin deeper than a strut",
         one,
         strut(bottom, 25, 0, 1439, one),
         Rect{0, 0, 1440, 860},
         {{m, {0, 0, 1440, 860}}}},
        {"a strut not folded in", one, strut(top, 20, 0, 1439, one), Rect{0, 0, 1440, 874}, {{m, {0, 20, 1440, 854}}}},
        {"a stale work area is believed", one, {}, Rect{0, 0, 1440, 874}, {{m, {0, 0, 1440, 874}}}},
        {"no work area: struts alone", one, strut(left, 50, 0, 899, one), std::nullopt, {{m, {50, 0, 1390, 900}}}},
        {"work area larger than the screen", one, {}, Rect{0, 0, 2000, 900}, {{m, m}}},
        {"empty work area", one, {}, Rect{0, 0, 0, 860}, {{m, m}}},
        {"struts leaving nothing", one, strut(top, 900, 0, 1439, one), Rect{0, 0, 1440, 900}, {{m, m}}},
        {"dock on the short monitor",
         two,
         strut(bottom, 150, 0, 959, two),
         Rect{0, 0, 1920, 1050},
         {{shortLeft, {0, 0, 960, 1050}}, {tallRight, tallRight}}},
        {"dock on the tall monitor",
         two,
         strut(bottom, 25, 960, 1919, two),
         Rect{0, 0, 1920, 1175},
         {{shortLeft, shortLeft}, {tallRight, {960, 0, 960, 1175}}}},
        {"a task bar no strut explains",
         two,
         {},
         Rect{0, 0, 1920, 1175},
         {{shortLeft, shortLeft}, {tallRight, {960, 0, 960, 1175}}}},
        {"a panel at the right monitor's inner edge",
         two,
         strut(left, 1000, 0, 1199, two),
         Rect{1000, 0, 920, 1200},
         {{shortLeft, shortLeft}, {tallRight, {1000, 0, 920, 1200}}}},
        {"three heights, docks on two, a left margin",
         three,
         both(strut(top, 30, 1000, 1999, three), strut(bottom, 340, 2000, 2999, three)),
         Rect{10, 30, 2990, 830},
         {{a, {10, 0, 990, 1080}}, {b, {1000, 30, 1000, 1170}}, {c, {2000, 0, 1000, 860}}}},
    };
    int checked = 0;
    for (const Row& row : rows) {
        for (const auto& [monitor, expected] : row.monitors) {
            EXPECT_EQ(visibleFrameOfMonitor(monitor, row.struts, row.workArea, row.root.width, row.root.height),
                      expected)
                << row.name << ", monitor " << describe(monitor).toStdString();
            ++checked;
        }
    }
    EXPECT_EQ(checked, 20);
}
