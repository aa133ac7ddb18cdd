"""The status page in a real browser, in front of the real daemon and a real web server."""

import json
import re
import socket
import subprocess
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

import harness
from harness import wait_for

xml = b"<status>\r\n<state>%b</state>\r\n<progress>%b</progress>\r\n<detail>%b</detail>\r\n</status>\r\n"


class browser_t(webdriver.Chrome):
    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(prefix="fwweb.")
        options = Options()
        for flag in ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--disable-dev-shm-usage", "--user-data-dir=" + self.profile.name):
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        # A group of their own, to be ended together.
        service = Service("/usr/bin/chromedriver", popen_kw={"start_new_session": True})
        super().__init__(service=service, options=options)
        self.guard = harness.guard(-service.process.pid, self.profile.name)

    def quit(self):
        super().quit()
        self.guard.communicate()

    def text(self, name):
        return self.execute_script("return document.getElementById(arguments[0]).textContent", name)

    def visible(self, name):
        return self.execute_script("return document.getElementById(arguments[0]).offsetParent !== null", name)

    def spoken(self, role):
        """What a screen reader is told of the element with that role; None when it is told nothing."""
        nodes = self.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        for node in nodes:
            if not node["ignored"] and node["role"]["value"] == role:
                told = {entry["name"]: entry["value"].get("value") for entry in node.get("properties", [])}
                return {"name": node["name"]["value"], "value": node.get("value", {}).get("value"), **told}
        return None


class browser_test(unittest.TestCase):
    browser = None

    @classmethod
    def setUpClass(cls):
        cls.browser = browser_t()
        cls.addClassCleanup(cls.browser.quit)


class pushed_update_test(browser_test):
    """A unit with everything of its own, an image that goes there over HTTP, and what is seen meanwhile."""

    def follow(self, fault=None, until=None):
        """Pushes an image and returns what was seen until `until` of it is true, without repetitions."""
        unit = harness.web_unit_t(fault)
        self.addCleanup(unit.stop)
        self.browser.get(f"http://{unit.address()}/fw_status.html")
        wait_for(lambda: self.browser.text("state") == "Idle")
        # Ten seconds of writing, of which the shortest state takes two and a half: the page asks once a second.
        self.pushing = harness.push(400, unit.address())
        self.addCleanup(self.pushing.stop)
        seen = []

        def look():
            now = self.browser.execute_script(
                "const text = id => document.getElementById(id).textContent;"
                "return {state: text('state'), percent: text('percent'), detail: text('detail'), reason: text('reason'),"
                "        title: document.title, value: document.getElementById('bar').ariaValueNow,"
                "        odd: [window.hit || 0, document.getElementById('detail').childElementCount]}")
            if not seen or seen[-1] != now:
                seen.append(now)
            return until(seen)
        wait_for(look, 40, 0.1)
        return seen

    def check_progress(self, seen):
        """Every state in its order, the percentage never backwards, the same in title and bar."""
        states = [now["state"] for now in seen]
        states = [state for i, state in enumerate(states) if i == 0 or state != states[i - 1]]
        self.assertEqual([state for state in states if state != "Initializing"],
                         ["Idle", "Writing Firmware", "Writing FPGA", "Finished. Rebooting\u2026", "Idle"])
        writing = [now for now in seen if now["state"].startswith("Writing") and not now["reason"]]
        for now in writing:
            self.assertEqual((now["percent"], now["title"]),
                             (now["value"] + " %", f"{now['value']} % {now['state']} \u2013 127.0.0.1"))
        values = [int(now["value"]) for now in writing]
        self.assertEqual(values, sorted(values))
        self.assertGreaterEqual(len(set(values)), 4)

    @staticmethod
    def came_back(seen):
        return seen[-1]["state"] == "Idle" and any(now["state"].startswith("Finished") for now in seen)

    def test_is_followed_from_start_to_end(self):
        seen = self.follow(until=self.came_back)
        self.check_progress(seen)
        self.assertTrue(any(re.fullmatch(r"Block \d of 9", now["detail"]) for now in seen))
        self.assertEqual(self.pushing.child.wait(20), 0)

    def test_is_followed_whatever_its_detail_is(self):
        seen = self.follow("hostile-detail", self.came_back)
        self.check_progress(seen)
        self.assertTrue(any("<state>" in now["detail"] for now in seen))
        self.assertEqual([now for now in seen if now["odd"] != [0, 0]], [])

    def test_a_unit_without_power_is_missed_and_one_in_its_reboot_is_waited_for(self):
        seen = self.follow("power-fails", lambda seen: seen[-1]["reason"])
        self.assertEqual(seen[-1]["reason"], "The unit does not answer.")
        self.assertRegex(seen[-1]["title"], r"^No answer \u2013 [3-6]\d % Writing Firmware")
        seen = self.follow("never-returns", lambda seen: seen[-1]["reason"])
        self.assertEqual(seen[-1]["reason"], "The unit is probably restarting. The unit does not answer.")


