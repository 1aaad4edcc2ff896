#pragma once

#include "Platform/Geometry.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

// Readers of the X window properties Mosaro looks at, as pure functions over the bytes the server
// delivered. Properties are written by other clients, so every reader treats its input as hostile:
// a wrong type, format or length, or values that make no sense, give nothing rather than garbage.
namespace mosaro {

// A property as the server holds it, with its declared type and format. 32-bit items arrive in
// this client's byte order.
struct X11Property {
    std::uint32_t type = 0;  // an atom; 0 is None
    std::uint8_t format = 0; // 8, 16 or 32
    std::vector<std::uint8_t> bytes;
    std::size_t itemCount() const
    {
        return format == 8 || format == 16 || format == 32 ? bytes.size() / (format / 8) : 0;
    }
};

namespace X11Properties {

// The atoms the core protocol predefines, so that readers need no server to know them.
namespace PredefinedAtom {
inline constexpr std::uint32_t any = 0;
inline constexpr std::uint32_t atom = 4;
inline constexpr std::uint32_t cardinal = 6;
inline constexpr std::uint32_t string = 31;
inline constexpr std::uint32_t window = 33;
inline constexpr std::uint32_t wmSizeHints = 41;
} // namespace PredefinedAtom

// The 32-bit items of a property of the given type (any type for 0), when there are at least
// minItems of them.
std::optional<std::vector<std::uint32_t>> list32(const std::optional<X11Property>& property, std::uint32_t type,
                                                 std::size_t minItems);

// Text of a UTF8_STRING property (invalid sequences replaced) or of a STRING or COMPOUND_TEXT one
// (read as Latin-1). utf8Atom and compoundTextAtom are the server's atoms for those types.
std::optional<QString> text(const std::optional<X11Property>& property, std::uint32_t utf8Atom,
                            std::uint32_t compoundTextAtom = 0);

// A window's title: _NET_WM_NAME, else WM_NAME. Control characters (a hostile title could carry
// line breaks into a log line) become spaces.
std::optional<QString> windowTitle(const std::optional<X11Property>& netWmName,
                                   const std::optional<X11Property>& wmName, std::uint32_t utf8Atom,
                                   std::uint32_t compoundTextAtom = 0);

// Left, right, top, bottom: what a window manager adds around a client (_NET_FRAME_EXTENTS), or
// the invisible shadow a client draws around its visible frame (_GTK_FRAME_EXTENTS).
struct Extents {
    double left = 0;
    double right = 0;
    double top = 0;
    double bottom = 0;
    friend bool operator==(const Extents&, const Extents&) = default;
};
// Extents whose horizontal or vertical sum reaches the given limits are not believed.
std::optional<Extents> extents(const std::optional<X11Property>& property, double maxHorizontal, double maxVertical);

// The work area of the current desktop (_NET_WORKAREA with _NET_CURRENT_DESKTOP) as published,
// X root coordinates; nothing when the property is missing or malformed.
std::optional<Rect> desktopWorkArea(const std::optional<X11Property>& workAreas,
                                    const std::optional<X11Property>& currentDesktop);
// The same within the root; nothing when it is empty or outside the root.
std::optional<Rect> workArea(const std::optional<X11Property>& workAreas,
                             const std::optional<X11Property>& currentDesktop, double rootWidth, double rootHeight);

// An area a dock keeps for itself along one edge of the root window.
struct Reservation {
    enum class Edge {
        left,
        right,
        top,
        bottom
    };
    Edge edge = Edge::top;
    Rect area; // X root coordinates, y down
    friend bool operator==(const Reservation&, const Reservation&) = default;
};
// The areas of a dock's _NET_WM_STRUT_PARTIAL (12 values), else its _NET_WM_STRUT (4 values), on a
// root of the given size; malformed values give none.
std::vector<Reservation> strutReservations(const std::optional<X11Property>& strutPartial,
                                           const std::optional<X11Property>& strut, double rootWidth,
                                           double rootHeight);
// The same from the values themselves (12 or 4 of them).
std::vector<Reservation> reservationsFromStrut(const std::vector<std::uint32_t>& strut, double rootWidth,
                                               double rootHeight);

// A list of atoms, such as _NET_WM_STATE, _NET_WM_ALLOWED_ACTIONS or _NET_SUPPORTED; nothing when
// the property is missing or not a list of atoms.
std::optional<std::vector<std::uint32_t>> atoms(const std::optional<X11Property>& property);
bool contains(const std::optional<std::vector<std::uint32_t>>& atoms, std::uint32_t atom);

// The process of a window (_NET_WM_PID); nothing for 0 or a value no process can have.
std::optional<std::int32_t> processID(const std::optional<X11Property>& property);

// The ICCCM WM_STATE of a window: withdrawn 0, normal 1, iconic 3.
std::optional<std::uint32_t> wmState(const std::optional<X11Property>& property, std::uint32_t wmStateAtom);

// WM_NORMAL_HINTS, as far as placing a window needs them. Absent fields are 0.
struct SizeHints {
    Size minSize;
    Size maxSize;   // 0: no maximum
    Size increment; // 0: any size
    Size baseSize;
    std::uint32_t gravity = 1; // NorthWest unless the client says otherwise
    bool hasMinSize = false;
    bool hasMaxSize = false;
    bool hasIncrement = false;
    bool hasBaseSize = false;
    friend bool operator==(const SizeHints&, const SizeHints&) = default;

    // Minimum and maximum equal in both directions: the window cannot be resized.
    bool isFixedSize() const;
    // The client size a window manager that honours these hints gives for the requested one:
    // within minimum and maximum, base plus whole increments (rounded down, as ICCCM asks).
    Size constrain(Size requested) const;
    // Whether a manager could have given the actual size for the requested one: the same, or
    // off by less than one increment (managers round either way), or held at a minimum or maximum.
    bool admits(Size requested, Size actual) const;
};
std::optional<SizeHints> sizeHints(const std::optional<X11Property>& property);

// The monitor name of an EDID block (display descriptor 0xFC), if it has one.
std::optional<QString> edidMonitorName(const std::vector<std::uint8_t>& edid);

} // namespace X11Properties
} // namespace mosaro
