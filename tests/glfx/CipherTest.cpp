#include "glfx/Cipher.h"
#include "glfx/Strings.h"
#include "glfx/Text.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

const std::string kHeader = "\x12\x14\x18";

// One byte's mask worked out independently: the key byte as a signed value
// plus the index, taken as a 32-bit unsigned number, modulo 255.
int referenceMask(const std::string& key, std::size_t i)
{
    const long long sum =
        (static_cast<signed char>(key[i % key.size()]) + static_cast<long long>(i)) & 0xffffffffLL;
    return static_cast<int>(sum % 255);
}

TEST(Cipher, DecryptFollowsTheByteRule)
{
    std::string key = "K\xf0";
    const std::string body = "Hello, \x80world";
    const std::string out = decrypt(kHeader + body + glfxcipher::endMarker() + "ignored tail", key);
    ASSERT_EQ(out.size(), body.size());
    for (std::size_t i = 0; i < body.size(); ++i) {
        const int c = static_cast<unsigned char>(body[i]), x = (referenceMask(key, i) ^ c) & 0xff;
        EXPECT_EQ(static_cast<unsigned char>(out[i]), x == 0 ? c : x) << i; // a zero result keeps the byte
    }
    std::string a1 = "A", a2 = "A"; // index 0, key 65: 'A' is stored as it is
    EXPECT_EQ(encrypt("A", a1), kHeader + "A" + glfxcipher::endMarker());
    EXPECT_EQ(decrypt(kHeader + "A" + glfxcipher::endMarker(), a2), "A");
}

TEST(Cipher, DecryptEdgeCases)
{
    std::string key = "abc";
    for (const std::string& data : {std::string(""), std::string("\x12\x14"), kHeader,
                                    "\x12" + glfxcipher::endMarker() + "abcdef"}) // marker inside the header
        EXPECT_EQ(decrypt(data, key), "") << data.size();
    std::string empty; // replaced by the fallback key, visible to the caller
    decrypt(kHeader + "xyz", empty);
    EXPECT_EQ(empty, glfxcipher::fallbackKey());
    EXPECT_EQ(empty.size(), 1u);
    EXPECT_THROW(encrypt(std::string("a\0b", 3), key), std::invalid_argument);
}

// Every byte value but 0, under short, long, high-bit and the built-in keys,
// comes back unchanged and is stored without a zero byte.
TEST(Cipher, EveryByteRoundTrips)
{
    std::string plain;
    for (int round = 0; round < 8; ++round)
        for (int c = 1; c < 256; ++c)
            plain += static_cast<char>(round % 2 ? 256 - c : c);
    for (const std::string& key : {std::string("k"), std::string("\x80\xff\x01 long key, more than one"),
                                   glfxtext::descriptionKey(), std::string()}) {
        std::string k1 = key, k2 = key, sealed;
        ASSERT_NO_THROW(sealed = encrypt(plain, k1)) << key;
        EXPECT_EQ(sealed.find('\0'), std::string::npos) << key;
        EXPECT_EQ(sealed.compare(0, 3, kHeader), 0) << key;
        EXPECT_NE(sealed.substr(3, plain.size()), plain) << key;
        EXPECT_EQ(decrypt(sealed, k2), plain) << key;
    }
}

} // namespace
