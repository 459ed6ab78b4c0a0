#include "quorvel/NetUtils.h"

namespace quorvel {

std::optional<uint32_t> parseIPv4(const std::string& text) {
    size_t begin = text.find_first_not_of(" \t\r\n");
    size_t end = text.find_last_not_of(" \t\r\n");
    if (begin == std::string::npos)
        return std::nullopt;
    uint32_t value = 0;
    int parts = 0;
    size_t i = begin;
    while (i <= end) {
        uint32_t octet = 0;
        int digits = 0;
        while (i <= end && text[i] >= '0' && text[i] <= '9') {
            octet = octet * 10 + static_cast<uint32_t>(text[i] - '0');
            if (++digits > 3 || octet > 255)
                return std::nullopt;
            ++i;
        }
        if (digits == 0)
            return std::nullopt;
        value = (value << 8) | octet;
        ++parts;
        if (i > end)
            break;
        if (text[i] != '.' || parts == 4)
            return std::nullopt;
        ++i;
        if (i > end) // trailing dot
            return std::nullopt;
    }
    if (parts != 4)
        return std::nullopt;
    return value;
}

int stringToIP(const std::string& text) {
    return static_cast<int>(parseIPv4(text).value_or(0));
}

std::string ipToString(uint32_t ip) {
    return std::to_string(ip >> 24) + "." + std::to_string((ip >> 16) & 0xFF) + "." +
           std::to_string((ip >> 8) & 0xFF) + "." + std::to_string(ip & 0xFF);
}

} // namespace quorvel
