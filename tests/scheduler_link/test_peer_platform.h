#pragma once
// The few socket calls the test peer needs, one implementation per platform.
// Sockets travel as intptr_t; -1 is "none".

#include <cstddef>
#include <cstdint>

namespace linktest::platform {

// Bound to 127.0.0.1 on an ephemeral port; listening only when asked to.
std::intptr_t OpenLoopbackSocket(bool listen, std::uint16_t& port);
// The accepted connection, or -1 when none came within the time.
std::intptr_t AcceptWithin(std::intptr_t listener, int milliseconds);
// Bytes moved, 0 at the end of the connection, negative on failure.
long SendSome(std::intptr_t socket, const std::uint8_t* bytes, std::size_t count);
long ReceiveSome(std::intptr_t socket, std::uint8_t* bytes, std::size_t count);
void SetNoDelay(std::intptr_t socket);
// Ends both directions, waking a thread blocked in the socket.
void Shutdown(std::intptr_t socket);
void CloseSocket(std::intptr_t socket);
double ProcessCpuSeconds();

}  // namespace linktest::platform
