#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace mosaro::test {

// A 128-byte EDID block whose second descriptor names the monitor (a serial number comes first).
inline std::vector<std::uint8_t> edidWithName(const char* name)
{
    std::vector<std::uint8_t> edid(128, 0);
    const std::uint8_t header[] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    std::memcpy(edid.data(), header, 8);
    // First descriptor: a serial number (0xFF), then the name (0xFC) in the second.
    std::uint8_t* serial = edid.data() + 54;
    serial[3] = 0xff;
    // EDID texts are padded, not NUL-terminated.
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    std::memcpy(serial + 5, "12345\n       ", 13);
    std::uint8_t* d = edid.data() + 72;
    d[3] = 0xfc;
    std::memset(d + 5, ' ', 13);
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result)
    std::memcpy(d + 5, name, std::min<std::size_t>(13, std::strlen(name)));
    if (std::strlen(name) < 13)
        d[5 + std::strlen(name)] = 0x0a;
    return edid;
}

} // namespace mosaro::test
