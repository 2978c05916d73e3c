/* The Urd exports seen from a host program, against the simulator:
     urd_host_test SCENARIO [LIBRARY]
   Each scenario expects the bench its ctest entry starts the simulator with. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "host_check.h"
#include "host_loader.h"
#include "host_sleep.h"
#include "scheduler_record.h"

static HostExports lib;

/* UrdGetStatus delivers at most 49 characters of the text. */
#define CHECK_STATUS(expected)                                        \
  do {                                                                \
    char status_[80];                                                 \
    char want_[50];                                                   \
    memset(status_, 0x5A, sizeof status_);                            \
    strncpy(want_, (expected), 49);                                   \
    want_[49] = '\0';                                                 \
    lib.UrdGetStatus(status_);                                        \
    CHECK_STR(status_, want_);                                        \
    CHECK_INT((unsigned char)status_[50], 0x5A);                      \
  } while (0)

static const char* kNoError = "No Error";
static const char* kUnknown = "Unknown error";
static const char* kNoResponse = "The I2C scheduler does not respond.";
static const char* kNoBoard = "No I2C board has been found.";
static const char* kNoSlave = "There is no slave responsible for this I2C address.";
static const char* kDataRange = "The number of data bytes is not valid (range: 0..4)";
static const char* kAddressRange = "The number of address bytes is not valid (range: 1..8)";
static const char* kNegative = "The number of data bytes is not valid (< 0)";
static const char* kNullAddress = "Pointer to I2C address array is equal to NULL.";
static const char* kNullData = "Pointer to data array is equal to NULL.";

/* Waits until the simulator has seen every connection end but `open`. */
static void WaitForConnections(int open, RecordCounts* counts) {
  int i;
  for (i = 0; i < 100; ++i) {
    ReadSchedulerRecord(counts);
    if (counts->connects - counts->disconnects == open) return;
    HostSleepMs(20);
  }
}

static void OpenAndCloseTwice(void) {
  RecordCounts counts;
  CHECK_INT(lib.UrdOpen(), 1);
  CHECK_STATUS(kNoError);
  CHECK_INT(lib.UrdOpen(), 1); /* replaces the first client */
  CHECK_STATUS(kNoError);
  WaitForConnections(1, &counts);
  CHECK_INT(counts.connects, 2);
  CHECK_INT(counts.connects - counts.disconnects, 1);
  CHECK_INT(counts.received[2], 2);  /* one open request per UrdOpen */
  CHECK_INT(counts.received[9], 0);  /* UrdOpen never touches the parallel port */
  CHECK_INT(lib.UrdClose(), 1);
  CHECK_STATUS(kNoError);
  CHECK_INT(lib.UrdClose(), 0);
  CHECK_STATUS(kUnknown);
  WaitForConnections(0, &counts);
  CHECK_INT(counts.connects - counts.disconnects, 0);
}

static void NoSuitableBoard(void) {
  CHECK_INT(lib.UrdOpen(), 0);
  CHECK_STATUS(kNoBoard);
  CHECK_INT(lib.UrdClose(), 1); /* the client exists, without a board */
  CHECK_STATUS(kNoError);
}

static void NoScheduler(void) {
  unsigned char address[2] = {0x00, 0x10}; /* 0x10 >> 1 = 0x08: a valid address */
  unsigned char reserved[1] = {0x08};      /* 0x08 >> 1 = 4: reserved */
  unsigned char data[4] = {0};
  CHECK_INT(lib.UrdOpen(), 0);
  CHECK_STATUS(kNoResponse);
  CHECK_INT(lib.UrdClose(), 0);
  CHECK_STATUS(kUnknown);
  CHECK_INT(lib.UrdGetLongReg(2, 1, address, data), 0);
  CHECK_STATUS(kUnknown);
  /* The address check comes before the need for a client. */
  CHECK_INT(lib.UrdSetLongReg(1, 0, reserved, data), 0);
  CHECK_STATUS("The value \"4\" is not a valid 7 bit I2C address.");
}

/* UrdGetStatus shows 49 characters; a device's error text shows 100, enough
   to see the version numbers. */
