#!/usr/bin/env python3
"""Kills the installed client at each of its system calls, and lets each of them fail, one run for each.

    crash_matrix.py CLIENT [--time SECONDS | --runs NUMBER] [--only TEXT] [--workers 2]

Each run starts from the same files. The undisturbed command tells which calls there are; strace then kills the
program at the n-th call of a kind, asks it to end there, or lets that call fail. The checker judges what is on the
disk; the client has to list exactly what is there; the same command has to work again. Without --time or --runs every
case is run, with them a sample that is spread evenly over all. The order is the same each time. Exit status 0 when no
run was bad, 77 when nothing can be tried here.
"""

import argparse
import collections
import json
import multiprocessing
import os
import random
import signal
import subprocess
import sys
import time

import checker
import scratch
from bench import SKIPPED, Bench, Fault, enter_mounts_of_its_own, why_not
from scenarios import SCENARIOS

# What each call is made to fail with. "+" stands for this call and all later ones of its kind, the way a full disk stays
# full. At every one of them the client is also killed, and at those that change something asked to end.
ERRORS = {
    "openat": ["EMFILE", "EACCES", "EIO", "EINTR"],
    "openat of a new file": ["EMFILE", "EACCES", "EIO", "EINTR", "ENOSPC", "EDQUOT", "EROFS"],
    "read": ["EIO", "EINTR"],
    "pread64": ["EIO"],
    "readlink": ["EIO", "EACCES"],
    "readlinkat": ["EIO", "EACCES"],
    "getdents64": ["EIO"],
    "newfstatat": ["EIO", "EACCES"],
    "fstat": ["EIO"],
    "statx": ["EIO", "EACCES"],
    "faccessat2": ["EIO", "EACCES"],
    "faccessat": ["EIO", "EACCES"],
    "access": ["EIO", "EACCES"],
    "write": ["ENOSPC", "ENOSPC+", "EIO", "EDQUOT", "EINTR"],
    "writev": ["ENOSPC", "ENOSPC+", "EIO", "EDQUOT", "EINTR"],
    "pwrite64": ["ENOSPC", "EIO", "EINTR"],
    "ftruncate": ["EIO", "EINTR"],
    "copy_file_range": ["ENOSPC", "EIO", "EDQUOT", "EINTR", "EXDEV", "ENOSYS"],
    "fsync": ["EIO", "EIO+", "ENOSPC", "EDQUOT", "EINTR"],
    "fdatasync": ["EIO", "ENOSPC", "EINTR"],
    "syncfs": ["EIO"],
    "close": ["EIO", "EINTR"],
    "rename": ["ENOSPC", "EIO", "EACCES", "EROFS", "EROFS+", "EDQUOT"],
    "renameat": ["ENOSPC", "EIO", "EACCES", "EROFS", "EROFS+", "EDQUOT"],
    "renameat2": ["ENOSPC", "EIO", "EACCES", "EROFS", "EROFS+", "EDQUOT", "EINVAL"],
    "mkdir": ["ENOSPC", "ENOSPC+", "EIO", "EACCES", "EROFS", "EDQUOT"],
    "mkdirat": ["ENOSPC", "ENOSPC+", "EIO", "EACCES", "EROFS", "EDQUOT"],
    "unlink": ["EIO", "EACCES", "EROFS"],
    "unlinkat": ["EIO", "EACCES", "EROFS", "EROFS+"],
    "rmdir": ["EIO", "EACCES", "EROFS"],
    "fchmod": ["EIO", "EPERM", "EROFS"],
    "fchmodat": ["EIO", "EPERM", "EROFS"],
    "chmod": ["EIO", "EPERM", "EROFS"],
    "symlinkat": ["ENOSPC", "EIO", "EDQUOT"],
    "linkat": ["ENOSPC", "EIO", "EMLINK"],
    "utimensat": ["EIO", "EACCES", "EROFS"],
    "getrandom": ["ENOSYS"],
    "inotify_init1": ["EMFILE"],
    "inotify_add_watch": ["ENOSPC", "EACCES"],
    "epoll_create1": ["EMFILE"],
    "epoll_ctl": ["ENOSPC"],
    "eventfd2": ["EMFILE"],
    "timerfd_create": ["EMFILE"],
    "clone3": ["EAGAIN"],
}

# Of these nobody notices anything: what was interrupted is repeated, what there is not has something in its place.
HARMLESS = {(call, "EINTR") for call in ("openat", "read", "write", "writev", "fsync", "close",
                                               "copy_file_range")} | {
    ("copy_file_range", "EXDEV"), ("copy_file_range", "ENOSYS"), ("renameat2", "EINVAL"), ("short write", "short")}

# Calls that change nothing on the disk.
READING = ("openat", "read", "pread64", "readlink", "readlinkat", "getdents64", "newfstatat", "fstat", "statx", "access",
           "faccessat", "faccessat2", "close")

# Commands that finish what they are at when they are asked to end.
FINISHING = ("subscribe", "remove", "move", "import", "upgrade", "remove-all")

