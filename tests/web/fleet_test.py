#!/usr/bin/env python3
"""One push to fifty simulated units with web servers of their own, of which ten have each a different fault."""
import collections
import json
import os
import re
import subprocess
import tempfile
import time
import unittest

from harness import program

FAULTS = {  # and the right verdict
    "web-busy": "busy", "web-unsupported": "unsupported_hardware", "web-no-page": "not_found", "web-no-answer": "lost",
    "web-server-dies": "lost", "web-foreign": "refused", "update-fails": "error", "power-fails": "lost",
    "never-returns": "lost", "hostile-detail": "complete",
}
UNITS = 50


class Fleet(unittest.TestCase):
    def setUp(self):
        self.processes = []
        self.addCleanup(self.end_units)

    def end_units(self):
        for process in self.processes:
            process.terminate()
        for process in self.processes:
            process.communicate()

    def start_unit(self, fault):
        options = ["--fault", fault] if fault else []
        process = subprocess.Popen([program("unit_sim"), "--web", "--plain", "--unit", "container", "--flash-rate",
                                    "40", *options], stdout=subprocess.PIPE, text=True)
        self.processes.append(process)
        return re.search(r"http://[0-9.:]+", process.stdout.readline()).group(0)

    def test_every_unit_gets_the_right_verdict(self):
        bad = iter(FAULTS)
        faults = [next(bad) if i % (UNITS // len(FAULTS)) == 2 else None for i in range(UNITS)]
        begun = time.monotonic()
        units = {self.start_unit(fault): fault for fault in faults}
        started = time.monotonic()
        with tempfile.NamedTemporaryFile() as image:
            image.write(os.urandom(400_000))
            image.flush()
            run = subprocess.run([program("fwpush"), "--json", "--await-return", "--timeout", "20", image.name, *units],
                                 capture_output=True, text=True, timeout=300)
        events = [json.loads(line) for line in run.stdout.splitlines()]
        outcomes = {event["unit"]: event for event in events if event["event"] == "outcome"}
        print(f"{UNITS} units started in {started - begun:.0f} s, pushed to in {time.monotonic() - started:.0f} s:",
              dict(collections.Counter(event["outcome"] for event in outcomes.values())))
        wrong = {fault: (event["outcome"], event["reason"]) for unit, fault in units.items()
                 if (event := outcomes[unit])["outcome"] != FAULTS.get(fault, "complete")}
        self.assertEqual(wrong, {})
        self.assertEqual(len(outcomes), UNITS)
        self.assertEqual(run.returncode, 1)


if __name__ == "__main__":
    unittest.main()