static void DeviceOpenRefused(const char* text) {
  DeviceIoBlock block;
  char out[200];
  uint32_t count = 0;
  size_t expected = strlen(text) < 100 ? strlen(text) : 100;
  memset(&block, 0, sizeof block);
  block.command = I2CZAVIK_CMD_OPEN;
  lib.DeviceIo(&block, NULL, &block, NULL, &count);
  CHECK_INT(block.status, I2CZAVIK_STATUS_OPEN_FAILED);
  memset(out, 0x5A, sizeof out);
  block.command = I2CZAVIK_CMD_ERROR_TEXT;
  block.buffer = (unsigned char*)out;
  block.count = sizeof out;
  lib.DeviceIo(&block, NULL, &block, NULL, &count);
  CHECK_INT(strlen(out), expected);
  CHECK(strncmp(out, text, expected) == 0);
  block.command = I2CZAVIK_CMD_CLOSE;
  lib.DeviceIo(&block, NULL, &block, NULL, &count);
  CHECK_INT(block.status, I2CZAVIK_STATUS_SUCCESS);
}

static void RefusedWithText(const char* text) {
  CHECK_INT(lib.UrdOpen(), 0);
  CHECK_STATUS(text);
  DeviceOpenRefused(text);
}

static void FirmwareTooOld(void) {
  RecordCounts counts;
  RefusedWithText(
      "Wrong version of the board's firmware. The installed firmware has got the version number 1.2.3, but at "
      "least version 1.2.4 is needed. Please update the installed board's driver.");
  ReadSchedulerRecord(&counts);
  CHECK(counts.received[0] >= 1); /* the board list was asked for */
  CHECK_INT(counts.received[2], 0); /* but no open request was sent */
}

/* The busy bench accepts one client: a DeviceIo device holds it. */
static void Busy(void) {
  DeviceIoBlock block;
  uint32_t count = 0;
  memset(&block, 0, sizeof block);
  block.command = I2CZAVIK_CMD_OPEN;
  lib.DeviceIo(&block, NULL, &block, NULL, &count);
  CHECK_INT(block.status, I2CZAVIK_STATUS_SUCCESS);
  RefusedWithText(
      "Cannot connect to the I2C scheduler, because the scheduler is busy. The scheduler can handle only a "
      "limited number of simultaneous connections.");
  block.command = I2CZAVIK_CMD_CLOSE;
  lib.DeviceIo(&block, NULL, &block, NULL, &count);
  CHECK_INT(block.status, I2CZAVIK_STATUS_SUCCESS);
  CHECK_INT(lib.UrdOpen(), 1); /* the slot is free again */
  lib.UrdClose();
}

/* Writes `count` bytes at a register, reads them back and compares. */
static void WriteReadBack(int addressCount, const unsigned char* address, int count) {
  static unsigned char written[512], read[512];
  int i;
  for (i = 0; i < count; ++i) written[i] = (unsigned char)(i * 7 + count);
  memset(read, 0xEE, sizeof read);
  CHECK_INT(lib.UrdSetLongReg(addressCount, count, address, written), 1);
  CHECK_STATUS(kNoError);
  CHECK_INT(lib.UrdGetLongReg(addressCount, count, address, read), 1);
  CHECK_STATUS(kNoError);
  if (memcmp(written, read, (size_t)count) != 0) {
    fprintf(stderr, "read back differs for %d bytes at address count %d\n", count, addressCount);
    ++hostFailures;
  }
  CHECK_INT(read[count], 0xEE); /* nothing beyond the requested bytes */
}

