#include "Text.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <sstream>

namespace lumctl {
namespace {

constexpr size_t kColumnGap = 2;
constexpr double kBinaryStep = 1024;

size_t widthOf(std::string_view text) {
    const auto isFirstByte = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U;
    };
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), isFirstByte));
}

std::string escaped(unsigned char byte) {
    if (byte == '\n') return "\\n";
    if (byte == '\t') return "\\t";
    return "\\x" + hexadecimal(byte);
}

std::string numberWithUnit(double number, const char* unit) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << number << ' ' << unit;
    return text.str();
}

std::vector<size_t> columnWidths(const std::vector<Row>& rows) {
    std::vector<size_t> widths;
    for (const Row& row : rows) {
        if (widths.size() < row.size()) widths.resize(row.size());
        for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i]));
    }
    return widths;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f) {
            result += escaped(byte);
        } else {
            result += character;
        }
    }
    return result;
}

std::string hexadecimal(unsigned char byte) {
    static constexpr std::string_view kDigits = "0123456789abcdef";
    return {kDigits[byte >> 4U], kDigits[byte & 0xfU]};
}

std::string inQuotes(std::string_view text) {
    return "'" + printable(text) + "'";
}

std::string table(const std::vector<Row>& rows) {
    const std::vector<size_t> widths = columnWidths(rows);
    std::string text;
    for (const Row& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text.append(widths[i] + kColumnGap - widthOf(row[i]), ' ');
        }
        text += '\n';
    }
    return text;
}

std::string byteCount(double bytes) {
    static constexpr std::array kUnits = {"B", "KiB", "MiB", "GiB"};
    size_t unit = 0;
    for (; bytes >= kBinaryStep && unit + 1 < kUnits.size(); ++unit) bytes /= kBinaryStep;
    return unit == 0 ? std::to_string(static_cast<int64_t>(bytes)) + " B"
                     : numberWithUnit(bytes, kUnits[unit]);
}

std::string duration(double seconds) {
    if (seconds < 1e-3) return numberWithUnit(seconds * 1e6, "us");
    return seconds < 1 ? numberWithUnit(seconds * 1e3, "ms") : numberWithUnit(seconds, "s");
}

}  // namespace lumctl
