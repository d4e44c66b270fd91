#include "glfx/cipher.h"
#include "glfx/strings.h"
#include "glfx/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>

namespace {

// Independent reference for one byte's mask: the key byte as a signed value
// plus the index, reduced modulo 255 as a 64-bit number made non-negative the
// way a 32-bit unsigned wrap would.
int referenceMask(const std::string& key, std::size_t i)
{
    long long k = static_cast<signed char>(key[i % key.size()]);
    long long sum = (k + static_cast<long long>(i)) & 0xffffffffLL;
    return static_cast<int>(sum % 255);
}

TEST(Cipher, DecryptFollowsTheByteRule)
{
    std::string key = "K\xf0";
    const std::string body = "Hello, \x80world";
    std::string data = "\x12\x14\x18" + body + glfxcipher::endMarker() + "ignored tail";
    const std::string out = decrypt(data, key);
    ASSERT_EQ(out.size(), body.size());
    for (std::size_t i = 0; i < body.size(); ++i) {
        const int c = static_cast<unsigned char>(body[i]);
        const int x = (referenceMask(key, i) ^ c) & 0xff;
        EXPECT_EQ(static_cast<unsigned char>(out[i]), x == 0 ? c : x) << i;
    }
}

TEST(Cipher, DecryptEdgeCases)
{
    std::string key = "abc";
    for (const std::string& data : {std::string(""), std::string("\x12\x14"), std::string("\x12\x14\x18"),
                                    "\x12" + glfxcipher::endMarker() + "abcdef"}) // marker inside the header
        EXPECT_EQ(decrypt(data, key), "") << data.size();
    // Empty key: replaced by the one-character fallback key, visible to the caller.
    std::string empty;
    decrypt("\x12\x14\x18xyz", empty);
    EXPECT_EQ(empty, glfxcipher::fallbackKey());
    EXPECT_EQ(empty.size(), 1u);
    // Index 0 with key "A" (65): mask 65, so 'A' is stored as it is.
    std::string a1 = "A", a2 = "A";
    const std::string sealed = encrypt("A", a1);
    EXPECT_EQ(sealed, "\x12\x14\x18"
                      "A" +
                          glfxcipher::endMarker());
    EXPECT_EQ(decrypt(sealed, a2), "A");
    EXPECT_THROW(encrypt(std::string("a\0b", 3), a1), std::invalid_argument);
}

// Random texts of every byte value except 0, under random keys and the
// built-in key, come back unchanged and are stored without a zero byte.
TEST(Cipher, RandomTextsRoundTrip)
{
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> byte(1, 255);
    std::uniform_int_distribution<int> length(0, 2000);
    std::uniform_int_distribution<int> keyLength(0, 24);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE(round);
        std::string plain(static_cast<std::size_t>(round < 5 ? round : length(rng)), 'x');
        for (char& c : plain)
            c = static_cast<char>(byte(rng));
        std::string key(static_cast<std::size_t>(keyLength(rng)), 'k');
        for (char& c : key)
            c = static_cast<char>(byte(rng));
        if (round % 50 == 0)
            key = glfxtext::descriptionKey();
        std::string k1 = key, k2 = key;
        std::string sealed;
        ASSERT_NO_THROW(sealed = encrypt(plain, k1));
        EXPECT_EQ(sealed.find('\0'), std::string::npos);
        EXPECT_EQ(sealed.compare(0, 3, "\x12\x14\x18"), 0);
        if (plain.size() > 8) {
            EXPECT_NE(sealed.substr(3, plain.size()), plain); // the body is enciphered
        }
        EXPECT_EQ(decrypt(sealed, k2), plain);
    }
}

} // namespace
