#include "driver/client_factory.h"

#include <utility>

namespace zavik::Driver {

namespace {

ClientMaker& CurrentMaker() {
  static ClientMaker* maker = new ClientMaker;  // never destroyed, like the global client
  return *maker;
}

}  // namespace

std::unique_ptr<I2cApi::CBoardClient> MakeBoardClient() {
  const ClientMaker& maker = CurrentMaker();
  return maker ? maker() : std::make_unique<I2cApi::CBoardClient>();
}

ClientMaker SetClientMaker(ClientMaker maker) { return std::exchange(CurrentMaker(), std::move(maker)); }

}  // namespace zavik::Driver
