"""Programs that never outlive this one, however it ends, and descriptors for them that leave no file behind."""
import os
import shutil
import subprocess


class UnitError(Exception):
    """What a person is told in one line."""


def require(program, package):
    if not shutil.which(program):
        raise UnitError(f"{program} is missing; install it with: apt-get install --no-install-recommends {package}")


def start(command, pass_fds=(), **options):
    """Starts a program that the kernel kills as soon as this one is gone. Only for the main thread, whose end is
    what the kernel goes by."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], pass_fds=pass_fds, **options)


def stop(process):
    if process.poll() is None:
        process.kill()
    process.wait()


def anonymous_file(name, size):
    """Memory to be shared: a descriptor, and the path by which a program that inherits it opens it."""
    descriptor = os.memfd_create(name, 0)
    os.truncate(descriptor, size)
    return descriptor, f"/proc/self/fd/{descriptor}"
