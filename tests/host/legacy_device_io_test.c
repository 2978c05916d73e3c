/* DeviceIo seen from a legacy host: it declares the entry point itself
   (stdcall, five arguments) and lays the request block out as raw bytes at
   the documented offsets, 56 bytes with 32-bit pointers on i686. On 64-bit
   targets the offsets are those the public header documents.
     legacy_device_io_test SCENARIO [LIBRARY] */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "host_check.h"
#include "host_loader.h"
#include "scheduler_record.h"

#if defined(_WIN32) && !defined(_WIN64)
#define LEGACY_STDCALL __stdcall
#else
#define LEGACY_STDCALL
#endif

#if defined(__i386__) || defined(_M_IX86)
enum { OFF_COMMAND = 0, OFF_STATUS = 8, OFF_BUFFER = 16, OFF_COUNT = 20, OFF_REG = 24, OFF_REG_COUNT = 28,
       OFF_SLAVE = 32, OFF_BITRATE = 44, OFF_CONTEXT = 52, BLOCK_SIZE = 56 };
#else
enum { OFF_COMMAND = 0, OFF_STATUS = 8, OFF_BUFFER = 16, OFF_COUNT = 24, OFF_REG = 32, OFF_REG_COUNT = 40,
       OFF_SLAVE = 44, OFF_BITRATE = 56, OFF_CONTEXT = 64, BLOCK_SIZE = 72 };
#endif

typedef int(LEGACY_STDCALL* DeviceIoFunction)(void* request, uintptr_t unused2, void* result, uintptr_t unused4,
                                              uint32_t* count);
static DeviceIoFunction deviceIo;

typedef struct Block {
  unsigned char bytes[BLOCK_SIZE];
} Block;

static void Put32(Block* b, int offset, uint32_t v) { memcpy(b->bytes + offset, &v, 4); }
static uint32_t Get32(const Block* b, int offset) {
  uint32_t v;
  memcpy(&v, b->bytes + offset, 4);
  return v;
}
static void PutPointer(Block* b, int offset, const void* p) { memcpy(b->bytes + offset, &p, sizeof p); }
static void* GetPointer(const Block* b, int offset) {
  void* p;
  memcpy(&p, b->bytes + offset, sizeof p);
  return p;
}

/* One device: its block, used as request and as result. */
typedef struct Device {
  Block block;
} Device;

static uint32_t Run(Device* d, uint32_t command, uint32_t* count) {
  Put32(&d->block, OFF_COMMAND, command);
  CHECK_INT(deviceIo(&d->block, 0, &d->block, 0, count), 1);
  return Get32(&d->block, OFF_STATUS);
}

static uint32_t Open(Device* d) {
  uint32_t count = 0;
  memset(d, 0, sizeof *d);
  return Run(d, 3, &count);
}

static uint32_t Close(Device* d) {
  uint32_t count = 0;
  return Run(d, 4, &count);
}

static void ExpectText(Device* d, const char* expected) {
  char text[200];
  uint32_t count = 0;
  memset(text, 0x5A, sizeof text);
  PutPointer(&d->block, OFF_BUFFER, text);
  Put32(&d->block, OFF_COUNT, sizeof text);
  CHECK_INT(Run(d, 5, &count), 0);
  CHECK_STR(text, expected);
}

static uint32_t Read(Device* d, unsigned slave, const unsigned char* reg, int regCount, unsigned char* out, int size,
                     int count, uint32_t bitrate, uint32_t* moved) {
  Put32(&d->block, OFF_SLAVE, slave); /* the 16-bit field, with the reserved bytes after it zero */
  PutPointer(&d->block, OFF_REG, reg);
  Put32(&d->block, OFF_REG_COUNT, (uint32_t)regCount);
  PutPointer(&d->block, OFF_BUFFER, out);
  /* Request and result share the block: count is both the bytes wanted and
     the buffer's size; a smaller buffer needs two blocks, see BufferTooSmall. */
  (void)size;
  Put32(&d->block, OFF_COUNT, (uint32_t)count);
  Put32(&d->block, OFF_BITRATE, bitrate);
  return Run(d, 0, moved);
}

