"""A virtual unit: QEMU with a unit's hardware around it."""
import collections
import http.client
import json
import os
import re
import socket
import subprocess
import threading
import time
import urllib.request
from dataclasses import dataclass

from . import processes
from .events import Events
from .hardware import Display, Lines, Panel, RegisterMemory
from .processes import UnitError
from .shell import Shell

Status = collections.namedtuple("Status", "state progress detail")


@dataclass(frozen=True)
class Kind:
    """A kind of unit that can be booted."""
    unit: str            # the simulator's name for it
    description: str
    fpga_id: int | None  # None: no register memory
    settles: tuple[int, int] | None = None  # platform id and slots, which the daemon writes there
    lines: bool = False  # with GPIO lines
    panel: bool = False  # with the serial panel
    lcd: bool = False    # with an LCD behind the FPGA


KINDS = {
    "panel": Kind("serial-panel", "an expander with register memory and a serial front panel (platform 9)", 0xB1F0CA15,
                  (9, 1), panel=True),
    "front-panel": Kind("base-unit", "a base unit with an LCD front panel (platform 1)", 0xCAFEBABE, (1, 1), lcd=True),
    "page-station": Kind("page-station", "a paging desk with an LCD (platform 4)", 0xFEF1F0FD, (4, 1), lcd=True),
    "lines": Kind("expander-c", "an expander with GPIO lines and without an FPGA (platform 12)", None, lines=True),
}


@dataclass
class Options:
    image: str                 # directory
    programs: str              # directory of the simulator's
    port: int = 0              # for the web server; 0: any
    engine_at_start: bool = True
    blocks: int = 25           # in which the unit writes an image
    append: str = ""           # to the kernel's command line


