#include "host_loader.h"

#include <stdio.h>

#if defined(_WIN32)
#include <windows.h>
typedef HMODULE LibraryHandle;
static LibraryHandle OpenLibrary(const char* path) { return LoadLibraryA(path ? path : "i2czavik.dll"); }
static void* Lookup(LibraryHandle h, const char* name) { return (void*)GetProcAddress(h, name); }
#else
#include <dlfcn.h>
typedef void* LibraryHandle;
static LibraryHandle OpenLibrary(const char* path) { return dlopen(path ? path : "libi2czavik.so", RTLD_NOW); }
static void* Lookup(LibraryHandle h, const char* name) { return dlsym(h, name); }
#endif

#define LOOKUP(name)                                              \
  do {                                                            \
    void* symbol = Lookup(library, #name);                        \
    if (symbol == NULL) {                                         \
      fprintf(stderr, "export %s not found\n", #name);            \
      return 0;                                                   \
    }                                                             \
    *(void**)&exports->name = symbol;                             \
  } while (0)

int LoadHostExports(const char* path, HostExports* exports) {
  LibraryHandle library = OpenLibrary(path);
  if (library == NULL) {
    fprintf(stderr, "cannot load %s\n", path ? path : "the library");
    return 0;
  }
  LOOKUP(UrdOpen);
  LOOKUP(UrdClose);
  LOOKUP(UrdGetStatus);
  LOOKUP(LibMain);
  LOOKUP(UrdSetReg);
  LOOKUP(UrdSetLongReg);
  LOOKUP(UrdGetReg);
  LOOKUP(UrdGetLongReg);
  LOOKUP(DeviceIo);
  return 1;
}

void* LoadHostSymbol(const char* path, const char* name) {
  LibraryHandle library = OpenLibrary(path);
  return library == NULL ? NULL : Lookup(library, name);
}
