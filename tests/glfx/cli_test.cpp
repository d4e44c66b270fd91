// Runs the built glfx command: describe, pack and their error paths.
#include "glfx/cipher.h"
#include "glfx/strings.h"
#include "glfx/text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <sys/wait.h>

namespace {

struct Result {
    int status;
    std::string out;
};

Result run(const std::string& args)
{
    const std::string cmd = std::string(GLFX_BINARY_DIR) + "/glfx " + args + " 2>/dev/null";
    Result r{-1, {}};
    FILE* pipe = popen(cmd.c_str(), "r");
    if (!pipe)
        return r;
    char buf[4096];
    std::size_t n;
    while ((n = fread(buf, 1, sizeof buf, pipe)) > 0)
        r.out.append(buf, n);
    const int st = pclose(pipe);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
    return r;
}

// Reads back the bytes of the C string literal in a packed source by
// interpreting the octal escapes independently of the writer.
std::string literalBytes(const std::string& source)
{
    std::string bytes;
    bool inString = false;
    const std::size_t start = source.find('=');
    for (std::size_t i = start; i < source.size(); ++i) {
        const char c = source[i];
        if (c == '"') {
            inString = !inString;
        } else if (inString && c == '\\') {
            int v = 0, digits = 0;
            while (digits < 3 && i + 1 < source.size() && source[i + 1] >= '0' && source[i + 1] <= '7') {
                v = v * 8 + (source[++i] - '0');
                ++digits;
            }
            bytes.push_back(static_cast<char>(v));
        } else if (inString) {
            bytes.push_back(c);
        }
    }
    return bytes;
}

TEST(Cli, DescribeExampleEffect)
{
    const Result r = run("describe --effect " + std::string(GLFX_SOURCE_DIR) + "/effects/invert.glfx");
    ASSERT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("\"uniform\": \"amount\""), std::string::npos);
    EXPECT_NE(r.out.find("\"name\": \"Invert\""), std::string::npos);
    EXPECT_NE(r.out.find("\"fast\": false"), std::string::npos);
}

TEST(Cli, DescribeMissingFileFails)
{
    const Result r = run("describe --effect /nonexistent/effect.glfx");
    EXPECT_NE(r.status, 0);
    EXPECT_TRUE(r.out.empty());
}

TEST(Cli, PackRoundTrips)
{
    const std::string input = std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx";
    const std::string output = testing::TempDir() + "glfx_cli_packed.cpp";
    std::remove(output.c_str());
    ASSERT_EQ(run("pack " + input + " -o " + output).status, 0);
    std::ifstream in(output, std::ios::binary);
    const std::string source((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(source.find("const char* _GLFX_CODE"), std::string::npos);
    EXPECT_EQ(source.find("??"), std::string::npos);
    std::string key = glfxtext::descriptionKey();
    EXPECT_EQ(decrypt(literalBytes(source), key), loadFile(input));
    std::remove(output.c_str());
}

TEST(Cli, PackMissingInputWritesNothing)
{
    const std::string output = testing::TempDir() + "glfx_cli_never.cpp";
    std::remove(output.c_str());
    EXPECT_NE(run("pack /nonexistent.glfx -o " + output).status, 0);
    EXPECT_FALSE(std::ifstream(output).good());
}

}  // namespace
