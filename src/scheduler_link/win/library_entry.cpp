// Load and unload of the DLL. Windows Sockets is started by the last static
// initialisation (after the last-error text, which is constructed first) and
// cleaned up by the first clean-up at unload.

#include <winsock2.h>
#include <windows.h>

namespace {

struct SocketLayer {
  SocketLayer() {
    WSADATA data;
    // The result is not examined: a failure shows up as a closed channel.
    WSAStartup(0x0002, &data);
  }
  ~SocketLayer() { WSACleanup(); }
};

__attribute__((init_priority(65535))) SocketLayer socketLayer;

}  // namespace

// Referenced by the link of programs that take the library's objects from the
// static archive, so that this object, and with it the start-up, is linked.
extern "C" const int i2czavik_socket_layer = 1;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  // No thread attach or detach notifications: the library has no per-thread state.
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(instance);
  return TRUE;
}
