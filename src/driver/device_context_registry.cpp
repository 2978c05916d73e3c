#include "driver/device_context_registry.h"

#include <map>
#include <mutex>

namespace zavik::Driver {

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::uintptr_t, std::shared_ptr<DeviceIoContext>> live;
  std::uintptr_t lastHandle = 0;
};

// Never destroyed: unloading the library leaves devices the host did not
// close alone, as it does the global client.
Registry& TheRegistry() {
  static Registry* registry = new Registry;
  return *registry;
}

std::uintptr_t HandleValue(void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

}  // namespace

void* RegisterDeviceContext(std::shared_ptr<DeviceIoContext> context) {
  Registry& r = TheRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  const std::uintptr_t handle = ++r.lastHandle;
  r.live.emplace(handle, std::move(context));
  return reinterpret_cast<void*>(handle);
}

std::shared_ptr<DeviceIoContext> FindDeviceContext(void* handle) {
  if (handle == nullptr) return nullptr;
  Registry& r = TheRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  const auto it = r.live.find(HandleValue(handle));
  return it == r.live.end() ? nullptr : it->second;
}

std::shared_ptr<DeviceIoContext> UnregisterDeviceContext(void* handle) {
  if (handle == nullptr) return nullptr;
  Registry& r = TheRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  const auto it = r.live.find(HandleValue(handle));
  if (it == r.live.end()) return nullptr;
  std::shared_ptr<DeviceIoContext> context = std::move(it->second);
  r.live.erase(it);
  return context;
}

}  // namespace zavik::Driver
