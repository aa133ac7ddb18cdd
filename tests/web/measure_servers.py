"""Reads the status file during an update through web servers and counts the answers that are of no use.

measure_servers.py [SECONDS]: curl reads 20 times a second for so many seconds (60) through each of four servers at the
same time: nginx and lighttpd, as Debian sets them up and as packaging/web does; with the file on a disk's file system
(/var/tmp) and then in memory (/dev/shm).
"""

import pathlib
import re
import subprocess
import sys
import tempfile

import harness

reads_a_second = 20
update = "".join(f"{at:.1f} state {state}\n{at:.1f} detail {state}, part of the update\n{at:.1f}-{at + 2.8:.1f} progress 0-100\n"
                 for at, state in ((0, "fw_write"), (3, "fpga_write"))) + "6 end\n"
debians = {"nginx": "sendfile on;\ntcp_nopush on;\nroot /usr/zel/www;\ndefault_type text/xml;\n",
           "lighttpd": 'server.document-root = "/usr/zel/www"\nmimetype.assign = ( "" => "text/xml" )\n'}
head = re.compile(rb"<state>\w+</state>\s*<progress>-?\d+</progress>\s*$")


def start_reading(server, seconds, directory):
    return subprocess.Popen(
        ["/usr/bin/curl", "--silent", "--rate", f"{reads_a_second}/s", "--max-time", "5",
         "--output", f"{directory}/#1", "--write-out", "%{urlnum} %{exitcode} %{http_code}\n",
         f"{server.url}/fw_status.xml?[1-{reads_a_second * seconds}]"], stdout=subprocess.PIPE, text=True)


def count(reader, directory):
    """Reads, and of these the empty ones, the cut off ones and the aborted ones, and the readable ones of the last two."""
    result = dict.fromkeys(("reads", "empty", "short", "aborted", "readable"), 0)
    for number, line in enumerate(reader.communicate()[0].splitlines(), 1):
        _, fault, status = line.split()
        file = pathlib.Path(directory) / str(number)
        text = file.read_bytes() if file.exists() else b""
        result["reads"] += 1
        if fault == "0" and status == "200" and text.endswith(b"</status>\r\n"):
            continue
        result["aborted" if fault != "0" else "short" if text else "empty"] += 1
        before, found, _ = text.partition(b"<detail>")
        result["readable"] += bool(found and head.search(before))
    return result


def main():
    seconds = int(sys.argv[1]) if len(sys.argv) > 1 else 60
    print(f"{reads_a_second} reads a second for {seconds} s")
    print(f"{'file':8} {'server':9} {'set up by':14} {'reads':>6} {'empty':>6} {'short':>6} {'aborted':>8} {'useless':>8}")
    for place, directory in (("disk", "/var/tmp"), ("memory", "/dev/shm")):
        unit = harness.unit_t(update, directory)
        servers = [(kind, name, harness.server_t(kind, unit.www, settings)) for kind in ("nginx", "lighttpd")
                   for name, settings in (("Debian", debians[kind]), ("packaging/web", None))]
        with tempfile.TemporaryDirectory(dir="/dev/shm", prefix="fwweb.") as answers:
            folders = [pathlib.Path(answers) / str(i) for i in range(len(servers))]
            for folder in folders:
                folder.mkdir()
            readers = [start_reading(server, seconds, folder) for (_, _, server), folder in zip(servers, folders)]
            for (kind, name, _), reader, folder in zip(servers, readers, folders):
                found = count(reader, folder)
                bad = found["empty"] + found["short"] + found["aborted"]
                print(f"{place:8} {kind:9} {name:14} {found['reads']:6} {found['empty']:6} {found['short']:6} "
                      f"{found['aborted']:8} {100 * bad / max(found['reads'], 1):7.1f}%")
        for _, _, server in servers:
            server.stop()
        unit.stop()


if __name__ == "__main__":
    main()
