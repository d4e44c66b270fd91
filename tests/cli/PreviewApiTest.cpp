// glfx preview's HTTP API without a browser: a real glfx preview process
// rendering through the plug-in, driven with an HTTP client; changes and
// what the plug-in made of them, and bad and hostile requests.
#include "CliRun.h"
#include "PreviewProcess.h"

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <tuple>
#include <unistd.h>

using namespace clitest;
using Json = nlohmann::json;

namespace {

// gain scales the input; the switch "on" disables the group holding tint;
// choosing "dark" in the preset popup writes gain = 0.2 back.
const char* const kEffect =
    "[settings]\nname=Api\n"
    "[par1]\nname=Gain\nparam=gain\ntype=float\nmin=0\nmax=2\ndefault=1\n"
    "[par2]\nname=On\nparam=on\ntype=check\ntext=Enable\ndefault=true\ngroupswitch=10\n"
    "[par3]\nname=Tint\nparam=tint\ntype=float\nmin=0\nmax=1\ndefault=1\ngroup=11\n"
    "[par4]\nname=Look\nparam=look\ntype=popup\ntext=plain|dark\nflags=3\n"
    "[par5]\nname=Dirt\nparam=dirt\ntype=layer\n"
    "[preset_look_1]\ngain=0.2\n"
    "[ps0]\nuniform sampler2D in0;\nuniform sampler2D in1;\nuniform float gain;\nuniform float "
    "tint;\nuniform float time;\n"
    "void main() { vec4 c = texture2D(in0, gl_TexCoord[0].st);\n"
    "  gl_FragColor = vec4(c.rgb * gain * tint, 1.0); gl_FragColor.b = min(time, 1.0);\n"
    "  gl_FragColor.g = texture2D(in1, gl_TexCoord[0].st).r; }\n";

constexpr int kUiDisabled = 1 << 5;

Json panelOf(httplib::Client& c)
{
    auto r = c.Get("/api/panel");
    return r && r->status == 200 ? Json::parse(r->body) : Json();
}

// Posts a change and waits for the render that follows it.
Json changed(httplib::Client& c, int index, const std::string& value)
{
    const long long before = panelOf(c)["generation"].get<long long>();
    auto r = c.Post("/api/param", Json{{"index", index}, {"value", value}}.dump(), "application/json");
    EXPECT_TRUE(r && r->status == 202) << value;
    for (int i = 0; i < 200; ++i) {
        Json p = panelOf(c);
        if (p["generation"].get<long long>() > before)
            return p;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    ADD_FAILURE() << "no render after changing " << index;
    return Json();
}

const Json& param(const Json& panel, const std::string& uniform)
{
    for (const Json& p : panel["params"])
        if (p.value("uniform", "") == uniform)
            return p;
    static const Json none;
    ADD_FAILURE() << "no parameter " << uniform;
    return none;
}

// A channel of the frame's top-left pixel, 0..1 (red unless told).
float redOfFrame(httplib::Client& c, const Scratch& dir, int channel = 0)
{
    auto r = c.Get("/api/frame.png");
    if (!r || r->status != 200 || r->get_header_value("Content-Type") != "image/png")
        return -1.f;
    const std::string path = dir.path("frame.png");
    std::ofstream(path, std::ios::binary) << r->body;
    return readPixels(path).at(0, 0, channel);
}

class PreviewApi : public ::testing::Test {
protected:
    void SetUp() override
    {
        NEED_PLUGIN();
        const std::string input = dir.path("grey.png");
        std::vector<float> grey(32 * 24 * 4, 0.5f);
        for (std::size_t i = 3; i < grey.size(); i += 4)
            grey[i] = 1.f; // opaque
        writePixels(input, 32, 24, grey, "uint8");
        writePixels(dir.path("white.png"), 32, 24, std::vector<float>(32 * 24 * 4, 1.f), "uint8");
        proc = std::make_unique<PreviewProcess>("--layer dirt=" + q(dir.path("white.png")) + " --effect " +
                                                q(dir.write("api.glfx", kEffect)) + " " + q(input));
        ASSERT_GT(proc->port(), 0) << proc->url();
        client = std::make_unique<httplib::Client>("127.0.0.1", proc->port());
    }
    Scratch dir;
    std::unique_ptr<PreviewProcess> proc;
    std::unique_ptr<httplib::Client> client;
};

// The same effect at every host depth and in the Premiere host: the world
// has the depth asked for, and the frame the same colours.
TEST(PreviewDepth, FrameAtEveryDepth)
{
    NEED_PLUGIN();
    Scratch dir;
    const std::string input = dir.path("grey.png");
    std::vector<float> grey(16 * 8 * 4, 0.5f);
    for (std::size_t i = 3; i < grey.size(); i += 4)
        grey[i] = 1.f;
    writePixels(input, 16, 8, grey, "uint16");
    const std::string effect = dir.write("d.glfx", kEffect);
    // Red from the input times gain, blue from time 0: a swap of red and
    // blue (BGRA worlds under Premiere) would show.
    for (const auto& [options, depth] : {std::pair{"--depth 8", 8}, std::pair{"--depth 16", 16},
                                         std::pair{"--depth 32", 32}, std::pair{"--host premiere", 8}}) {
        PreviewProcess proc(std::string(options) + " --effect " + q(effect) + " " + q(input));
        ASSERT_GT(proc.port(), 0) << options;
        httplib::Client client("127.0.0.1", proc.port());
        EXPECT_EQ(panelOf(client)["depth"], depth);
        EXPECT_NEAR(redOfFrame(client, dir), 0.5f, 0.01f) << options;
        EXPECT_NEAR(redOfFrame(client, dir, 2), 0.f, 0.01f) << options;
        EXPECT_EQ(proc.stop(), 0) << options;
    }
}

TEST_F(PreviewApi, ChangesReachThePluginAsAUserWould)
{
    EXPECT_EQ(proc->url(), "http://127.0.0.1:" + std::to_string(proc->port()) + "/");
    Json p = panelOf(*client);
    ASSERT_TRUE(p.contains("params")) << p;
    EXPECT_EQ(p["width"], 32);
    EXPECT_NEAR(redOfFrame(*client, dir), 0.5f, 0.01f);
    const int gain = param(p, "gain")["host_index"], on = param(p, "on")["host_index"];
    const int look = param(p, "look")["host_index"];

    p = changed(*client, gain, "0.5");
    EXPECT_NEAR(param(p, "gain")["current"].get<double>(), 0.5, 1e-6);
    EXPECT_NEAR(redOfFrame(*client, dir), 0.25f, 0.01f);

    // The preset popup writes its value back; the panel shows it.
    p = changed(*client, look, "dark");
    EXPECT_EQ(param(p, "look")["current"], 2);
    EXPECT_NEAR(param(p, "gain")["current"].get<double>(), 0.2, 1e-6);
    EXPECT_NEAR(redOfFrame(*client, dir), 0.1f, 0.01f);

    // The switch disables its group and enables it again.
    EXPECT_EQ(param(p, "tint")["current_ui_flags"].get<int>() & kUiDisabled, 0);
    p = changed(*client, on, "false");
    EXPECT_EQ(param(p, "on")["current"], false);
    EXPECT_NE(param(p, "tint")["current_ui_flags"].get<int>() & kUiDisabled, 0);
    p = changed(*client, on, "true");
    EXPECT_EQ(param(p, "tint")["current_ui_flags"].get<int>() & kUiDisabled, 0);

    // Time: the frame at a later time has the shader's time uniform above 0.
    EXPECT_EQ(redOfFrame(*client, dir, 2), 0.f);
    const long long before = p["generation"].get<long long>();
    auto t = client->Post("/api/time", R"({"seconds": 2.5})", "application/json");
    ASSERT_TRUE(t && t->status == 202);
    for (int i = 0; i < 200 && panelOf(*client)["generation"].get<long long>() == before; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    p = panelOf(*client);
    EXPECT_EQ(p["seconds"], 2.5);
    EXPECT_GT(redOfFrame(*client, dir, 2), 0.5f);

    // Layers choose among the --layer images, the input and none.
    EXPECT_EQ(p["layer_choices"], Json::array({"input", "none", "white.png"}));
    EXPECT_EQ(param(p, "dirt")["current"], "white.png");
    EXPECT_NEAR(redOfFrame(*client, dir, 1), 1.f, 0.01f);
    const int dirt = param(p, "dirt")["host_index"];
    p = changed(*client, dirt, "input");
    EXPECT_EQ(param(p, "dirt")["current"], "input");
    EXPECT_NEAR(redOfFrame(*client, dir, 1), 0.5f, 0.01f);
    p = changed(*client, dirt, "none");
    EXPECT_EQ(param(p, "dirt")["current"], "none");
    EXPECT_EQ(p["error"], "");
    p = changed(*client, dirt, "../../etc/passwd");
    EXPECT_NE(p["error"].get<std::string>().find("no layer image"), std::string::npos) << p["error"];
    EXPECT_EQ(param(p, "dirt")["current"], "none");

    // A value the parameter does not take is reported, and the last good
    // frame stays.
    p = changed(*client, gain, "loud");
    EXPECT_NE(p["error"].get<std::string>().find("gain"), std::string::npos) << p["error"];
    EXPECT_NEAR(redOfFrame(*client, dir), 0.1f, 0.01f);

    // Frames asked for at a smaller width come scaled, larger ones whole.
    for (const auto& [query, width, height] : {std::tuple{"?w=16", 16, 12}, std::tuple{"?w=8&g=3", 8, 6},
                                               std::tuple{"?w=1000", 32, 24}, std::tuple{"", 32, 24}}) {
        auto r = client->Get((std::string("/api/frame.png") + query).c_str());
        ASSERT_TRUE(r && r->status == 200) << query;
        const std::string path = dir.path("scaled.png");
        std::ofstream(path, std::ios::binary) << r->body;
        const Pixels px = readPixels(path);
        EXPECT_EQ(px.width, width) << query;
        EXPECT_EQ(px.height, height) << query;
        EXPECT_NEAR(px.at(px.width - 1, px.height - 1, 0), 0.1f, 0.01f) << query;
    }

    // The page and its diagnostics are served; Ctrl-C ends it cleanly.
    auto page = client->Get("/");
    ASSERT_TRUE(page);
    EXPECT_NE(page->body.find("id=\"frame\""), std::string::npos);
    EXPECT_NE(page->body.find("id=\"diagnostics\""), std::string::npos);
    auto diag = client->Get("/api/diagnostics");
    ASSERT_TRUE(diag && diag->status == 200);
    EXPECT_EQ(Json::parse(diag->body)["errors"], 0);
    EXPECT_EQ(proc->stop(), 0);
}

// Waits until the description has been reloaded `count` times.
Json reloaded(httplib::Client& c, long long count)
{
    for (int i = 0; i < 200; ++i) {
        Json p = panelOf(c);
        if (p.value("reloads", 0LL) >= count)
            return p;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    ADD_FAILURE() << "no reload " << count;
    return Json();
}

TEST_F(PreviewApi, LiveReloadKeepsTheLastGoodFrame)
{
    const std::string path = dir.path("api.glfx");
    const std::string good = kEffect;
    std::string broken = good, other = good;
    broken.replace(broken.find("min(time, 1.0);"), 15, "min(time, 1.0) +;");
    other.replace(other.find("c.rgb * gain * tint"), 19, "vec3(0.75)");

    // Written in place: the build fails, its log is shown, the frame stays.
    std::ofstream(path, std::ios::trunc) << broken;
    Json p = reloaded(*client, 1);
    EXPECT_FALSE(p["build_log"].get<std::string>().empty()) << p;
    EXPECT_NE(p["build_log"].get<std::string>().find("error"), std::string::npos) << p["build_log"];
    // The message points at the broken line of the file, counted in its text.
    const std::size_t at = broken.find("+;");
    const long line = 1 + std::count(broken.begin(), broken.begin() + static_cast<std::ptrdiff_t>(at), '\n');
    EXPECT_NE(p["build_log"].get<std::string>().find("api.glfx:" + std::to_string(line) + ":"),
              std::string::npos)
        << p["build_log"];
    EXPECT_EQ(p["failed_pass"], 0);
    EXPECT_EQ(p["build_failure"], "shader build failed in pass 0");
    EXPECT_NEAR(redOfFrame(*client, dir), 0.5f, 0.01f);

    // Saved as editors do (a new file renamed over it): the new shader runs.
    const std::string temp = dir.path("api.glfx.new");
    std::ofstream(temp) << other;
    ASSERT_EQ(std::rename(temp.c_str(), path.c_str()), 0);
    p = reloaded(*client, 2);
    EXPECT_EQ(p["build_log"], "") << p["build_log"];
    EXPECT_NEAR(redOfFrame(*client, dir), 0.75f, 0.01f);

    // A description with an error shows in the diagnostics after reloading.
    std::ofstream(path, std::ios::trunc) << other << "[routing]\nps0_in1=ps5\n";
    reloaded(*client, 3);
    auto diag = client->Get("/api/diagnostics");
    ASSERT_TRUE(diag);
    EXPECT_EQ(Json::parse(diag->body)["errors"], 1) << diag->body;
    EXPECT_EQ(proc->stop(), 0);
}

TEST_F(PreviewApi, ReloadWithOtherParametersRebuildsThePanelAndKeepsValues)
{
    // Values the user set before the edit.
    changed(*client, 1, "1.5");
    changed(*client, 4, "dark"); // the preset writes gain 0.2
    changed(*client, 1, "0.75");
    changed(*client, 3, "0.5");
    Json p = changed(*client, 2, "false"); // the switch disables tint
    ASSERT_EQ(param(p, "tint")["current"], 0.5);
    ASSERT_NE(param(p, "tint")["current_ui_flags"].get<int>() & kUiDisabled, 0);

    // A parameter added in front, one removed: the panel follows the file.
    std::string text = kEffect;
    text.replace(text.find("[par3]\nname=Tint"), 0,
                 "[par6]\nname=Extra\nparam=extra\ntype=float\nmin=0\nmax=4\n"
                 "default=3\n");
    const std::size_t dirt = text.find("[par5]\nname=Dirt");
    text.erase(dirt, text.find("[preset_look_1]") - dirt);
    std::ofstream(dir.path("api.glfx"), std::ios::trunc) << text;
    p = reloaded(*client, 1);
    std::vector<std::string> uniforms;
    for (const Json& q : p["params"])
        uniforms.push_back(q.value("uniform", ""));
    EXPECT_NE(std::find(uniforms.begin(), uniforms.end(), "extra"), uniforms.end()) << p;
    EXPECT_EQ(std::find(uniforms.begin(), uniforms.end(), "dirt"), uniforms.end()) << p;
    // Kept: the values of parameters that stayed (the preset is not applied
    // again over them); the new one starts at its default.
    EXPECT_EQ(param(p, "gain")["current"], 0.75);
    EXPECT_EQ(param(p, "tint")["current"], 0.5);
    EXPECT_EQ(param(p, "look")["current"], 2);
    EXPECT_EQ(param(p, "extra")["current"], 3.0);
    // The switch that stayed off still disables its group in the new panel.
    EXPECT_EQ(param(p, "on")["current"], false);
    EXPECT_NE(param(p, "tint")["current_ui_flags"].get<int>() & kUiDisabled, 0) << param(p, "tint");
    EXPECT_EQ(p["build_log"], "");
    // The new panel's indices are the ones changes go to.
    const int extra = param(p, "extra")["host_index"].get<int>();
    p = changed(*client, extra, "1.25");
    EXPECT_EQ(param(p, "extra")["current"], 1.25);
    EXPECT_NEAR(redOfFrame(*client, dir), 0.5f * 0.75f * 0.5f, 0.01f);
    EXPECT_EQ(proc->stop(), 0);
}

TEST_F(PreviewApi, BadAndHostileRequestsGetJsonErrors)
{
    struct Case {
        const char* what;
        const char* method;
        std::string path, body, host;
        int status;
    };
    const std::string own = "127.0.0.1:" + std::to_string(proc->port());
    const std::vector<Case> cases = {
        {"rebinding name", "GET", "/api/panel", "", "attacker.example:" + std::to_string(proc->port()), 403},
        {"other port", "GET", "/", "", "127.0.0.1:1", 403},
        {"rebinding on a change", "POST", "/api/param", R"({"index":1,"value":"0"})", "evil.test", 403},
        {"not JSON", "POST", "/api/param", "gain=1", own, 400},
        {"JSON not an object", "POST", "/api/param", "[1,2]", own, 400},
        {"index missing", "POST", "/api/param", R"({"value":"1"})", own, 400},
        {"index a string", "POST", "/api/param", R"({"index":"1","value":"1"})", own, 400},
        {"index out of range", "POST", "/api/param", R"({"index":99,"value":"1"})", own, 400},
        {"index negative", "POST", "/api/param", R"({"index":-1,"value":"1"})", own, 400},
        {"index huge", "POST", "/api/param", R"({"index":1e300,"value":"1"})", own, 400},
        {"value a number", "POST", "/api/param", R"({"index":1,"value":1})", own, 400},
        {"value too long", "POST", "/api/param", R"({"index":1,"value":")" + std::string(5000, '1') + "\"}",
         own, 413},
        {"body too large", "POST", "/api/param", std::string(100000, ' '), own, 413},
        {"file by path", "GET", "/../../etc/passwd", "", own, 404},
        {"file by encoded path", "GET", "/%2e%2e/%2e%2e/etc/passwd", "", own, 404},
        {"source file", "GET", "/CMakeLists.txt", "", own, 404},
        {"wrong method", "POST", "/api/panel", "{}", own, 405},
        {"events by POST", "POST", "/api/events", "{}", own, 405},
        {"events under a rebinding name", "GET", "/api/events", "", "evil.test", 403},
        {"frame width negative", "GET", "/api/frame.png?w=-1", "", own, 400},
        {"frame width a word", "GET", "/api/frame.png?w=wide", "", own, 400},
        {"frame width huge", "GET", "/api/frame.png?w=99999999999", "", own, 400},
        {"time negative", "POST", "/api/time", R"({"seconds":-1})", own, 400},
        {"time a string", "POST", "/api/time", R"({"seconds":"1"})", own, 400},
        {"time huge", "POST", "/api/time", R"({"seconds":1e300})", own, 400},
        {"time missing", "POST", "/api/time", "{}", own, 400},
    };
    for (const Case& c : cases) {
        httplib::Headers headers = {{"Host", c.host}};
        auto r = std::string(c.method) == "GET"
                     ? client->Get(c.path.c_str(), headers)
                     : client->Post(c.path.c_str(), headers, c.body, "application/json");
        ASSERT_TRUE(r) << c.what;
        EXPECT_EQ(r->status, c.status) << c.what << ": " << r->body;
        const Json body = Json::parse(r->body, nullptr, false);
        EXPECT_TRUE(body.is_object() && body.contains("error")) << c.what << ": " << r->body;
    }

    // A request line that is not HTTP: a 4xx, and the server goes on.
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(proc->port()));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    const std::string junk = "\x01\x02 NOT HTTP\r\n\r\n";
    ASSERT_EQ(write(s, junk.data(), junk.size()), static_cast<ssize_t>(junk.size()));
    char reply[512] = {};
    const ssize_t n = read(s, reply, sizeof reply - 1);
    close(s);
    ASSERT_GT(n, 12);
    EXPECT_EQ(std::string(reply, 9), "HTTP/1.1 ");
    EXPECT_EQ(reply[9], '4') << reply;
    EXPECT_TRUE(panelOf(*client).contains("params"));
    EXPECT_EQ(proc->stop(), 0);
}

// A raw connection asking for the event stream; -1 when it cannot connect.
int openEvents(int port)
{
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        close(s);
        return -1;
    }
    const std::string request = "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                                "\r\nAccept: text/event-stream\r\n\r\n";
    if (write(s, request.data(), request.size()) != static_cast<ssize_t>(request.size())) {
        close(s);
        return -1;
    }
    return s;
}

// Reads from `fd` into `got` until `done(got)` holds or 10 s pass.
template <typename Done>
bool readUntil(int fd, std::string& got, Done done)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done(got)) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd p = {fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0)
            return false;
        char buf[4096];
        const ssize_t n = read(fd, buf, sizeof buf);
        if (n <= 0)
            return false;
        got.append(buf, static_cast<std::size_t>(n));
    }
    return true;
}

