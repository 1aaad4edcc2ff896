#include "Platform/HostTexts.h"

#include <array>

namespace mosaro {

namespace {

constexpr std::array kTable{
    HostTextEntry{HostText::welcomeSubtitle, "A keyboard-driven window tiler for macOS.",
                  "A keyboard-driven window tiler for Linux desktops."},
};

const HostTextEntry& entry(HostText id)
{
    return kTable[static_cast<std::size_t>(id)];
}

} // namespace

std::span<const HostTextEntry> hostTextTable()
{
    return kTable;
}

QString hostText(HostText id)
{
    return QString::fromUtf8(entry(id).linux);
}

QString originalHostText(HostText id)
{
    return QString::fromUtf8(entry(id).original);
}

} // namespace mosaro
