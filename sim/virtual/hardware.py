"""The unit's hardware as the host holds it: register memory, GPIO lines, displays."""
import mmap
import os
import queue
import struct
import subprocess
import threading

from . import processes

MIB = 1 << 20


class Memory:
    """The machine's memory. The unit's kernel leaves its end alone: registers, by a device tree (make_trees)."""
    ADDRESS, SIZE = 0x40000000, 384 * MIB

    def __init__(self, device_tree, size):
        self._device_tree = device_tree
        self.descriptor, self.path = processes.anonymous_file("memory", self.SIZE)
        self.offset = self.SIZE - size
        self._registers = mmap.mmap(self.descriptor, size, offset=self.offset)

    def arguments(self):
        return ["-dtb", self._device_tree,
                "-object", f"memory-backend-file,id=ram,share=on,size={self.SIZE},mem-path={self.path}"]


class RegisterMemory(Memory):
    """What is behind /dev/io: words big-endian. The I/O shared region begins one page in."""
    SHARED_REGION = 4096
    PLATFORM_ID = SHARED_REGION + 0x419C8
    SLOT_COUNT = SHARED_REGION + 0x419CC

    def __init__(self, image, fpga_id):
        super().__init__(f"{image}/registers.dtb", 32 * MIB)
        self.put(0, fpga_id)

    def put(self, offset, word):
        struct.pack_into(">I", self._registers, offset, word)

    def get(self, offset):
        return struct.unpack_from(">I", self._registers, offset)[0]


class Lines(Memory):
    """The processor's GPIO lines 0 to 127."""
    OUTPUT_ENABLE, INPUT = 0x134, 0x138  # of a bank of 32 lines; an output is enabled by 0

    def __init__(self, image):
        super().__init__(f"{image}/lines.dtb", 4 * MIB)
        for bank in range(4):
            struct.pack_into("<I", self._registers, 4096 * bank + self.OUTPUT_ENABLE, 0xFFFFFFFF)

    def drive(self, line, level):
        place = 4096 * (line // 32) + self.INPUT
        word = struct.unpack_from("<I", self._registers, place)[0] & ~(1 << line % 32)
        struct.pack_into("<I", self._registers, place, word | level << line % 32)


class Display:
    """An LCD of the simulator. The board behind /dev/io runs within the emulator (board_plugin), what it shows is told
    by the program lcd_display."""

    def __init__(self, programs, unit, registers, events):
        self._process = processes.start([f"{programs}/lcd_display", unit], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, bufsize=1)
        first = self._process.stdout.readline().split()
        if first[:1] != ["root"]:
            raise processes.UnitError(f"lcd_display: {' '.join(first)}")
        self.environment = {"FWSTATUS_UNIT_ROOT": first[1]}
        self.caption, self.glass, self.lights, self.misuse = "", [], "", []
        self._plugin = (f"{programs}/board_plugin.so,memory={registers.path},offset={registers.offset},"
                        f"address={registers.ADDRESS + registers.offset}")
        self._events, self._answers = events, queue.Queue()
        threading.Thread(target=self._listen, daemon=True).start()

    def _listen(self):
        for text in self._process.stdout:
            what, _, rest = text.rstrip("\n").partition(" ")
            if what == "glass":
                self.glass = rest.split("\t")
            elif what in ("display", "lights", "bar", "misuse"):
                if what == "display":
                    self.caption = rest
                elif what == "lights":
                    self.lights = rest
                elif what == "misuse":
                    self.misuse.append(rest)
                self._events.add("display", f"{what} {rest}")
            else:
                self._answers.put(text.rstrip("\n"))

    def _ask(self, question):
        try:
            self._process.stdin.write(question + "\n")
            return self._answers.get(timeout=20)
        except (OSError, queue.Empty):
            raise processes.UnitError("lcd_display does not answer") from None

    def difference(self, status):
        """What the glass shows otherwise than a status file; empty when they agree."""
        answer = self._ask("compare " + "\t".join(status))
        return "" if answer == "same" else answer.removeprefix("differs ")

    def picture(self, path):
        answer = self._ask(f"picture {path}")
        if answer != "picture":
            raise processes.UnitError(answer)

    def arguments(self):
        return ["-plugin", self._plugin]

    def close(self):
        self._process.stdin.close()  # it removes what it has made
        try:
            self._process.wait(20)
        except subprocess.TimeoutExpired:
            pass
        processes.stop(self._process)


class Panel:
    """The display module on a pseudo-terminal of this machine, by the simulator's program serial_panel."""

    def __init__(self, programs, events):
        program = f"{programs}/serial_panel"
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


def bar(event):
    """The percentage at which the bar on an LCD stands from an event on; None for any other event."""
    words = event.text.split()
    return int(words[1]) if event.source == "display" and words[0] == "bar" and words[1].isdigit() else None
