// The plug-in's global data record, held in the host's global_data handle.
// Created at global setup by the shell; the render code reads the plug-in id
// from it for the stream calls it makes on the host.
#pragma once

#include <cstdint>

struct GlobalData {
    std::uint8_t initialized; // 1 once the record is created
    std::int32_t pluginID;    // id returned by AEGP_RegisterWithAEGP
    std::int32_t reserved[4]; // zero at creation, unused
};
