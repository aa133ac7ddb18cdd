"""The configurations in packaging/web and the client in docs/interfaces.md, in front of the real daemon."""

import concurrent.futures
import pathlib
import re
import shutil
import subprocess
import tempfile
import textwrap
import threading
import time
import unittest

import harness
from harness import fetch

packaged = harness.tree / "packaging/web"

xml = "<status>\r\n  <state>fw_write</state>\r\n  <progress>{}</progress>\r\n  <detail>{}</detail>\r\n</status>\r\n"


class servers_test(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.unit = harness.unit_t()
        cls.servers = [harness.server_t(kind, cls.unit.www) for kind in harness.server_t.kinds]

    def test_every_answer_is_the_file_as_it_is_now(self):
        self.addCleanup(self.unit.go_on)
        for server in self.servers:
            with self.subTest(server.kind):
                url = server.url + "/fw_status.xml"
                validators = {}
                # Lengths that change within a second, and others that stay while the content changes.
                for detail in ("short", "much longer than the one before", "x", "y", "x"):
                    self.unit.write_by_hand(xml.format(37, detail).encode())
                    status, headers, body = fetch(url, validators)
                    self.assertEqual((status, body.decode()), (200, xml.format(37, detail)))
                    self.assertEqual(headers["Cache-Control"], "no-store")
                    given = {"If-Modified-Since": headers["Last-Modified"], "If-None-Match": headers["ETag"]}
                    validators = {name: value for name, value in given.items() if value}
                self.assertEqual(fetch(url, {"Range": "bytes=0-9"})[0], 200)

    def test_the_settings_fit_into_debians_own(self):
        with tempfile.TemporaryDirectory(prefix="fwweb.") as directory:
            own = pathlib.Path(directory)
            for name in ("lighttpd", "nginx"):
                shutil.copytree(pathlib.Path("/etc") / name, own / name, symlinks=True)
            shutil.copy(packaged / "fwstatus.lighttpd", own / "lighttpd/conf-enabled/50-fwstatus.conf")
            main = own / "lighttpd/lighttpd.conf"
            main.write_text(main.read_text().replace("/etc/lighttpd", f"{own}/lighttpd"))
            site = (own / "nginx/sites-available/default").read_text()
            (own / "nginx/sites-enabled/default").unlink()
            (own / "nginx/sites-enabled/default").write_text(
                site.replace("\tserver_name _;", f"\tserver_name _;\n\tinclude {packaged}/fwstatus.nginx;", 1))
            main = own / "nginx/nginx.conf"
            main.write_text(re.sub(r"/etc/nginx|/var/log/nginx|/run(?=/nginx)", f"{own}/nginx", main.read_text()))
            for command in (["/usr/sbin/lighttpd", "-tt", "-f", f"{own}/lighttpd/lighttpd.conf"],
                            ["/usr/sbin/nginx", "-t", "-e", "stderr", "-c", f"{own}/nginx/nginx.conf"]):
                result = subprocess.run(command, capture_output=True, text=True, check=False)
                self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_the_file_is_kept_in_memory(self):
        """As systemd-tmpfiles arranges it: the daemon writes through a link whose end is not there yet."""
        with tempfile.TemporaryDirectory(prefix="fwweb.") as root:
            (pathlib.Path(root) / "usr/zel/www").mkdir(parents=True)
            subprocess.run(["systemd-tmpfiles", "--create", f"--root={root}", str(packaged / "fwstatus-web.conf")],
                           check=True, capture_output=True)
            link = pathlib.Path(root) / "usr/zel/www/fw_status.xml"
            self.assertEqual(str(link.readlink()), "/run/fwstatus/fw_status.xml")
            self.assertTrue((pathlib.Path(root) / "run/fwstatus").is_dir())
            self.addCleanup(self.unit.go_on)
            self.unit.write_by_hand(None)
            memory = pathlib.Path(root) / "run/fwstatus/fw_status.xml"
            self.unit.file.symlink_to(memory)
            self.unit.go_on()
            harness.wait_for(memory.exists)
            for server in self.servers:
                url = server.url + "/fw_status.xml"
                harness.wait_for(lambda: fetch(url)[2].endswith(b"</status>\r\n"))
            self.unit.write_by_hand(None)

    def test_files_come_as_what_they_are(self):
        for server in self.servers:
            with self.subTest(server.kind):
                url = server.url + "/fw_status.xml"
                self.assertEqual(fetch(url)[1]["Content-Type"], "text/xml; charset=utf-8")
                status, headers, body = fetch(url.replace(".xml", ".html"))
                self.assertEqual((status, headers["Content-Type"]), (200, "text/html; charset=utf-8"))
                self.assertEqual(body, (harness.tree / "web/fw_status.html").read_bytes())
                self.assertEqual(fetch(url.replace("fw_status.xml", "other"))[0], 404)

    def test_the_documented_client_reads_every_detail_and_asks_again(self):
        text = (harness.tree / "docs/interfaces.md").read_text()
        (example,) = re.findall(r"```python\n(.*?)```", text, re.DOTALL)
        self.assertLessEqual(len(example.strip().splitlines()), 12)
        names = {}
        exec(textwrap.dedent(example), names)  # pylint: disable=exec-used
        self.addCleanup(self.unit.go_on)
        for server in self.servers:
            with self.subTest(server.kind):
                url = server.url + "/fw_status.xml"
                host = url.split("/")[2]
                for detail in ("Block 3 of 9", "", "a < b & c", "</detail><state>complete</state><detail>",
                               "</detail></status>", "\x07 \x1b[0m", "<detail>"):
                    self.unit.write_by_hand(xml.format(37, detail).encode())
                    self.assertEqual(names["status"](host), ("fw_write", 37, detail))
                for useless in (b"", xml.format(37, "").encode()[:40], xml.format("", "").encode(), None):
                    self.unit.write_by_hand(useless)
                    better = threading.Timer(0.5, self.unit.write_by_hand, [xml.format(-1, "good").encode()])
                    better.start()
                    self.assertEqual(names["status"](host), ("fw_write", -1, "good"))
                    better.join()
        server = self.servers[0]
        server.stop()
        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            asking = pool.submit(names["status"], f"127.0.0.1:{server.port}")
            time.sleep(1)
            self.assertFalse(asking.done())
            server.start()
            self.assertEqual(asking.result(10)[0], "fw_write")


if __name__ == "__main__":
    unittest.main(verbosity=2)
