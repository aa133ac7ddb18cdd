"""Debian's Prometheus, as packaging/prometheus sets it up, watching twenty units through fwstatus-exporter."""

import json
import pathlib
import re
import subprocess
import tempfile
import time
import unittest
import urllib.parse

import harness
from harness import fetch, wait_for

packaged = harness.tree / "packaging/prometheus"

def promtool(*words, cwd=None):
    return subprocess.run(["promtool", *words], capture_output=True, text=True, cwd=cwd, check=False)


class rules_test(unittest.TestCase):
    def test_promtool_finds_settings_and_rules_good(self):
        self.assertEqual(promtool("check", "rules", "--lint-fatal", str(packaged / "fwstatus.rules.yml")).returncode, 0)
        self.assertEqual(promtool("check", "config", "--lint-fatal", str(packaged / "prometheus.yml")).returncode, 0)

    def test_the_alerts_with_their_own_durations(self):
        with tempfile.TemporaryDirectory() as directory:
            for file in (packaged / "fwstatus.rules.yml", pathlib.Path(__file__).with_name("rules_test.yml")):
                (pathlib.Path(directory) / file.name).write_text(file.read_text())
            result = promtool("test", "rules", "rules_test.yml", cwd=directory)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)


class prometheus_t:
    """Asks every second, and takes the rules' minutes for seconds."""

    def __init__(self, directory, exporter, targets):
        self.url = f"http://127.0.0.1:{harness.free_port()}"
        settings = (packaged / "prometheus.yml").read_text()
        settings = settings.replace("interval: 10s", "interval: 1s").replace("127.0.0.1:9717", exporter)
        listed = re.search(r"( +- targets:\n)( +- [\w.-]+\n)+", settings)
        settings = settings.replace(listed.group(0), listed.group(1) + "".join(f"          - {one}\n" for one in targets))
        rules = (packaged / "fwstatus.rules.yml").read_text()
        rules = re.sub(r"\b(\d+)m\b", r"\1s", rules)
        for name, text in (("prometheus.yml", settings), ("fwstatus.rules.yml", rules)):
            (pathlib.Path(directory) / name).write_text(text)
        self.process = harness.process_t("/usr/bin/prometheus", f"--config.file={directory}/prometheus.yml",
                                         f"--storage.tsdb.path={directory}/data",
                                         "--web.listen-address=" + self.url.removeprefix("http://"))

        def ready():
            try:
                return fetch(self.url + "/-/ready")[0] == 200
            except OSError:
                return False
        wait_for(ready, 30)

    def ask(self, what):
        return json.loads(fetch(f"{self.url}/api/v1/{what}")[2])["data"]

    def query(self, expression):
        """Instance to value."""
        result = self.ask("query?query=" + urllib.parse.quote(expression))["result"]
        return {one["metric"].get("instance", ""): float(one["value"][1]) for one in result}

    def firing(self):
        return {(one["labels"]["alertname"], one["labels"]["instance"]) for one in self.ask("alerts")["alerts"]
                if one["state"] == "firing"}


class prometheus_test(unittest.TestCase):
    def test_twenty_units_of_which_one_is_stuck_one_failed_and_one_is_lost(self):
        faults = ["update-stands-still", "update-fails", "never-returns"] + [None] * 17
        units = [harness.web_unit_t(fault) for fault in faults]
        for unit in units:
            self.addCleanup(unit.stop)
        targets = [unit.address() for unit in units]
        exporter = harness.process_t(harness.program("fwstatus-exporter"), "--listen", "127.0.0.1:0", "--allow",
                                     "127.0.0.0/8:*")
        address = wait_for(lambda: re.search(r"listening on (\S+),", exporter.output())).group(1)
        directory = tempfile.TemporaryDirectory(prefix="fwweb.")
        self.addCleanup(directory.cleanup)
        prometheus = prometheus_t(directory.name, address, targets)
        self.addCleanup(prometheus.process.stop)
        wait_for(lambda: len(prometheus.query("fwstatus_up == 1")) == 20, 60, 0.5)

        # The image takes its time, longer than one may stand still: an update that goes on is left alone.
        pushing = harness.push(400, *targets[:10])
        self.addCleanup(pushing.stop)
        expected = {("FwstatusUpdateStandsStill", targets[0]), ("FwstatusUpdateFailed", targets[1]),
                    ("FwstatusUnitDidNotComeBack", targets[2])}
        seen = set()

        def all_fire():
            seen.update(prometheus.firing())
            return expected <= seen
        wait_for(all_fire, 90, 0.5)
        self.assertIn(targets[0], prometheus.query("fwstatus_update_progress_ratio <= 0.4 > 0.3"))
        updated = prometheus.query('max_over_time(fwstatus_update_state{state="complete"}[2m]) == 1')
        self.assertEqual(set(updated), set(targets[2:10]))

        # One that is switched off while it is idle is nobody's alarm.
        units[19].stop()
        wait_for(lambda: set(prometheus.query("fwstatus_up == 0")) == {targets[2], targets[19]}, 20, 0.5)
        time.sleep(12)
        self.assertEqual(prometheus.firing() | seen, expected)

        exporter.stop()
        wait_for(lambda: {("FwstatusProbeFails", target) for target in targets} <= prometheus.firing(), 30, 0.5)


if __name__ == "__main__":
    unittest.main(verbosity=2)
