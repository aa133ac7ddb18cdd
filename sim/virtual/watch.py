"""What a person sees of a booted unit: panel, status file and log side by side, or a plain log."""
import shutil
import sys
import textwrap

from .machine import Status

LEFT = 50  # columns of the left half
TAIL = 200


class PlainView:
    """A line for everything that happens but for the panel's every frame."""

    def __init__(self, machine):
        self._machine, self._position, self._frame = machine, 0, None

    def show(self):
        for event in self._machine.events.since(self._position):
            self._position += 1
            text = event.text
            if event.source == "panel" and text.startswith("frame"):
                text = None if text == self._frame or not text.endswith(" 04") else text
                self._frame = text or self._frame
            if text:
                print(f"{event.at:7.1f} s  {event.source:8} {text}", flush=True)

    def end(self):
        self.show()


class LiveView:
    """Redrawn in place on a terminal's second screen."""

    def __init__(self, machine):
        self._machine, self._position, self._log = machine, 0, []
        self._facts = {"memory": "", "fwpush": ""}
        sys.stdout.write("\x1b[?1049h\x1b[?25l")

    def show(self):
        for event in self._machine.events.since(self._position):
            self._position += 1
            if event.source == "log":
                self._log = (self._log + [f"{event.at:6.1f}  {event.text}"])[-TAIL:]
            elif event.source in self._facts:
                self._facts[event.source] = event.text
        columns, rows = shutil.get_terminal_size((120, 32))
        glass = self._glass()[:rows - 2]
        room = rows - 1 - len(glass)
        left = self._left_half(room + 1)
        width = max(20, columns - LEFT - 3)
        right = ["unit's log"] + [part for line in self._log
                                  for part in textwrap.wrap(line, width, subsequent_indent=" " * 8) or [""]][1 - room:]
        lines = [f"{row[:columns]}\x1b[K" for row in glass]
        for row in range(room):
            half = left[row] if row < len(left) else ""
            other = right[row] if row < len(right) else ""
            lines.append(f"{half[:LEFT]:{LEFT}} \x1b[2m│\x1b[0m {other[:width]}\x1b[K")
        sys.stdout.write("\x1b[H" + "\r\n".join(lines) + "\x1b[J")
        sys.stdout.flush()

    def _glass(self):
        """An LCD needs the terminal's whole width."""
        display = self._machine.display
        return [display.caption, *display.glass] if display else []

    def _left_half(self, rows):
        machine, status = self._machine, self._machine.last_status or Status("", "", "")
        lines = [f"{machine.kind.unit}, {machine.events.now():5.1f} s since power-on", ""]
        if machine.panel:
            glass = machine.panel.glass or [""] * 4
            lines += ["serial front panel on /dev/ttyS0", *(f"    {row}" for row in glass), "",
                      f"  {machine.panel.settings}, {machine.panel.frames} frames", ""]
        lines += [f"$ curl http://127.0.0.1:{machine.port}/fw_status.xml", *machine.last_text.splitlines()[:8], ""]
        if status.progress.isdigit():
            done = min(int(status.progress), 100) * (LEFT - 18) // 100
            lines += [f"  {'█' * done}{'░' * (LEFT - 18 - done)} {status.progress} %", ""]
        lines += ["$ fwpush --await-return IMAGE 127.0.0.1:" + str(machine.port), f"  {self._facts['fwpush']}", ""]
        lines += [f"register memory: {self._facts['memory'] or 'untouched'}"] if machine.registers else []
        return lines[:rows - 1]

    def end(self):
        sys.stdout.write("\x1b[?25h\x1b[?1049l")
        sys.stdout.flush()


def make_view(machine, plain):
    return PlainView(machine) if plain or not sys.stdout.isatty() else LiveView(machine)
