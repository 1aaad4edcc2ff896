#include "Platform/X11/X11Properties.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace mosaro::X11Properties {

namespace {

Rect intersection(const Rect& a, const Rect& b)
{
    const double x0 = std::max(a.minX(), b.minX()), x1 = std::min(a.maxX(), b.maxX());
    const double y0 = std::max(a.minY(), b.minY()), y1 = std::min(a.maxY(), b.maxY());
    if (x1 <= x0 || y1 <= y0)
        return {};
    return {x0, y0, x1 - x0, y1 - y0};
}

// WM_SIZE_HINTS flags and the index of each field (ICCCM 4.1.2.3).
constexpr std::uint32_t minSizeFlag = 1u << 4;
constexpr std::uint32_t maxSizeFlag = 1u << 5;
constexpr std::uint32_t incrementFlag = 1u << 6;
constexpr std::uint32_t baseSizeFlag = 1u << 8;
constexpr std::uint32_t gravityFlag = 1u << 9;
constexpr std::size_t minIndex = 5, maxIndex = 7, incrementIndex = 9, baseIndex = 15, gravityIndex = 17;

// A size field: two signed values, negative ones meaning nothing.
std::optional<Size> sizeAt(const std::vector<std::uint32_t>& v, std::size_t index)
{
    if (index + 1 >= v.size())
        return std::nullopt;
    const auto w = std::int32_t(v[index]), h = std::int32_t(v[index + 1]);
    if (w < 0 || h < 0)
        return std::nullopt;
    return Size{double(w), double(h)};
}

double constrainAxis(double requested, bool hasMin, double min, bool hasMax, double max, bool hasIncrement,
                     double increment, double base)
{
    double v = requested;
    if (hasMax && max > 0)
        v = std::min(v, max);
    if (hasMin)
        v = std::max(v, min);
    if (hasIncrement && increment > 1 && v > base) {
        v = base + std::floor((v - base) / increment) * increment;
        if (hasMin && v < min)
            v += increment;
    }
    return v;
}

} // namespace

std::optional<std::vector<std::uint32_t>> list32(const std::optional<X11Property>& property, std::uint32_t type,
                                                 std::size_t minItems)
{
    if (!property || property->format != 32 || (type != PredefinedAtom::any && property->type != type))
        return std::nullopt;
    const std::size_t count = property->itemCount();
    if (count < minItems)
        return std::nullopt;
    std::vector<std::uint32_t> values(count);
    if (count)
        std::memcpy(values.data(), property->bytes.data(), count * 4);
    return values;
}

std::optional<QString> text(const std::optional<X11Property>& property, std::uint32_t utf8Atom,
                            std::uint32_t compoundTextAtom)
{
    if (!property || property->format != 8)
        return std::nullopt;
    const auto* chars = reinterpret_cast<const char*>(property->bytes.data());
    const auto size = qsizetype(property->bytes.size());
    if (utf8Atom != 0 && property->type == utf8Atom)
        return QString::fromUtf8(chars, size); // invalid sequences become U+FFFD
    if (property->type == PredefinedAtom::string || (compoundTextAtom != 0 && property->type == compoundTextAtom))
        return QString::fromLatin1(chars, size);
    return std::nullopt;
}

std::optional<QString> windowTitle(const std::optional<X11Property>& netWmName,
                                   const std::optional<X11Property>& wmName, std::uint32_t utf8Atom,
                                   std::uint32_t compoundTextAtom)
{
    auto title = text(netWmName, utf8Atom, compoundTextAtom);
    if (!title)
        title = text(wmName, utf8Atom, compoundTextAtom);
    if (!title)
        return std::nullopt;
    for (QChar& c : *title) {
        const char16_t u = c.unicode();
        if (u < 0x20 || (u >= 0x7f && u < 0xa0) || u == 0x2028 || u == 0x2029)
            c = QLatin1Char(' ');
    }
    return title;
}

std::optional<Extents> extents(const std::optional<X11Property>& property, double maxHorizontal, double maxVertical)
{
    const auto v = list32(property, PredefinedAtom::cardinal, 4);
    if (!v)
        return std::nullopt;
    const Extents e{double((*v)[0]), double((*v)[1]), double((*v)[2]), double((*v)[3])};
    if (e.left + e.right >= maxHorizontal || e.top + e.bottom >= maxVertical)
        return std::nullopt;
    return e;
}

