"""Simulated units, real web servers and what else the tests of this folder start."""

import atexit
import ctypes
import http.client
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

tree = pathlib.Path(__file__).resolve().parents[2]
no_proxy = urllib.request.build_opener(urllib.request.ProxyHandler({}))
build = pathlib.Path(os.environ.get("FWSTATUS_BUILD", tree / "build" / "release"))

# A daemon leaves its parent; it shall be a child of this process and no other, to be ended with it.
libc = ctypes.CDLL(None)
libc.prctl(36, 1)  # PR_SET_CHILD_SUBREAPER
signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
# Where the tests run in the background of a shell SIGINT is ignored, and would be by what they start.
signal.signal(signal.SIGINT, signal.default_int_handler)


def program(name):
    found = [path for path in build.rglob(name) if path.is_file() and os.access(path, os.X_OK)]
    if not found:
        sys.exit(f"{name} is not below {build}: build it first")
    return str(max(found, key=lambda path: path.stat().st_mtime))


def takes(server):
    """For a test that is left out where that web server is not installed."""
    return unittest.skipUnless(os.access(f"/usr/sbin/{server}", os.X_OK), f"{server} is not installed")


def wait_for(what, seconds=10.0, every=0.02):
    """What `what` returns as soon as that is true. An AssertionError when it never is."""
    deadline = time.monotonic() + seconds
    while True:
        result = what()
        if result:
            return result
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {getattr(what, '__doc__', None) or what}")
        time.sleep(every)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def fetch(url, headers=None, seconds=10):
    """Status, headers and bytes of an answer; fewer than it promised when its file was just being rewritten."""
    request = urllib.request.Request(url, headers=headers or {})
    try:
        with no_proxy.open(request, timeout=seconds) as answer:
            try:
                content = answer.read()
            except http.client.IncompleteRead as cut:
                content = cut.partial
            return answer.status, answer.headers, content
    except urllib.error.HTTPError as error:
        return error.code, error.headers, error.read()


def guard(process, directory):
    """A process that waits until this one ends, however that is, or until its input is closed: then it ends another
    (a process, or with a minus a group) and removes a directory."""
    return subprocess.Popen(["/bin/sh", "-c", 'read _; kill -9 "$0"; rm -rf "$1"', str(process), str(directory)],
                            stdin=subprocess.PIPE, stderr=subprocess.DEVNULL, start_new_session=True)


class process_t:
    """A program that ends with the thread that started it, however that ends."""

    def __init__(self, *command, env=None):
        self.log = tempfile.NamedTemporaryFile(prefix="fwweb.", suffix=".log", mode="w+")
        self.child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log,
                                      env={**os.environ, **(env or {})},
                                      preexec_fn=lambda: libc.prctl(1, signal.SIGTERM))  # PR_SET_PDEATHSIG
        atexit.register(self.stop)

    def output(self):
        with open(self.log.name, errors="replace") as log:
            return log.read()

    def stop(self, how=signal.SIGTERM):
        if self.child.poll() is None:
            self.child.send_signal(how)
            try:
                self.child.wait(5)
            except subprocess.TimeoutExpired:
                self.child.kill()
                self.child.wait()


class unit_t:
    """A unit with the real daemon below a directory of its own. `scenario` is a scenario's text, over and over;
    without one the unit stays as `set` makes it."""

    def __init__(self, scenario="0 state idle\n86400 end\n", directory="/dev/shm"):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="fwweb.", dir=directory))
        atexit.register(self.stop)
        self.www = self.root / "usr/zel/www"
        self.file = self.www / "fw_status.xml"
        self.www.mkdir(parents=True)
        (self.root / "tmp").mkdir()
        shutil.copy(tree / "web" / "fw_status.html", self.www)
        script = self.root / "test.scenario"
        script.write_text(f"# A test's.\n{scenario}")
        self.env = {"FWSTATUS_UNIT_ROOT": str(self.root)}
        self.engine = process_t(program("unit_sim"), "--serve", "--unit", "container", "--scenario", str(script),
                                env=self.env)
        wait_for(lambda: (self.root / "tmp/.korv_ipc").exists())
        before = set(_children())
        subprocess.run([program("fwstatus-sim")], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, env={**os.environ, **self.env})
        self.daemon = wait_for(lambda: next(iter(_children() - before), 0))
        self.guard = guard(self.daemon, self.root)
        wait_for(lambda: self.file.exists())

    def set(self, **properties):
        """State, progress or detail; text, or bytes for what is no text."""
        for name, value in properties.items():
            subprocess.run([program("propctl-sim"), "set", "/sys/fw_status/" + name, value], check=True,
                           env={**os.environ, **self.env})

    def write_by_hand(self, content):
        """Freezes the daemon and puts something else into its file. None removes it."""
        os.kill(self.daemon, signal.SIGSTOP)
        time.sleep(0.02)
        if content is None:
            self.file.unlink()
        else:
            self.file.write_bytes(content)

    def go_on(self):
        os.kill(self.daemon, signal.SIGCONT)

    def stop(self):
        if getattr(self, "guard", None):
            self.guard.communicate()
            os.waitpid(self.daemon, 0)
            self.guard = None
        if hasattr(self, "engine"):
            self.engine.stop()
        shutil.rmtree(self.root, ignore_errors=True)


