/*
 * i2czavik: read and write the registers of I2C slaves behind an I2C host
 * adapter board, through the local I2C scheduler (TCP 127.0.0.1:3000).
 *
 * Usable from C and C++. The Windows DLL exports exactly the nine functions
 * below, by name and undecorated; all are cdecl except DeviceIo, which is
 * stdcall (on i686 it removes its 20 bytes of arguments).
 *
 * Register functions: the address array holds the register address, least
 * significant byte first, followed by the slave's address byte in 8-bit form
 * (the 7-bit address shifted left by one) as its last byte. The register
 * address goes on the bus most significant byte first.
 */
#ifndef I2CZAVIK_H
#define I2CZAVIK_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define I2CZAVIK_CDECL __cdecl
#define I2CZAVIK_STDCALL __stdcall
#define I2CZAVIK_API
#else
#define I2CZAVIK_CDECL
#define I2CZAVIK_STDCALL
#define I2CZAVIK_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Size of the buffer UrdGetStatus fills; at most 49 characters arrive. */
#define I2CZAVIK_STATUS_TEXT_SIZE 50

/* Each returns 1 on success and 0 on failure; UrdGetStatus then tells why. */
I2CZAVIK_API int I2CZAVIK_CDECL UrdOpen(void);
I2CZAVIK_API int I2CZAVIK_CDECL UrdClose(void);
I2CZAVIK_API char* I2CZAVIK_CDECL UrdGetStatus(char* buffer);
I2CZAVIK_API int I2CZAVIK_CDECL LibMain(void);

/* dataCount 0..4; the data bytes are the variadic 32-bit value's bytes,
   least significant first. */
I2CZAVIK_API int I2CZAVIK_CDECL UrdSetReg(int addressCount, int dataCount, const unsigned char* address, ...);
I2CZAVIK_API int I2CZAVIK_CDECL UrdSetLongReg(int addressCount, int dataCount, const unsigned char* address,
                                              const unsigned char* data);
/* dataCount 0..4; a pointer to a 32-bit variable receives the first byte in
   its least significant byte. */
I2CZAVIK_API int I2CZAVIK_CDECL UrdGetReg(int addressCount, int dataCount, const unsigned char* address,
                                          unsigned char* data);
I2CZAVIK_API int I2CZAVIK_CDECL UrdGetLongReg(int addressCount, int dataCount, const unsigned char* address,
                                              unsigned char* data);

/* DeviceIo command codes. */
#define I2CZAVIK_CMD_READ 0u
#define I2CZAVIK_CMD_WRITE 1u
#define I2CZAVIK_CMD_HARDWARE_CAPS 2u
#define I2CZAVIK_CMD_OPEN 3u
#define I2CZAVIK_CMD_CLOSE 4u
#define I2CZAVIK_CMD_ERROR_TEXT 5u

/* DeviceIo status codes (result block). */
#define I2CZAVIK_STATUS_SUCCESS 0u
#define I2CZAVIK_STATUS_NO_DEVICE 3u
#define I2CZAVIK_STATUS_NOT_SUPPORTED 8u
#define I2CZAVIK_STATUS_OPEN_FAILED 10u
#define I2CZAVIK_STATUS_TRANSFER_FAILED 11u
#define I2CZAVIK_STATUS_BUFFER_TOO_SMALL 30u

/*
 * Request and result block of DeviceIo. On i686 (the reference layout) the
 * offsets are those in the comments and the block is 56 bytes. On 64-bit
 * targets the same fields keep natural alignment with 8-byte pointers:
 * command 0, status 8, buffer 16, count 24, regAddress 32,
 * regAddressCount 40, slaveAddress 44, bitrate 56, context 64; size 72.
 */