class Machine:
    """Started on construction; gone at the end of a `with`, and with this process however that ends."""

    def __init__(self, kind, options):
        processes.require("qemu-system-arm", "qemu-system-arm")
        if options.port:
            check_port(options.port)
        self.kind, self.blocks, self.events = kind, options.blocks, Events()
        self.resets, self.last_console = 0, collections.deque(maxlen=12)
        self._replies, self._reply_came = {}, threading.Condition()
        self._closed = False
        self.last_status, self.last_text = None, ""
        self.registers = RegisterMemory(options.image, kind.fpga_id) if kind.fpga_id else None
        self.lines = Lines(options.image) if kind.lines else None
        self.panel = Panel(options.programs, self.events) if kind.panel else None
        self.display = Display(options.programs, kind.unit, self.registers, self.events) if kind.lcd else None
        self._ends = {name: socket.socketpair() for name in ("console", "shell", "monitor")}
        self._process = self._start(options)
        try:
            self.shell = Shell(self._ends["shell"][0])
            for task in self._hear_console, self._hear_monitor:
                threading.Thread(target=task, daemon=True).start()
            self._command("qmp_capabilities")
            self.port = self._find_port()
            for task in filter(None, [self._watch_status, self.registers and self._watch_registers]):
                threading.Thread(target=task, daemon=True).start()
        except BaseException:
            self.close()
            raise

    def _start(self, options):
        hardware = list(filter(None, [self.registers, self.lines, self.panel, self.display]))
        words = ["console=ttyAMA0", "quiet", "panic=-1", "net.ifnames=0", "fbcon=map:1", "systemd.show_status=0",
                 "systemd.journald.forward_to_console=1", "systemd.journald.max_level_console=debug",
                 f"unit={self.kind.unit}", f"blocks={options.blocks}", options.append]
        if options.engine_at_start:
            words.append("systemd.wants=engine.service")
        command = [
            "qemu-system-arm", "-nodefaults", "-display", "none",
            "-M", "virt,highmem=off,memory-backend=ram", "-cpu", "cortex-a15", "-smp", "1", "-m", "384",
            "-kernel", f"{options.image}/vmlinuz", "-initrd", f"{options.image}/initrd", "-append", " ".join(words),
            "-drive", f"file={options.image}/disk.ext4,format=raw,if=none,id=disk,snapshot=on",
            "-device", "virtio-blk-pci,drive=disk,addr=3",
            "-netdev", f"user,id=net,restrict=on,hostfwd=tcp:127.0.0.1:{options.port}-:80",
            "-device", "virtio-net-pci,netdev=net,romfile=,addr=6",
            "-serial", "chardev:console", "-device", "virtio-serial-pci,addr=7",
            "-device", "virtserialport,chardev=shell,nr=1", "-mon", "chardev=monitor,mode=control"]
        for name, (_, theirs) in self._ends.items():
            command += ["-chardev", f"socket,id={name},fd={theirs.fileno()}"]
        for part in hardware:
            command += part.arguments()
        inherited = [theirs.fileno() for _, theirs in self._ends.values()]
        inherited += [part.descriptor for part in hardware if hasattr(part, "descriptor")]
        process = processes.start(command, inherited, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE, text=True,
                                  env=os.environ | (self.display.environment if self.display else {}))
        for _, theirs in self._ends.values():
            theirs.close()
        return process

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        if self._closed:
            return
        self._closed = True
        processes.stop(self._process)
        for display in filter(None, [self.panel, self.display]):
            display.close()
        for ours, _ in self._ends.values():
            ours.close()

    def is_running(self):
        return self._process.poll() is None

    def processor_seconds(self):
        """That the emulator has taken so far."""
        with open(f"/proc/{self._process.pid}/stat") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    # The web server

    def get(self, path, seconds=3):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}{path}", timeout=seconds) as answer:
            return answer.read().decode(errors="replace")

    def status(self):
        """The status file as read now; None when there is none, or when it was caught half written."""
        try:
            text = self.get("/fw_status.xml", 2)
        except (OSError, http.client.HTTPException):
            return None
        values = [re.search(f"<{name}>(.*?)</{name}>", text, re.S) for name in Status._fields]
        if not all(values):
            return None
        self.last_text = text
        return Status(*(value.group(1) for value in values))

    def _watch_status(self):
        while self.is_running() and not self._closed:
            status = self.status()
            if status and status != self.last_status:
                self.last_status = status
                self.events.add("web", f"{status.state}, {status.progress} %, \"{status.detail}\"")
            time.sleep(0.2)

    # Hardware, console, monitor

    def _watch_registers(self):
        last = (0, 0)
        while self.is_running() and not self._closed:
            now = self.registers.get(RegisterMemory.PLATFORM_ID), self.registers.get(RegisterMemory.SLOT_COUNT)
            if now != last:
                last = now
                self.events.add("memory", f"platform id {now[0]}, slots {now[1]}")
            time.sleep(0.05)

    def _hear_console(self):
        with self._ends["console"][0].makefile("r", errors="replace") as console:
            for line in quietly(console):
                text = re.sub(r"\x1b\[[0-9;?]*[A-Za-z]|\r", "", line).rstrip()
                if text:
                    self.last_console.append(text)
                    self.events.add("log", re.sub(r"^\[[ 0-9.]+\] ", "", text))

    def _hear_monitor(self):
        with self._ends["monitor"][0].makefile("r") as monitor:
            for line in quietly(monitor):
                message = json.loads(line)
                if message.get("event") == "RESET" and message["data"]["guest"]:
                    self.resets += 1
                    if self.registers:  # does not outlive the power
                        self.registers.put(RegisterMemory.PLATFORM_ID, 0)
                    self.events.add("machine", "the unit restarts")
                if "id" in message:
                    with self._reply_came:
                        self._replies[message["id"]] = message
                        self._reply_came.notify_all()

    def _command(self, name, **arguments):
        identity = f"{name}-{time.monotonic()}"
        request = {"execute": name, "id": identity, "arguments": arguments}
        try:
            self._ends["monitor"][0].sendall(json.dumps(request).encode())
        except OSError:
            pass
        with self._reply_came:
            while identity not in self._replies:
                if not self.is_running():
                    raise UnitError("the emulator did not start: " + (self._process.stderr.read().strip() or "no reason"))
                self._reply_came.wait(0.2)
            return self._replies.pop(identity)

    def _find_port(self):
        text = self._command("human-monitor-command", **{"command-line": "info usernet"})["return"]
        return int(re.search(r"HOST_FORWARD\]\s+\d+\s+127\.0\.0\.1\s+(\d+)", text).group(1))


def quietly(stream):
    """A stream's lines until it ends or this side closes it."""
    try:
        yield from stream
    except (OSError, ValueError):
        return


def check_port(port):
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", port))
        except OSError as error:
            raise UnitError(f"port {port} of this machine cannot be used: {error.strerror}; take another with --port") from None