# Calls by which a left-over is found and removed: when one of them fails, it may stay.
CLEANING = ("unlink", "unlinkat", "rmdir", "openat", "getdents64", "newfstatat", "statx")

Case = collections.namedtuple("Case", "scenario fault")


def faults_of(bench):
    """All faults that are tried on a scenario."""
    writes = 0
    for kind, number in bench.calls():
        call = kind.split(" ")[0]
        writes += call in ("write", "writev", "copy_file_range")
        if kind in ERRORS:
            for error in ["KILL", *ERRORS[kind], *(["TERM"] if kind not in READING else [])]:
                yield Fault(call, number, error)
    # Number 0 is all of them.
    for number in range(writes + 1):
        yield Fault("short write", number, "short")


def examine(bench, fault):
    """Runs the command with a fault. Whether it happened, what is wrong, how many left-overs there are."""
    bench.reset()
    fired, (status, _, errors) = bench.run(fault)
    seen = scratch.snapshot(bench.machine.root)
    if not fired:
        return False, [], 0
    complaints = []
    message = errors.decode(errors="replace")[-300:]
    is_killed = (status, fault.kind) in ((-9, "KILL"), (-15, "TERM"))
    is_persistent = fault.kind.endswith("+")
    is_harmless = (fault.call, fault.kind) in HARMLESS
    ending = "killed" if is_killed else "done" if status == 0 else "failed"
    faulty = "" if fault.kind in ("KILL", "TERM") or is_harmless else "reading" if fault.call in READING else "writing"
    if status is None:
        complaints.append("hangs")
    elif status == 2 and bench.scenario.tolerant and faulty == "reading":
        pass  # A folder that is named on the command line could not be looked at.
    elif not is_killed and status not in (0, 1):
        complaints.append(f"ends with {status}: {message}")
    # When all writes fail, the message is not written either.
    if status == 1 and "moxsubscribe: " not in message and not (fault.call == "write" and is_persistent):
        complaints.append("fails without a message")
    found, leftovers = bench.judge.judge(seen, ending, faulty, is_persistent)
    complaints += found
    # What is printed goes through the standard library, which does not repeat. Then everything is done but told.
    is_told = "standard output: cannot be written" not in message
    if is_harmless and ((ending != "done" and is_told) or bench.judge.core(seen) != bench.judge.core_after):
        complaints.append(f"is not as without the fault: {ending}, {message}")
    if faulty == "reading":
        # An entry that cannot be read is not known to be ours, and stays.
        leftovers = {path for path in leftovers if not path.startswith(checker.DESKTOP)}
    if fault.kind == "TERM" and bench.scenario.command[2] in FINISHING:
        may_leave = False
        if not bench.judge.has_whole_stubs(seen):
            complaints.append("leaves a stub that it was at")
    else:
        may_leave = is_killed or fault.call in CLEANING or is_persistent
    if leftovers and not may_leave:
        complaints.append(f"leaves {sorted(leftovers)}")
    if status is not None:
        complaints += complaints_about_next_run(bench, seen)
    return True, complaints, len(leftovers)


def complaints_about_next_run(bench, seen):
    """What is wrong with what following clients say and do."""
    complaints = []
    scenario, judge, machine = bench.scenario, bench.judge, bench.machine
    status, output, errors = machine.run(["--model", scenario.model, "list", "--recursive", "--json", ""])
    wanted = checker.listing(checker.split_leftovers(seen)[0], scenario.model, machine.root)
    if status != 0:
        complaints.append(f"cannot be listed: {status}, {errors.decode(errors='replace')[-300:]}")
    elif sorted(json.loads(output)) != wanted:
        complaints.append(f"lists {json.loads(output)} instead of {wanted}")
    # The first client of all makes an empty store.
    if checker.STORE in seen or scenario.model == "bundle":
        if scratch.snapshot(machine.root) != seen:
            complaints.append("listing changes something")

    status, _, errors = machine.run(scenario.command)
    again = scratch.snapshot(machine.root)
    core, core_again = judge.core(seen), judge.core(again)
    message = errors.decode(errors="replace")[-300:]
    if core == judge.core_before:
        if status != 0 or core_again != judge.core_after:
            complaints.append(f"does not work afterwards: {status}, {message}")
        # Not as for a success: what the first run left is still there.
        complaints += [f"afterwards: {complaint}" for complaint in judge.judge(again, "killed", "")[0]]
    elif core == judge.core_after:
        if status != bench.status_of_again or core_again != bench.core_of_again:
            complaints.append(f"the second run is not as ever: {status}, {message}")
    elif status not in (0, 1):
        complaints.append(f"the second run ends with {status}, {message}")
    for path, entry in bench.before.items():
        if entry == bench.after.get(path) == bench.again.get(path) != again.get(path) and not judge.is_touched(path):
            complaints.append(f"the second run changes {path}")
    return complaints


