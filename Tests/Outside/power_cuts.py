#!/usr/bin/env python3
"""Cuts the power while the installed client saves and upgrades, on a real ext4 file system.

    power_cuts.py CLIENT [--time SECONDS] [--cuts NUMBER]

The file system is in a file. A cut is its own shutdown call, which drops everything that is not yet on the disk; then
it is mounted again, its journal is replayed, and the checker judges what is there. The power is cut after each call
that changes something, once as it is and once after another program has synchronised a file of its own, by which the
journal is written but not our data; and NUMBER times at a random instant for each command, with another program that
synchronises all the time. ext4's guesses for programs that do not synchronise are switched off.

The proof that this would find something are two controls: a save and an upgrade without any synchronising, which have
to be found bad. Exit status 0 when no cut was bad and the controls were, 77 when nothing can be tried here.
"""

import argparse
import collections
import ctypes
import fcntl
import os
import random
import shutil
import signal
import struct
import subprocess
import sys
import time

import checker
import scratch
from bench import SKIPPED, STRACE, Bench, enter_mounts_of_its_own, why_not
from scenarios import SCENARIOS

NAMES = ("dictionary: subscribe", "dictionary: import", "bundle: upgrade of one", "bundle: upgrade of all, used Trash")
CHANGING = {"openat of a new file", "write", "writev", "fsync", "fdatasync", "syncfs", "fchmod", "rename", "renameat", "renameat2",
            "mkdir", "mkdirat", "copy_file_range", "unlink", "unlinkat", "symlinkat", "linkat", "ftruncate", "close"}
CUTS_OF_A_CONTROL = 20

SHUTDOWN = 0x8004587D  # EXT4_IOC_SHUTDOWN
WITHOUT_WRITING_THE_JOURNAL = 2

Cut = collections.namedtuple("Cut", "scenario call number committed")


class Disk:
    """An ext4 file system in a file."""

    def __init__(self, folder):
        self.image = os.path.join(folder, "disk.img")
        self.place = os.path.join(folder, "disk")
        os.mkdir(self.place)
        with open(self.image, "wb") as image:
            image.truncate(64 << 20)
        subprocess.run(["mkfs.ext4", "-q", "-F", "-J", "size=4", self.image], check=True)
        self.mount()

    def mount(self):
        subprocess.run(["mount", "-o", "loop,noauto_da_alloc", self.image, self.place], check=True, capture_output=True)

    def unmount(self):
        for _ in range(200):
            if subprocess.run(["umount", self.place], capture_output=True).returncode == 0:
                return
            time.sleep(0.01)  # A process that was killed is still being taken apart.
        raise RuntimeError("the disk stays in use")

    def call(self, function):
        descriptor = os.open(self.place, os.O_RDONLY)
        try:
            return function(descriptor)
        finally:
            os.close(descriptor)

    def synchronise(self):
        libc = ctypes.CDLL(None, use_errno=True)
        if self.call(libc.syncfs) != 0:
            raise OSError(ctypes.get_errno(), "syncfs")

    def commit(self):
        """What another program does that saves a file with care."""
        with open(os.path.join(self.place, "neighbour"), "wb") as file:
            file.write(os.urandom(100))
            os.fsync(file.fileno())

    def cut(self):
        self.call(lambda descriptor: fcntl.ioctl(descriptor, SHUTDOWN, struct.pack("I", WITHOUT_WRITING_THE_JOURNAL)))

    def restart(self):
        self.unmount()
        self.mount()


class Neighbour:
    """A process that synchronises a file of its own all the time."""

    def __init__(self, disk):
        self.process = os.fork()
        if self.process == 0:
            try:
                while True:
                    disk.commit()
            finally:
                os._exit(0)

    def end(self):
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)


