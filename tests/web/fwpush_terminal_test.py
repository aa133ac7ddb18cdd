#!/usr/bin/env python3
"""fwpush and who starts it: signals, limits, wrong usage, a password, bars on a terminal."""
import json
import os
import pathlib
import pty
import resource
import signal
import subprocess
import tempfile
import termios
import threading
import time
import unittest

from pushed_image import FWPUSH, HASH, IMAGE, ImageTestCase
from pushed_unit import Unit, silent, status


class Terminal(ImageTestCase):
    def test_interrupting_says_what_was_under_way(self):
        """Two turns to upload: of four units one has had its turn, two have theirs, one waits."""
        self.image.truncate(32 * len(IMAGE))  # more than any socket takes for a unit that does not read

        def compat_after(seconds):
            return lambda handler: (time.sleep(seconds), handler.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\n4"))
        units = {
            "no longer watched; the unit goes on by itself": Unit(**{"fw_status.xml": [status("fw_write", 42)]}),
            "cancelled while uploading; the unit may have part of the image": Unit(fw_compat=[compat_after(1)], fw_upload=[silent]),
            "cancelled while uploading; the unit may have the whole image, and go on by itself": Unit(fw_compat=[compat_after(1)], fw_upload=[
                lambda handler: (handler.rfile.read(32 * len(IMAGE)), silent(handler))]),
            "cancelled": Unit(fw_compat=[compat_after(2)]),
        }
        writing, stuck, whole, waiting = (unit.name for unit in units.values())
        process = subprocess.Popen([FWPUSH, "--json", "--jobs", "2", self.image.name, writing, stuck, whole, waiting],
                                   stdout=subprocess.PIPE, text=True)
        awaited = {(writing, 42), (whole, 100), (waiting, 0)}
        while awaited:
            event = json.loads(process.stdout.readline())
            awaited.discard((event["unit"], event["value"]))
        process.send_signal(signal.SIGINT)
        ends = [json.loads(line) for line in process.communicate(timeout=10)[0].splitlines()]
        self.assertEqual(process.returncode, 1)
        self.assertEqual({end["unit"] for end in ends if end.get("outcome") == "cancelled"}, {writing, stuck, whole, waiting})
        for reason, unit in units.items():
            self.assertEqual(reason, [end["reason"] for end in ends if end["unit"] == unit.name][-1])
        self.assertIsNone(units["cancelled"].received)

    def test_a_second_signal_ends_it_at_once(self):
        unit = Unit(**{"fw_status.xml": [status("fw_write")]})
        for signals, left, exit_status in (([signal.SIGTERM], ["cancelled"], 1), ([signal.SIGINT, signal.SIGTERM], [], -15)):
            process = subprocess.Popen([FWPUSH, "--json", "--watch", unit.name], stdout=subprocess.PIPE, text=True)
            while "writing" not in process.stdout.readline():
                pass
            for number in (signal.SIGSTOP, *signals, signal.SIGCONT):
                process.send_signal(number)
            printed = process.communicate(timeout=10)[0]
            self.assertEqual(([json.loads(line)["reason"] for line in printed.splitlines()], process.returncode),
                             (left, exit_status))

    def test_it_goes_on_when_nobody_reads_what_it_prints(self):
        unit = Unit(**{"fw_status.xml": [status("fw_write"), status("fw_write", 1), status("complete")]})
        process = subprocess.Popen([FWPUSH, self.image.name, unit.name], stdout=subprocess.PIPE)
        process.stdout.close()
        self.assertEqual(process.wait(30), 0)
        self.assertEqual((unit.received, unit.paths[-1]), (IMAGE, "fw_status.xml"))

    def test_more_units_than_descriptors_are_allowed_at_first(self):
        """All are connected at the same time: none is answered before."""
        together = threading.Barrier(30, timeout=20)

        def answer(handler):
            together.wait()
            handler.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 64\r\n\r\n" + HASH.encode())
        units = [Unit(firmware_hash=[answer]) for _ in range(30)]
        hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
        run = subprocess.run([FWPUSH, "--no-progress", "--timeout", "8", self.image.name, *(unit.name for unit in units)],
                             capture_output=True, text=True, timeout=60,
                             preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (24, hard)))
        self.assertEqual((run.stdout.splitlines()[-1], run.returncode), ("30 units: 30 up_to_date", 0))

    def test_wrong_usage_and_unreadable_images(self):
        version = subprocess.run([FWPUSH, "--version"], capture_output=True, text=True, timeout=10)
        self.assertRegex(version.stdout, r"^fwstatus [\d.]+ \(revision \S+\)\n$")
        def result(*arguments, **settings):
            run = subprocess.run([FWPUSH, *arguments], capture_output=True, text=True, timeout=10, **settings)
            return run.stdout + run.stderr, run.returncode
        self.assertEqual(result("--nonsense"), ("fwpush: The following argument was not expected: --nonsense\n"
                                                "See fwpush --help.\n", 2))
        self.assertEqual(result("/tmp", "x"), ("fwpush: /tmp: no regular file\n", 3))
        if b"__ubsan" not in pathlib.Path(FWPUSH).read_bytes():  # the sanitizer asks for memory through a pipe
            few = result(self.image.name, "x", preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (4, 4)))
            self.assertEqual(few, ("fwpush: signals cannot be read: Too many open files\n", 1))

    def test_a_password_is_asked_for_unseen_and_the_terminal_given_back(self):
        unit = Unit()
        unit.user = "Basic b3A6c2VjcmV0"  # op:secret

        def answer(keys):
            """What the terminal showed, whether it shows keys afterwards, and how fwpush ended."""
            ours, its = pty.openpty()
            process = subprocess.Popen(["setsid", "--ctty", FWPUSH, "--json", "--user", "op", self.image.name,
                                        unit.name], stdin=its, stdout=subprocess.PIPE, stderr=its)
            seen = b""
            while b"units: " not in seen:
                seen += os.read(ours, 1000)
            os.write(ours, keys)
            printed = process.communicate(timeout=30)[0]
            os.set_blocking(ours, False)
            seen += os.read(ours, 1000)
            echoes = bool(termios.tcgetattr(its)[3] & termios.ECHO)
            os.close(its)
            os.close(ours)
            return seen + printed, echoes, process.returncode
        seen, echoes, status_given = answer(b"secret\n")
        asked, printed = seen.split(b"\r\n", 1)
        self.assertEqual((asked, b"secret" in printed, echoes, status_given),
                         (b"Password of op on the units: ", False, True, 0), seen)
        self.assertEqual(unit.received, IMAGE)
        for key, number in ((b"\x03", signal.SIGINT), (b"\x1c", signal.SIGQUIT)):
            self.assertEqual(answer(b"sec" + key)[1:], (True, -number))

    def pictures(self, rows, columns, units):
        """What fwpush draws on a terminal of that size, each picture a list of lines; what it prints below; its end."""
        with tempfile.NamedTemporaryFile("w") as listed:
            listed.write("# all of them\n" + "\n".join(f"  {unit.name}  # one" for unit in units))
            listed.flush()
            pid, terminal = pty.fork()
            if pid == 0:
                os.execvp("sh", ["sh", "-c", f"stty rows {rows} cols {columns}; exec {FWPUSH} --units {listed.name} "
                                             f"{self.image.name}"])
            output = b""
            try:
                while piece := os.read(terminal, 65536):
                    output += piece
            except OSError:
                pass
            exit_status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
        os.close(terminal)
        *pictures, summary = output.decode().split("\x1b[J")
        return [picture.split("\x1b[K\r\n")[:-1] for picture in pictures], summary, exit_status

    def test_bars_fit_a_terminal_with_fewer_lines_than_units(self):
        units = [Unit(fw_upload=["unsupported hardware"]), *(Unit() for _ in range(39))]
        pictures, summary, exit_status = self.pictures(12, 60, units)
        self.assertEqual(exit_status, 1)
        self.assertGreater(len(pictures), 3)
        for lines in pictures:
            self.assertEqual(len(lines), 11)
            self.assertLess(max(len(line.split("A")[-1]) for line in lines[1:]), 60)
        self.assertEqual(pictures[-1][-1], "... all 40 units: 39 complete, 1 unsupported_hardware")
        self.assertRegex(pictures[-1][0], units[0].name + r" +\[#{5}\] 100 %  unsupported_hardware +0:\d\d")
        self.assertIn("40 units: 39 complete, 1 unsupported_hardware", summary)

    def test_a_terminal_too_small_for_bars_gets_those_for_a_usual_one(self):
        units = [Unit(firmware_hash=[HASH]) for _ in range(5)]
        for rows, columns, lines, longest in ((4, 80, 3, 77), (3, 80, 5, 77), (24, 20, 5, 19), (24, 19, 5, 77)):
            pictures, _, exit_status = self.pictures(rows, columns, units)
            self.assertEqual((exit_status, len(pictures[-1]), max(len(line) for line in pictures[-1][1:])),
                             (0, lines, longest), (rows, columns))


if __name__ == "__main__":
    unittest.main()
