"""What a booted unit has to show: the boot test, one course for each kind of unit."""
import json
import re
import time

from .hardware import RegisterMemory, bar, percentage
from .processes import UnitError
from .push import Push

ERROR = 3  # a level of the journal
BLANK = ["00"] * 6
ANIMATION = []  # of the panel: sweeps of an upper and of a lower square, LEDs in pairs
for _step in range(16):
    _digits = ANIMATION[-1][:4] if ANIMATION else ["00"] * 4
    _digits[_step % 4] = "63" if _step // 4 % 2 == 0 else "5c"
    ANIMATION.append(_digits + [["08", "08", "10", "10", "20", "20", "10", "10"][_step % 8], "00"])


class Check:
    """Facts about one machine: what holds is printed, what does not ends the course."""

    def __init__(self, machine, limit, say):
        self.machine, self.limit, self._say = machine, limit, say
        self.meanwhile = lambda: None  # called while waiting

    def fact(self, text):
        self._say(f"{self.machine.events.now():6.1f} s  {text}")

    def require(self, condition, text):
        if not condition:
            raise UnitError(text)

    def wait(self, what, look, seconds=None, restarts=0):
        """Looks until something true comes; that. A unit that restarts more often than it should has failed."""
        resets, end = self.machine.resets + restarts, time.monotonic() + (seconds or self.limit)
        while not (found := look()):
            self.require(self.machine.is_running(), f"the emulator ended while waiting for {what}")
            self.require(self.machine.resets <= resets, f"the unit restarted while waiting for {what}")
            if time.monotonic() > end:
                console = "".join(f"\n    {line}" for line in self.machine.last_console)
                raise UnitError(f"no {what} within {seconds or self.limit:g} s; the unit's console:{console}")
            self.meanwhile()
            time.sleep(0.1)
        return found

    def wait_for_event(self, what, matches, position=0, seconds=None):
        return self.wait(what, lambda: self.machine.events.first(matches, position), seconds)

    def service(self, name, *properties):
        text = self.machine.shell.ask(f"systemctl show {name} -p {','.join(properties)}")
        return dict(line.split("=", 1) for line in text.splitlines())

    def daemon(self):
        return self.service("fwstatus", "MainPID", "ActiveState", "UnitFileState", "NRestarts", "ControlGroup", "Result")

    def restarted_daemon(self, old):
        now = self.daemon()
        return now if now["ActiveState"] == "active" and now["MainPID"] not in ("0", old) else None

    def journal(self):
        """The daemon's lines in the journal: message and level."""
        text = self.machine.shell.ask("journalctl -o json --output-fields=MESSAGE,PRIORITY SYSLOG_IDENTIFIER=fwstatus")
        entries = [json.loads(line) for line in text.splitlines() if line.startswith("{")]
        return {(entry["MESSAGE"], int(entry["PRIORITY"])) for entry in entries}


def check_package_and_service(check):
    ask = check.machine.shell.ask
    check.wait("daemon's service", lambda: check.daemon()["ActiveState"] == "active")
    status = ask("dpkg-query -W -f '${Status}, ${Version}, ${Architecture}' fwstatus")
    check.require(re.fullmatch(r"install ok installed, [0-9.]+, armhf", status), f"package: {status}")
    owner = ask("dpkg -S /usr/sbin/fwstatus")
    check.require(owner.startswith("fwstatus:"), f"/usr/sbin/fwstatus: {owner}")
    daemon = check.daemon()
    process = daemon["MainPID"]
    parent = ask(f"sed -n 's/^PPid:\\t//p' /proc/{process}/status")
    program = ask(f"readlink /proc/{process}/exe")
    check.require(parent == "1" and program == "/usr/sbin/fwstatus", f"process {process}: {program}, child of {parent}")
    check.require(daemon["UnitFileState"] == "enabled", f"the service is {daemon['UnitFileState']}")
    check.require(daemon["ControlGroup"] == "/system.slice/fwstatus.service", f"in {daemon['ControlGroup']}")
    check.fact(f"package {status}; service enabled and active, process {process} is the init system's child")


