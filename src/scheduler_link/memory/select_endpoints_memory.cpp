#include "scheduler_link/memory/select_endpoints_memory.h"

#include <algorithm>
#include <vector>

#include "scheduler_link/memory/ipc_memory.h"

namespace zavik::I2cScheduler {

namespace {
const MemorySignal& SignalOf(EventHandle handle) { return *static_cast<const MemorySignal*>(handle); }
}  // namespace

void CSelectEndpointsMemory::WaitForAny(std::int32_t milliseconds) {
  for (std::size_t k = 0; k < Handles().size(); ++k)
    if (IsSignalled(k)) return;
  // Each channel's peer runs once, however many of its directions are watched.
  std::vector<CIpcMemory*> idled;
  for (EventHandle handle : Handles()) {
    CIpcMemory* channel = SignalOf(handle).channel;
    if (std::find(idled.begin(), idled.end(), channel) != idled.end()) continue;
    idled.push_back(channel);
    channel->Idle(milliseconds);
  }
}

bool CSelectEndpointsMemory::IsSignalled(std::size_t index) {
  const MemorySignal& signal = SignalOf(Handles()[index]);
  return signal.write ? signal.channel->WriteReady() : signal.channel->ReadReady();
}

}  // namespace zavik::I2cScheduler