// The generation in the last "frame" event of a stream's text; -1 if none.
long long lastFrameEvent(const std::string& text)
{
    const std::size_t at = text.rfind("event: frame\ndata: ");
    if (at == std::string::npos)
        return -1;
    const std::size_t start = at + 19, end = text.find('\n', start);
    const Json data = Json::parse(text.substr(start, end - start), nullptr, false);
    return data.is_object() ? data.value("generation", -1LL) : -1;
}

TEST_F(PreviewApi, EventsArePushedAndOpenStreamsDoNotHoldUpStopping)
{
    const int stream = openEvents(proc->port());
    ASSERT_GE(stream, 0);
    std::string got;
    // A new stream hears the state at once: the panel, the build, the frame.
    ASSERT_TRUE(readUntil(stream, got, [](const std::string& t) { return lastFrameEvent(t) >= 1; })) << got;
    EXPECT_EQ(got.rfind("HTTP/1.1 200", 0), 0u) << got;
    EXPECT_NE(got.find("Content-Type: text/event-stream"), std::string::npos) << got;
    EXPECT_NE(got.find("event: panel\n"), std::string::npos) << got;
    EXPECT_NE(got.find("\"failed\":false"), std::string::npos) << got;
    const long long first = lastFrameEvent(got);

    // A change: the render that follows it is pushed without asking.
    auto r = client->Post("/api/param", Json{{"index", 1}, {"value", "0.5"}}.dump(), "application/json");
    ASSERT_TRUE(r && r->status == 202);
    ASSERT_TRUE(readUntil(stream, got, [first](const std::string& t) { return lastFrameEvent(t) > first; }))
        << got;

    // Streams hold a server thread each: past a few, the answer is a JSON 503.
    std::vector<int> more;
    for (int i = 0; i < 3; ++i) {
        more.push_back(openEvents(proc->port()));
        std::string head;
        ASSERT_TRUE(
            readUntil(more.back(), head, [](const std::string& t) { return t.find("event: ") != t.npos; }));
    }
    client->set_read_timeout(5, 0);
    auto refused = client->Get("/api/events");
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->status, 503);
    EXPECT_TRUE(Json::parse(refused->body, nullptr, false).contains("error")) << refused->body;
    // The page's other requests still get through.
    EXPECT_TRUE(panelOf(*client).contains("params"));

    // Ctrl-C with every stream open: a clean exit, not a hang.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(proc->stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    close(stream);
    for (int fd : more)
        close(fd);
}

