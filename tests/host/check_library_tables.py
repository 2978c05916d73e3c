#!/usr/bin/env python3
"""Checks what a built library shows to the outside.

  check_library_tables.py pe  LIBRARY.dll  -- export table: exactly the nine
      names, undecorated, at their ordinals; imports: system DLLs only.
  check_library_tables.py elf LIBRARY.so   -- dynamic symbols: exactly the nine.

The PE file is read directly (no objdump), so the check does not depend on
the output format of a tool version.
"""
import struct
import subprocess
import sys

EXPORTS = ["DeviceIo", "LibMain", "UrdClose", "UrdGetLongReg", "UrdGetReg",
           "UrdGetStatus", "UrdOpen", "UrdSetLongReg", "UrdSetReg"]
SYSTEM_DLLS = {"kernel32.dll", "ws2_32.dll", "msvcrt.dll"}


class Pe:
    def __init__(self, data):
        self.data = data
        pe = struct.unpack_from("<I", data, 0x3C)[0]
        if data[pe:pe + 4] != b"PE\0\0":
            raise ValueError("not a PE file")
        self.machine, sections, _, _, _, optional_size, _ = struct.unpack_from("<HHIIIHH", data, pe + 4)
        optional = pe + 24
        magic = struct.unpack_from("<H", data, optional)[0]
        directories = optional + (96 if magic == 0x10B else 112)
        self.directories = [struct.unpack_from("<II", data, directories + 8 * i) for i in range(2)]
        table = optional + optional_size
        self.sections = []
        for i in range(sections):
            _, vsize, vaddr, raw_size, raw_ptr = struct.unpack_from("<8sIIII", data, table + 40 * i)
            self.sections.append((vaddr, max(vsize, raw_size), raw_ptr))

    def offset(self, rva):
        for vaddr, size, raw in self.sections:
            if vaddr <= rva < vaddr + size:
                return rva - vaddr + raw
        raise ValueError("RVA 0x%x outside every section" % rva)

    def string(self, rva):
        start = self.offset(rva)
        return self.data[start:self.data.index(b"\0", start)].decode("ascii")

    def exports(self):
        rva, _ = self.directories[0]
        self.function_count = 0
        if rva == 0:
            return {}
        fields = struct.unpack_from("<IIHHIIIIIII", self.data, self.offset(rva))
        base, _, names, functions_rva, names_rva, ordinals_rva = fields[5], fields[6], fields[7], fields[8], fields[9], fields[10]
        self.function_count = fields[6]
        result = {}
        for i in range(names):
            name_rva = struct.unpack_from("<I", self.data, self.offset(names_rva) + 4 * i)[0]
            index = struct.unpack_from("<H", self.data, self.offset(ordinals_rva) + 2 * i)[0]
            result[self.string(name_rva)] = base + index
        return result

    def imports(self):
        rva, _ = self.directories[1]
        result = []
        position = self.offset(rva)
        while True:
            descriptor = struct.unpack_from("<IIIII", self.data, position)
            if descriptor == (0, 0, 0, 0, 0):
                return result
            result.append(self.string(descriptor[3]))
            position += 20


def check_pe(path):
    with open(path, "rb") as f:
        pe = Pe(f.read())
    problems = []
    exports = pe.exports()
    expected = {name: ordinal for ordinal, name in enumerate(EXPORTS, start=1)}
    if exports != expected:
        problems.append("exports are %s, expected %s" % (sorted(exports.items(), key=lambda e: e[1]),
                                                         sorted(expected.items(), key=lambda e: e[1])))
    if pe.function_count != len(EXPORTS):
        problems.append("%d functions in the export address table, expected %d" % (pe.function_count, len(EXPORTS)))
    imports = [name.lower() for name in pe.imports()]
    foreign = [name for name in imports if name not in SYSTEM_DLLS and not name.startswith("api-ms-win-")]
    if foreign:
        problems.append("depends on non-system DLLs: %s" % ", ".join(foreign))
    for needed in ("kernel32.dll", "ws2_32.dll"):
        if needed not in imports:
            problems.append("does not import %s" % needed)
    return problems, "exports %s; imports %s" % (sorted(exports, key=exports.get), imports)


def check_elf(path):
    output = subprocess.run(["nm", "-D", "--defined-only", path], check=True,
                            capture_output=True, text=True).stdout
    symbols = sorted(line.split()[-1] for line in output.splitlines()
                     if len(line.split()) == 3 and line.split()[1] in "TDBRVWiu")
    problems = []
    if symbols != sorted(EXPORTS):
        problems.append("dynamic symbols are %s, expected %s" % (symbols, sorted(EXPORTS)))
    return problems, "dynamic symbols %s" % symbols


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("pe", "elf"):
        print(__doc__)
        return 2
    problems, seen = (check_pe if sys.argv[1] == "pe" else check_elf)(sys.argv[2])
    for problem in problems:
        print("FAIL:", problem)
    print(seen)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