def check_memory(check):
    memory = check.machine.registers
    found = memory.get(RegisterMemory.PLATFORM_ID), memory.get(RegisterMemory.SLOT_COUNT)
    errors = sorted(message for message, level in check.journal() if level <= ERROR)
    check.require(found == check.machine.kind.settles, f"platform id and slots in the register memory are {found}, not "
                                                       f"{check.machine.kind.settles}; the daemon's errors: {errors}")
    check.fact(f"register memory: platform id {found[0]}, slots {found[1]}, big-endian")


def check_probe(check):
    """One question on a line that is set as it should be, then nothing but whole frames."""
    events = [event for event in check.machine.events.since(0) if event.source == "panel"]
    places = [place for place, event in enumerate(events) if event.text == "question"]
    check.require(len(places) == 1, f"the panel was asked {len(places)} times")
    settings = [event.text for event in events[:places[0]] if event.text.startswith("settings")]
    check.require("settings 9600 8 N 1" in settings and settings[-1] == "settings 115200 8 N 1",
                  f"the line's settings before the question: {settings}")
    check.fact("panel asked once, on a line that the daemon had set from 9600 to 115200 8N1")


def check_frames(check):
    """Every frame so far, in the order in which the daemon has to send them after each question."""
    frames, count, shown, runs = [], 0, [], 0
    for event in check.machine.events.since(0):
        what, *values = event.text.split()
        if event.source != "panel" or what == "settings":
            continue
        check.require(what in ("question", "frame"), f"the module did not understand: {event.text}")
        if what == "question":
            frames, runs = [], runs + 1
            continue
        # A blank frame when the panel is found and a second one when its animation begins; then over and over 16 frames
        # of animation, a blank one, 16 of a percentage, a blank one.
        at, count = len(frames) - 2, count + 1
        frames.append(values)
        step = at % 34
        if at < 0 or step in (16, 33):
            right = values == BLANK
        elif step < 16:
            right = values == ANIMATION[step]
        else:
            right = values[3:] == ["00", "00", "04"] and percentage(event) is not None
            shown.append(values)
        check.require(right, f"frame {at + 3} after question {runs} is {' '.join(values)}")
    check.require(len(shown) >= 16, f"{count} frames, but only {len(shown)} percentages")
    check.fact(f"{count} frames after {runs} questions, each as it has to be; {len(shown)} of them percentages")


UPDATE = ["initializing", "fw_write", "fpga_write", "complete"]


