/* Loads the library at run time and looks up its exports by name, as a host
   program does: LoadLibraryA/GetProcAddress on Windows, dlopen/dlsym
   elsewhere. Host tests use only this table and the public header. */
#ifndef I2CZAVIK_HOST_LOADER_H
#define I2CZAVIK_HOST_LOADER_H

#include "i2czavik.h"

typedef struct HostExports {
  int(I2CZAVIK_CDECL* UrdOpen)(void);
  int(I2CZAVIK_CDECL* UrdClose)(void);
  char*(I2CZAVIK_CDECL* UrdGetStatus)(char*);
  int(I2CZAVIK_CDECL* LibMain)(void);
  int(I2CZAVIK_CDECL* UrdSetReg)(int, int, const unsigned char*, ...);
  int(I2CZAVIK_CDECL* UrdSetLongReg)(int, int, const unsigned char*, const unsigned char*);
  int(I2CZAVIK_CDECL* UrdGetReg)(int, int, const unsigned char*, unsigned char*);
  int(I2CZAVIK_CDECL* UrdGetLongReg)(int, int, const unsigned char*, unsigned char*);
  int(I2CZAVIK_STDCALL* DeviceIo)(DeviceIoBlock*, void*, DeviceIoBlock*, void*, uint32_t*);
} HostExports;

/* path: the library file, or NULL for the platform's default name next to
   the program. Returns 0 and prints why on failure. */
int LoadHostExports(const char* path, HostExports* exports);

/* One export by name, for hosts that declare the functions themselves. */
void* LoadHostSymbol(const char* path, const char* name);

#endif
