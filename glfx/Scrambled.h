// Compile-time scrambling of the plug-in's stored texts. A text is written
// in the source as plain text and turned into its scrambled form by the
// compiler, so the binary holds only the scrambled bytes; decodeString()
// (glfx/Text.h) restores the text at run time.
//
// Scrambled form: a leading '?', then each printable character (32..126)
// shifted up by 0, 4, 8, 0, 4, 8, ... and wrapped back into 32..126; other
// bytes are stored unchanged.
#pragma once

#include <cstddef>
#include <string>

namespace glfxscramble {

// Holds N - 1 text characters plus the leading marker and a terminating zero.
template <std::size_t N>
struct Scrambled {
    char data[N + 1] = {};
    static constexpr std::size_t size() { return N; } // marker + text
    std::string str() const { return std::string(data, N); }
};

constexpr char shiftUp(char c, std::size_t i)
{
    const int v = static_cast<unsigned char>(c);
    if (v < 32 || v >= 127)
        return c;
    int s = v + 4 * static_cast<int>(i % 3);
    if (s > 126)
        s -= 95;
    return static_cast<char>(s);
}

constexpr char shiftDown(char c, std::size_t i)
{
    const int v = static_cast<unsigned char>(c);
    if (v < 32 || v >= 127)
        return c;
    int s = v - 4 * static_cast<int>(i % 3);
    if (s < 32)
        s += 95;
    return static_cast<char>(s);
}

template <std::size_t N>
constexpr Scrambled<N> scramble(const char (&plain)[N])
{
    Scrambled<N> out{};
    out.data[0] = '?';
    for (std::size_t i = 0; i + 1 < N; ++i)
        out.data[i + 1] = shiftUp(plain[i], i);
    out.data[N] = '\0';
    return out;
}

// Compile-time check that a scrambled text reads back as the plain text.
template <std::size_t N>
constexpr bool roundTrips(const Scrambled<N>& s, const char (&plain)[N])
{
    if (s.data[0] != '?')
        return false;
    for (std::size_t i = 0; i + 1 < N; ++i)
        if (shiftDown(s.data[i + 1], i) != plain[i])
            return false;
    return true;
}

} // namespace glfxscramble

// Defines a stored scrambled text `name` from a plain literal and checks at
// compile time that it unscrambles back to the literal.
#define GLFX_SCRAMBLED(name, literal)                                                                        \
    static constexpr auto name = ::glfxscramble::scramble(literal);                                          \
    static_assert(::glfxscramble::roundTrips(name, literal), "scrambler broken")
