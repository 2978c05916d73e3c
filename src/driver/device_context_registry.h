#pragma once
// The devices opened through DeviceIo, by the handle handed to the host.
//
// A deliberate addition for reliability: a host that passes a stale handle
// (after close) or garbage must get "no device", not a crash. Handles come
// from a counter and are never reused within the process, so a freed
// context can never be mistaken for a live one even when the allocator hands
// its address out again. The registry is the one piece of state devices
// share, and hosts may drive devices from different threads: a mutex guards
// it, and lookups hand out shared ownership so that a concurrent close never
// frees a context under a running command.

#include <cstdint>
#include <memory>
#include <string>

#include "api/board_client.h"

namespace zavik::Driver {

struct DeviceIoContext {
  std::unique_ptr<I2cApi::CBoardClient> client;
  std::string errorText;
};

// Registers a fresh context; returns its handle (never null, never repeated).
void* RegisterDeviceContext(std::shared_ptr<DeviceIoContext> context);
// The live context behind a handle, or null for null, stale or unknown handles.
std::shared_ptr<DeviceIoContext> FindDeviceContext(void* handle);
// Removes a handle; returns its context (null when it was not live).
std::shared_ptr<DeviceIoContext> UnregisterDeviceContext(void* handle);

}  // namespace zavik::Driver
