#!/usr/bin/env python3
"""Runs the installed client where the system really refuses: a full disk, a read-only home, the home of another user.

    real_limits.py small-disk|read-only|without-rights CLIENT

Every command of scenarios.py is run. What it tells and what is on the disk have to be right. Exit status 0 when all
was, 77 when it cannot be tried here.
"""

import json
import os
import re
import shutil
import stat
import subprocess
import sys

import checker
import scratch
from bench import SKIPPED, Bench, enter_mounts_of_its_own, why_not
from scenarios import SCENARIOS

PAGE = os.sysconf("SC_PAGE_SIZE")
NOBODY = 65534


class Result:
    """One run: how it ended, what it said, and what is wrong."""

    def __init__(self, bench, prefix=()):
        self.status, output, errors = bench.machine.run(bench.scenario.command, prefix)
        self.text = (output + errors).decode(errors="replace")
        self.complaints = []
        if self.status not in (0, 1):
            self.complaints.append(f"ends with {self.status}")

    def expect(self, is_right, otherwise):
        if not is_right:
            self.complaints.append(otherwise)


def message_of(scenario, model_messages):
    """What a command that is refused has to tell."""
    command = scenario.command[2]
    return model_messages["dictionary" if scenario.model == "dictionary" else command]


def without_paths(text, bench):
    return text.replace(bench.machine.root, "").strip().replace("\n", " | ")[:150]


def expect_listing(result, bench, prefix=()):
    """A client lists exactly what is there, and leaves it at that."""
    before = scratch.snapshot(bench.machine.root)
    status, output, errors = bench.machine.run(
        ["--model", bench.scenario.model, "list", "--recursive", "--json", ""], prefix)
    result.expect(status == 0, f"cannot be listed: {errors.decode(errors='replace')}")
    if status == 0:
        wanted = checker.listing(before, bench.scenario.model, bench.machine.root)
        result.expect(sorted(json.loads(output)) == wanted, f"lists {output.decode()} instead of {wanted}")
    result.expect(scratch.snapshot(bench.machine.root) == before, "listing changes something")


# --- a full disk ---

SAVE_FAILED = r"^moxsubscribe: save .*/Subscriptions\.plist: the change did not reach this file: it could not be written"
STUB_FAILED = r"com\.korvan\.MOXSubscribe\.ErrorDomain (2004|2006|2007): "
FULL_DISK = {"dictionary": SAVE_FAILED, "subscribe": STUB_FAILED, "import": STUB_FAILED,
             "upgrade": r": failed: " + STUB_FAILED}
# These need no room, so that a full disk can be tidied up.
NEED_NO_ROOM = {"remove", "remove-all", "move", "rename-folder", "remove-folder"}


def fill(place, pages):
    """Leaves so many pages free."""
    free = lambda: os.statvfs(place).f_bfree
    size = os.statvfs(place).f_blocks - free() + pages
    subprocess.run(["mount", "-o", f"remount,size={size * PAGE}", place], check=True)
    if free() != pages:
        raise RuntimeError(f"{free()} pages are free instead of {pages}")


def enlarge(place):
    subprocess.run(["mount", "-o", "remount,size=64m", place], check=True)


def try_with_room(bench, place, pages):
    enlarge(place)
    bench.reset()
    fill(place, pages)
    result = Result(bench)
    seen = scratch.snapshot(bench.machine.root)
    ending = "done" if result.status == 0 else "failed"
    complaints, leftovers = bench.judge.judge(seen, ending, "writing", persistent=True)
    result.complaints += complaints
    result.expect(not leftovers, f"leaves {sorted(leftovers)}")
    if result.status == 1:
        expected = message_of(bench.scenario, FULL_DISK)
        result.expect(re.search(expected, result.text, re.MULTILINE),
                      f"does not tell {expected}, but {result.text}")
    if checker.STORE in seen or bench.scenario.model == "bundle":
        expect_listing(result, bench)
    enlarge(place)
    if bench.judge.core(seen) == bench.judge.core_before:
        again = Result(bench)
        result.expect(again.status == 0 and bench.judge.core(scratch.snapshot(bench.machine.root)) ==
                      bench.judge.core_after, f"does not work once there is room: {again.text}")
    return result


