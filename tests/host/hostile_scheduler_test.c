/* A scheduler that reports more, or later, than it should must never make the
   library write outside the host's buffers or into freed memory.
     hostile_scheduler_test SCENARIO [LIBRARY]
   late_reports:   configuration answered with 33, the read's reports arrive
                   after the failed call has returned (benches/late_reports.json)
   extra_bytes:    reads that clock 20 bytes too many, writes acknowledged 5
                   bytes beyond their data (benches/extra_bytes.json)
   close_mid_read: a device closed from another thread while its read waits
                   for slow reports (benches/slow_reports.json) */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#ifdef _WIN32
#include <windows.h>
static void SleepMs(unsigned ms) { Sleep(ms); }
#else
#include <pthread.h>
#include <unistd.h>
static void SleepMs(unsigned ms) { usleep(ms * 1000u); }
#endif

#include "host_check.h"
#include "host_loader.h"
#include "scheduler_record.h"

static HostExports lib;

static uint32_t Io(DeviceIoBlock* block, uint32_t command, uint32_t* moved) {
  block->command = command;
  CHECK_INT(lib.DeviceIo(block, NULL, block, NULL, moved), 1);
  return block->status;
}

static uint32_t DeviceRead(DeviceIoBlock* d, unsigned slave, unsigned char* out, int32_t count, uint32_t* moved) {
  d->slaveAddress = (uint16_t)slave;
  d->regAddress = NULL;
  d->regAddressCount = 0;
  d->buffer = out;
  d->count = count;
  d->bitrate = 100000;
  return Io(d, I2CZAVIK_CMD_READ, moved);
}

static uint32_t DeviceWrite(DeviceIoBlock* d, unsigned slave, unsigned char* data, int32_t count, uint32_t* moved) {
  d->slaveAddress = (uint16_t)slave;
  d->regAddressCount = 0;
  d->buffer = data;
  d->count = count;
  d->bitrate = 100000;
  return Io(d, I2CZAVIK_CMD_WRITE, moved);
}

static uint32_t LastHeaderCount(int code) {
  RecordCounts record;
  uint32_t count = 0;
  int i;
  ReadSchedulerRecord(&record);
  for (i = 3; i >= 0; --i) {
    unsigned b = 0;
    sscanf(record.lastHex[code] + 2 * (5 + i), "%2x", &b);
    count = (count << 8) | b;
  }
  return count;
}

static void ExpectStatusText(const char* expected) {
  char text[I2CZAVIK_STATUS_TEXT_SIZE];
  CHECK_STR(lib.UrdGetStatus(text), expected);
}

static void LateReports(void) {
  const unsigned char address[2] = {0x10, 0x40};
  unsigned char data[20] = {0};
  DeviceIoBlock d;
  uint32_t moved = 0;
  CHECK_INT(lib.UrdOpen(), 1);
  CHECK_INT(lib.UrdGetLongReg(2, 2, address, data), 0);
  ExpectStatusText("The specified bitrate is not valid.");
  SleepMs(400); /* the read's reports are in by now */
  lib.UrdSetLongReg(2, 9, address, data);
  CHECK_INT(LastHeaderCount(16), 10); /* register byte and the nine data bytes, nothing more */
  CHECK_INT(lib.UrdClose(), 1);

  memset(&d, 0, sizeof d);
  CHECK_INT(Io(&d, I2CZAVIK_CMD_OPEN, &moved), 0);
  CHECK_INT(DeviceRead(&d, 0x20, data, 2, &moved), 11);
  SleepMs(400);
  DeviceWrite(&d, 0x20, data, 20, &moved);
  CHECK_INT(LastHeaderCount(16), 20);
  CHECK_INT(Io(&d, I2CZAVIK_CMD_CLOSE, &moved), 0);
}

static void ExtraBytes(void) {
  const unsigned char address[2] = {0x00, 0x40};
  unsigned char guarded[4 + 32];
  unsigned char data[2] = {0x11, 0x22};
  DeviceIoBlock d;
  uint32_t moved = 0;
  int i;
  CHECK_INT(lib.UrdOpen(), 1);
  memset(guarded, 0x5A, sizeof guarded);
  CHECK_INT(lib.UrdGetLongReg(2, 4, address, guarded), 1);
  for (i = 4; i < (int)sizeof guarded; ++i) CHECK_INT(guarded[i], 0x5A);
  CHECK_INT(lib.UrdClose(), 1);

  memset(&d, 0, sizeof d);
  CHECK_INT(Io(&d, I2CZAVIK_CMD_OPEN, &moved), 0);
  memset(guarded, 0x5A, sizeof guarded);
  CHECK_INT(DeviceRead(&d, 0x20, guarded, 4, &moved), 0);
  CHECK_INT(moved, 4);
  for (i = 4; i < (int)sizeof guarded; ++i) CHECK_INT(guarded[i], 0x5A);
  CHECK_INT(DeviceRead(&d, 0x20, NULL, 0, &moved), 30);
  CHECK_INT(DeviceWrite(&d, 0x21, data, 2, &moved), 0);
  CHECK_INT(moved, 2);
  CHECK_INT(Io(&d, I2CZAVIK_CMD_CLOSE, &moved), 0);
}

static DeviceIoBlock closer;

#ifdef _WIN32
static DWORD WINAPI CloseLater(LPVOID unused) {
#else
static void* CloseLater(void* unused) {
#endif
  uint32_t moved = 0;
  (void)unused;
  SleepMs(100);
  CHECK_INT(Io(&closer, I2CZAVIK_CMD_CLOSE, &moved), 0);
  return 0;
}

static void CloseMidRead(void) {
  DeviceIoBlock d;
  unsigned char out[3];
  uint32_t moved = 0;
  memset(&d, 0, sizeof d);
  CHECK_INT(Io(&d, I2CZAVIK_CMD_OPEN, &moved), 0);
  closer = d;
  {
#ifdef _WIN32
    HANDLE thread = CreateThread(NULL, 0, CloseLater, NULL, 0, NULL);
    CHECK_INT(DeviceRead(&d, 0x20, out, 3, &moved), 0); /* its reports take 500 ms */
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
#else
    pthread_t thread;
    pthread_create(&thread, NULL, CloseLater, NULL);
    CHECK_INT(DeviceRead(&d, 0x20, out, 3, &moved), 0);
    pthread_join(thread, NULL);
#endif
  }
  CHECK_INT(moved, 3);
  CHECK_INT(DeviceRead(&d, 0x20, out, 3, &moved), 3);
  CHECK_INT(Io(&d, I2CZAVIK_CMD_CLOSE, &moved), 0);
}

int main(int argc, char** argv) {
  const char* scenario = argc > 1 ? argv[1] : "";
  if (!LoadHostExports(argc > 2 ? argv[2] : NULL, &lib)) return 1;
  if (strcmp(scenario, "late_reports") == 0) LateReports();
  else if (strcmp(scenario, "extra_bytes") == 0) ExtraBytes();
  else if (strcmp(scenario, "close_mid_read") == 0) CloseMidRead();
  else {
    fprintf(stderr, "unknown scenario \"%s\"\n", scenario);
    return 2;
  }
  return HOST_TEST_RESULT();
}
