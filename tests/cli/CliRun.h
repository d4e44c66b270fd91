// Running the built glfx command in tests: captured output, scratch folders,
// and images written and read back with OpenImageIO.
#pragma once

#include <string>
#include <vector>

namespace clitest {

struct Result {
    int status = -1; // exit status, -1 when it did not exit normally
    std::string out, err;
};

// Runs "glfx ARGS" (the executable in the build folder) through the shell,
// after the words of `prefix` (a command that runs it, such as setpriv);
// killed after `limitSeconds` when that is above 0.
Result glfx(const std::string& args, const std::string& prefix = "", int limitSeconds = 0);

// Whether the plug-in was built beside glfx; tests that need it fail
// otherwise (it is a target of the same build, so a missing one is a fault).
bool pluginBuilt();
#define NEED_PLUGIN()                                                                                        \
    if (!clitest::pluginBuilt())                                                                             \
    FAIL() << "glfxplugin.so is not built beside glfx"

// A fresh empty folder for one test, removed with everything in it.
class Scratch {
public:
    Scratch();
    ~Scratch();
    std::string path(const std::string& name) const { return dir_ + "/" + name; }
    std::string write(const std::string& name, const std::string& text) const; // returns the path
    std::vector<std::string> files() const;                                    // sorted names

private:
    std::string dir_;
};

// Single-quotes a word for the shell.
std::string q(const std::string& s);

// An image as stored: packed float channels and the pixel type name
// ("uint8", "uint16", "half", "float").
struct Pixels {
    int width = 0, height = 0, channels = 0;
    std::string type;
    std::vector<float> v;
    float at(int x, int y, int c) const { return v[(static_cast<size_t>(y) * width + x) * channels + c]; }
};
Pixels readPixels(const std::string& path);
void writePixels(const std::string& path, int width, int height, const std::vector<float>& rgba,
                 const std::string& type);

} // namespace clitest
