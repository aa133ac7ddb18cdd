#!/usr/bin/env python3
"""fwpush against HTTP servers that behave like units, well and badly."""
import hashlib
import json
import os
import re
import subprocess
import tempfile
import time
import unittest

import harness
from harness import program
from pushed_image import FWPUSH, HASH, IMAGE, ImageTestCase
from pushed_unit import Unit, cut_off, drip, silent, status

FLOOD = "x" * 4_000_000
NO_NAME = "x" * 64 + ".invalid"  # every resolver knows without asking anybody


def dies_midway(handler):
    handler.rfile.read(len(IMAGE) // 3)


def endless(first, piece):
    def answer(handler):
        handler.wfile.write(first)
        while True:
            handler.wfile.write(piece)
    return answer


class Push(ImageTestCase):
    def shrink_image(self):
        """To something that is sent at once. Its hash."""
        self.image.truncate(1000)
        return hashlib.sha256(IMAGE[:1000]).hexdigest()

    def push(self, *units, options=()):
        """The outcome of each unit, and the exit status."""
        names = [unit.name if isinstance(unit, Unit) else unit for unit in units]
        command = [FWPUSH, "--json", "--timeout", "3", *options]
        command += names if "--watch" in options else [self.image.name, *names]
        run = subprocess.run(command, capture_output=True, text=True, timeout=60)
        self.events = [json.loads(line) for line in run.stdout.splitlines()]
        ends = [event for event in self.events if event["event"] == "outcome"]
        self.assertEqual(sorted(end["unit"] for end in ends), sorted(names), run.stderr)
        self.reasons = {end["unit"]: end["reason"] for end in ends}
        return [[end["outcome"] for end in ends if end["unit"] == name][0] for name in names], run.returncode

    def test_an_image_arrives_whole_and_its_update_is_followed(self):
        unit = Unit(firmware_hash=["00", HASH],
                    **{"fw_status.xml": [status("fw_write", 50, "Block 1"), status("complete", 100)]})
        self.assertEqual(self.push(unit, options=["--await-return"]), (["complete"], 0))
        self.assertEqual(unit.received, IMAGE)
        self.assertEqual(unit.paths, ["firmware_hash", "firmware_id", "fw_compat", "fw_upload", "fw_status.xml",
                                      "fw_status.xml", "firmware_hash"])
        self.assertRegex(unit.head.pop("User-Agent"), r"^fwpush/\d+\.\d+\.\d+$")
        self.assertEqual(unit.head, {"Host": unit.name, "Accept": "*/*", "Content-Type": "application/octet-stream",
                                     "X-Firmware-Hash": HASH, "Content-Length": "2097152", "Expect": "100-continue"})
        uploaded = [event["value"] for event in self.events if event["stage"] == "uploading"]
        self.assertEqual((uploaded, uploaded[0], uploaded[-1]), (sorted(set(uploaded)), 0, 100))
        self.assertEqual([(event["stage"], event["value"], event.get("detail")) for event in self.events
                          if event["value"] in (-1, 0, 50, 100) or event["stage"] != "uploading"],
                         [("preparing", -1, ""), ("uploading", 0, ""), ("uploading", 50, ""), ("uploading", 100, ""),
                          ("writing", 50, "Block 1"), ("complete", 100, ""), ("complete", 100, None)])

    @harness.takes("lighttpd")
    def test_a_simulated_unit_answers_at_the_port_that_it_is_given(self):
        port = harness.free_port()
        unit = harness.web_unit_t(kilobytes_a_second=10_000, port=port)
        self.assertEqual(unit.address(), f"127.0.0.1:{port}")
        self.assertEqual(self.push(unit.address(), options=["--await-return", "--timeout", "20"]), (["complete"], 0))
        page = f"http://127.0.0.1:{port}/cgi-bin/hw_config?"
        self.assertEqual(harness.fetch(page + "firmware_hash")[::2], (200, HASH.encode() + b"\n"))
        self.assertEqual(harness.fetch(page + "nothing")[0], 404)
        unit.stop()
        new = harness.unit_t()  # and knows nothing of its firmware
        answer = subprocess.run([program("hw_config")], env={**os.environ, **new.env, "QUERY_STRING": "firmware_hash"},
                                capture_output=True, timeout=10).stdout
        self.assertEqual(answer, b"Content-Type: text/plain\r\n\r\n\n")
        new.stop()

    def test_the_log_tells_the_course_of_each_unit(self):
        """The second unit to upload waits until the first one has been sent, and its time begins then."""
        has = self.shrink_image()

        def late(seconds, text):
            def answer(handler):
                handler.rfile.read(int(handler.headers["Content-Length"] or 0))
                time.sleep(seconds)
                handler.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s" % (len(text), text))
            return answer
        units = {"good": Unit(fw_upload=[late(2.5, b"Started")],
                              **{"fw_status.xml": [status("fw_write", 9, "Block 1"), status("complete", 100)]}),
                 "other": Unit(fw_compat=[late(0.4, b"4")], fw_upload=["unsupported hardware"]),
                 "has": Unit(firmware_hash=[has])}
        names = {name: unit.name for name, unit in units.items()} | {"none": NO_NAME, "path": "unit/x"}
        run = subprocess.run([FWPUSH, "--jobs", "1", self.image.name, *names.values(), names["has"]], capture_output=True,
                             text=True, timeout=60)
        self.assertEqual((run.stderr, run.returncode), ("", 1))
        text = run.stdout
        for label, name in names.items():
            text = text.replace(name, label)
        log, summary = text.split("\n\n", 1)
        self.assertTrue(all(re.match(r" *\d+\.\d\d s  ", line) for line in log.splitlines()), log)
        log = sorted((" ".join(line.split()[2:]) for line in log.splitlines()), key=lambda line: [*names].index(line.split()[0]))
        self.assertEqual("\n".join(log), """\
good preparing
good uploading 0 %
good writing 9 %, Block 1
good complete
other preparing
other waiting 0 %
other uploading 0 %
other unsupported_hardware: the image is not for its hardware
has preparing
has refused: the same unit was named before
has up_to_date: it has this firmware
none preparing
none lost: Could not resolve host: none
path refused: a unit's URL ends behind host and port""")
        self.assertEqual(re.sub("  +", "  ", re.sub("0:0[01]", "0:00", re.sub("0:0[3-9]", "0:0N", summary))), """\
unit  outcome  time
good  complete  0:0N
other  unsupported_hardware  0:00  the image is not for its hardware
has  up_to_date  0:00  it has this firmware
none  lost  0:00  Could not resolve host: none
path  refused  0:00  a unit's URL ends behind host and port
has  refused  0:00  the same unit was named before

6 units: 1 complete, 1 up_to_date, 1 unsupported_hardware, 1 lost, 2 refused
""")

    def test_units_that_have_the_image_are_a_success(self):
        units = [Unit(firmware_hash=[HASH]) for _ in range(2)]
        run = subprocess.run([FWPUSH, "--no-progress", self.image.name, *(unit.name for unit in units)], capture_output=True,
                             text=True, timeout=60)
        self.assertEqual((re.sub("0:0[0-3]", "0:00", run.stdout), run.stderr, run.returncode), (
            "unit             outcome                 time\n"
            + "".join(f"{unit.name:15}  up_to_date              0:00  it has this firmware\n" for unit in units)
            + "\n2 units: 2 up_to_date\n", "", 0))

    def test_every_unit_gets_its_own_verdict(self):
        """Good units between bad ones: none disturbs another."""
        slow = "Operation timed out after 3NNN milliseconds with {} bytes received"
        too_long = "it answered with more than 128 kB"
        shape = "its status file is empty, cut off or of another shape"
        cases = [
            (Unit(firmware_hash=[HASH.upper() + "\n"]), "up_to_date", "it has this firmware"),
            (Unit(**{"fw_status.xml": [status("fw_write", 9), status("error", 9, "no <state>complete</state>")]}),
             "error", "it reports: no <state>complete</state>"),
            (Unit(fw_upload=["unsupported hardware"]), "unsupported_hardware", "the image is not for its hardware"),
            (Unit(fw_upload=[(503, "Busy")]), "busy", "it is updating already"),
            (Unit(fw_upload=[(404, "")]), "not_found", "it has no page that takes an image (404)"),
            (Unit(firmware_hash=[silent]), "lost", slow.format(0)),
            (Unit(firmware_hash=[drip]), "lost", slow.format("N out of 1000")),
            (Unit(firmware_id=["x" * 131_073]), "lost", too_long),
            (Unit(firmware_id=[endless(b"HTTP/1.1 200 OK\r\n\r\n", FLOOD.encode())]), "lost", too_long),
            (Unit(firmware_id=[endless(b"HTTP/1.1 200 OK\r\n", b"X: " + b"x" * 9000 + b"\r\n")]), "lost",
             "Too large response headers: N > 307200"),
            (Unit(fw_upload=["Started" + FLOOD]), "lost", too_long),
            (Unit(**{"fw_status.xml": [status("fw_write", 1), status("complete", 100, FLOOD)]}), "lost", too_long),
            (Unit(fw_upload=[silent]), "lost", "it took the image and did not answer"),
            (Unit(fw_upload=[drip]), "lost", "it took the image and did not answer"),
            (Unit(fw_upload=[dies_midway]), "lost", None),
            (Unit(**{"fw_status.xml": [cut_off]}), "lost", "transfer closed with 992 bytes remaining to read"),
            (Unit(**{"fw_status.xml": [""]}), "lost", shape),
            (Unit(**{"fw_status.xml": [status("fw_write", 1), "<state>complete</state>"]}), "lost", shape),
            (Unit(fw_compat=["99999999999999999999"]), "refused",
             'its compatibility is no unsigned number: "99999999999999999999"'),
            (Unit(firmware_hash=["<html>"]), "refused", 'its firmware hash is none: "<html>"'),
            (Unit(fw_compat=["2"]), "refused", "its compatibility 2 is below 3"),
            (NO_NAME, "lost", "Could not resolve host: " + NO_NAME),
            ("127.0.0.1:99999", "refused",
             "no host, host:port or URL: Port number was not a decimal number between 0 and 65535"),
        ]
        good = [Unit() for _ in range(10)]
        units = [unit for unit, _, _ in cases] + good
        expected = [outcome for _, outcome, _ in cases] + ["complete"] * len(good)
        self.assertEqual(self.push(*units, options=["--jobs", "4", "--min-compat", "3"]), (expected, 1))
        for unit, outcome, reason in cases:
            if isinstance(unit, Unit) and outcome in ("refused", "up_to_date"):
                self.assertIsNone(unit.received)
            said = re.sub(r"after [3-9]\d{3} ", "after 3NNN ", self.reasons[unit if isinstance(unit, str) else unit.name])
            self.assertEqual(re.sub(r"\d+ (out of|>)", r"N \1", said), reason or said)
        self.assertTrue(all(unit.received == IMAGE for unit in good))
        self.assertEqual([unit.connections for unit in good], [1] * len(good))

    def test_a_unit_that_has_the_image_is_forced_and_does_nothing(self):
        idle, writing = Unit(firmware_hash=[HASH], **{"fw_status.xml": [status("idle")]}), Unit(firmware_hash=[HASH])
        self.assertEqual(self.push(idle, writing, options=["--force", "--grace", "1"]), (["error", "complete"], 1))
        self.assertEqual(self.reasons[idle.name], "it took the image, which it had already, and was not seen to write it")
        self.assertEqual((idle.received, writing.received), (IMAGE, IMAGE))

    def test_the_longest_detail_blinds_nobody(self):
        largest = 131_072 - len(status("complete", 100))
        unit = Unit(**{"fw_status.xml": [status("fw_write", 1, "<" * 65_400), status("complete", 100, "<" * largest)]})
        self.assertEqual(self.push(unit), (["complete"], 0))

    def test_a_hostile_detail_reaches_nobody(self):
        unit = Unit(**{"fw_status.xml": [status("fw_write", 1, "</detail><state>complete</state>\x1b[2J\x07"),
                                         status("error", 1, "\u202e" + "long " * 200)]})
        self.assertEqual(self.push(unit)[0], ["error"])
        details = "".join(event.get("detail", "") + event.get("reason", "") for event in self.events)
        self.assertIn("</detail><state>complete</state>?[2J?", details)
        self.assertNotRegex(details, "[\x00-\x1f\u202e]")
        self.assertLess(len(self.reasons[unit.name]), 250)

    def test_useless_answers_are_asked_again(self):
        self.shrink_image()
        unit = Unit(**{"firmware_hash": [(500, ""), "00"],
                       "fw_status.xml": [status("fw_write"), "", (404, ""), cut_off, status("fw_write"), status("complete")]})
        self.assertEqual(self.push(unit, options=["--timeout", "10"]), (["complete"], 0))
        self.assertEqual([(event["stage"], event["detail"]) for event in self.events[:-1]], [
            ("preparing", ""), ("preparing", "it answered with status 500"), ("preparing", ""), ("uploading", ""),
            ("uploading", ""), ("writing", ""), ("writing", "its status file is empty, cut off or of another shape"),
            ("writing", "it answered with status 404"), ("writing", "transfer closed with 992 bytes remaining to read"),
            ("writing", "")])

    def test_an_image_that_changes_is_not_passed_off_as_the_one_before(self):
        def change(handler):
            with open(self.image.name, "r+b") as file:
                file.write(b"another")
            cut_off(handler)
        unit = Unit(fw_compat=[change, "4"])
        self.assertEqual(self.push(unit), (["cancelled"], 1))
        self.assertEqual(self.reasons[unit.name], "the image cannot be read any more, or has changed")

    def test_watching_sends_nothing(self):
        unit = Unit(**{"fw_status.xml": [status("idle"), status("fw_write"), status("complete")]})
        self.assertEqual(self.push(unit, options=["--watch"]), (["complete"], 0))
        self.assertEqual(unit.paths, ["fw_status.xml", "fw_status.xml", "firmware_hash", "fw_status.xml"])

    def test_a_watched_update_that_nobody_saw_complete_is_told_by_the_hash(self):
        def unit(*hashes, end="idle"):
            return Unit(firmware_hash=[*hashes], **{"fw_status.xml": [status("fw_write"), (401, ""), status(end)]})
        cases = [(unit("0a", (503, ""), "", "1b"), "complete", ""), (unit("0a", "<html>", "1b"), "error", None),
                 (unit("0a", "0A"), "error", None), (unit((404, ""), "1b"), "error", None), (unit("", "1b"), "error", None),
                 (unit((403, ""), end="complete"), "complete", ""), (unit(silent, end="complete"), "complete", "")]
        self.assertEqual(self.push(*(unit for unit, _, _ in cases), options=["--watch", "--timeout", "5"]),
                         ([outcome for _, outcome, _ in cases], 1))
        for unit, _, reason in cases:
            self.assertEqual(self.reasons[unit.name], "it went idle without completing" if reason is None else reason)

    def test_a_name_that_does_not_exist_ends_at_once_and_disturbs_nobody(self):
        unit = Unit(**{"fw_status.xml": [status("fw_write")] * 3 + [status("complete")]})
        for options in (["--watch"], []):
            self.assertEqual(self.push(NO_NAME, unit, options=["--timeout", "60", *options]),
                             (["lost", "complete"], 1))
            ends = [event for event in self.events if event["event"] == "outcome"]
            self.assertEqual([(end["unit"], end["reason"]) for end in ends][0],
                             (NO_NAME, "Could not resolve host: " + NO_NAME))

    def test_without_progress_only_outcomes_are_told(self):
        self.assertEqual(self.push(Unit(), Unit(), options=["--no-progress"]), (["complete", "complete"], 0))
        self.assertEqual([event["event"] for event in self.events], ["outcome", "outcome"])

    def test_an_update_that_stands_still_fails_on_request(self):
        unit = Unit(**{"fw_status.xml": [status("fw_write", 42)]})
        self.assertEqual(self.push(unit, options=["--stall", "1.5"]), (["error"], 1))
        self.assertEqual(self.reasons[unit.name], 'it stands still in state "fw_write" at 42 %')

    def test_a_user_and_a_certificate(self):
        with tempfile.TemporaryDirectory() as directory:
            pem = directory + "/unit.pem"
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-keyout", pem,
                            "-out", pem + ".crt", "-subj", "/CN=unit", "-addext", "subjectAltName=IP:127.0.0.1"],
                           check=True, capture_output=True)
            with open(pem, "a") as both, open(pem + ".crt") as certificate:
                both.write(certificate.read())
            unit = Unit(certificate=pem)
            url = "https://" + unit.name
            unit.user = "Basic b3A6c2VjcmV0"  # op:secret
            known = ["--cacert", pem + ".crt"]
            self.assertEqual(self.push(url), (["lost"], 1))
            self.assertIn("certificate", self.reasons[url])
            for options in (known, [*known, "--watch"]):
                self.assertEqual(self.push(url, options=options), (["refused"], 1))
                self.assertEqual(self.reasons[url], "it wants another user or password (401)")
            unit.answers["fw_status.xml"] = [(401, ""), status("complete")]
            self.assertEqual(self.push(url, options=[*known, "--user", "op:secret"]), (["complete"], 0))
            other = "https://" + Unit().name
            self.assertEqual(self.push(other), (["lost"], 1))
            self.assertIn("there is no https with it", self.reasons[other])
            self.assertEqual(unit.received, IMAGE)


if __name__ == "__main__":
    unittest.main()
