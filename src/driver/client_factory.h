#pragma once
// Where the exports get their board clients: a connection to the scheduler at
// 127.0.0.1:3000, unless a test has put another maker in place (a client on
// an in-process channel, say). UrdOpen and the DeviceIo open command both
// come here, so they always agree on what they connect to.

#include <functional>
#include <memory>

#include "api/board_client.h"

namespace zavik::Driver {

using ClientMaker = std::function<std::unique_ptr<I2cApi::CBoardClient>()>;

// Throws what the client's construction throws.
std::unique_ptr<I2cApi::CBoardClient> MakeBoardClient();

// Puts another maker in place (an empty one restores the socket client) and
// returns the one it replaces. Not thread-safe: set it before any export runs.
ClientMaker SetClientMaker(ClientMaker maker);

}  // namespace zavik::Driver
