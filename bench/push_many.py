#!/usr/bin/env python3
"""fwpush beside curl, in turns, on the same addresses of one lighttpd.

usage: bench/push_many.py [--units N] [--seconds S] [--turns N] [--sending-only] [--image-mib N]

Watching: processor time of one poll and resident memory of `fwpush --watch`, beside `curl --parallel` on the same
addresses once a second. Sending: how long one image takes to eight units, beside eight curls at once.
"""
import argparse
import json
import os
import pathlib
import resource
import signal
import statistics
import subprocess
import tempfile
import time

tree = pathlib.Path(__file__).resolve().parents[1]
FWPUSH = str(tree / "build/release/tools/fwpush/fwpush")
PORT = 18080
STATUS = "<status>\r\n  <state>{}</state>\r\n  <progress>0</progress>\r\n  <detail></detail>\r\n</status>\r\n"
CONFIGURATION = """
server.modules = ( "mod_cgi", "mod_accesslog" )
server.bind = "0.0.0.0"
server.port = {port}
server.document-root = "{root}"
server.errorlog = "{root}/error.log"
server.max-fds = 8192
server.max-connections = 4096
server.max-keep-alive-requests = 100000
server.stream-request-body = 2
accesslog.filename = "{root}/access.log"
mimetype.assign = ( ".xml" => "text/xml" )
$HTTP["url"] =~ "^/cgi-bin/" {{ cgi.assign = ( "" => "/bin/sh" ) }}
"""


def time_of(process):
    """Processor time in seconds and resident memory in MB of a process that is waited for."""
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


class Server:
    def __init__(self, root):
        self.root = pathlib.Path(root)
        (self.root / "cgi-bin").mkdir()
        (self.root / "cgi-bin/fw_upload").write_text("cat >/dev/null; printf 'Content-Type: text/plain\\r\\n\\r\\nStarted\\n'")
        (self.root / "cgi-bin/hw_config").write_text("printf 'Content-Type: text/plain\\r\\n\\r\\n4\\n'")
        (self.root / "lighttpd.conf").write_text(CONFIGURATION.format(root=root, port=PORT))
        self.show("idle")
        limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
        resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit))
        self.process = subprocess.Popen(["/usr/sbin/lighttpd", "-D", "-f", self.root / "lighttpd.conf"])
        time.sleep(1)

    def show(self, state):
        (self.root / "fw_status.xml").write_text(STATUS.format(state))

    def polls(self):
        os.kill(self.process.pid, signal.SIGHUP)  # it keeps its log in a buffer
        time.sleep(0.3)
        return sum(1 for line in open(self.root / "access.log") if "fw_status.xml" in line)


def watch_with_fwpush(server, units, seconds):
    listed = server.root / "units"
    listed.write_text("\n".join(units))
    before = server.polls()
    process = subprocess.Popen([FWPUSH, "--watch", "--no-progress", "--units", listed], stdout=subprocess.DEVNULL)
    time.sleep(seconds)
    process.send_signal(signal.SIGINT)
    used, memory = time_of(process)
    return used / max(server.polls() - before, 1) * 1e6, memory


def watch_with_curl(server, units, seconds):
    listed = server.root / "curlrc"
    listed.write_text("".join(f'url = "http://{unit}/fw_status.xml"\noutput = "/dev/null"\n' for unit in units))
    before = server.polls()
    used = memory = 0
    for _ in range(seconds):
        begun = time.monotonic()
        process = subprocess.Popen(["curl", "--parallel", "-s", "-K", listed], stderr=subprocess.DEVNULL)
        mine, peak = time_of(process)
        used, memory = used + mine, max(memory, peak)
        time.sleep(max(0, begun + 1 - time.monotonic()))
    return used / max(server.polls() - before, 1) * 1e6, memory


def send_with_fwpush(image, units):
    """Seconds from the first byte sent to the last unit's answer, and of the whole command."""
    begun = time.monotonic()
    process = subprocess.Popen([FWPUSH, "--json", "--force", "--grace", "0", image, *units], stdout=subprocess.PIPE, text=True)
    first = last = None
    for line in process.stdout:
        event, now = json.loads(line), time.monotonic()
        if event["stage"] == "uploading":
            first = first or now
        if event["event"] == "outcome":
            last = now  # one look at the status file after the unit's answer
    whole = time.monotonic() - begun
    return last - first, whole, time_of(process)[0]


def send_with_curl(image, units):
    begun = time.monotonic()
    curls = [subprocess.Popen(["curl", "-s", "-X", "POST", "-T", image, f"http://{unit}/cgi-bin/fw_upload"],
                              stdout=subprocess.DEVNULL) for unit in units]
    used = sum(time_of(curl)[0] for curl in curls)
    return time.monotonic() - begun, used


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--units", type=int, default=1000)
    parser.add_argument("--seconds", type=int, default=15)
    parser.add_argument("--turns", type=int, default=3)
    parser.add_argument("--sending-only", action="store_true")
    parser.add_argument("--image-mib", type=int, default=64)
    options = parser.parse_args()
    units = [f"127.1.{i // 250}.{i % 250 + 1}:{PORT}" for i in range(options.units)]
    with tempfile.TemporaryDirectory(dir="/dev/shm") as root:
        server = Server(root)
        try:
            ratios = []
            for _ in range(0 if options.sending_only else options.turns):
                ours, memory = watch_with_fwpush(server, units, options.seconds)
                curls, curl_memory = watch_with_curl(server, units, options.seconds)
                ratios.append(ours / curls)
                print(f"watching {options.units}: fwpush {ours:.1f} us a poll, {memory:.1f} MB; "
                      f"curl {curls:.1f} us, {curl_memory:.1f} MB; ratio {ratios[-1]:.2f}", flush=True)
            if ratios:
                print(f"watching: median ratio of processor time {statistics.median(ratios):.2f}", flush=True)
            image = os.path.join(root, "image")
            with open(image, "wb") as file:
                for _ in range(options.image_mib):
                    file.write(os.urandom(1 << 20))
            server.show("complete")
            ratios = []
            for _ in range(options.turns):
                ours, whole, used = send_with_fwpush(image, units[:8])
                curls, curl_used = send_with_curl(image, units[:8])
                ratios.append(curls / ours)
                print(f"sending {options.image_mib} MiB to 8: fwpush {ours:.2f} s ({whole:.2f} s with hash and watch), "
                      f"{used:.2f} s of processor; curls {curls:.2f} s, {curl_used:.2f} s of processor; "
                      f"throughput {ratios[-1]:.2f}", flush=True)
            print(f"sending: median ratio of throughput {statistics.median(ratios):.2f}")
        finally:
            server.process.kill()
            server.process.wait()


if __name__ == "__main__":
    main()
