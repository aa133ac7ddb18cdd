"""Asks fwstatus-exporter as fast as it answers and prints probes a second and what one costs.

measure_exporter.py [SECONDS]: for so many seconds (10) each with 1, 8 and 32 askers, of units that are ten ports of one
nginx on this machine.
"""

import http.client
import os
import pathlib
import re
import sys
import threading
import time

import harness


def ask(address, targets, until, count):
    number = 0
    while time.monotonic() < until:
        connection = http.client.HTTPConnection(address, timeout=10)
        connection.request("GET", "/probe?target=" + targets[number % len(targets)])
        if b"\nfwstatus_up 1\n" not in connection.getresponse().read():
            sys.exit("a probe failed")
        connection.close()
        number += 1
    count.append(number)


def processor_seconds(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def main():
    seconds = int(sys.argv[1]) if len(sys.argv) > 1 else 10
    unit = harness.unit_t()
    ports = [harness.free_port() for _ in range(10)]
    settings = (harness.tree / "packaging/web/fwstatus.nginx").read_text()
    harness.server_t("nginx", unit.www, settings + "".join(f"listen 127.0.0.1:{port};\n" for port in ports))
    exporter = harness.process_t(harness.program("fwstatus-exporter"), "--listen", "127.0.0.1:0", "--allow", "127.0.0.1:*")
    address = harness.wait_for(lambda: re.search(r"listening on (\S+),", exporter.output())).group(1)
    targets = [f"127.0.0.1:{port}" for port in ports]
    for askers in (1, 8, 32):
        counts = []
        spent = processor_seconds(exporter.child.pid)
        begin = time.monotonic()
        threads = [threading.Thread(target=ask, args=(address, targets, begin + seconds, counts)) for _ in range(askers)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        duration = time.monotonic() - begin
        spent = processor_seconds(exporter.child.pid) - spent
        print(f"{askers:3} askers: {sum(counts) / duration:6.0f} probes a second, {1e6 * spent / sum(counts):5.0f} us of "
              f"the exporter's processor time each")
    status = pathlib.Path(f"/proc/{exporter.child.pid}/status").read_text()
    print("at most resident: " + re.search(r"VmHWM:\s*(\d+ kB)", status).group(1))


if __name__ == "__main__":
    main()
