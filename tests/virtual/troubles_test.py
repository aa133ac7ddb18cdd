"""What scripts/virtual-unit says when it cannot do its work, and that it leaves nothing running."""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

TREE = pathlib.Path(__file__).resolve().parents[2]
PROGRAM = TREE / "scripts" / "virtual-unit"


def run(*arguments, **options):
    return subprocess.run([PROGRAM, "--no-prepare", "--plain", *arguments], capture_output=True, text=True, timeout=120,
                          **options)


def as_at_a_prompt():
    """A shell's job in the background ignores Ctrl-C, and would hand that on."""
    signal.signal(signal.SIGINT, signal.default_int_handler)


def descendants(process):
    """Processes below one, as (pid, name)."""
    found = []
    for child in subprocess.run(["pgrep", "-P", str(process)], capture_output=True, text=True).stdout.split():
        name = pathlib.Path(f"/proc/{child}/comm").read_text().strip()
        found += [(int(child), name), *descendants(child)]
    return found


def gone(process):
    try:
        return pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()[0] == "Z"
    except FileNotFoundError:
        return True


class Troubles(unittest.TestCase):
    def assert_told(self, result, line):
        self.assertIn(line, result.stderr)
        self.assertEqual(result.returncode, 1)
        self.assertNotIn("Traceback", result.stderr)

    def test_no_emulator(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in "python3", "setpriv":
                os.symlink(subprocess.check_output(["which", name], text=True).strip(), f"{folder}/{name}")
            self.assert_told(run(env={"PATH": folder}), "qemu-system-arm is missing; install it with: apt-get install")

    def test_a_port_that_is_taken(self):
        with socket.socket() as other:
            other.bind(("127.0.0.1", 0))
            other.listen()
            port = other.getsockname()[1]
            self.assert_told(run("--port", str(port)), f"port {port} of this machine cannot be used: Address already in use")

    def test_a_boot_that_hangs_shows_the_console(self):
        result = run("--limit", "20", "--append", "systemd.unit=sysinit.target")  # goes no further than that
        self.assert_told(result, "no status file within 20 s; the unit's console:")
        self.assertRegex(result.stderr, r"console:\n    \[ +\d+\.\d+\] ")

    def test_a_kernel_that_panics(self):
        self.assert_told(run("--append", "rdinit=/none root=/none"), "the unit restarted while waiting for status file")

    def test_nothing_stays_however_it_ends(self):
        for number, kind, display in ((signal.SIGKILL, "panel", "serial_panel"), (signal.SIGTERM, "panel", "serial_panel"),
                                      (signal.SIGINT, "panel", "serial_panel"),
                                      (signal.SIGKILL, "page-station", "lcd_display")):
            with self.subTest(signal=number, kind=kind), tempfile.TemporaryDirectory() as units:
                self.end_and_look(number, kind, display, units)

    def end_and_look(self, number, kind, display, units):
        with subprocess.Popen([PROGRAM, "--no-prepare", "--plain", "--kind", kind], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, preexec_fn=as_at_a_prompt,
                              env=os.environ | {"FWSTATUS_UNITS": units}) as process:
            end = time.monotonic() + 30
            while "qemu-system-arm" not in dict(below := descendants(process.pid)).values():
                self.assertLess(time.monotonic(), end, f"started: {below}")
                time.sleep(0.1)
            self.assertIn(display, dict(below).values())
            self.assertEqual(len(os.listdir(units)), int(display == "lcd_display"))  # its unit root
            process.send_signal(number)
            process.wait(20)
        end = time.monotonic() + 10
        while not all(gone(child) for child, _ in below) or os.listdir(units):
            self.assertLess(time.monotonic(), end, f"after signal {number}: {below}, {os.listdir(units)}")
            time.sleep(0.1)

    @unittest.skipIf(os.getuid() != 0, "makes an image")
    def test_nothing_stays_of_an_image_half_made(self):
        for number in signal.SIGKILL, signal.SIGTERM, signal.SIGHUP, signal.SIGINT:
            with self.subTest(signal=number), tempfile.TemporaryDirectory() as folder:
                self.end_while_packages_are_fetched(number, pathlib.Path(folder))

    def end_while_packages_are_fetched(self, number, tree):
        """In a tree where fetching begins with a process in a session of its own, and does not end."""
        (tree / "scripts").mkdir()
        shutil.copy(PROGRAM, tree / "scripts")
        shutil.copytree(TREE / "sim" / "virtual", tree / "sim" / "virtual")
        (tree / "sim" / "virtual" / "prepare").write_text('#!/bin/sh\n"${0%/*}/make_base" "$1"\ntrue\n')
        fetching = tree / "mmdebstrap"
        fetching.write_text(f'#!/bin/sh\nmkdir {tree}/out/virtual-unit/root\nsetsid sleep 1000 &\nsleep 1000\n')
        fetching.chmod(0o755)
        with subprocess.Popen([tree / "scripts" / "virtual-unit", "--plain"], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, preexec_fn=as_at_a_prompt,
                              env=os.environ | {"PATH": f"{tree}:{os.environ['PATH']}"}) as process:
            end, root, below = time.monotonic() + 30, tree / "out" / "virtual-unit" / "root", []
            while sum(name == "sleep" for _, name in below) < 2 or not root.exists():
                self.assertLess(time.monotonic(), end, f"started: {below}")
                time.sleep(0.1)
                below = descendants(process.pid)
            process.send_signal(number)
            process.wait(20)
        end = time.monotonic() + 15
        while not all(gone(child) for child, _ in below) or root.exists():
            self.assertLess(time.monotonic(), end, f"after signal {number}: {below}, {list(root.parent.iterdir())}")
            time.sleep(0.1)

    @unittest.skipIf(os.getuid() != 0, "changes its user")
    def test_an_image_without_root(self):
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o777)
            result = subprocess.run(["setpriv", "--reuid", "65534", TREE / "sim" / "virtual" / "make_base", folder],
                                    capture_output=True, text=True)
        self.assert_told(result, "making the image takes root")

    @unittest.skipIf(os.getuid() != 0, "mounts")
    def test_an_image_without_space(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.check_call(["mount", "-t", "tmpfs", "-o", "size=1M", "tmpfs", folder])
            try:
                results = [subprocess.run([TREE / "sim" / "virtual" / program, folder], capture_output=True, text=True)
                           for program in ("prepare", "make_base")]
            finally:
                subprocess.check_call(["umount", folder])
        for result in results:
            self.assert_told(result, "less than 1 GB of disk is free")


if __name__ == "__main__":
    unittest.main()