def work(benches, cases, deadline, results, is_interrupted):
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_IGN)  # The parent tells.
    for case in cases:
        if is_interrupted.is_set():
            results.cancel_join_thread()
            return
        if deadline is not None and time.monotonic() > deadline:
            break
        try:
            results.put((case, *examine(benches[case.scenario], case.fault)))
        except Exception as error:  # The others go on, and this one is told as bad.
            results.put((case, True, [f"the check itself failed: {error!r}"], 0))
    results.put(None)


def shares_of(cases, workers):
    """The cases in as many lists, of about the same length. A scenario has one machine, so all of its cases are in
    one list."""
    shares = [[] for _ in range(workers)]
    owners = {}
    for scenario, _ in collections.Counter(case.scenario for case in cases).most_common():
        owners[scenario] = min(shares, key=len)
        owners[scenario] += [case for case in cases if case.scenario == scenario]
    # In the order of before, so that a share that is cut short is a sample of all of it.
    return [[case for case in cases if owners[case.scenario] is share] for share in shares]


def run_all(benches, cases, workers, deadline):
    results = multiprocessing.Queue()
    is_interrupted = multiprocessing.Event()
    processes = [multiprocessing.Process(target=work, args=(benches, share, deadline, results, is_interrupted))
                 for share in shares_of(cases, workers)]
    for process in processes:
        process.start()
    running = len(processes)
    try:
        while running:
            result = results.get()
            if result is None:
                running -= 1
            else:
                yield result
    finally:
        # When this one is interrupted, nobody may go on writing to what is then removed.
        is_interrupted.set()
        for process in processes:
            process.join()


def table(rows):
    widths = [max(len(str(row[column])) for row in rows) for column in range(len(rows[0]))]
    for row in rows:
        cells = [str(cell).ljust(width) if not index else str(cell).rjust(width)
                 for index, (cell, width) in enumerate(zip(row, widths))]
        print("  ".join(cells).rstrip())


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("client")
    parser.add_argument("--time", type=float)
    parser.add_argument("--runs", type=int)
    parser.add_argument("--only", default="")
    parser.add_argument("--workers", type=int, default=2)
    options = parser.parse_args()

    reason = why_not()
    if reason:
        print(f"skipped: {reason}")
        return SKIPPED
    can_mount = enter_mounts_of_its_own()
    started = time.monotonic()
    with scratch.folder() as root:
        client = scratch.client_in(root, options.client)
        library = os.path.join(root, "short_write.so")
        source = os.path.join(os.path.dirname(os.path.abspath(__file__)), "short_write.c")
        subprocess.run(["cc", "-shared", "-fPIC", "-O2", "-Wall", "-Werror", "-o", library, source, "-ldl"], check=True)
        benches, cases = {}, []
        for index, scenario in enumerate(SCENARIOS):
            if "distant" in scenario.name and not can_mount:
                print(f"left out: {scenario.name}: this user may not mount")
                continue
            if options.only in scenario.name:
                place = os.path.join(root, str(index))
                benches[index] = Bench(client, place, place + ".log", scenario, library)
                cases += [Case(index, fault) for fault in faults_of(benches[index])]
        planned = len(cases)
        random.Random(1).shuffle(cases)
        if options.runs:
            cases = cases[:options.runs]
        deadline = started + options.time if options.time else None
        return report(run_all(benches, cases, options.workers, deadline), planned, started)


def report(results, planned, started):
    runs, bad, leftovers = collections.Counter(), collections.Counter(), 0
    calls = collections.Counter()
    unfired, shown = 0, 0
    for case, fired, complaints, count in results:
        if not fired:
            unfired += 1
            continue
        key = (case.scenario, case.fault.kind)
        runs[key] += 1
        calls[case.fault.call] += 1
        leftovers += count
        if complaints:
            bad[key] += 1
            if shown < 200:
                print(f"BAD {SCENARIOS[case.scenario].name}: {case.fault.call} {case.fault.number} {case.fault.kind}")
                for complaint in complaints:
                    print(f"    {complaint}", flush=True)
                shown += 1
    faults = ["KILL", "TERM", "short", *sorted({fault for _, fault in runs} - {"KILL", "TERM", "short"})]
    rows = [["runs, by command and fault", *faults, "all", "bad"]]
    for index, scenario in enumerate(SCENARIOS):
        here = [runs[index, fault] for fault in faults]
        if sum(here):
            rows.append([scenario.name, *here, sum(here), sum(bad[index, fault] for fault in faults)])
    total, bad_total = sum(runs.values()), sum(bad.values())
    rows.append(["all", *(sum(count for (_, each), count in runs.items() if each == fault) for fault in faults),
                 total, bad_total])
    table(rows)
    print("by call: " + ", ".join(f"{call} {count}" for call, count in calls.most_common()))
    print(f"{total} runs of {planned} planned in {time.monotonic() - started:.0f} s, {bad_total} bad; "
          f"{leftovers} left-overs, {unfired} runs in which the fault did not happen")
    return 1 if bad_total or not total else 0


if __name__ == "__main__":
    sys.exit(main())
