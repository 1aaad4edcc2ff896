// X window properties as other clients may write them: every reader fed arbitrary bytes under an
// arbitrary type and format, and the EDID monitor-name parser fed arbitrary blocks.

#include "FuzzInput.h"

#include "Platform/X11/X11Properties.h"

#include <cmath>

using namespace mosaro;
namespace P = mosaro::X11Properties;

namespace {

constexpr std::uint32_t kUtf8 = 300;
constexpr std::uint32_t kCompoundText = 301;
constexpr std::uint32_t kWmState = 302;

// A property with a type among those the readers know (or any other), a format that may be
// wrong, and bytes that may not fill whole items; or no property at all.
std::optional<X11Property> property(fuzz::FuzzInput& in)
{
    const auto shape = in.take<std::uint8_t>();
    if (shape % 8 == 0)
        return std::nullopt;
    constexpr std::uint32_t types[] = {P::PredefinedAtom::atom,
                                       P::PredefinedAtom::cardinal,
                                       P::PredefinedAtom::string,
                                       P::PredefinedAtom::window,
                                       P::PredefinedAtom::wmSizeHints,
                                       kUtf8,
                                       kCompoundText,
                                       kWmState};
    constexpr std::uint8_t formats[] = {8, 16, 32, 0, 7};
    X11Property p;
    p.type = types[(shape >> 3) % std::size(types)];
    p.format = formats[in.take<std::uint8_t>() % std::size(formats)];
    const QByteArray bytes = in.bytes(512);
    p.bytes.assign(bytes.begin(), bytes.end());
    return p;
}

bool finite(const Rect& r)
{
    return std::isfinite(r.x) && std::isfinite(r.y) && std::isfinite(r.width) && std::isfinite(r.height);
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::FuzzInput in(data, size);
    const double rootWidth = 1 + in.take<std::uint16_t>();
    const double rootHeight = 1 + in.take<std::uint16_t>();
    const auto a = property(in);
    const auto b = property(in);

    if (const auto title = P::windowTitle(a, b, kUtf8, kCompoundText)) {
        // A title never carries a line break into a log line.
        MOSARO_FUZZ_CHECK(!title->contains(QLatin1Char('\n')) && !title->contains(QLatin1Char('\r')));
    }
    (void)P::text(a, kUtf8, kCompoundText);
    if (const auto e = P::extents(a, rootWidth, rootHeight)) {
        MOSARO_FUZZ_CHECK(e->left >= 0 && e->right >= 0 && e->top >= 0 && e->bottom >= 0);
        MOSARO_FUZZ_CHECK(e->left + e->right < rootWidth && e->top + e->bottom < rootHeight);
    }
    if (const auto area = P::workArea(a, b, rootWidth, rootHeight)) {
        MOSARO_FUZZ_CHECK(finite(*area) && area->width > 0 && area->height > 0);
    }
    for (const P::Reservation& r : P::strutReservations(a, b, rootWidth, rootHeight))
        MOSARO_FUZZ_CHECK(finite(r.area));
    const auto list = P::atoms(a);
    (void)P::contains(list, kWmState);
    if (const auto pid = P::processID(a))
        MOSARO_FUZZ_CHECK(*pid > 0);
    (void)P::wmState(a, kWmState);
    if (const auto hints = P::sizeHints(a)) {
        const Size requested{double(in.take<std::uint16_t>()), double(in.take<std::uint16_t>())};
        const Size given = hints->constrain(requested);
        MOSARO_FUZZ_CHECK(std::isfinite(given.width) && std::isfinite(given.height));
        (void)hints->admits(requested, given);
        (void)hints->isFixedSize();
    }
    (void)P::list32(a, 0, in.take<std::uint8_t>() % 16);

    const QByteArray edid = in.rest();
    (void)P::edidMonitorName(std::vector<std::uint8_t>(edid.begin(), edid.end()));
    return 0;
}
