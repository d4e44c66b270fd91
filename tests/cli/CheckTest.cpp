// glfx check: exit status, the text and JSON forms, the built-in effect.
#include "CliRun.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace clitest;

namespace {

// Warnings only (an unknown key, a uniform no parameter feeds).
const char* const kWarnings = "[settings]\nname=W\ncolour=red\n[par1]\nparam=amount\ntype=float\n"
                              "[ps0]\nuniform float amount;\nuniform vec3 tint;\n";
// Adds an error: the popup default lies past its last item.
const char* const kErrors = "[settings]\nname=E\n[par1]\nparam=mode\ntype=popup\ntext=a|b\ndefault=4\n"
                            "[ps0]\nuniform int mode;\n";

TEST(Check, StatusTextAndJson)
{
    Scratch dir;
    const std::string warn = dir.write("warn.glfx", kWarnings);
    const std::string err = dir.write("err.glfx", kErrors);
    const std::string clean = std::string(GLFX_SOURCE_DIR) + "/effects/cinematic.glfx";

    struct Case {
        std::string file;
        int status;
        int errors, warnings;
    };
    for (const Case& c : {Case{clean, 0, 0, 0}, Case{warn, 0, 0, 2}, Case{err, 1, 1, 0}}) {
        const Result text = glfx("check --effect " + q(c.file));
        EXPECT_EQ(text.status, c.status) << c.file << "\n" << text.out << text.err;
        // One line a finding: FILE:LINE: severity: message [code]
        int lines = 0;
        for (char ch : text.out)
            lines += ch == '\n';
        EXPECT_EQ(lines, c.errors + c.warnings) << text.out;
        EXPECT_EQ(text.err.empty(), c.errors == 0) << text.err;
        if (c.errors > 0) {
            EXPECT_EQ(text.err.rfind("glfx: ", 0), 0u) << text.err;
        }

        const Result json = glfx("check --json --effect " + q(c.file));
        EXPECT_EQ(json.status, c.status);
        const auto j = nlohmann::json::parse(json.out);
        EXPECT_EQ(j["errors"], c.errors);
        EXPECT_EQ(j["warnings"], c.warnings);
        EXPECT_EQ(j["diagnostics"].size(), static_cast<std::size_t>(c.errors + c.warnings));
    }

    // The findings themselves, with the lines of the file.
    const Result w = glfx("check --effect " + q(warn));
    EXPECT_NE(w.out.find(warn + ":3: warning: "), std::string::npos) << w.out;
    EXPECT_NE(w.out.find("[unknown-key]"), std::string::npos) << w.out;
    EXPECT_NE(w.out.find(warn + ":9: warning: "), std::string::npos) << w.out;
    const auto e = nlohmann::json::parse(glfx("check --json --effect " + q(err)).out);
    EXPECT_EQ(e["diagnostics"][0]["line"], 3);
    EXPECT_EQ(e["diagnostics"][0]["severity"], "error");
    EXPECT_EQ(e["diagnostics"][0]["code"], "popup-default");

    // A file that does not exist is a usage error: one line naming it.
    const Result missing = glfx("check --effect " + q(dir.path("none.glfx")));
    EXPECT_EQ(missing.status, 2);
    EXPECT_TRUE(missing.out.empty());
    EXPECT_EQ(missing.err.rfind("glfx: ", 0), 0u) << missing.err;
    EXPECT_NE(missing.err.find("none.glfx"), std::string::npos) << missing.err;
}

TEST(Check, BuiltInEffectIsClean)
{
    NEED_PLUGIN();
    const Result r = glfx("check");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
}

} // namespace
