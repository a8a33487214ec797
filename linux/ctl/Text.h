#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Texts for people.

namespace lumctl {

using Row = std::vector<std::string>;

// The text with control characters written as \n, \t or \xNN, so that it keeps to its line and
// sends a terminal no commands.
std::string printable(std::string_view text);
// Two hexadecimal digits.
std::string hexadecimal(unsigned char byte);
// printable() between single quotes.
std::string inQuotes(std::string_view text);

// Columns aligned by characters, two blanks apart; every line ends in a newline. Rows may differ in
// length.
std::string table(const std::vector<Row>& rows);

// "812 B", "64.0 MiB".
std::string byteCount(double bytes);
// "0.8 ms", "12.4 s".
std::string duration(double seconds);

}  // namespace lumctl