static uint32_t Write(Device* d, unsigned slave, const unsigned char* data, int count, uint32_t bitrate,
                      uint32_t* moved) {
  Put32(&d->block, OFF_SLAVE, slave);
  Put32(&d->block, OFF_REG_COUNT, 0);
  PutPointer(&d->block, OFF_BUFFER, data);
  Put32(&d->block, OFF_COUNT, (uint32_t)count);
  Put32(&d->block, OFF_BITRATE, bitrate);
  return Run(d, 1, moved);
}

static uint32_t HexU32(const char* hex, int byteOffset) {
  uint32_t v = 0;
  int i;
  for (i = 3; i >= 0; --i) {
    unsigned b;
    sscanf(hex + 2 * (byteOffset + i), "%2x", &b);
    v = (v << 8) | b;
  }
  return v;
}

static void Caps(Device* d, const uint32_t* expected) {
  unsigned char caps[48];
  uint32_t count = 0;
  int i;
  memset(caps, 0x5A, sizeof caps);
  PutPointer(&d->block, OFF_BUFFER, caps);
  Put32(&d->block, OFF_COUNT, 43);
  CHECK_INT(Run(d, 2, &count), 30);
  ExpectText(d, "The output buffer is to small to store I2cHardwareCaps structure.");
  CHECK_INT(caps[0], 0x5A);
  PutPointer(&d->block, OFF_BUFFER, caps);
  Put32(&d->block, OFF_COUNT, 44);
  CHECK_INT(Run(d, 2, &count), 0);
  CHECK_INT(Get32(&d->block, OFF_COUNT), 44);
  for (i = 0; i < 11; ++i) {
    uint32_t word;
    memcpy(&word, caps + 4 * i, 4);
    if (word != expected[i]) {
      fprintf(stderr, "caps word %d is %lu, expected %lu\n", i, (unsigned long)word, (unsigned long)expected[i]);
      ++hostFailures;
    }
  }
  CHECK_INT(caps[44], 0x5A);
}

