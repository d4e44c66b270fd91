#include "glfx/Cipher.h"

#include <cstdint>
#include <stdexcept>

namespace glfxcipher {

std::string header() { return std::string("\x12\x14\x18", kHeaderSize); }

std::string endMarker()
{
    // Six distinct control bytes; a body would have to reproduce this exact
    // run for the marker to be ambiguous, which encrypt() refuses.
    return std::string("\x1d\x03\x1e\x07\x1c\x01", 6);
}

std::string fallbackKey() { return std::string(1, 'Q'); }

} // namespace glfxcipher

std::string encrypt(const std::string& plain, std::string& key)
{
    if (key.empty())
        key = glfxcipher::fallbackKey();
    if (plain.find('\0') != std::string::npos)
        throw std::invalid_argument("the text contains a zero byte at offset " +
                                    std::to_string(plain.find('\0')));
    std::string out = glfxcipher::header();
    out.reserve(plain.size() + glfxcipher::kHeaderSize + 8);
    for (std::size_t i = 0; i < plain.size(); ++i) {
        const std::uint8_t p = static_cast<std::uint8_t>(plain[i]);
        const std::uint8_t m = glfxcipher::mask(key, i);
        // A byte equal to its mask would encipher to zero; it is stored as it
        // is, and decrypt keeps a byte whose XOR gives zero.
        out.push_back(static_cast<char>(p == m ? p : static_cast<std::uint8_t>(p ^ m)));
    }
    const std::string marker = glfxcipher::endMarker();
    if ((out + marker).find(marker) != out.size())
        throw std::runtime_error("the enciphered text contains the end marker; use another key");
    return out + marker;
}

std::string decrypt(const std::string& data, std::string& key)
{
    if (key.empty())
        key = glfxcipher::fallbackKey();
    std::string body = data;
    const std::size_t end = body.find(glfxcipher::endMarker());
    if (end != std::string::npos)
        body.erase(end);
    if (body.size() < glfxcipher::kHeaderSize)
        return std::string();
    body.erase(0, glfxcipher::kHeaderSize);
    for (std::size_t i = 0; i < body.size(); ++i) {
        const std::uint8_t c = static_cast<std::uint8_t>(body[i]);
        const std::uint8_t x = static_cast<std::uint8_t>(glfxcipher::mask(key, i) ^ c);
        if (x != 0)
            body[i] = static_cast<char>(x);
    }
    return body;
}
