// Fuzzes the description parser, the decipherer and the string unscrambler
// with the same input, and checks the invariants the rest of the plug-in
// relies on (tables never overrun, enciphering round-trips).
#include "glfx/Cglfx.h"
#include "glfx/Cipher.h"
#include "glfx/Text.h"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

void fuzzParse(const std::string& input)
{
    static cglfx fx; // reused on purpose: parsing again must reset everything
    std::string text = input;
    fx.parse(text);
    check(fx.settings.layerCount >= 1 && fx.settings.layerCount <= glfxlimits::kMaxInputs);
    if (input.size() >= 3) {
        check(fx.shaders.size() == static_cast<std::size_t>(glfxlimits::kMaxPasses));
        check(!fx.vertex.empty() && !fx.shaders[0].empty());
    }
    check(fx.passSource(-1).empty() && fx.passSource(glfxlimits::kMaxPasses).empty());
    for (const auto& preset : fx.settings.presets) {
        check(preset.first.first >= 0 && preset.first.first < glfxlimits::kMaxParams);
        for (const auto& value : preset.second.values)
            check(value.first >= 0 && value.first < glfxlimits::kMaxParams);
    }
    for (const auto& row : fx.settings.routing)
        for (int entry : row)
            check(entry == glfxlimits::kRouteNone || entry < 33);
}

void fuzzCipher(const std::string& input)
{
    // First byte: key length; then the key; the rest is the data.
    std::size_t keyLen = input.empty() ? 0 : static_cast<unsigned char>(input[0]) % 16;
    if (keyLen + 1 > input.size())
        keyLen = input.empty() ? 0 : input.size() - 1;
    std::string key = input.empty() ? std::string() : input.substr(1, keyLen);
    const std::string data = input.empty() ? std::string() : input.substr(1 + keyLen);

    std::string k1 = key;
    const std::string plain = decrypt(data, k1);
    check(!k1.empty());
    check(plain.size() + glfxcipher::kHeaderSize <= data.size() || plain.empty());
    check(plain.find('\0') == std::string::npos || data.find('\0') != std::string::npos);

    // Any text without a zero byte enciphers and reads back unchanged.
    if (data.find('\0') == std::string::npos) {
        std::string k2 = key;
        try {
            const std::string sealed = encrypt(data, k2);
            std::string k3 = key;
            check(decrypt(sealed, k3) == data);
        } catch (const std::runtime_error&) {
            // The body reproduced the end marker: refused, never wrong.
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string input(reinterpret_cast<const char*>(bytes), size);
    fuzzParse(input);
    fuzzCipher(input);
    const std::string decoded = decodeString(input);
    check(decoded.size() + 1 == input.size() || input.empty());
    return 0;
}
