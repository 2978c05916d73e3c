#pragma once
// The one board client that the Urd exports share. Only UrdOpen sets it and
// only UrdClose empties it.

#include "api/board_client.h"

namespace zavik::Driver {

// May be null.
I2cApi::CBoardClient* GlobalClient();
// The global client, or NoGlobalClient thrown when there is none.
I2cApi::CBoardClient& RequireGlobalClient();
void SetGlobalClient(I2cApi::CBoardClient* client);

}  // namespace zavik::Driver
