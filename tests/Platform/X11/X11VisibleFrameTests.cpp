#include "Platform/X11/X11VisibleFrame.h"

#include <gtest/gtest.h>

using namespace mosaro;
using X11Properties::Reservation;
using X11Properties::reservationsFromStrut;

namespace {

// A strut along one edge over [from, to] of it: left, right, top or bottom, as _NET_WM_STRUT_PARTIAL.
std::vector<Reservation> strut(int side, std::uint32_t width, std::uint32_t from, std::uint32_t to, Size root)
{
    std::vector<std::uint32_t> v(12, 0);
    v[std::size_t(side)] = width;
    v[4 + std::size_t(side) * 2] = from;
    v[5 + std::size_t(side) * 2] = to;
    return reservationsFromStrut(v, root.width, root.height);
}
enum {
    left,
    right,
    top,
    bottom
};

std::vector<Reservation> operator+(std::vector<Reservation> a, const std::vector<Reservation>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct Row {
    const char* name;
    Size root;
    std::vector<Reservation> struts;
    std::optional<Rect> workArea;
    std::vector<std::pair<Rect, Rect>> monitors; // monitor, its visible frame
};

} // namespace

// The work area is the manager's word; struts only say which monitor an edge they explain belongs to.
TEST(X11VisibleFrame, WorkAreaCutsEveryMonitorItLiesInStrutsRefinePerMonitor)
{
    const Size one{1440, 900}, wide{1920, 1200}, three{3000, 1200};
    const Rect whole{0, 0, 1440, 900};
    const Rect shortLeft{0, 0, 960, 1080}, tallRight{960, 0, 960, 1200};
    const Rect a{0, 0, 1000, 1080}, b{1000, 0, 1000, 1200}, c{2000, 0, 1000, 900};
    const std::vector<Row> rows{
        {"nothing reserved", one, {}, Rect{0, 0, 1440, 900}, {{whole, whole}}},
        {"margins alone (bottom 40)", one, {}, Rect{0, 0, 1440, 860}, {{whole, {0, 0, 1440, 860}}}},
        {"top margin 30 and a 25 px bottom dock",
         one,
         strut(bottom, 25, 0, 1439, one),
         Rect{0, 30, 1440, 845},
         {{whole, {0, 30, 1440, 845}}}},
        {"a margin deeper than the dock's strut",
         one,
         strut(bottom, 25, 0, 1439, one),
         Rect{0, 0, 1440, 860},
         {{whole, {0, 0, 1440, 860}}}},
        {"a strut the work area does not fold in still counts",
         one,
         strut(top, 20, 0, 1439, one),
         Rect{0, 0, 1440, 874},
         {{whole, {0, 20, 1440, 854}}}},
        {"a stale work area is believed", one, {}, Rect{0, 0, 1440, 874}, {{whole, {0, 0, 1440, 874}}}},
        {"no work area: struts alone", one, strut(left, 50, 0, 899, one), std::nullopt, {{whole, {50, 0, 1390, 900}}}},
        {"work area larger than the screen", one, {}, Rect{0, 0, 2000, 900}, {{whole, whole}}},
        {"empty work area", one, {}, Rect{0, 0, 0, 860}, {{whole, whole}}},
        {"work area outside the screen", one, {}, Rect{-10, 0, 1440, 900}, {{whole, whole}}},
        {"struts leaving nothing", one, strut(top, 900, 0, 1439, one), Rect{0, 0, 1440, 900}, {{whole, whole}}},
        {"two heights, dock on the short one",
         wide,
         strut(bottom, 150, 0, 959, wide),
         Rect{0, 0, 1920, 1050},
         {{shortLeft, {0, 0, 960, 1050}}, {tallRight, tallRight}}},
        {"two heights, dock on the tall one",
         wide,
         strut(bottom, 25, 960, 1919, wide),
         Rect{0, 0, 1920, 1175},
         {{shortLeft, shortLeft}, {tallRight, {960, 0, 960, 1175}}}},
        {"two heights, a task bar no strut explains cuts the monitor reaching past it",
         wide,
         {},
         Rect{0, 0, 1920, 1175},
         {{shortLeft, shortLeft}, {tallRight, {960, 0, 960, 1175}}}},
        {"a panel at the inner edge of the right monitor",
         wide,
         strut(left, 1000, 0, 1199, wide),
         Rect{1000, 0, 920, 1200},
         {{shortLeft, shortLeft}, {tallRight, {1000, 0, 920, 1200}}}},
        {"three heights, docks on two, a left margin",
         three,
         strut(top, 30, 1000, 1999, three) + strut(bottom, 340, 2000, 2999, three),
         Rect{10, 30, 2990, 830},
         {{a, {10, 0, 990, 1080}}, {b, {1000, 30, 1000, 1170}}, {c, {2000, 0, 1000, 860}}}},
    };
    for (const Row& row : rows) {
        for (const auto& [monitor, expected] : row.monitors)
            EXPECT_EQ(visibleFrameOfMonitor(monitor, row.struts, row.workArea, row.root.width, row.root.height),
                      expected)
                << row.name << ", monitor " << describe(monitor).toStdString();
    }
    EXPECT_EQ(rows.size(), 16u);
}
