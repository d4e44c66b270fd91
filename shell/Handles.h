// Handle memory for the sequence data, through the host's utility callbacks.
//
// Where the host leaves a handle callback null, the plug-in uses handles of
// its own: a malloc'ed block whose pointer is the first member of a small
// record, so that `*handle` gives the data exactly as with a host handle.
// Such local handles are remembered, and every later operation on one of them
// (size, resize, dispose) is done locally, whatever callbacks the host has,
// so host and local handles are never mixed up.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/AE_Effect.h"

namespace glfxshell {

// A new handle of `size` bytes (host's host_new_handle, else a local one);
// null when the memory cannot be had.
PF_Handle newHandle(const PF_InData* in_data, std::size_t size);

// Size of the handle's block in bytes; -1 when it cannot be told (a host
// handle and no host_get_handle_size callback) or the handle is null.
std::int64_t handleSize(const PF_InData* in_data, PF_Handle handle);

// Resizes *handle to `size` bytes; the handle value may change. A host
// handle without a host_resize_handle callback cannot be resized:
// PF_Err_INTERNAL_STRUCT_DAMAGED. Host errors are passed through.
PF_Err resizeHandle(const PF_InData* in_data, std::size_t size, PF_Handle* handle);

// Frees the handle (null is ignored). A host handle without a
// host_dispose_handle callback is left alone.
void disposeHandle(const PF_InData* in_data, PF_Handle handle);

// Whether the handle is one of the plug-in's own.
bool isLocalHandle(PF_Handle handle);

// The data a handle holds: *handle, or null for a null handle.
inline void* handleData(PF_Handle handle) { return handle ? *handle : nullptr; }

} // namespace glfxshell
