#include "preview/ApiRequests.h"

#include "preview/HttpLimits.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>

namespace glfxpreview {

Refusal parseParamChange(const std::string& body, ParamChange& out)
{
    const nlohmann::json json = nlohmann::json::parse(body, nullptr, false);
    if (json.is_discarded() || !json.is_object())
        return {status::kBadRequest, "the body is not a JSON object"};
    const auto index = json.find("index");
    const auto value = json.find("value");
    if (index == json.end() || !index->is_number_integer())
        return {status::kBadRequest, "\"index\" must be an integer"};
    if (value == json.end() || !value->is_string())
        return {status::kBadRequest, "\"value\" must be a string"};
    // Non-negative integers arrive unsigned, so that those past the signed
    // range keep their value; both are named as sent.
    const bool inRange = index->is_number_unsigned()
                             ? index->get<uint64_t>() >= 1 &&
                                   index->get<uint64_t>() <= static_cast<uint64_t>(limits::kMaxParamIndex)
                             : index->get<int64_t>() >= 1 && index->get<int64_t>() <= limits::kMaxParamIndex;
    if (!inRange)
        return {status::kBadRequest, "no parameter " + index->dump()};
    const std::string& text = value->get_ref<const std::string&>();
    if (text.size() > limits::kMaxValueText)
        return {status::kPayloadTooLarge,
                "\"value\" is longer than " + std::to_string(limits::kMaxValueText) + " bytes"};
    out.index = static_cast<int>(index->get<int64_t>());
    out.value = text;
    return {};
}

Refusal parseSeek(const std::string& body, double& seconds)
{
    const nlohmann::json json = nlohmann::json::parse(body, nullptr, false);
    const auto at = json.is_object() ? json.find("seconds") : json.end();
    if (!json.is_object() || at == json.end() || !at->is_number())
        return {status::kBadRequest, "\"seconds\" must be a number"};
    const double t = at->get<double>();
    if (!std::isfinite(t) || t < 0.0 || t > limits::kMaxSeconds)
        return {status::kBadRequest, "\"seconds\" must be between 0 and " +
                                         std::to_string(static_cast<long>(limits::kMaxSeconds))};
    seconds = t;
    return {};
}

} // namespace glfxpreview