class page_test(browser_test):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.unit = harness.unit_t()
        cls.server = harness.server_t("lighttpd", cls.unit.www)

    def setUp(self):
        self.unit.set(state="idle", progress="-1", detail="")
        self.open()

    def open(self):
        self.browser.get(self.server.url + "/fw_status.html")

    def shows(self, seconds=4.0, **expected):
        """Waits until elements hold these texts."""
        def seen():
            return {name: self.browser.text(name) for name in expected}
        try:
            wait_for(lambda: seen() == expected, seconds)
        except AssertionError:
            self.assertEqual(seen(), expected)

    def test_an_update_from_start_to_end(self):
        title = lambda: self.browser.title
        self.shows(state="Idle", percent="", detail="")
        self.assertFalse(self.browser.visible("bar"))
        self.unit.set(detail="Checking the image", state="initializing")
        self.shows(state="Initializing", percent="", detail="Checking the image")
        self.assertIsNone(self.browser.execute_script("return document.getElementById('bar').ariaValueNow"))
        for state, progress, shown in (("fw_write", 0, "Writing Firmware"), ("fw_write", 37, "Writing Firmware"),
                                       ("fpga_write", 99, "Writing FPGA"),
                                       ("complete", 100, "Finished. Rebooting\u2026")):
            self.unit.set(progress=str(progress), state=state, detail=f"at {progress}")
            self.shows(state=shown, percent=f"{progress} %", detail=f"at {progress}")
            self.assertEqual(title(), f"{progress} % {shown} \u2013 127.0.0.1")
            bar = self.browser.spoken("progressbar") or self.browser.spoken("progressIndicator")
            self.assertEqual((bar["name"], float(bar["value"]), bar["valuemin"], bar["valuemax"]),
                             ("Firmware update", progress, 0, 100))
            wait_for(lambda: abs(self.filled() - progress / 100) < 0.01)
        self.unit.set(state="error", progress="62", detail="Block 5: verify failed")
        self.shows(state="Error", percent="62 %", detail="Block 5: verify failed")
        # The percentage of the last update stays in the file; an idle unit shows none of it.
        self.unit.set(state="idle")
        self.shows(state="Idle", percent="")
        self.assertEqual(title(), "Idle \u2013 127.0.0.1")

    def filled(self):
        return self.browser.execute_script(
            "const width = id => document.getElementById(id).getBoundingClientRect().width;"
            "return width('fill') / document.getElementById('bar').clientWidth")

    def test_a_detail_is_text_and_changes_nothing_else(self):
        cases = {
            "<img src=x onerror='window.hit = 1'><script>window.hit = 1</script>": None,
            "5 < 6 & 7 > 6 &amp; &#65; &unknown; ]]> <!-- <![CDATA[": None,
            "</detail><state>complete</state><progress>100</progress><detail>": None,
            "</detail>\r\n</status>\r\n<status><state>error</state>": None,
            "<detail>inner</detail>": None,
            b"bell \x07 escape \x1b[31m and a byte \xff\xc0": "bell \x07 escape \x1b[31m and a byte \ufffd\ufffd",
            "\u202eright to left, \u0627\u0644\u0639\u0631\u0628\u064a\u0629": None,
            "W" * 60000: None,
        }
        self.unit.set(state="fw_write", progress="37")
        for detail, shown in cases.items():
            with self.subTest(detail=detail[:40]):
                self.unit.set(detail=detail)
                # A text node keeps a carriage return; nothing else becomes of it.
                self.shows(state="Writing Firmware", percent="37 %", detail=shown or detail)
                self.assertEqual(self.browser.title, "37 % Writing Firmware \u2013 127.0.0.1")
                self.assertEqual(self.browser.execute_script(
                    "return [window.hit, document.getElementById('detail').childElementCount]"), [None, 0])
                self.assertFalse(self.wider_than_its_window())

    def test_markup_in_a_detail_runs_nothing_when_the_file_itself_is_opened(self):
        self.unit.set(detail="<script xmlns='http://www.w3.org/1999/xhtml'>document.documentElement"
                             ".setAttribute('hit', 1)</script>")

        def scripts():
            self.browser.get(self.server.url + "/fw_status.xml")
            return self.browser.execute_script("return document.getElementsByTagName('script').length")
        wait_for(lambda: scripts() == 1)  # until the file holds the detail
        self.assertIsNone(self.browser.execute_script("return document.documentElement.getAttribute('hit')"))

    def test_the_last_good_answer_stays_while_answers_are_useless(self):
        self.unit.set(state="fw_write", progress="37", detail="Block 3")
        self.shows(state="Writing Firmware", percent="37 %", detail="Block 3", reason="")
        self.addCleanup(self.unit.go_on)
        useless = {b"": "cannot be read", b"<status><state>fw_write</state><progre": "cannot be read",
                   xml % (b"", b"1", b""): "cannot be read", xml % (b"error", b"many", b""): "cannot be read",
                   xml % (b"error", b"101", b""): "cannot be read",
                   b"<detail>" + xml % (b"error", b"1", b""): "cannot be read", None: "(404)"}
        for content, reason in useless.items():
            with self.subTest(content=content):
                self.unit.write_by_hand(content)
                wait_for(lambda: reason in self.browser.text("reason"), 6)
                self.shows(state="Writing Firmware", percent="37 %", detail="Block 3")
                self.assertTrue(self.browser.title.startswith("No answer \u2013 37 % Writing"))
                self.unit.go_on()
                wait_for(lambda: not self.browser.visible("lost"))
        # One useless answer is no reason to say anything: it is what a file being rewritten gives now and then.
        self.browser.execute_script(
            "window.told = []; new MutationObserver(() => told.push(document.getElementById('reason').textContent))"
            ".observe(document.getElementById('lost'), {attributes: true, childList: true, subtree: true})")
        self.unit.write_by_hand(b"")
        time.sleep(1.1)
        self.unit.go_on()
        time.sleep(1.5)
        self.assertEqual(set(self.browser.execute_script("return told")) - {""}, set())
        # What lies before the detail is enough; of a detail that was cut off nothing is shown.
        self.unit.write_by_hand(b"<status><state>error</state>\r\n<progress>50</progress>\r\n<detail>Blo")
        self.shows(state="Error", percent="50 %", detail="Block 3")

    def test_says_since_when_a_unit_that_went_away_has_not_answered(self):
        self.unit.set(state="complete", progress="100", detail="")
        self.shows(state="Finished. Rebooting\u2026")
        gone = time.time()
        self.server.stop()
        self.addCleanup(lambda: self.server.process.child.poll() is None or self.server.start())
        self.shows(6, reason="The unit is probably restarting. The unit does not answer.")
        since = self.browser.text("since")
        clock, ago = re.fullmatch(r"Last answer at (.*?), (\d+) s ago\.", since).groups()
        last = self.browser.execute_script("return lastTime") / 1000
        self.assertLess(abs(last - gone), 1.5)
        self.assertEqual(clock, self.browser.execute_script("return new Date(lastTime).toLocaleTimeString()"))
        self.assertLess(abs(time.time() - last - int(ago)), 2)
        self.assertEqual(self.browser.spoken("alert")["live"], "assertive")
        # A server that takes the question and never answers is no better.
        with socket.create_server(("127.0.0.1", self.server.port)):
            time.sleep(5)
            wait_for(lambda: self.browser.text("since") != since)
            self.assertTrue(self.browser.visible("lost"))
        self.unit.set(state="idle")
        self.server.start()
        self.shows(8, state="Idle", reason="")
        self.assertFalse(self.browser.visible("lost"))
        self.assertEqual(self.browser.title, "Idle \u2013 127.0.0.1")

    def test_a_unit_that_never_answered_is_told_from_one_that_went_away(self):
        self.addCleanup(self.unit.go_on)
        self.unit.write_by_hand(b"")
        self.open()
        wait_for(lambda: self.browser.text("since").startswith("None since this page was opened at "), 6)
        self.assertEqual(self.browser.title, "No answer \u2013 127.0.0.1")

    def test_asks_once_a_second_and_nobody_else(self):
        time.sleep(5.2)
        asked = [entry["name"] for entry in self.browser.execute_script(
            "return performance.getEntriesByType('resource').map(entry => ({name: entry.name}))")]
        self.assertEqual(set(asked), {self.server.url + "/fw_status.xml"})
        self.assertIn(len(asked), (5, 6, 7))
        page = (harness.tree / "web/fw_status.html").read_bytes()
        self.assertLess(len(page), 10000)
        # A file that is just being rewritten is cut off now and then.
        self.assertEqual([entry for entry in self.browser.get_log("browser")
                          if not entry["message"].endswith("net::ERR_CONTENT_LENGTH_MISMATCH")], [])

    def test_fits_a_phone_and_dark_mode(self):
        self.unit.set(state="fpga_write", progress="7", detail="A" * 200)
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.clearDeviceMetricsOverride", {})
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setEmulatedMedia", {"features": []})
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": 320, "height": 568, "deviceScaleFactor": 2, "mobile": True})
        grounds = {}
        for mode in ("light", "dark"):
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                         {"features": [{"name": "prefers-color-scheme", "value": mode}]})
            for state in ("fpga_write", "complete", "error"):
                self.unit.set(state=state)
                wait_for(lambda: state in ("fpga_write", self.browser.execute_script("return unit.className").strip()))
                self.assertFalse(self.wider_than_its_window())
                for element in ("name", "state", "detail", "percent"):
                    self.assertGreater(self.contrast(element, "unit"), 4.5, (mode, state, element))
            grounds[mode] = self.luminance("unit", "backgroundColor")
        self.assertGreater(grounds["light"], 0.8)
        self.assertLess(grounds["dark"], 0.1)

    def wider_than_its_window(self):
        return self.browser.execute_script(
            "return document.documentElement.scrollWidth > document.documentElement.clientWidth")

    def luminance(self, element, which):
        colour = self.browser.execute_script(
            "return getComputedStyle(document.getElementById(arguments[0]))[arguments[1]]", element, which)
        channels = [int(value) / 255 for value in re.findall(r"\d+", colour)[:3]]
        linear = [c / 12.92 if c <= 0.03928 else ((c + 0.055) / 1.055) ** 2.4 for c in channels]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    def contrast(self, element, ground):
        levels = sorted((self.luminance(element, "color"), self.luminance(ground, "backgroundColor")))
        return (levels[1] + 0.05) / (levels[0] + 0.05)


if __name__ == "__main__":
    unittest.main(verbosity=2)