static void MainScenario(void) {
  Device a, b, stale;
  RecordCounts record;
  unsigned char reg = 0x30;
  unsigned char out[64];
  unsigned char payload[5] = {0x30, 0xA1, 0xB2, 0xC3, 0xD4};
  uint32_t moved = 0xFFFF;
  /* bitrates [400000, 100000], high-speed [3400000, 1000000], type 2 */
  const uint32_t expectedCaps[11] = {1, 100000, 3400000, 1, 0, 0, 0, 65535, 0, 2, 1};

  CHECK_INT(Open(&a), 0);
  CHECK(GetPointer(&a.block, OFF_CONTEXT) != NULL);
  ReadSchedulerRecord(&record);
  CHECK_INT(record.received[9], 1);
  CHECK(record.firstLine[9] != 0 && record.firstLine[9] < record.firstLine[0]);
  CHECK_INT(HexU32(record.lastHex[9], 4) & 0xFFFF, 0x0100); /* port 0, enable */

  Caps(&a, expectedCaps);

  /* Write: the register address travels as the first data byte. */
  CHECK_INT(Write(&a, 0x20, payload, 5, 100000, &moved), 0);
  CHECK_INT(moved, 5);
  /* Read with a register address: the count covers both messages. */
  memset(out, 0, sizeof out);
  CHECK_INT(Read(&a, 0x20, &reg, 1, out, sizeof out, 4, 100000, &moved), 0);
  CHECK_INT(moved, 5);
  CHECK(memcmp(out, payload + 1, 4) == 0);
  ExpectText(&a, "");
  /* Read without one continues from the register pointer. */
  CHECK_INT(Read(&a, 0x20, NULL, 0, out, sizeof out, 2, 100000, &moved), 0);
  CHECK_INT(moved, 2);

  /* Above 400 kHz: 400 kHz plus the high-speed rate; the latter persists. */
  CHECK_INT(Read(&a, 0x20, &reg, 1, out, sizeof out, 1, 1000000, &moved), 0);
  ReadSchedulerRecord(&record);
  CHECK_INT(HexU32(record.lastHex[19], 4), 400000);
  CHECK_INT(HexU32(record.lastHex[19], 8), 1000000);
  CHECK_INT(Read(&a, 0x20, &reg, 1, out, sizeof out, 1, 100000, &moved), 0);
  ReadSchedulerRecord(&record);
  CHECK_INT(HexU32(record.lastHex[19], 4), 100000);
  CHECK_INT(HexU32(record.lastHex[19], 8), 1000000);

  /* Combined writes are refused before anything is sent. */
  {
    int sent = record.received[16];
    Put32(&a.block, OFF_REG_COUNT, 1);
    PutPointer(&a.block, OFF_BUFFER, payload);
    Put32(&a.block, OFF_COUNT, 2);
    moved = 77;
    CHECK_INT(Run(&a, 1, &moved), 8);
    CHECK_INT(moved, 0);
    ExpectText(&a, "This combined mode is not supported.");
    ReadSchedulerRecord(&record);
    CHECK_INT(record.received[16], sent);
  }

  /* A text over 100 characters arrives cut at 100. */
  CHECK_INT(Read(&a, 0x53, NULL, 0, out, sizeof out, 1, 100000, &moved), 11);
  {
    char text[200];
    uint32_t count = 0;
    memset(text, 0x5A, sizeof text);
    PutPointer(&a.block, OFF_BUFFER, text);
    Put32(&a.block, OFF_COUNT, 200);
    CHECK_INT(Run(&a, 5, &count), 0);
    CHECK_INT(strlen(text), 100);
    CHECK(strncmp(text, "The master module of the I2C board has lost the bus arbitration.", 64) == 0);
    /* The copy itself runs to the buffer's end; only byte 100 cuts it. */
    CHECK_INT(text[100], 0);
    CHECK_INT((unsigned char)text[199], 0);
    /* count 1: an empty string; count 0: nothing at all, not even a status. */
    memset(text, 0x5A, sizeof text);
    Put32(&a.block, OFF_COUNT, 1);
    CHECK_INT(Run(&a, 5, &count), 0);
    CHECK_INT(text[0], 0);
    CHECK_INT((unsigned char)text[1], 0x5A);
    Put32(&a.block, OFF_STATUS, 0xDEAD);
    Put32(&a.block, OFF_COUNT, 0);
    CHECK_INT(Run(&a, 5, &count), 0xDEAD);
    CHECK_INT((unsigned char)text[1], 0x5A);
  }

  /* Unknown commands. */
  {
    uint32_t count = 9;
    CHECK_INT(Run(&a, 6, &count), 8);
    CHECK_INT(Run(&a, 0xFFFFFFFFu, &count), 8);
    CHECK_INT(count, 9);
  }

  /* Two devices side by side, used alternately. */
  CHECK_INT(Open(&b), 0);
  CHECK(GetPointer(&b.block, OFF_CONTEXT) != GetPointer(&a.block, OFF_CONTEXT));
  payload[1] = 0x11;
  CHECK_INT(Write(&b, 0x20, payload, 2, 100000, &moved), 0);
  CHECK_INT(Read(&a, 0x20, &reg, 1, out, sizeof out, 1, 100000, &moved), 0);
  CHECK_INT(out[0], 0x11);
  payload[1] = 0x22;
  CHECK_INT(Write(&a, 0x20, payload, 2, 100000, &moved), 0);
  CHECK_INT(Read(&b, 0x20, &reg, 1, out, sizeof out, 1, 100000, &moved), 0);
  CHECK_INT(out[0], 0x22);

  /* A negative count is refused before anything is sent. */
  CHECK_INT(Read(&a, 0x20, NULL, 0, out, sizeof out, -1, 100000, &moved), 11);
  CHECK_INT(moved, 0);
  CHECK_INT(Write(&a, 0x20, payload, -2, 100000, &moved), 11);
  /* (cut at 100 characters) */
  ExpectText(&a, "The used I2C board does not support the specified I2C transfer (e.g. the board does not support all ");

  /* A context value this library never handed out: no device, no crash. */
  {
    Device garbage = a;
    PutPointer(&garbage.block, OFF_CONTEXT, (void*)(uintptr_t)0xDEADBEEFu);
    moved = 5;
    CHECK_INT(Read(&garbage, 0x20, &reg, 1, out, sizeof out, 1, 100000, &moved), 3);
    CHECK_INT(moved, 0);
    CHECK_INT(Close(&garbage), 0);
    CHECK(GetPointer(&garbage.block, OFF_CONTEXT) == (void*)(uintptr_t)0xDEADBEEFu);
  }

  /* A stale context after close: no device, no crash. */
  stale = a;
  CHECK_INT(Close(&a), 0);
  CHECK(GetPointer(&a.block, OFF_CONTEXT) == NULL);
  moved = 55;
  CHECK_INT(Read(&stale, 0x20, &reg, 1, out, sizeof out, 1, 100000, &moved), 3);
  CHECK_INT(moved, 0);
  CHECK_INT(Write(&stale, 0x20, payload, 2, 100000, &moved), 3);
  {
    unsigned char caps[44];
    uint32_t count = 0;
    PutPointer(&stale.block, OFF_BUFFER, caps);
    Put32(&stale.block, OFF_COUNT, 44);
    CHECK_INT(Run(&stale, 2, &count), 3);
  }
  ExpectText(&stale, "Unknown error");
  CHECK_INT(Close(&stale), 0);
  /* The other device is untouched by all this. */
  CHECK_INT(Read(&b, 0x20, &reg, 1, out, sizeof out, 1, 100000, &moved), 0);
  CHECK_INT(Close(&b), 0);

  /* Close of a null context. */
  {
    Device none;
    memset(&none, 0, sizeof none);
    CHECK_INT(Close(&none), 0);
  }
}

