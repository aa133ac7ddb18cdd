"""The unit's hardware as the host holds it: register memory, GPIO lines, the serial panel's module."""
import mmap
import os
import struct
import subprocess
import threading

from . import processes

MIB = 1 << 20


class RegisterMemory:
    """What is behind /dev/io: passive memory, words big-endian. The I/O shared region begins one page in."""
    SHARED_REGION = 4096
    PLATFORM_ID = SHARED_REGION + 0x419C8
    SLOT_COUNT = SHARED_REGION + 0x419CC

    def __init__(self, fpga_id):
        self.descriptor, self.path = processes.anonymous_file("registers", 32 * MIB)
        self._memory = mmap.mmap(self.descriptor, 32 * MIB)
        self.put(0, fpga_id)

    def put(self, offset, word):
        struct.pack_into(">I", self._memory, offset, word)

    def get(self, offset):
        return struct.unpack_from(">I", self._memory, offset)[0]

    def arguments(self):
        return ["-object", f"memory-backend-file,id=registers,share=on,size=32M,mem-path={self.path}",
                "-device", "ivshmem-plain,memdev=registers,addr=4"]


class Lines:
    """The processor's GPIO lines 0 to 127: their registers are the last 4 MiB of the machine's memory (make_lines)."""
    RAM = 384 * MIB
    REGISTERS = RAM - 4 * MIB
    OUTPUT_ENABLE, INPUT = 0x134, 0x138  # of a bank of 32 lines; an output is enabled by 0

    def __init__(self, device_tree):
        self._device_tree = device_tree
        self.descriptor, self.path = processes.anonymous_file("memory", self.RAM)
        self._memory = mmap.mmap(self.descriptor, 4 * MIB, offset=self.REGISTERS)
        for bank in range(4):
            struct.pack_into("<I", self._memory, 4096 * bank + self.OUTPUT_ENABLE, 0xFFFFFFFF)

    def drive(self, line, level):
        place = 4096 * (line // 32) + self.INPUT
        word = struct.unpack_from("<I", self._memory, place)[0] & ~(1 << line % 32)
        struct.pack_into("<I", self._memory, place, word | level << line % 32)

    def arguments(self):
        return ["-dtb", self._device_tree,
                "-object", f"memory-backend-file,id=ram,share=on,size=384M,mem-path={self.path}"]


class Panel:
    """The display module on a pseudo-terminal of this machine, by the simulator's program serial_panel."""

    def __init__(self, program, events):
        self._process = processes.start([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True)
        first = self._process.stdout.readline().split()
        if first[:1] != ["line"]:
            raise processes.UnitError(f"{program} made no line: {' '.join(first)}")
        self.line = first[1]
        self.settings, self.frame, self.glass, self.frames = "", [], [], 0
        self._events = events
        threading.Thread(target=self._listen, daemon=True).start()

    def _listen(self):
        for text in self._process.stdout:
            what, _, rest = text.rstrip("\n").partition(" ")
            if what == "settings":
                self.settings = rest
            elif what == "frame":
                self.frame = [int(byte, 16) for byte in rest.split()]
                self.frames += 1
            elif what == "glass":
                self.glass = rest.split("\t")
                continue
            self._events.add("panel", text.rstrip("\n"))

    def arguments(self):
        return ["-chardev", f"serial,id=panel,path={self.line}", "-device", "pci-serial,chardev=panel,addr=5"]

    def close(self):
        processes.stop(self._process)


# What the module's digits look like when they show a percentage; the 6 has no top bar, the 9 a bottom bar.
DIGITS = {0x3F: "0", 0x06: "1", 0x5B: "2", 0x4F: "3", 0x66: "4", 0x6D: "5", 0x7C: "6", 0x07: "7", 0x7F: "8",
          0x6F: "9", 0x00: " "}
PERCENTAGE = 4  # a frame's mode


def percentage(event):
    """The percentage that a panel event shows; None for any other event."""
    words = event.text.split()
    if event.source != "panel" or words[0] != "frame" or int(words[6], 16) != PERCENTAGE:
        return None
    text = "".join(DIGITS.get(int(word, 16), "?") for word in words[1:5]).strip()
    return int(text) if text.isdigit() else None