// A render slow enough to show: the page is told "busy" while it runs and
// told again when it ends, without asking.
TEST(PreviewBusy, ASlowRenderIsPushedAsBusyAndDone)
{
    NEED_PLUGIN();
    Scratch dir;
    // Many dependent steps a pixel: hundreds of milliseconds on a CPU driver.
    const std::string effect = dir.write(
        "slow.glfx", "[settings]\nname=Slow\n[par1]\nname=Seed\nparam=seed\ntype=float\nmin=0\nmax=1\n"
                     "[ps0]\nuniform float seed;\nvoid main() { float a = seed + gl_TexCoord[0].s;\n"
                     "  for (int i = 0; i < 600; ++i) a = fract(sin(a * 12.9898 + float(i)) * 43758.5453);\n"
                     "  gl_FragColor = vec4(a, a, a, 1.0); }\n");
    PreviewProcess proc("--effect " + q(effect) + " --size 1280x720");
    ASSERT_GT(proc.port(), 0);
    const int stream = openEvents(proc.port());
    ASSERT_GE(stream, 0);
    std::string got;
    ASSERT_TRUE(readUntil(stream, got, [](const std::string& t) { return lastFrameEvent(t) >= 1; })) << got;
    const std::size_t before = got.size();
    httplib::Client client("127.0.0.1", proc.port());
    auto r = client.Post("/api/param", Json{{"index", 1}, {"value", "0.5"}}.dump(), "application/json");
    ASSERT_TRUE(r && r->status == 202);
    const auto busyThenDone = [before](const std::string& t) {
        const std::size_t on = t.find("\"busy\":true", before);
        return on != std::string::npos && t.find("\"busy\":false", on) != std::string::npos;
    };
    EXPECT_TRUE(readUntil(stream, got, busyThenDone)) << got.substr(before);
    const double ms = panelOf(client)["render_ms"].get<double>();
    EXPECT_GT(ms, 200.0) << "the render was too quick to test the busy marker";
    close(stream);
    EXPECT_EQ(proc.stop(), 0);
}