static void Registers(void) {
  /* Register file 0x20: 1-byte register address; 0x21: 2-byte. */
  const unsigned char oneByte[2] = {0x10, 0x40};
  const unsigned char twoByte[3] = {0x34, 0x01, 0x42};
  const int lengths[] = {0, 1, 4, 8, 9, 17};
  unsigned char readBack[4] = {0};
  uint32_t value = 0;
  size_t i;
  CHECK_INT(lib.UrdOpen(), 1);
  for (i = 0; i < sizeof lengths / sizeof lengths[0]; ++i) {
    WriteReadBack(2, oneByte, lengths[i]);
    WriteReadBack(3, twoByte, lengths[i]);
  }
  WriteReadBack(3, twoByte, 300);

  /* UrdSetReg takes the bytes of its variadic value, least significant first. */
  CHECK_INT(lib.UrdSetReg(2, 4, oneByte, 0x11223344u), 1);
  CHECK_INT(lib.UrdGetLongReg(2, 4, oneByte, readBack), 1);
  CHECK_INT(readBack[0], 0x44);
  CHECK_INT(readBack[1], 0x33);
  CHECK_INT(readBack[2], 0x22);
  CHECK_INT(readBack[3], 0x11);
  /* UrdGetReg into a 32-bit variable: the first byte lands in its low byte. */
  CHECK_INT(lib.UrdSetReg(2, 2, oneByte, 0x0000BEEFu), 1);
  CHECK_INT(lib.UrdGetReg(2, 2, oneByte, (unsigned char*)&value), 1);
  CHECK_INT(value & 0xFFFFu, 0xBEEFu);

  /* An address byte with the read bit set addresses the same slave. */
  {
    const unsigned char odd[2] = {0x10, 0x41};
    CHECK_INT(lib.UrdGetLongReg(2, 2, odd, readBack), 1);
    CHECK_INT(readBack[0], 0xEF);
  }
  CHECK_INT(lib.UrdClose(), 1);
}

static void ArgumentChecks(void) {
  const unsigned char address[2] = {0x10, 0x40};
  unsigned char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  unsigned char untouched[8];
  CHECK_INT(lib.UrdOpen(), 1);
  /* Short forms check the data count before anything else. */
  CHECK_INT(lib.UrdSetReg(2, 5, NULL, 0), 0);
  CHECK_STATUS(kDataRange);
  CHECK_INT(lib.UrdGetReg(0, -1, NULL, NULL), 0);
  CHECK_STATUS(kDataRange);
  /* Long forms: address count, data count, address pointer, data pointer. */
  CHECK_INT(lib.UrdSetLongReg(0, 1, address, data), 0);
  CHECK_STATUS(kAddressRange);
  CHECK_INT(lib.UrdGetLongReg(9, -1, NULL, NULL), 0);
  CHECK_STATUS(kAddressRange);
  CHECK_INT(lib.UrdGetLongReg(1, -1, NULL, NULL), 0);
  CHECK_STATUS(kNegative);
  CHECK_INT(lib.UrdSetLongReg(8, 0, NULL, NULL), 0);
  CHECK_STATUS(kNullAddress);
  CHECK_INT(lib.UrdSetLongReg(1, 0, address + 1, NULL), 0);
  CHECK_STATUS(kNullData);
  CHECK_INT(lib.UrdGetReg(2, 4, address, NULL), 0);
  CHECK_STATUS(kNullData);
  /* A write of no bytes with a valid pointer addresses the slave only. */
  CHECK_INT(lib.UrdSetLongReg(1, 0, address + 1, data), 1);
  CHECK_STATUS(kNoError);
  /* No slave at 0x30: nothing is copied into the caller's array. */
  {
    const unsigned char absent[2] = {0x00, 0x60};
    memcpy(untouched, data, sizeof data);
    CHECK_INT(lib.UrdGetLongReg(2, 4, absent, data), 0);
    CHECK_STATUS(kNoSlave);
    CHECK(memcmp(untouched, data, sizeof data) == 0);
  }
  CHECK_INT(lib.UrdClose(), 1);
}

static void ExpectWriteFails(unsigned char slave, int count, const char* text) {
  const unsigned char address[2] = {0x00, (unsigned char)(slave << 1)};
  const unsigned char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  CHECK_INT(lib.UrdSetLongReg(2, count, address, data), 0);
  CHECK_STATUS(text);
}

static void ExpectReadFails(unsigned char slave, int count, const char* text) {
  const unsigned char address[2] = {0x00, (unsigned char)(slave << 1)};
  unsigned char data[8];
  CHECK_INT(lib.UrdGetLongReg(2, count, address, data), 0);
  CHECK_STATUS(text);
}