def small_disk(client, folder):
    """Each command with every number of free pages, from none to as many as it takes."""
    place = os.path.join(folder, "disk")
    os.mkdir(place)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64m", "none", place], check=True)
    runs = bad = 0
    print(f"{'command':45}{'failed':>7}{'done':>6}  room, and what a failure tells")
    for number, scenario in enumerate(SCENARIOS):
        if "distant" in scenario.name:
            continue
        bench = Bench(client, os.path.join(place, str(number)), os.path.join(folder, "log"), scenario)
        failed = done = 0
        enough, told = None, ""
        # As much as the whole result is certainly enough; two pages more show that it stays so.
        limit = sum(-(-len(entry[2]) // PAGE) for entry in bench.after.values() if entry[0] == "f") + 64
        for pages in range(limit):
            result = try_with_room(bench, place, pages)
            runs += 1
            failed += result.status == 1
            done += result.status == 0
            told = told or (result.status == 1 and without_paths(result.text, bench)) or ""
            if result.status == 0 and enough is None:
                enough = pages
            if result.status == 1 and scenario.model == "bundle" and scenario.command[2] in NEED_NO_ROOM:
                result.complaints.append("fails though it needs no room")
            if result.complaints:
                bad += 1
                print(f"BAD {scenario.name} with {pages} pages: {result.complaints}")
            seen = bench.judge.core(scratch.snapshot(bench.machine.root))
            if enough is not None and pages >= enough + 2 and result.status == 0 and seen == bench.judge.core_after:
                break
        else:
            bad += 1
            print(f"BAD {scenario.name} never succeeds")
        print(f"{scenario.name:45}{failed:7}{done:6}  {enough} pages; {told}")
        enlarge(place)
        shutil.rmtree(bench.machine.root)
    print(f"{runs} runs, {bad} bad")
    return bad


# --- a read-only home, and no rights ---

FRAMEWORK = r"com\.korvan\.MOXSubscribe\.ErrorDomain "
SYSTEM = r"^moxsubscribe: NSCocoaErrorDomain {}: .*: /.*/Applications/"
REFUSED = {
    "dictionary": SAVE_FAILED,
    "subscribe": "^moxsubscribe: " + FRAMEWORK + "(2003|2004|2006): .*: /.*/Applications/",
    "import": 'skipped "Calculator": .*' + FRAMEWORK + "2003: ",
    "move": SYSTEM,
    "remove": SYSTEM,
    "remove-all": "^moxsubscribe: remove",
    "create-folder": "^moxsubscribe: " + FRAMEWORK + "2003: ",
    "rename-folder": SYSTEM,
    "remove-folder": SYSTEM,
    "upgrade": ": failed: " + FRAMEWORK + "2004: ",
}


def try_refused(bench, code, prefix=()):
    """A command that is refused changes nothing, and says so. `code` is the system's error for the refusal."""
    before = scratch.snapshot(bench.machine.root)
    result = Result(bench, prefix)
    changed = checker.differing(before, scratch.snapshot(bench.machine.root))
    result.expect(not changed, f"changes {changed[:5]}")
    result.expect(result.status == 1, f"ends with {result.status}: {result.text}")
    expected = message_of(bench.scenario, REFUSED).format(code)
    result.expect(re.search(expected, result.text, re.MULTILINE), f"does not tell {expected}, but {result.text}")
    if checker.STORE in before or bench.scenario.model == "bundle":
        expect_listing(result, bench, prefix)
    return result


def report_refused(bench, result):
    if result.complaints:
        print(f"BAD {bench.scenario.name}: {result.complaints}")
    print(f"{bench.scenario.name:45}{without_paths(result.text, bench)}")
    return bool(result.complaints)


def read_only(client, folder):
    bad = 0
    for number, scenario in enumerate(SCENARIOS):
        bench = Bench(client, os.path.join(folder, str(number)), os.path.join(folder, "log"), scenario)
        bench.reset()
        home = bench.machine.home
        subprocess.run(["mount", "--bind", home, home], check=True)
        subprocess.run(["mount", "-o", "remount,bind,ro", home], check=True)
        bad += report_refused(bench, try_refused(bench, 642))
        subprocess.run(["umount", home], check=True)
    print(f"{len(SCENARIOS)} commands, {bad} bad")
    return bad


def take_rights(root):
    """Nobody but root may write, and everybody may read."""
    for folder, _, files in os.walk(root):
        for path in [folder, *(os.path.join(folder, name) for name in files)]:
            if not os.path.islink(path):
                mode = stat.S_IMODE(os.stat(path).st_mode)
                os.chmod(path, (mode | 0o444 | (0o111 if mode & 0o100 else 0)) & ~0o222)


def give_rights(root):
    """Lets the folder be removed again."""
    os.chmod(root, 0o700)
    for folder, folders, _ in os.walk(root):
        for name in folders:
            if not os.path.islink(os.path.join(folder, name)):
                os.chmod(os.path.join(folder, name), 0o700)


def without_rights(client, folder, as_other_user):
    os.chmod(folder, 0o755)
    runs = bad = 0
    for number, scenario in enumerate(SCENARIOS):
        if "distant" in scenario.name:
            continue
        bench = Bench(client, os.path.join(folder, str(number)), os.path.join(folder, "log"), scenario)
        bench.reset()
        take_rights(bench.machine.home)
        os.chmod(os.path.join(bench.machine.root, "tmp"), 0o1777)
        bad += report_refused(bench, try_refused(bench, 513, as_other_user))
        runs += 1
        give_rights(bench.machine.home)
    bad += unreadable_store(client, folder, as_other_user)
    print(f"{runs + 1} commands, {bad} bad")
    return bad


def unreadable_store(client, folder, as_other_user):
    """A store that may not be read in a folder that may be written: it is not taken for a missing one."""
    scenario = next(each for each in SCENARIOS if each.name == "dictionary: subscribe")
    bench = Bench(client, os.path.join(folder, "unreadable"), os.path.join(folder, "log"), scenario)
    bench.reset()
    store = bench.machine.store
    os.chmod(store, 0)
    for path, _, _ in os.walk(bench.machine.home):
        os.chmod(path, 0o777)
    before = scratch.snapshot(bench.machine.root) if os.geteuid() == 0 else None
    result = Result(bench, as_other_user)
    if before is None:
        os.chmod(store, 0o600)
        with open(store, "rb") as file:
            result.expect(file.read() == bench.before[checker.STORE][2], "the store was changed")
    else:
        result.expect(scratch.snapshot(bench.machine.root) == before, "something was changed")
    result.expect(result.status == 1, f"ends with {result.status}")
    result.expect(store in result.text, f"does not name the store: {result.text}")
    if result.complaints:
        print(f"BAD a store that may not be read: {result.complaints}")
    print(f"{'a store that may not be read':45}{without_paths(result.text, bench)}")
    return bool(result.complaints)


def main():
    step, client = sys.argv[1], os.path.abspath(sys.argv[2])
    reason = why_not()
    as_other_user = []
    # Who maps himself to root to mount, has rights again.
    if not reason and step != "without-rights" and not enter_mounts_of_its_own():
        reason = "this user may not mount"
    if not reason and step == "without-rights" and os.geteuid() == 0:
        as_other_user = [shutil.which("setpriv"), f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"]
        if subprocess.run([*as_other_user, client, "--version"], capture_output=True).returncode != 0:
            reason = "another user cannot run the client here"
    if reason:
        print(f"skipped: {reason}")
        return SKIPPED
    with scratch.folder() as folder:
        if step == "small-disk":
            bad = small_disk(client, folder)
        elif step == "read-only":
            bad = read_only(client, folder)
        else:
            bad = without_rights(client, folder, as_other_user)
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
