// The enciphered form of an effect description, as stored in the plug-in:
// a 3-byte header, the body, and an end marker of control bytes. Each body
// byte is XORed with a mask derived from the key and its position; a byte
// equal to its mask is stored unchanged, so the body never holds a zero byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace glfxcipher {

constexpr std::size_t kHeaderSize = 3;

// The fixed header: 0x12 0x14 0x18.
std::string header();
// The end marker: a run of control bytes that ends the enciphered text.
std::string endMarker();
// The key used when an empty key is given.
std::string fallbackKey();

// Mask for body byte i: (signed key byte + i) mod 255, computed in unsigned
// 32-bit arithmetic and cut to 8 bits. The key must not be empty.
inline std::uint8_t mask(const std::string& key, std::size_t i)
{
    const std::int8_t k = static_cast<std::int8_t>(key[i % key.size()]);
    const std::uint32_t sum =
        static_cast<std::uint32_t>(static_cast<std::int32_t>(k)) + static_cast<std::uint32_t>(i);
    return static_cast<std::uint8_t>(sum % 255u);
}

} // namespace glfxcipher

// Enciphers a plain description so that decrypt(encrypt(p, k), k) == p.
// An empty key is replaced by the fallback key, as decrypt does. Throws
// std::invalid_argument when the text holds a zero byte (it could not be
// stored in a C string), and std::runtime_error when the enciphered body
// happens to contain the end marker (the result would not read back).
std::string encrypt(const std::string& plain, std::string& key);

// Deciphers an enciphered description (header, body, end marker). An empty
// key is replaced by the one-character fallback key. Data shorter than the
// header gives an empty string.
std::string decrypt(const std::string& data, std::string& key);