std::optional<Rect> desktopWorkArea(const std::optional<X11Property>& workAreas,
                                    const std::optional<X11Property>& currentDesktop)
{
    const auto areas = list32(workAreas, PredefinedAtom::cardinal, 4);
    if (!areas)
        return std::nullopt;
    std::size_t desktop = 0;
    if (const auto current = list32(currentDesktop, PredefinedAtom::cardinal, 1))
        desktop = (*current)[0];
    // A desktop beyond the list (or a hostile number) reads the first desktop's area.
    if (desktop >= areas->size() / 4)
        desktop = 0;
    const std::uint32_t* v = areas->data() + desktop * 4;
    return Rect{double(std::int32_t(v[0])), double(std::int32_t(v[1])), double(v[2]), double(v[3])};
}

std::optional<Rect> workArea(const std::optional<X11Property>& workAreas,
                             const std::optional<X11Property>& currentDesktop, double rootWidth, double rootHeight)
{
    const auto area = desktopWorkArea(workAreas, currentDesktop);
    if (!area)
        return std::nullopt;
    const Rect inside = intersection(*area, Rect{0, 0, rootWidth, rootHeight});
    if (inside.width <= 0 || inside.height <= 0)
        return std::nullopt;
    return inside;
}

std::vector<Reservation> reservationsFromStrut(const std::vector<std::uint32_t>& strut, double rootWidth,
                                               double rootHeight)
{
    std::vector<Reservation> out;
    if (strut.size() < 4)
        return out;
    const bool partial = strut.size() >= 12;
    // A range [start, end] inclusive along an edge; the whole edge without partial values.
    auto span = [&](std::size_t index, double whole) -> std::pair<double, double> {
        if (!partial)
            return {0, whole};
        const double start = strut[index], end = strut[index + 1];
        if (end < start || start >= whole)
            return {0, 0};
        return {start, std::min(whole, end + 1) - start};
    };
    using Edge = Reservation::Edge;
    const double left = std::min<double>(strut[0], rootWidth), right = std::min<double>(strut[1], rootWidth);
    const double top = std::min<double>(strut[2], rootHeight), bottom = std::min<double>(strut[3], rootHeight);
    if (left > 0) {
        const auto [y, h] = span(4, rootHeight);
        out.push_back({Edge::left, {0, y, left, h}});
    }
    if (right > 0) {
        const auto [y, h] = span(6, rootHeight);
        out.push_back({Edge::right, {rootWidth - right, y, right, h}});
    }
    if (top > 0) {
        const auto [x, w] = span(8, rootWidth);
        out.push_back({Edge::top, {x, 0, w, top}});
    }
    if (bottom > 0) {
        const auto [x, w] = span(10, rootWidth);
        out.push_back({Edge::bottom, {x, rootHeight - bottom, w, bottom}});
    }
    std::erase_if(out, [](const Reservation& r) { return r.area.width <= 0 || r.area.height <= 0; });
    return out;
}

std::vector<Reservation> strutReservations(const std::optional<X11Property>& strutPartial,
                                           const std::optional<X11Property>& strut, double rootWidth, double rootHeight)
{
    if (const auto partial = list32(strutPartial, PredefinedAtom::cardinal, 12)) {
        auto values = *partial;
        values.resize(12);
        return reservationsFromStrut(values, rootWidth, rootHeight);
    }
    if (const auto plain = list32(strut, PredefinedAtom::cardinal, 4)) {
        auto values = *plain;
        values.resize(4);
        return reservationsFromStrut(values, rootWidth, rootHeight);
    }
    return {};
}

std::optional<std::vector<std::uint32_t>> atoms(const std::optional<X11Property>& property)
{
    return list32(property, PredefinedAtom::atom, 0);
}

bool contains(const std::optional<std::vector<std::uint32_t>>& atoms, std::uint32_t atom)
{
    return atoms && atom != 0 && std::find(atoms->begin(), atoms->end(), atom) != atoms->end();
}

std::optional<std::int32_t> processID(const std::optional<X11Property>& property)
{
    const auto v = list32(property, PredefinedAtom::cardinal, 1);
    if (!v || (*v)[0] == 0 || (*v)[0] > std::uint32_t(std::numeric_limits<std::int32_t>::max()))
        return std::nullopt;
    return std::int32_t((*v)[0]);
}

