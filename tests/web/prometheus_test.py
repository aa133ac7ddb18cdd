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

update = ("0 state initializing\n0.5 state fw_write\n0.5-4 progress 0-100\n4 state fpga_write\n4-7 progress 0-100\n"
          "7 state complete\n7.5 state idle\n9 end\n")
stuck = "0 state fw_write\n0-1 progress 0-42\n86400 end\n"
failed = "0 state fw_write\n0-1 progress 0-17\n2 state error\n86400 end\n"
idle = "0 state idle\n86400 end\n"


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
        scenarios = [stuck, failed] + [update] * 8 + [idle] * 10
        units = [harness.unit_t(scenario) for scenario in scenarios]
        servers = [harness.server_t("lighttpd", unit.www) for unit in units]
        targets = [f"127.0.0.1:{server.port}" for server in servers]
        exporter = harness.process_t(harness.program("fwstatus-exporter"), "--listen", "127.0.0.1:0", "--allow",
                                     "127.0.0.0/8:*")
        address = wait_for(lambda: re.search(r"listening on (\S+),", exporter.output())).group(1)
        directory = tempfile.TemporaryDirectory(prefix="fwweb.")
        self.addCleanup(directory.cleanup)
        prometheus = prometheus_t(directory.name, address, targets)
        self.addCleanup(prometheus.process.stop)
        wait_for(lambda: len(prometheus.query("fwstatus_up == 1")) == 20, 30, 0.5)

        standing = ("FwstatusUpdateStandsStill", targets[0])
        expected = {standing, ("FwstatusUpdateFailed", targets[1])}
        wait_for(lambda: prometheus.firing() == expected, 40, 0.5)
        self.assertEqual(prometheus.query("fwstatus_update_progress_ratio == 0.42"), {targets[0]: 0.42})
        # An update that goes on for longer than a stuck one may stand still is left alone.
        time.sleep(6)
        self.assertEqual(prometheus.firing(), expected)

        # One goes away in the middle of its update, another one while it is idle.
        wait_for(lambda: b"fw_write" in units[2].file.read_bytes(), 12)
        wait_for(lambda: prometheus.query(f'fwstatus_update_state{{state="fw_write", instance="{targets[2]}"}} == 1'), 12)
        servers[2].stop()
        servers[19].stop()
        expected.add(("FwstatusUnitDidNotComeBack", targets[2]))
        wait_for(lambda: prometheus.firing() == expected, 40, 0.5)
        self.assertEqual(set(prometheus.query("fwstatus_up == 0")), {targets[2], targets[19]})
        servers[2].start()
        expected.remove(("FwstatusUnitDidNotComeBack", targets[2]))
        wait_for(lambda: prometheus.firing() == expected, 20, 0.5)

        exporter.stop()
        wait_for(lambda: {("FwstatusProbeFails", target) for target in targets} <= prometheus.firing(), 30, 0.5)


if __name__ == "__main__":
    unittest.main(verbosity=2)
