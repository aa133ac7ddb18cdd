"""A root shell on the unit, over the emulator's console."""
import itertools
import select
import socket
import threading
import time

from .processes import UnitError


class Shell:
    def __init__(self, end):
        self._end = end
        self._numbers = itertools.count(1)
        self._lock = threading.Lock()

    def run(self, command, seconds=120):
        """Runs a command; its output (both streams) and exit status. Throws UnitError when it takes too long."""
        with self._lock:
            mark = f"@end-of-{next(self._numbers)}@"
            # The mark is put together by the shell, so that it is not found in an echo of the command.
            self._end.sendall(f"{{ {command}\n}} </dev/null; echo \"@\"'{mark[1:]}' $?\n".encode())
            text, deadline = "", time.monotonic() + seconds
            while mark not in text or not text.split(mark)[1].endswith("\n"):
                left = deadline - time.monotonic()
                if left <= 0 or not select.select([self._end], [], [], left)[0]:
                    raise UnitError(f"the unit did not finish in {seconds} s: {command}")
                data = self._end.recv(65536)
                if not data:
                    raise UnitError("the emulator has ended")
                text += data.decode(errors="replace")
            output, _, status = text.partition(mark)
            return output.rstrip("\n"), int(status)

    def ask(self, command, seconds=120):
        """A command's output; UnitError when it fails."""
        output, status = self.run(command, seconds)
        if status != 0:
            raise UnitError(f"on the unit, status {status}: {command}: {output}")
        return output

    def serve(self, name):
        """Lets this machine's same user reach the shell at an abstract socket, one at a time, until the end."""
        listener = socket.socket(socket.AF_UNIX)
        listener.bind("\0" + name)
        listener.listen()
        threading.Thread(target=self._relay, args=(listener,), daemon=True).start()

    def _relay(self, listener):
        import os
        import struct
        while True:
            visitor, _ = listener.accept()
            user = struct.unpack("3i", visitor.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))[1]
            ends = {visitor: self._end, self._end: visitor}
            with visitor, self._lock:
                while user in (0, os.getuid()):
                    source = select.select(list(ends), [], [])[0][0]
                    data = source.recv(65536)
                    if not data:
                        break
                    ends[source].sendall(data)