class web_unit_t:
    """A unit that takes images over its own web server, with or without one of the simulator's faults."""

    def __init__(self, fault=None, kilobytes_a_second=40, port=None):
        options = ["--fault", fault] if fault else []
        self.process = process_t(program("unit_sim"), f"--web={port}" if port else "--web", "--plain", "--unit", "container", "--flash-rate",
                                 str(kilobytes_a_second), *options)

    def address(self):
        """Host and port, as soon as the unit answers."""
        return wait_for(lambda: re.search(r"http://([0-9.:]+)", self.process.output()), 30).group(1)

    def stop(self):
        self.process.stop()


def push(kilobytes, *addresses):
    """fwpush on its way to units with an image of that size."""
    image = tempfile.NamedTemporaryFile(prefix="fwweb.")
    image.write(os.urandom(1000 * kilobytes))
    image.flush()
    pushing = process_t(program("fwpush"), "--json", "--await-return", image.name, *addresses)
    pushing.image = image  # stays until then
    return pushing


def _children():
    me = os.getpid()
    return {int(pid) for pid in pathlib.Path(f"/proc/{me}/task/{me}/children").read_text().split()}


class server_t:
    """A web server in front of units' directories, one port each, as packaging/web sets it up. Other
    `settings` stand in for that file's text; "/usr/zel/www" in them becomes the unit's."""

    kinds = ("lighttpd", "nginx")

    def __init__(self, kind, www, settings=None):
        self.kind = kind
        self.port = free_port()
        self.url = f"http://127.0.0.1:{self.port}"
        self.directory = tempfile.TemporaryDirectory(prefix="fwweb.")
        atexit.register(self.directory.cleanup)
        if settings is None:
            settings = (tree / "packaging/web" / f"fwstatus.{kind}").read_text()
        text = settings.replace("/usr/zel/www", str(www))
        self.settings = pathlib.Path(self.directory.name) / "server.conf"
        self.settings.write_text(self._lighttpd(text) if kind == "lighttpd" else self._nginx(text))
        self.start()

    def _lighttpd(self, text):
        if not text.startswith("server.document-root"):
            text = f'server.document-root = "{self.directory.name}"\n{text}'
        return f'server.bind = "127.0.0.1"\nserver.port = {self.port}\nserver.modules = ( )\n{text}\n'

    def _nginx(self, text):
        own = self.directory.name
        paths = "".join(f"{what}_temp_path {own}/{what};\n"
                        for what in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        return (f"daemon off;\nmaster_process off;\npid {own}/pid;\nerror_log stderr;\nevents {{ }}\n"
                f"http {{\n{paths}access_log off;\nserver {{\nlisten 127.0.0.1:{self.port};\n{text}\n}}\n}}\n")

    def start(self):
        command = {"lighttpd": ["/usr/sbin/lighttpd", "-D", "-f"],
                   "nginx": ["/usr/sbin/nginx", "-e", "stderr", "-p", self.directory.name, "-c"]}[self.kind]
        self.process = process_t(*command, str(self.settings))

        def answers():
            if self.process.child.poll() is not None:
                raise AssertionError(self.process.output())
            try:
                fetch(self.url + "/nothing")
                return True
            except OSError:
                return False
        wait_for(answers)

    def stop(self):
        self.process.stop(signal.SIGKILL)
