/* Reads the simulator's record file (one line per event: "connect ID",
   "disconnect ID", "recv ID CODE HEX") so host tests can check what reached
   the scheduler. Under Wine the Linux path is reachable through drive Z:. */
#ifndef I2CZAVIK_SCHEDULER_RECORD_H
#define I2CZAVIK_SCHEDULER_RECORD_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct RecordCounts {
  int connects;
  int disconnects;
  int received[64];  /* by message code, codes 0..63 */
  int firstLine[64]; /* line number of the first message of each code, 0 if none */
  char lastHex[64][27];
} RecordCounts;

static int ReadSchedulerRecord(RecordCounts* counts) {
  const char* path = getenv("I2CZAVIK_SIM_RECORD");
  char line[256];
  int number = 0;
  FILE* f;
  memset(counts, 0, sizeof *counts);
  if (path == NULL || (f = fopen(path, "r")) == NULL) return 0;
  while (fgets(line, sizeof line, f) != NULL) {
    int id, code;
    ++number;
    char hex[27];
    if (strncmp(line, "connect ", 8) == 0) {
      ++counts->connects;
    } else if (strncmp(line, "disconnect ", 11) == 0) {
      ++counts->disconnects;
    } else if (sscanf(line, "recv %d %d %26s", &id, &code, hex) == 3 && code >= 0 && code < 64) {
      if (counts->received[code]++ == 0) counts->firstLine[code] = number;
      memcpy(counts->lastHex[code], hex, sizeof hex);
    }
  }
  fclose(f);
  return 1;
}

#endif