// A video input: the time slider walks the clip's own frames (the frame shown
// at a time is the last one that started by then, back and forth), the
// effect renders at that frame's time, and the clip's rate is the panel's.
TEST(PreviewVideo, TimesPickTheClipsOwnFrames)
{
    NEED_PLUGIN();
    Scratch dir;
    // Ten frames at 10 a second; frame n is a flat grey of luma 16 + 20n.
    const std::string clip = dir.path("clip.mkv");
    ASSERT_EQ(std::system(("ffmpeg -v error -y -f lavfi -i nullsrc=s=32x24:r=10:d=1 -vf "
                           "\"format=yuv420p,geq=lum='16+20*N':cb=128:cr=128\" -c:v ffv1 " +
                           q(clip))
                              .c_str()),
              0);
    const std::string effect =
        dir.write("pass.glfx", "[settings]\nname=Pass\n[ps0]\nuniform sampler2D in0;\n"
                               "void main() { gl_FragColor = texture2D(in0, gl_TexCoord[0].st); }\n");
    PreviewProcess proc("--effect " + q(effect) + " --fps 25 " + q(clip));
    ASSERT_GT(proc.port(), 0);
    httplib::Client client("127.0.0.1", proc.port());
    Json p = panelOf(client);
    EXPECT_EQ(p["fps"], 10.0); // the clip's rate, not --fps
    EXPECT_NEAR(p["video"]["duration"].get<double>(), 1.0, 1e-9);

    const struct {
        double asked;
        int frame;
    } steps[] = {{0.0, 0}, {0.55, 5}, {0.2, 2} /* back */, {0.29, 2}, {0.3, 3}, {0.95, 9},
                 {7.0, 9}, {0.1, 1}};
    for (const auto& step : steps) {
        SCOPED_TRACE(step.asked);
        const long long before = panelOf(client)["generation"].get<long long>();
        auto r = client.Post("/api/time", Json{{"seconds", step.asked}}.dump(), "application/json");
        ASSERT_TRUE(r && r->status == 202);
        for (int i = 0; i < 200 && panelOf(client)["generation"].get<long long>() <= before; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        p = panelOf(client);
        EXPECT_NEAR(p["seconds"].get<double>(), step.frame / 10.0, 1e-6);
        // Limited-range grey: 20 luma steps a frame are 20/219 of full scale.
        EXPECT_NEAR(redOfFrame(client, dir), 20.0 * step.frame / 219.0, 0.02);
    }
    EXPECT_EQ(proc.stop(), 0);
}

// A description broken from the start: the page gets the build log in file
// lines at once, and no frame until the file is fixed.
TEST(PreviewBroken, BrokenFromTheStartThenFixed)
{
    NEED_PLUGIN();
    Scratch dir;
    const std::string good = "[settings]\nname=Late\n"                     // 1, 2
                             "[ps0]\n"                                     // 3
                             "void main()\n"                               // 4
                             "{\n"                                         // 5
                             "    gl_FragColor = vec4(vec3(0.25), 1.0);\n" // 6
                             "}\n";
    std::string broken = good;
    broken.replace(broken.find("1.0)"), 4, "1.0) * missing");
    const std::string path = dir.write("late.glfx", broken);
    PreviewProcess proc("--effect " + q(path) + " --size 16x8");
    ASSERT_GT(proc.port(), 0);
    httplib::Client client("127.0.0.1", proc.port());
    Json p = panelOf(client);
    EXPECT_EQ(p["build_failure"], "shader build failed in pass 0");
    EXPECT_NE(p["build_log"].get<std::string>().find("late.glfx:6:"), std::string::npos) << p["build_log"];
    ASSERT_FALSE(p["failed_lines"].empty()) << p;
    for (const Json& line : p["failed_lines"])
        EXPECT_EQ(line, 6) << p["failed_lines"];
    auto frame = client.Get("/api/frame.png");
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->status, 503);

    std::ofstream(path, std::ios::trunc) << good;
    p = reloaded(client, 1);
    EXPECT_EQ(p["build_log"], "");
    EXPECT_NEAR(redOfFrame(client, dir), 0.25f, 0.01f);
    EXPECT_EQ(proc.stop(), 0);
}

