"""What the tests of fwpush send: an image, and the program."""
import hashlib
import os
import tempfile
import unittest

from harness import program

FWPUSH = program("fwpush")
IMAGE = bytes(range(256)) * 8192  # 2 MiB: more than any buffer on the way
HASH = hashlib.sha256(IMAGE).hexdigest()
os.environ["http_proxy"] = "http://127.0.0.1:9"  # not for units
os.environ.pop("FWPUSH_PASSWORD", None)


class ImageTestCase(unittest.TestCase):
    def setUp(self):
        self.image = tempfile.NamedTemporaryFile()
        self.image.write(IMAGE)
        self.image.flush()
