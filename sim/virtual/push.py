"""A firmware image on its way to a unit by fwpush, until the unit is back and runs it."""
import hashlib
import json
import os
import subprocess
import tempfile

from . import processes
from .processes import UnitError


class Push:
    """Runs fwpush on a machine's forwarded port. Only for a thread that lives as long as this."""

    def __init__(self, program, machine, size=1 << 20):
        image = os.urandom(size)
        self.hash, self._machine = hashlib.sha256(image).hexdigest(), machine
        self.outcome, self.line = None, ""
        self._file = tempfile.TemporaryFile()
        self._file.write(image)
        self._file.flush()
        number = self._file.fileno()
        # A unit under emulation on a busy machine is away for longer than one on a shelf.
        self._process = processes.start(
            [program, "--json", "--await-return", "--timeout", "240", "--grace", "60", f"/proc/self/fd/{number}",
             f"127.0.0.1:{machine.port}"], [number], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT)
        os.set_blocking(self._process.stdout.fileno(), False)
        self._rest = b""

    def look(self):
        """Takes what fwpush has said since; whether it has ended."""
        ended = self._process.poll() is not None
        try:
            while data := os.read(self._process.stdout.fileno(), 65536):
                self._rest += data
        except BlockingIOError:
            pass
        *lines, self._rest = self._rest.split(b"\n")
        for line in filter(None, lines):
            try:
                event = json.loads(line)
            except ValueError:
                raise UnitError(f"fwpush: {line.decode(errors='replace')}") from None
            text = event["stage"] + (f", {event['value']} %" if event["value"] >= 0 else "")
            if event["event"] == "outcome":
                self.outcome = event["outcome"]
                text = f"{self.outcome} {event['reason']}".rstrip()
            if text != self.line:
                self.line = text
                self._machine.events.add("fwpush", text)
        return ended

    def close(self):
        processes.stop(self._process)
        self._file.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