typedef struct DeviceIoBlock {
  uint32_t command;                 /*  0: command code */
  uint32_t reserved4;               /*  4 */
  uint32_t status;                  /*  8: written by the library */
  uint32_t reserved12;              /* 12 */
  unsigned char* buffer;            /* 16: write data, read output, caps, error text */
  int32_t count;                    /* 20: request: bytes to move; result: size of buffer */
  const unsigned char* regAddress;  /* 24: register-address bytes of a read */
  int32_t regAddressCount;          /* 28 */
  uint16_t slaveAddress;            /* 32: the 7-bit address itself, not shifted */
  unsigned char reserved34[10];     /* 34 */
  uint32_t bitrate;                 /* 44: Hz; above 400000 selects high-speed mode */
  uint32_t reserved48;              /* 48 */
  void* context;                    /* 52: set by the open command */
} DeviceIoBlock;

/* Hardware capabilities delivered by the caps command: 44 bytes. */
typedef struct I2cHardwareCaps {
  uint32_t word[11];
} I2cHardwareCaps;

#define I2CZAVIK_CAPS_MAX_BITRATE 1       /* last entry of the board's bitrate list */
#define I2CZAVIK_CAPS_HIGH_SPEED_BITRATE 2 /* first high-speed bitrate, else first bitrate */
#define I2CZAVIK_CAPS_BOARD_TYPE_2 3      /* 1 when the board is of type 2 */

/*
 * One entry point for the command-code interface; always returns 1, the
 * outcome is in result->status. Arguments 2 and 4 are not read.
 * resultCount receives the bytes moved by the read and write commands.
 *
 * The open command stores a handle in result->context; every other command
 * takes it from request->context. Handles are never reused within a process:
 * a handle that is no longer open (after close) or was never handed out is
 * treated exactly as a null context, never dereferenced.
 *
 * Choices this interface makes where a host might wonder:
 * - Read with regAddressCount > 0: the register-address bytes go on the bus
 *   in array order, regAddress[0] first, in the write that precedes the read.
 * - Caps on a board that lists no bitrates: word 1 is 0, and word 2 is the
 *   first high-speed bitrate or, when there is none either, 0.
 * - A negative count in a read or write request (or a null buffer or
 *   regAddress with a positive count) is refused with status 11 and the text
 *   of a transfer the board does not support; nothing is sent. A read whose
 *   result buffer is null counts as a buffer that is too small (status 30).
 * - The error-text command does nothing when the result count is 0 or
 *   negative or the result buffer is null.
 * - A null request or result block: nothing is done.
 */
I2CZAVIK_API int I2CZAVIK_STDCALL DeviceIo(DeviceIoBlock* request, void* reserved2, DeviceIoBlock* result,
                                           void* reserved4, uint32_t* resultCount);

#ifdef __cplusplus
}
#endif

#if defined(__cplusplus) && __cplusplus >= 201103L
#define I2CZAVIK_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define I2CZAVIK_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#else
#define I2CZAVIK_STATIC_ASSERT(cond, msg)
#endif

#if defined(__i386__) || defined(_M_IX86)
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, command) == 0, "command at 0");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, status) == 8, "status at 8");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, buffer) == 16, "buffer at 16");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, count) == 20, "count at 20");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, regAddress) == 24, "regAddress at 24");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, regAddressCount) == 28, "regAddressCount at 28");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, slaveAddress) == 32, "slaveAddress at 32");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, bitrate) == 44, "bitrate at 44");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, context) == 52, "context at 52");
I2CZAVIK_STATIC_ASSERT(sizeof(DeviceIoBlock) == 56, "block of 56 bytes");
#elif defined(__x86_64__) || defined(_M_X64)
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, count) == 24, "count at 24");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, regAddress) == 32, "regAddress at 32");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, slaveAddress) == 44, "slaveAddress at 44");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, bitrate) == 56, "bitrate at 56");
I2CZAVIK_STATIC_ASSERT(offsetof(DeviceIoBlock, context) == 64, "context at 64");
I2CZAVIK_STATIC_ASSERT(sizeof(DeviceIoBlock) == 72, "block of 72 bytes");
#endif
I2CZAVIK_STATIC_ASSERT(sizeof(I2cHardwareCaps) == 44, "caps of 44 bytes");

#endif /* I2CZAVIK_H */
