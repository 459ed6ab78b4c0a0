#pragma once
// IPv4 address text <-> 32-bit value, as used by camera descriptions and force-IP.
// Thread rules: pure functions.

#include <cstdint>
#include <optional>
#include <string>

namespace quorvel {

/// Parses a dotted IPv4 address ("192.168.1.10") into its value with the first octet in the high
/// byte. Surrounding blanks are ignored. Returns std::nullopt for anything else: missing or extra
/// parts, octets above 255, signs, empty parts, other characters.
std::optional<uint32_t> parseIPv4(const std::string& text);

/// The dotted address as an int (bits as from parseIPv4). Invalid text gives 0 (0.0.0.0), which
/// no camera uses; call parseIPv4 to tell the two apart.
int stringToIP(const std::string& text);

/// The dotted text of an address value (first octet from the high byte).
std::string ipToString(uint32_t ip);

} // namespace quorvel