def start(bench, prefix=()):
    machine = bench.machine
    return subprocess.Popen([*prefix, machine.client, *bench.scenario.command], cwd=machine.root,
                            env=machine.environment(), start_new_session=True, stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def end(process):
    if process.poll() is None:
        os.killpg(process.pid, signal.SIGKILL)
    process.wait()


def cut_after_call(bench, disk, cut):
    """Stops the client after a call, and cuts the power. How it had ended by then."""
    open(bench.log, "w").close()
    call = cut.call.split(" ")[0]
    process = start(bench, [STRACE, "-f", "-q", "-o", bench.log, "-e", "trace=" + call,
                            "-e", f"inject={call}:signal=STOP:when={cut.number}"])
    deadline = time.monotonic() + scratch.LONGEST_RUN
    while process.poll() is None:
        with open(bench.log, errors="replace") as log:
            if "--- stopped by SIGSTOP" in log.read():
                break
        if time.monotonic() > deadline:
            end(process)
            raise RuntimeError("the client did not come to the call")
        time.sleep(0.001)
    if cut.committed:
        disk.commit()
    ending = "done" if process.poll() == 0 else "killed"
    disk.cut()
    end(process)
    return ending


def cut_at_instant(bench, disk, duration, chance):
    """Cuts the power at a random instant. How the client had ended by then."""
    neighbour = Neighbour(disk)
    process = start(bench)
    time.sleep(chance.uniform(0, 1.2 * duration))
    ending = "done" if process.poll() == 0 else "killed"
    disk.cut()
    end(process)
    neighbour.end()
    return ending


def save_carelessly(bench):
    """What the client does, without synchronising."""
    store = os.path.join(bench.machine.root, checker.STORE)
    scratch.write(store + ".new", bench.after[checker.STORE][2], 0o600)
    os.rename(store + ".new", store)


def upgrade_carelessly(bench):
    inside = lambda *names: os.path.join(bench.machine.root, *names)
    stub = bench.judge.touched[0]
    for folder in ("", "files", "info"):
        os.mkdir(inside(checker.TRASH, folder), 0o700)
    staged = inside(checker.APPLICATIONS, ".mox-" + "0" * 32)
    os.mkdir(staged)
    scratch.restore(staged, {path: entry for path, entry in bench.judge.new[stub].items() if path}, {})
    scratch.write(inside(checker.TRASH, "info/Writer.app.trashinfo"),
                  b"[Trash Info]\nPath=" + inside(stub).encode() + b"\nDeletionDate=2024-01-02T03:04:05\n", 0o600)
    os.rename(inside(stub), inside(checker.TRASH, "files/Writer.app"))
    os.rename(staged, inside(stub))


CONTROLS = {"dictionary: subscribe": save_carelessly, "bundle: upgrade of one": upgrade_carelessly}


class Cutter:
    def __init__(self, client, folder):
        self.disk = Disk(folder)
        client = scratch.client_in(self.disk.place, client)
        self.benches = {}
        for scenario in SCENARIOS:
            if scenario.name in NAMES:
                place = os.path.join(self.disk.place, str(len(self.benches)))
                bench = Bench(client, place, os.path.join(folder, "log"), scenario)
                bench.judge.is_power_cut = True
                self.benches[scenario.name] = bench
        self.durations = {name: self.duration(bench) for name, bench in self.benches.items()}

    def duration(self, bench):
        took = []
        for _ in range(3):
            bench.reset()
            started = time.monotonic()
            start(bench).wait()
            took.append(time.monotonic() - started)
        return sorted(took)[1]

    def cuts(self, number_of_instants):
        for name, bench in self.benches.items():
            for kind, number in bench.calls():
                if kind in CHANGING:
                    yield Cut(name, kind, number, False)
                    yield Cut(name, kind, number, True)
            yield from [Cut(name, "end", None, False)] * 5
            yield from [Cut(name, "instant", None, True)] * number_of_instants

    def try_it(self, name, cut_power):
        """Cuts the power once; what there is afterwards, and what is wrong with it."""
        bench = self.benches[name]
        bench.reset()
        self.disk.synchronise()
        ending = cut_power(bench)
        self.disk.restart()
        seen = scratch.snapshot(bench.machine.root)
        complaints, _ = bench.judge.judge(seen, ending, "")
        core = bench.judge.core(seen)
        found = "old" if core == bench.judge.core_before else "new" if core == bench.judge.core_after else "between"
        return found, ending, complaints

    def try_cut(self, cut, chance):
        if cut.call == "instant":
            return self.try_it(cut.scenario, lambda bench: cut_at_instant(
                bench, self.disk, self.durations[cut.scenario], chance))
        if cut.call == "end":
            return self.try_it(cut.scenario, self.cut_after_the_end)
        return self.try_it(cut.scenario, lambda bench: cut_after_call(bench, self.disk, cut))

    def cut_after_the_end(self, bench):
        bench.machine.require(*bench.scenario.command)
        self.disk.cut()
        return "done"

    def try_control(self, name):
        """The complaints about a careless program, of each cut."""
        bench = self.benches[name]
        bench.reset()
        CONTROLS[name](bench)
        complaints, _ = bench.judge.judge(scratch.snapshot(bench.machine.root), "killed", "")
        if complaints:
            raise RuntimeError(f"control, {name}: bad without a cut too: {complaints}")

        def act_and_cut(bench):
            CONTROLS[name](bench)
            self.disk.commit()
            self.disk.cut()
            return "killed"

        return [self.try_it(name, act_and_cut)[2] for _ in range(CUTS_OF_A_CONTROL)]


def why_no_cuts():
    if os.geteuid() != 0:
        return "only root may mount a file system that is in a file"
    if not shutil.which("mkfs.ext4"):
        return "mkfs.ext4 is not installed"
    return why_not()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("client")
    parser.add_argument("--time", type=float)
    parser.add_argument("--cuts", type=int, default=100)
    options = parser.parse_args()
    reason = why_no_cuts()
    if not reason and not enter_mounts_of_its_own():
        reason = "this user may not mount"
    if reason:
        print(f"skipped: {reason}")
        return SKIPPED
    started = time.monotonic()
    with scratch.folder() as folder:
        try:
            disk = Disk(folder)
            disk.cut()
            disk.unmount()
        except (subprocess.CalledProcessError, OSError) as error:
            print(f"skipped: no ext4 file system in a file here: {error} {getattr(error, 'stderr', b'') or b''}")
            return SKIPPED
        os.rmdir(disk.place)
        cutter = Cutter(options.client, folder)
        chance = random.Random(1)
        cuts = list(cutter.cuts(options.cuts))
        chance.shuffle(cuts)
        results = []
        for cut in cuts:
            if options.time and time.monotonic() - started > options.time:
                break
            found, ending, complaints = cutter.try_cut(cut, chance)
            results.append((cut, found, ending, bool(complaints)))
            if complaints:
                print(f"BAD {cut.scenario}: {cut.call} {cut.number}{' committed' if cut.committed else ''} ({ending})")
                for complaint in complaints:
                    print(f"    {complaint}", flush=True)
        controls = {name: cutter.try_control(name) for name in CONTROLS}
        cutter.disk.unmount()
    return report(results, controls, len(cuts), time.monotonic() - started)


def report(results, controls, planned, seconds):
    print(f"{'cuts':45}{'old':>7}{'new':>7}{'between':>9}{'after success':>15}{'all':>7}{'bad':>6}")
    kinds = (("after each call", lambda cut: cut.call not in ("instant", "end") and not cut.committed),
             ("the same, journal written", lambda cut: cut.call not in ("instant", "end") and cut.committed),
             ("at random instants", lambda cut: cut.call == "instant"),
             ("after its end", lambda cut: cut.call == "end"))
    for name in NAMES:
        print(name)
        for title, belongs in kinds:
            rows = [row for row in results if row[0].scenario == name and belongs(row[0])]
            count = lambda test: sum(map(test, rows))
            print(f"  {title:43}{count(lambda row: row[1] == 'old'):7}{count(lambda row: row[1] == 'new'):7}"
                  f"{count(lambda row: row[1] == 'between'):9}{count(lambda row: row[2] == 'done'):15}"
                  f"{len(rows):7}{count(lambda row: row[3]):6}")
    for name, cuts in controls.items():
        found = [complaints[0] for complaints in cuts if complaints]
        print(f"control, {name} without synchronising: {len(found)} of {len(cuts)} cuts found bad, as it must be"
              f"{': ' + found[0] if found else ''}")
    bad = sum(row[3] for row in results)
    print(f"{len(results)} cuts of {planned} planned in {seconds:.0f} s, {bad} bad")
    return 0 if results and not bad and all(any(cuts) for cuts in controls.values()) else 1


if __name__ == "__main__":
    sys.exit(main())
