"""made.py DIRECTORY COMMAND ...: runs what makes an image in DIRECTORY. When this is ended before that, or whoever
started it, however it ends, then every process that the command has started is ended, and what is half made removed."""
import ctypes
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

PATIENCE = 10  # seconds for programs that clean up when they are told to end
PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36


def end_orderly(*_):
    for number in signal.SIGTERM, signal.SIGHUP, signal.SIGINT:
        signal.signal(number, signal.SIG_IGN)
    raise KeyboardInterrupt


def descendants():
    """Processes below this one: orphans among them become its children, so none is missed."""
    children = {}
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            parent = int(stat.read_text().rsplit(")", 1)[1].split()[1])
        except OSError:  # has ended
            continue
        children.setdefault(parent, []).append(int(stat.parent.name))
    found = children.get(os.getpid(), [])
    for process in found:
        found += children.get(process, [])
    return found


def end_all():
    start, told = time.monotonic(), set()
    while processes := descendants():
        late = time.monotonic() - start
        if late > 2 * PATIENCE:  # another user's, by sudo
            break
        for process in processes:
            if late > PATIENCE or process not in told:
                told.add(process)
                try:
                    os.kill(process, signal.SIGKILL if late > PATIENCE else signal.SIGTERM)
                except OSError:
                    pass
        try:
            while os.waitpid(-1, os.WNOHANG)[0]:
                pass
        except ChildProcessError:
            pass
        time.sleep(0.05)


def main():
    parent, directory = os.getppid(), pathlib.Path(sys.argv[1])
    for number in signal.SIGTERM, signal.SIGHUP, signal.SIGINT:
        signal.signal(number, end_orderly)
    libc = ctypes.CDLL(None)
    libc.prctl(PR_SET_CHILD_SUBREAPER, 1)
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM)
    try:
        if os.getppid() != parent:
            return 130
        return subprocess.call(sys.argv[2:])
    except KeyboardInterrupt:
        end_all()
        for name in "root", "early":
            shutil.rmtree(directory / name, ignore_errors=True)
        return 130


if __name__ == "__main__":
    sys.exit(main())
