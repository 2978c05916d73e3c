#include "driver/last_error.h"

namespace zavik::Driver {

namespace {
// First of the library's static initialisations, last of its clean-ups: the
// socket layer is started after it and cleaned up before it.
__attribute__((init_priority(101))) std::string lastErrorText;
}  // namespace

const std::string& LastErrorText() { return lastErrorText; }

void SetLastErrorText(const std::string& text) { lastErrorText = text; }

}  // namespace zavik::Driver
