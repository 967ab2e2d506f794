// Numbers on sactl's command line are decimal. CLI11 alone would also take
// 0x10, 0o20 and 0b10000 for an integer, and strtod's hexadecimal forms for
// seconds, so that --timeout 0x10 meant 16 ms.
#pragma once

#include <CLI/CLI.hpp>

namespace sactl {

// An integer in decimal, with an optional minus sign: "expected a decimal integer, got '0x10'".
CLI::Validator decimalInteger();
// The same within low to high: "expected a decimal integer from 1 to 2147483647, got '0'".
CLI::Validator decimalInteger(long long low, long long high);
// Digits with at most one decimal point, such as 2 or 0.5.
bool isDecimalFraction(const std::string& text);
// Seconds as such a fraction from 0 to 31536000 (a year: far beyond any wait a person sits through, and well
// within what the clock's nanoseconds hold): "expected seconds from 0 to 31536000 (a year), got '1e3'".
CLI::Validator decimalSeconds();

}  // namespace sactl