static void BusFaults(void) {
  CHECK_INT(lib.UrdOpen(), 1);
  ExpectWriteFails(0x30, 1, kNoSlave);
  ExpectWriteFails(0x51, 4, "The slave has acknowledged only 1 byte.");
  ExpectReadFails(0x52, 4, "We have received only 1 byte from the slave.");
  ExpectReadFails(0x53, 1,
                  "The master module of the I2C board has lost the bus arbitration. At the moment the I2C bus "
                  "is used by an other master.");
  ExpectReadFails(0x54, 1,
                  "A timeout has occurred during transferring a master message (SCL/SDA low for more than 500 ms).");
  ExpectReadFails(0x55, 1,
                  "The master module has detected an I2C protocol error on the I2C bus. Due to this error the "
                  "transfer has been cancelled.");
  /* The board still works after each of these faults. */
  {
    const unsigned char address[3] = {0x00, 0x00, 0xA0};
    unsigned char data[2];
    CHECK_INT(lib.UrdGetLongReg(3, 2, address, data), 1);
    CHECK_STATUS(kNoError);
  }
  /* A Vcc report below 1000 mV during a message ends it; the library keeps
     that reading until the scheduler reports another. */
  ExpectReadFails(0x56, 1,
                  "No power supply has been connected to the I2C Vcc pin of the I2C connector (I2C Vcc = 800 mV).");
  CHECK_INT(lib.UrdClose(), 1);
}

static void BoardStopsResponding(void) {
  const unsigned char address[2] = {0x00, 0x40};
  unsigned char data[2];
  RecordCounts counts;
  CHECK_INT(lib.UrdOpen(), 1);
  CHECK_INT(lib.UrdGetLongReg(2, 2, address, data), 1); /* the one transfer it still runs */
  CHECK_INT(lib.UrdGetLongReg(2, 2, address, data), 0);
  CHECK_STATUS("The opened I2C board does not respond. Maybe the I2C board has been disconnected from the PC?");
  ReadSchedulerRecord(&counts);
  CHECK_INT(counts.received[3], 1); /* the board was closed */
  /* No board is open any more, and closing again is quiet. */
  CHECK_INT(lib.UrdGetLongReg(2, 2, address, data), 0);
  CHECK_STATUS("No board has been choosen. Please, open a board and try it again.");
  CHECK_INT(lib.UrdClose(), 1);
}

static void ConnectionLost(void) {
  const unsigned char address[2] = {0x00, 0x40};
  unsigned char data[2];
  CHECK_INT(lib.UrdOpen(), 1);
  CHECK_INT(lib.UrdGetLongReg(2, 2, address, data), 0);
  CHECK_STATUS(kNoResponse);
  /* The board is no longer open; close has nothing to send and succeeds. */
  CHECK_INT(lib.UrdGetLongReg(2, 2, address, data), 0);
  CHECK_STATUS("No board has been choosen. Please, open a board and try it again.");
  CHECK_INT(lib.UrdClose(), 1);
  CHECK_STATUS(kNoError);
}

int main(int argc, char** argv) {
  const char* scenario = argc > 1 ? argv[1] : "";
  if (!LoadHostExports(argc > 2 ? argv[2] : NULL, &lib)) return 1;
  if (strcmp(scenario, "open_close") == 0) OpenAndCloseTwice();
  else if (strcmp(scenario, "no_board") == 0) NoSuitableBoard();
  else if (strcmp(scenario, "no_scheduler") == 0) NoScheduler();
  else if (strcmp(scenario, "version_1_5_9") == 0)
    RefusedWithText("Wrong version of the I2C scheduler. The installed I2C scheduler has got the version number "
                    "1.5.9, but the installed I2C API supports only I2C schedulers with a version number of 1.6.x.");
  else if (strcmp(scenario, "version_2_6_0") == 0)
    RefusedWithText("Wrong version of the I2C scheduler. The installed I2C scheduler has got the version number "
                    "2.6.0, but the installed I2C API supports only I2C schedulers with a version number of 1.6.x.");
  else if (strcmp(scenario, "busy") == 0) Busy();
  else if (strcmp(scenario, "firmware_too_old") == 0) FirmwareTooOld();
  else if (strcmp(scenario, "registers") == 0) Registers();
  else if (strcmp(scenario, "argument_checks") == 0) ArgumentChecks();
  else if (strcmp(scenario, "bus_faults") == 0) BusFaults();
  else if (strcmp(scenario, "stops_responding") == 0) BoardStopsResponding();
  else if (strcmp(scenario, "connection_lost") == 0) ConnectionLost();
  else {
    fprintf(stderr, "unknown scenario \"%s\"\n", scenario);
    return 2;
  }
  return HOST_TEST_RESULT();
}
