#include "preview/RequestRules.h"

#include "preview/HttpLimits.h"
#include "preview/HttpText.h"

namespace glfxpreview {

namespace {

// The port browsers leave out of Host and Origin.
constexpr int kDefaultHttpPort = 80;

} // namespace

RequestRules::RequestRules(std::string address, int port) : address_(std::move(address)), port_(port) {}

bool RequestRules::hostAllowed(std::string_view host) const
{
    const bool v6 = address_.find(':') != std::string::npos;
    // The loopback name is as good as the loopback address; any other name
    // could be an attacker's domain pointed at this machine.
    const bool loopback = address_ == "127.0.0.1" || address_ == "::1";
    const std::string port = ":" + std::to_string(port_);
    for (const std::string& name :
         {v6 ? "[" + address_ + "]" : address_, std::string(loopback ? "localhost" : "")}) {
        if (name.empty())
            continue;
        if (host == name + port || (port_ == kDefaultHttpPort && host == name))
            return true;
    }
    return false;
}

bool RequestRules::originAllowed(std::string_view origin) const
{
    constexpr std::string_view scheme = "http://";
    return origin.substr(0, scheme.size()) == scheme && hostAllowed(origin.substr(scheme.size()));
}

RequestRules::Verdict RequestRules::judge(std::string_view method, std::string_view host,
                                          std::optional<std::string_view> origin,
                                          std::optional<std::string_view> contentType) const
{
    if (!hostAllowed(host))
        return {status::kForbidden, "the Host header does not name this server"};
    if (!changesState(method))
        return {};
    if (origin && !originAllowed(*origin))
        return {status::kForbidden,
                "the Origin header names another site: changes come from the preview's page"};
    if (!contentType || !isJsonType(*contentType))
        return {status::kUnsupportedMediaType, "a change must be JSON (Content-Type: application/json)"};
    return {};
}

bool isJsonType(std::string_view contentType)
{
    return sameText(trimmed(contentType.substr(0, contentType.find(';'))), "application/json");
}

bool changesState(std::string_view method)
{
    return method != "GET" && method != "HEAD" && method != "OPTIONS";
}

} // namespace glfxpreview
