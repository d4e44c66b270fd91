// A whole session through the product's plug-in library, in both host modes.
#include "host/Host.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace glfxhost;

namespace {
std::string pluginPath() { return std::string(GLFX_BINARY_DIR) + "/glfxplugin.so"; }
bool pluginBuilt() { return std::ifstream(pluginPath()).good(); }
}  // namespace

#define REQUIRE_PLUGIN() \
    if (!pluginBuilt()) GTEST_SKIP() << "glfxplugin.so is not built in this tree"

TEST(RealPlugin, Loads) {
    REQUIRE_PLUGIN();
    Plugin p(pluginPath());
    EXPECT_TRUE(p.hasEffectTextSymbol());
}
