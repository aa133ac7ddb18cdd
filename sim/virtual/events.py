"""What happens to a virtual unit, in the order in which the host hears of it."""
import threading
import time
from dataclasses import dataclass


@dataclass(frozen=True)
class Event:
    at: float    # seconds since the emulator's start
    source: str  # "panel", "display", "web", "memory", "log", "machine" or "test"
    text: str


class Events:
    """Written by many threads, read by position."""

    def __init__(self):
        self._start = time.monotonic()
        self._changed = threading.Condition()
        self._list = []

    def now(self):
        return time.monotonic() - self._start

    def add(self, source, text):
        with self._changed:
            self._list.append(Event(self.now(), source, text))
            self._changed.notify_all()

    def since(self, position):
        with self._changed:
            return self._list[position:]

    def count(self):
        with self._changed:
            return len(self._list)

    def first(self, matches, position=0):
        """The first event from `position` on for which `matches` holds; None when there is none yet."""
        return next((event for event in self.since(position) if matches(event)), None)

    def wait_for_more(self, position, seconds):
        with self._changed:
            self._changed.wait_for(lambda: len(self._list) > position, seconds)
