#include "driver/global_client.h"

#include "driver/outcome.h"

namespace zavik::Driver {

namespace {
// Not owned by a smart pointer on purpose: unloading the library must not end
// a client that the host never closed.
I2cApi::CBoardClient* globalClient = nullptr;
}  // namespace

I2cApi::CBoardClient* GlobalClient() { return globalClient; }

I2cApi::CBoardClient& RequireGlobalClient() {
  if (globalClient == nullptr) throw NoGlobalClient();
  return *globalClient;
}

void SetGlobalClient(I2cApi::CBoardClient* client) { globalClient = client; }

}  // namespace zavik::Driver