// An ISF shader in the preview: edits of the .fs and of the .vs beside it
// reload live; a build failure points at the .fs line, a header that cannot
// be read is the panel's error, and the last good frame stays meanwhile.
TEST(PreviewIsf, EditedShaderReloadsLive)
{
    NEED_PLUGIN();
    Scratch dir;
    const std::string good =
        "/*{\"INPUTS\": [{\"NAME\": \"level\", \"TYPE\": \"float\", \"DEFAULT\": 0.25}]}*/\n" // 1
        "void main()\n"                                                                       // 2
        "{\n"                                                                                 // 3
        "    gl_FragColor = vec4(vec3(level), 1.0);\n"                                        // 4
        "}\n";
    const std::string path = dir.write("live.fs", good);
    PreviewProcess proc("--effect " + q(path) + " --size 16x8");
    ASSERT_GT(proc.port(), 0);
    httplib::Client client("127.0.0.1", proc.port());
    EXPECT_NEAR(redOfFrame(client, dir), 0.25f, 0.01f);
    EXPECT_EQ(param(panelOf(client), "level")["type"], "FLOAT_SLIDER");

    std::string broken = good;
    broken.replace(broken.find("1.0)"), 4, "1.0) * missing");
    std::ofstream(path, std::ios::trunc) << broken;
    Json p = reloaded(client, 1);
    EXPECT_NE(p["build_log"].get<std::string>().find("live.fs:4:"), std::string::npos) << p["build_log"];
    EXPECT_NEAR(redOfFrame(client, dir), 0.25f, 0.01f);

    // The .vs beside it counts as part of the effect: writing one reloads.
    std::ofstream(path, std::ios::trunc) << good;
    reloaded(client, 2);
    std::ofstream(dir.path("live.vs")) << "void main()\n{\n    isf_vertShaderInit();\n"
                                          "    gl_Position.x = gl_Position.x * 0.5 + 0.5;\n}\n";
    p = reloaded(client, 3);
    EXPECT_EQ(p["build_log"], "") << p["build_log"];
    EXPECT_NEAR(redOfFrame(client, dir), 0.f, 0.01f); // the quad now leaves the left half unrendered

    // A header that cannot be read: the panel says why, the effect stays.
    std::ofstream(path, std::ios::trunc) << "/*{\"INPUTS\": [\n{\"NAME\": \"level\"}]}*/\nvoid main() {}\n";
    for (int i = 0; i < 200 && panelOf(client)["error"] == ""; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    EXPECT_NE(panelOf(client)["error"].get<std::string>().find("live.fs:2: INPUTS[0] \"level\" has no TYPE"),
              std::string::npos)
        << panelOf(client)["error"];
    EXPECT_EQ(param(panelOf(client), "level")["type"], "FLOAT_SLIDER");
    EXPECT_EQ(proc.stop(), 0);
}

} // namespace