def check_push(check, program, shown_by, is_probe):
    """fwpush sends an image; the unit tells of it everywhere, reboots by itself and comes back with it. `shown_by` is
    the percentage that an event shows on the display, `is_probe` whether one says that the daemon looked for it."""
    machine, ask = check.machine, check.machine.shell.ask
    position, boot = machine.events.count(), ask("cat /proc/sys/kernel/random/boot_id")
    with Push(program, machine) as push:
        check.wait("end of fwpush", push.look, 2 * check.limit, restarts=1)
    check.require(push.outcome == "complete", f"fwpush says {push.outcome}")
    events = machine.events.since(position)
    reset = next(place for place, event in enumerate(events) if event.source == "machine")
    states = [event.text.split(",")[0] for event in events[:reset] if event.source == "web"]
    states = [state for place, state in enumerate(states) if states[:place][-1:] != [state]]
    check.require([state for state in states if state != "idle"] == UPDATE, f"the status file showed {states}")
    shown = [percent for percent in map(shown_by, events[:reset]) if percent is not None]
    check.require(shown == sorted(shown), f"the display's percentages went back: {shown}")
    shown = sorted(set(shown))
    # An LCD is compared with the status file meanwhile; its bar is as fine as its pixels.
    published = range(101) if machine.display else {block * 100 // machine.blocks for block in range(1, machine.blocks + 1)}
    check.require(len(shown) >= 2 and set(shown) <= set(published),
                  f"the display showed the percentages {shown} of {sorted(published)}")
    told = [list(map(int, re.findall(r"\d+(?= begin| state| progress)", event.text))) for event in events[:reset]
            if event.source == "log" and "received: " in event.text]
    # Each pass tells a state and then a percentage; the engine may count between the two.
    check.require(told and told[-1][0] == 1 and told[-1][1] - told[-1][2] in (0, 1) and told[-1][2] >= 2 * len(shown),
                  f"notifications: {told[-3:]}")
    check.fact(f"fwpush: an image of 1 MiB; status file {', '.join(states)}; display {', '.join(map(str, shown))} %; "
               f"notifications {told[-1][0]} begin, {told[-1][1]} state, {told[-1][2]} progress")

    check.require(ask("cat /proc/sys/kernel/random/boot_id") != boot, "the kernel did not start anew")
    check.require(machine.get("/cgi-bin/hw_config?firmware_hash").strip() == push.hash, "the unit runs another image")
    check.require(ask("systemctl show install -p ConditionResult") == "ConditionResult=no", "the package was installed again")
    settled = "platform id {}, slots {}".format(*machine.kind.settles)
    for what, matches in ("platform id", lambda event: event.text == settled), ("probe of the display", is_probe):
        check.wait_for_event(f"{what} after the reboot", matches, position + reset, 60)
    check.wait("active service", lambda: check.daemon()["ActiveState"] == "active", 60)
    check.fact("the unit rebooted by itself: a new kernel, service, register memory, display, the new hash; fwpush says complete")


def check_journal(check, wanted):
    lines = check.journal()
    for message, level in wanted:
        check.require((message, level) in lines, f"no \"{message}\" at level {level} among {sorted(lines)}")
    found = ", ".join(f"'{message}' ({level})" for message, level in wanted)
    check.fact(f"in the journal under the name fwstatus, with their levels: {found}")


def check_costs(check, seconds=10):
    """Memory and processor time of the daemon on this kernel."""
    ask = check.machine.shell.ask
    process = check.daemon()["MainPID"]

    def used():
        fields = ask(f"cat /proc/{process}/stat /proc/uptime").split()
        return int(fields[13]) + int(fields[14]), float(fields[-2])
    before = used()
    time.sleep(seconds)
    after = used()
    share = (after[0] - before[0]) / (after[1] - before[1])  # ticks are hundredths: per cent
    memory = dict(re.findall(r"(VmRSS|RssAnon|RssFile|VmLck|Threads):\s+(\d+)", ask(f"cat /proc/{process}/status")))
    check.require(0 < int(memory["VmRSS"]) < 8000, f"resident memory {memory['VmRSS']} kB")
    check.fact(f"daemon: {memory['VmRSS']} kB resident, {memory['RssAnon']} kB of it private, {memory['VmLck']} kB locked, "
               f"{memory['Threads']} threads, {share:.1f} % of the emulated processor, {len(ask(f'ls /proc/{process}/fd').split())} "
               "descriptors")


def check_kill(check):
    """A daemon that dies of a signal is started again, finds its panel again, and removes another build's level file."""
    levels = "/var/rwfs2/log_level.fwstatus.json"
    check.machine.shell.ask(f"sed -i s/5eed/older/ {levels}")
    position, old = check.machine.events.count(), check.daemon()
    check.machine.shell.ask(f"kill -SEGV {old['MainPID']}")
    now = check.wait("restart of the daemon", lambda: check.restarted_daemon(old["MainPID"]), 60)
    check.require(int(now["NRestarts"]) == int(old["NRestarts"]) + 1, f"restarts: {now['NRestarts']}")
    check.wait_for_event("question to the panel", lambda event: event.text == "question", position, 60)
    check.wait_for_event("frame after the restart", lambda event: event.text.startswith("frame"), position, 60)
    check.wait("status file after the restart", check.machine.status, 60)
    check.require(check.machine.shell.run(f"test -e {levels}")[1] != 0, f"{levels} of another build is still there")
    check.fact(f"killed by a signal and started again as process {now['MainPID']}; it asked the panel anew, and a level "
               "file of another build is gone")


def check_late_engine(check):
    """Without an engine the daemon ends and is started again until there is one."""
    check.wait("shell on the unit", lambda: check.machine.shell.run("true", check.limit)[1] == 0)
    check.wait_for_event("end of a daemon without engine",
                         lambda event: event.source == "log" and "fwstatus.service" in event.text and "status=255" in event.text)
    tries = check.wait("restart of a daemon without engine",
                       lambda: int(check.daemon()["NRestarts"]) >= 1 and check.daemon())
    check.machine.shell.ask("systemctl start engine")
    check.wait("daemon after the engine's start", lambda: check.daemon()["ActiveState"] == "active")
    check.wait("status file", check.machine.status)
    check.fact(f"without an engine the daemon ended with status 255 and was started again ({tries['NRestarts']} times "
               "and more); with it it runs")


def check_status_input(check):
    """The level of line 113, driven here, through the kernel's files and through the driver."""
    machine = check.machine
    line = "/sys/class/gpio/gpio113"
    check.wait("line 113 exported by the daemon", lambda: machine.shell.run(f"test -e {line}/value")[1] == 0, 60)
    for level in 1, 0, 1:
        machine.lines.drive(113, level)
        value = machine.shell.ask(f"cat {line}/value")
        check.require(value == str(level), f"line 113 reads {value} when driven to {level}")
        driver = machine.shell.ask("unitctl gpio line")
        check.require(driver == ("on" if level else "off"), f"the driver reads {driver} when line 113 is driven to {level}")
        status = machine.shell.ask("unitctl gpio status")
        check.require(status == ("off" if level else "on"), f"the status is {status} when line 113 is driven to {level}")
    check.fact("line 113, exported by the daemon, reads 1, 0, 1 as driven from outside, by sysfs and by the driver; the "
               "status input is its inverse")


def check_panel_unit(check, fwpush):
    check.wait("status file", check.machine.status)
    check.fact("first status file read over HTTP")
    check_package_and_service(check)
    check_memory(check)
    check_probe(check)
    check_costs(check)
    check_journal(check, [("io::io_lx4s: LX4s driver initialized", 7), ("IO system -- Platform: Expander Model B", 7),
                          ("this is not a page station", 6)])
    check_kill(check)
    check_push(check, fwpush, percentage, lambda event: event.text == "question")
    check_frames(check)


class Glass:
    """Compares an LCD with the status file, as long as something else is waited for."""

    def __init__(self, check):
        self._check, self._machine = check, check.machine
        self.right, self.difference = set(), "nothing was published"

    def look(self):
        status = self._machine.last_status
        if status and status not in self.right:
            self.difference = self._machine.display.difference(status)
            if not self.difference:
                self.right.add(status)

    def require(self, states):
        missing = set(states) - {status.state for status in self.right}
        self._check.require(not missing, f"the glass did not show {', '.join(sorted(missing))} as it was published: "
                                         f"{self.difference or 'otherwise it was right'}")
        right = sorted({int(status.progress) for status in self.right if status.progress.isdigit()})
        self._check.require(len(right) >= 4, f"the glass agreed with the status file on the percentages {right} only")
        self._check.fact(f"the glass agreed with the status file in {', '.join(states)}, on the percentages "
                         f"{', '.join(map(str, right))}")

    def require_now(self, when):
        """What is published now, and stays so, is on the glass."""
        def agrees():
            self.difference = self._machine.display.difference(self._machine.last_status)
            return not self.difference
        try:
            self._check.wait("agreement", agrees, 20)
        except UnitError as error:
            raise UnitError(f"{when} the glass is wrong: {self.difference}" if self.difference else str(error)) from None


def is_lit(event):
    return event.source == "display" and re.match(r"display .*, backlight 127\b", event.text)


def check_lcd_unit(check, fwpush):
    machine, glass = check.machine, Glass(check)
    check.wait("status file", lambda: machine.last_status)
    check_package_and_service(check)
    check_memory(check)
    check.wait_for_event("backlight of the display", is_lit, seconds=60)
    glass.require_now("before the update")
    check_journal(check, FOUND[machine.kind.unit])
    check.fact(f"found and lit: {machine.display.caption}, {machine.display.lights}")
    check.meanwhile = glass.look
    check_push(check, fwpush, bar, is_lit)
    check.meanwhile = lambda: None
    glass.require(UPDATE[1:])
    glass.require_now("after the reboot")
    check.require(not machine.display.misuse, f"the devices were misused: {machine.display.misuse[:3]}")
    check.fact("after the reboot the glass shows what is published; no device was misused")


FOUND = {"base-unit": [("IO system -- Platform: Base Unit", 7), ("front panel revision: 0", 6)],
         "page-station": [("IO system -- Platform: Paging Desk", 7), ("page station initialization", 6),
                          ("keypad controller firmware is up to date", 6)]}


def check_lines_unit(check, _):
    check_late_engine(check)
    check_package_and_service(check)
    check_status_input(check)
    check_journal(check, [("IO system -- Platform: Expander Model C", 7)])


COURSES = {"panel": check_panel_unit, "front-panel": check_lcd_unit, "page-station": check_lcd_unit,
           "lines": check_lines_unit}