/* A result block smaller than the request: two blocks, as a careful host
   that keeps request and result apart uses them. */
static void BufferTooSmall(void) {
  Device d;
  Block result;
  RecordCounts record;
  unsigned char out[3];
  uint32_t moved = 99;
  int readsBefore;
  CHECK_INT(Open(&d), 0);
  ReadSchedulerRecord(&record);
  readsBefore = record.received[17];
  memcpy(&result, &d.block, sizeof result);
  Put32(&d.block, OFF_COMMAND, 0);
  Put32(&d.block, OFF_SLAVE, 0x20);
  Put32(&d.block, OFF_COUNT, 4);
  Put32(&d.block, OFF_BITRATE, 100000);
  PutPointer(&result, OFF_BUFFER, out);
  Put32(&result, OFF_COUNT, 3);
  CHECK_INT(deviceIo(&d.block, 0, &result, 0, &moved), 1);
  CHECK_INT(Get32(&result, OFF_STATUS), 30);
  CHECK_INT(moved, 0);
  ExpectText(&d, "The given output buffer is to small.");
  ReadSchedulerRecord(&record);
  CHECK_INT(record.received[17], readsBefore);
  CHECK_INT(Close(&d), 0);
}

static void NoBoard(void) {
  Device d;
  unsigned char caps[44];
  uint32_t count = 0;
  CHECK_INT(Open(&d), 10);
  ExpectText(&d, "No I2C board has been found.");
  /* A client without a board: caps fails on the board before the size. */
  PutPointer(&d.block, OFF_BUFFER, caps);
  Put32(&d.block, OFF_COUNT, 43);
  CHECK_INT(Run(&d, 2, &count), 3);
  ExpectText(&d, "No board has been choosen. Please, open a board and try it again.");
  CHECK_INT(Close(&d), 0);
}

static void NoHighSpeed(void) {
  Device d;
  /* bitrates [100000, 400000, 50000], no high-speed list, type 1 */
  const uint32_t expectedCaps[11] = {1, 50000, 100000, 0, 0, 0, 0, 65535, 0, 2, 1};
  CHECK_INT(Open(&d), 0);
  Caps(&d, expectedCaps);
  CHECK_INT(Close(&d), 0);
}

static void NoScheduler(void) {
  Device d;
  CHECK_INT(Open(&d), 10);
  CHECK(GetPointer(&d.block, OFF_CONTEXT) != NULL);
  ExpectText(&d, "The I2C scheduler does not respond.");
  CHECK_INT(Close(&d), 0);
}

int main(int argc, char** argv) {
  const char* scenario = argc > 1 ? argv[1] : "";
  deviceIo = (DeviceIoFunction)LoadHostSymbol(argc > 2 ? argv[2] : NULL, "DeviceIo");
  if (deviceIo == NULL) {
    fprintf(stderr, "DeviceIo not found\n");
    return 1;
  }
  if (strcmp(scenario, "main") == 0) MainScenario();
  else if (strcmp(scenario, "buffer_too_small") == 0) BufferTooSmall();
  else if (strcmp(scenario, "no_board") == 0) NoBoard();
  else if (strcmp(scenario, "no_high_speed") == 0) NoHighSpeed();
  else if (strcmp(scenario, "no_scheduler") == 0) NoScheduler();
  else {
    fprintf(stderr, "unknown scenario \"%s\"\n", scenario);
    return 2;
  }
  return HOST_TEST_RESULT();
}
