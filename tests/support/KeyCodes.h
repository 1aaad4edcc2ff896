#pragma once

#include <cstdint>

// The virtual key codes the tests press, written out here rather than taken from the product's
// key table, so a wrong entry there shows up as a failing test.
namespace mosaro::test::keys {

inline constexpr std::uint16_t a = 0, t = 17, q = 12, j = 38;
inline constexpr std::uint16_t returnKey = 36, escape = 53, command = 55, capsLock = 57;
inline constexpr std::uint16_t keypadClear = 71, keypadEnter = 76;
inline constexpr std::uint16_t left = 123, right = 124, down = 125, up = 126;

} // namespace mosaro::test::keys