std::optional<std::uint32_t> wmState(const std::optional<X11Property>& property, std::uint32_t wmStateAtom)
{
    if (wmStateAtom == 0)
        return std::nullopt;
    const auto v = list32(property, wmStateAtom, 1);
    if (!v)
        return std::nullopt;
    return (*v)[0];
}

bool SizeHints::isFixedSize() const
{
    return hasMinSize && hasMaxSize && minSize == maxSize && minSize.width > 0 && minSize.height > 0;
}

Size SizeHints::constrain(Size requested) const
{
    // ICCCM: the base size stands in for a missing minimum and the other way round.
    const Size base = hasBaseSize ? baseSize : hasMinSize ? minSize : Size{};
    const Size min = hasMinSize ? minSize : base;
    const bool haveMin = hasMinSize || hasBaseSize;
    return {constrainAxis(requested.width, haveMin, min.width, hasMaxSize, maxSize.width, hasIncrement, increment.width,
                          base.width),
            constrainAxis(requested.height, haveMin, min.height, hasMaxSize, maxSize.height, hasIncrement,
                          increment.height, base.height)};
}

bool SizeHints::admits(Size requested, Size actual) const
{
    if (actual == requested || actual == constrain(requested))
        return true;
    auto axis = [](double want, double got, double constrained, double step) {
        return got == constrained || std::abs(got - want) < std::max(1.0, step);
    };
    const Size constrained = constrain(requested);
    return axis(requested.width, actual.width, constrained.width, hasIncrement ? increment.width : 1) &&
           axis(requested.height, actual.height, constrained.height, hasIncrement ? increment.height : 1);
}

std::optional<SizeHints> sizeHints(const std::optional<X11Property>& property)
{
    const auto v = list32(property, PredefinedAtom::wmSizeHints, 5);
    if (!v)
        return std::nullopt;
    const std::uint32_t flags = (*v)[0];
    SizeHints h;
    if (flags & minSizeFlag) {
        if (const auto s = sizeAt(*v, minIndex)) {
            h.minSize = *s;
            h.hasMinSize = true;
        }
    }
    if (flags & maxSizeFlag) {
        if (const auto s = sizeAt(*v, maxIndex); s && s->width > 0 && s->height > 0) {
            h.maxSize = *s;
            h.hasMaxSize = true;
        }
    }
    if (flags & incrementFlag) {
        if (const auto s = sizeAt(*v, incrementIndex); s && s->width > 0 && s->height > 0) {
            h.increment = *s;
            h.hasIncrement = true;
        }
    }
    if (flags & baseSizeFlag) {
        if (const auto s = sizeAt(*v, baseIndex)) {
            h.baseSize = *s;
            h.hasBaseSize = true;
        }
    }
    if ((flags & gravityFlag) && gravityIndex < v->size() && (*v)[gravityIndex] >= 1 && (*v)[gravityIndex] <= 10)
        h.gravity = (*v)[gravityIndex];
    // A maximum below the minimum is nonsense; the minimum wins.
    if (h.hasMinSize && h.hasMaxSize)
        h.maxSize = {std::max(h.maxSize.width, h.minSize.width), std::max(h.maxSize.height, h.minSize.height)};
    return h;
}

std::optional<QString> edidMonitorName(const std::vector<std::uint8_t>& edid)
{
    static const std::uint8_t header[8] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    if (edid.size() < 128 || !std::equal(header, header + 8, edid.begin()))
        return std::nullopt;
    // Four 18-byte descriptors from byte 54; a display descriptor starts with three zero bytes.
    for (std::size_t offset = 54; offset + 18 <= 126; offset += 18) {
        const std::uint8_t* d = edid.data() + offset;
        if (d[0] != 0 || d[1] != 0 || d[2] != 0 || d[3] != 0xfc)
            continue;
        QByteArray name;
        for (int i = 5; i < 18 && d[i] != 0x0a && d[i] != 0; ++i)
            name.append(d[i] >= 0x20 && d[i] < 0x7f ? char(d[i]) : ' ');
        const QString trimmed = QString::fromLatin1(name).trimmed();
        if (!trimmed.isEmpty())
            return trimmed;
    }
    return std::nullopt;
}

} // namespace mosaro::X11Properties
