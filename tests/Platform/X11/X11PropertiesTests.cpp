#include "Platform/X11/X11Properties.h"

#include "support/EdidFixture.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace mosaro;
using namespace mosaro::X11Properties;
namespace A = mosaro::X11Properties::PredefinedAtom;

namespace {

constexpr std::uint32_t utf8 = 300; // the server's UTF8_STRING, whatever number it has
constexpr std::uint32_t wmStateAtom = 301;

X11Property cardinals(std::vector<std::uint32_t> values, std::uint32_t type = A::cardinal)
{
    X11Property p{type, 32, std::vector<std::uint8_t>(values.size() * 4)};
    if (!values.empty())
        std::memcpy(p.bytes.data(), values.data(), p.bytes.size());
    return p;
}

X11Property bytes(std::uint32_t type, const QByteArray& data, std::uint8_t format = 8)
{
    return {type, format, std::vector<std::uint8_t>(data.begin(), data.end())};
}

} // namespace

// Lists are believed only with the declared type, format 32 and enough items; a length that is
// not a whole number of items drops the rest.
TEST(X11Properties, ListsCheckTypeFormatAndLength)
{
    EXPECT_EQ(list32(cardinals({1, 2, 3}), A::cardinal, 3), (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_FALSE(list32(cardinals({1, 2, 3}), A::cardinal, 4));
    EXPECT_FALSE(list32(cardinals({1, 2, 3}, A::window), A::cardinal, 1));
    EXPECT_TRUE(list32(cardinals({1, 2, 3}, A::window), A::any, 1));
    EXPECT_FALSE(list32(std::nullopt, A::any, 0));
    X11Property ragged = cardinals({7, 8});
    ragged.bytes.push_back(0xff);
    EXPECT_EQ(list32(ragged, A::cardinal, 1), (std::vector<std::uint32_t>{7, 8}));
    EXPECT_FALSE(list32(X11Property{A::cardinal, 16, cardinals({7, 8}).bytes}, A::cardinal, 1));
    EXPECT_EQ((X11Property{A::cardinal, 12, cardinals({7}).bytes}.itemCount()), 0u);

    EXPECT_EQ(atoms(cardinals({5, 6}, A::atom)), (std::vector<std::uint32_t>{5, 6}));
    EXPECT_TRUE(contains(atoms(cardinals({5, 6}, A::atom)), 6));
    EXPECT_FALSE(contains(atoms(cardinals({5, 6}, A::atom)), 0));
    EXPECT_FALSE(contains(atoms(cardinals({5, 6}, A::cardinal)), 5));

    EXPECT_EQ(processID(cardinals({4242})), 4242);
    EXPECT_FALSE(processID(cardinals({0})));
    EXPECT_FALSE(processID(cardinals({0x80000000u})));
    EXPECT_FALSE(processID(cardinals({}, A::cardinal)));

    EXPECT_EQ(wmState(cardinals({3, 0}, wmStateAtom), wmStateAtom), 3u);
    EXPECT_FALSE(wmState(cardinals({3, 0}), wmStateAtom));
}

// Titles: _NET_WM_NAME as UTF-8 (broken sequences repaired) before WM_NAME as Latin-1; a title
// cannot smuggle line breaks or other control characters into a log line.
TEST(X11Properties, WindowTitles)
{
    const auto net = bytes(utf8, QByteArray::fromHex("436166c3a920e29c93"));
    const auto latin1 = bytes(A::string, QByteArray::fromHex("4c6174696ee9"));
    EXPECT_EQ(windowTitle(net, latin1, utf8), QStringLiteral("Caf\u00e9 \u2713"));
    EXPECT_EQ(windowTitle(std::nullopt, latin1, utf8), QStringLiteral("Latin\u00e9"));
    EXPECT_EQ(windowTitle(bytes(utf8, QByteArray::fromHex("4f6bff21")), std::nullopt, utf8),
              QStringLiteral("Ok\uFFFD!"));
    EXPECT_EQ(windowTitle(bytes(utf8, "two\nlines\r\x1b[31m"), std::nullopt, utf8), QStringLiteral("two lines  [31m"));
    EXPECT_EQ(windowTitle(bytes(utf8, ""), latin1, utf8), QString());
    // A title of an unknown type or in 32-bit items is no title; the fallback is used.
    EXPECT_EQ(windowTitle(bytes(999, "x"), latin1, utf8), QStringLiteral("Latin\u00e9"));
    EXPECT_FALSE(windowTitle(cardinals({65, 66}, utf8), std::nullopt, utf8));
    EXPECT_FALSE(windowTitle(std::nullopt, std::nullopt, utf8));
    // Without the server's UTF8_STRING atom nothing is read as UTF-8.
    EXPECT_FALSE(text(net, 0));
    EXPECT_EQ(text(bytes(77, "ct"), utf8, 77), QStringLiteral("ct"));
}

// Frame extents and client-side shadows: four cardinals within what the window could hold.
TEST(X11Properties, Extents)
{
    EXPECT_EQ(extents(cardinals({1, 2, 20, 5}), 100, 100), (Extents{1, 2, 20, 5}));
    EXPECT_FALSE(extents(cardinals({1, 2, 20}), 100, 100));
    EXPECT_FALSE(extents(cardinals({60, 40, 0, 0}), 100, 100));
    EXPECT_FALSE(extents(cardinals({0, 0, 0xffffffffu, 0}), 100, 100));
    EXPECT_FALSE(extents(cardinals({1, 2, 3, 4}, A::window), 100, 100));
}

// The current desktop's work area, clipped to the root; a desktop number beyond the list falls
// back to the first desktop, and empty areas are none.
TEST(X11Properties, WorkArea)
{
    const auto areas = cardinals({0, 0, 1280, 800, 0, 20, 1280, 750});
    EXPECT_EQ(workArea(areas, cardinals({1}), 1280, 800), (Rect{0, 20, 1280, 750}));
    EXPECT_EQ(workArea(areas, std::nullopt, 1280, 800), (Rect{0, 0, 1280, 800}));
    EXPECT_EQ(workArea(areas, cardinals({0xffffffffu}), 1280, 800), (Rect{0, 0, 1280, 800}));
    EXPECT_EQ(workArea(cardinals({0xfffffff6u, 0, 2000, 900}), std::nullopt, 1280, 800), (Rect{0, 0, 1280, 800}));
    EXPECT_FALSE(workArea(cardinals({0, 0, 0, 800}), std::nullopt, 1280, 800));
    EXPECT_FALSE(workArea(cardinals({5000, 0, 100, 100}), std::nullopt, 1280, 800));
    EXPECT_FALSE(workArea(cardinals({0, 0, 1280}), std::nullopt, 1280, 800));
}

// Struts: the partial form (12 values) wins over the plain one (4 values); ranges are inclusive;
// reversed ranges, short lists and zero widths give nothing; reaches are clamped to the root.
TEST(X11Properties, StrutReservations)
{
    using Edge = Reservation::Edge;
    std::vector<std::uint32_t> partialTop(12, 0);
    partialTop[2] = 30;
    partialTop[9] = 959;
    const auto top = strutReservations(cardinals(partialTop), cardinals({0, 0, 99, 0}), 1920, 1080);
    ASSERT_EQ(top.size(), 1u);
    EXPECT_EQ(top[0], (Reservation{Edge::top, {0, 0, 960, 30}}));

    const auto plain = strutReservations(std::nullopt, cardinals({10, 48, 0, 25}), 1920, 1080);
    EXPECT_EQ(plain, (std::vector<Reservation>{{Edge::left, {0, 0, 10, 1080}},
                                               {Edge::right, {1872, 0, 48, 1080}},
                                               {Edge::bottom, {0, 1055, 1920, 25}}}));

    std::vector<std::uint32_t> reversed(12, 0);
    reversed[3] = 40;
    reversed[10] = 500;
    reversed[11] = 100;
    EXPECT_TRUE(reservationsFromStrut(reversed, 1920, 1080).empty());
    EXPECT_TRUE(reservationsFromStrut({10, 10}, 1920, 1080).empty());
    EXPECT_TRUE(strutReservations(cardinals({1, 2}), cardinals({0, 0}), 1920, 1080).empty());
    const auto huge = reservationsFromStrut({0, 0, 4000000000u, 0}, 1920, 1080);
    ASSERT_EQ(huge.size(), 1u);
    EXPECT_EQ(huge[0].area, (Rect{0, 0, 1920, 1080}));
}

// WM_NORMAL_HINTS: fields count only with their flag; nonsense values are dropped.
TEST(X11Properties, SizeHints)
{
    // flags, pad x4, min, max, increment, aspect x4, base, gravity
    std::vector<std::uint32_t> v(18, 0);
    v[0] = (1u << 4) | (1u << 6) | (1u << 8) | (1u << 9);
    v[5] = 20, v[6] = 30;   // minimum
    v[7] = 999, v[8] = 999; // maximum, but its flag is not set
    v[9] = 6, v[10] = 13;   // increments
    v[15] = 4, v[16] = 4;   // base
    v[17] = 7;              // south-west
    const auto hints = sizeHints(cardinals(v, A::wmSizeHints));
    ASSERT_TRUE(hints);
    EXPECT_TRUE(hints->hasMinSize && hints->hasIncrement && hints->hasBaseSize);
    EXPECT_FALSE(hints->hasMaxSize);
    EXPECT_EQ(hints->minSize, (Size{20, 30}));
    EXPECT_EQ(hints->increment, (Size{6, 13}));
    EXPECT_EQ(hints->gravity, 7u);
    EXPECT_FALSE(hints->isFixedSize());

    EXPECT_FALSE(sizeHints(cardinals(v))) << "of type CARDINAL, not WM_SIZE_HINTS";
    EXPECT_FALSE(sizeHints(cardinals({0, 0, 0}, A::wmSizeHints)));

    // Old clients send 15 values: no base size or gravity even when flagged.
    auto old = v;
    old.resize(15);
    const auto oldHints = sizeHints(cardinals(old, A::wmSizeHints));
    ASSERT_TRUE(oldHints);
    EXPECT_FALSE(oldHints->hasBaseSize);
    EXPECT_EQ(oldHints->gravity, 1u);

    // Fixed size: minimum equals maximum. Negative or zero increments and bad gravities are ignored.
    std::vector<std::uint32_t> fixed(18, 0);
    fixed[0] = (1u << 4) | (1u << 5) | (1u << 6) | (1u << 9);
    fixed[5] = fixed[7] = 300;
    fixed[6] = fixed[8] = 200;
    fixed[9] = 0xffffffffu;
    fixed[10] = 0;
    fixed[17] = 11;
    const auto fixedHints = sizeHints(cardinals(fixed, A::wmSizeHints));
    ASSERT_TRUE(fixedHints);
    EXPECT_TRUE(fixedHints->isFixedSize());
    EXPECT_FALSE(fixedHints->hasIncrement);
    EXPECT_EQ(fixedHints->gravity, 1u);
}

// What a manager that honours the hints gives for a requested size, and which results a check
// of a placed window accepts: less than one increment away, or held at a limit.
TEST(X11Properties, SizeHintsConstrainAndAdmit)
{
    SizeHints terminal;
    terminal.hasIncrement = terminal.hasBaseSize = terminal.hasMinSize = true;
    terminal.increment = {6, 13};
    terminal.baseSize = {4, 4};
    terminal.minSize = {10, 17};
    EXPECT_EQ(terminal.constrain({480, 450}), (Size{478, 446}));
    EXPECT_EQ(terminal.constrain({1, 1}), (Size{10, 17}));
    EXPECT_TRUE(terminal.admits({480, 450}, {478, 446}));
    EXPECT_TRUE(terminal.admits({480, 450}, {484, 459})) << "rounded up by less than one increment";
    EXPECT_FALSE(terminal.admits({480, 450}, {472, 446})) << "one whole increment short";
    EXPECT_FALSE(terminal.admits({480, 450}, {478, 437}));

    SizeHints plain;
    EXPECT_TRUE(plain.admits({480, 450}, {480, 450}));
    EXPECT_FALSE(plain.admits({480, 450}, {481, 450}));

    SizeHints limited;
    limited.hasMaxSize = true;
    limited.maxSize = {400, 300};
    EXPECT_EQ(limited.constrain({480, 450}), (Size{400, 300}));
    EXPECT_TRUE(limited.admits({480, 450}, {400, 300}));
    EXPECT_FALSE(limited.admits({480, 450}, {400, 350}));
}

TEST(X11Properties, EdidMonitorName)
{
    EXPECT_EQ(edidMonitorName(test::edidWithName("DELL U2720Q")), QStringLiteral("DELL U2720Q"));
    EXPECT_EQ(edidMonitorName(test::edidWithName("ABCDEFGHIJKLM")), QStringLiteral("ABCDEFGHIJKLM"));
    EXPECT_EQ(edidMonitorName(test::edidWithName("A\001B")), QStringLiteral("A B"));
    auto noName = test::edidWithName("X");
    noName[72 + 3] = 0xfe; // an unspecified text, not a name
    EXPECT_FALSE(edidMonitorName(noName));
    auto badHeader = test::edidWithName("X");
    badHeader[1] = 0;
    EXPECT_FALSE(edidMonitorName(badHeader));
    auto truncated = test::edidWithName("X");
    truncated.resize(100);
    EXPECT_FALSE(edidMonitorName(truncated));
    EXPECT_FALSE(edidMonitorName(test::edidWithName("   ")));
}
