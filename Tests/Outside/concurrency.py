#!/usr/bin/env python3
"""Lets several installed clients work on one store, one applications folder and one set of old stubs at once.

    concurrency.py CLIENT [--time SECONDS]

Two clients at a time, then eight; each works through commands of its own without a pause. All the while every file is
read: it has to be whole at every instant, and a stub that is upgraded the complete old one, a complete new one, or in
the Trash. In the end nothing may be left over, nothing of others changed, and one more client has to find everything
in order. --time is for all trials together (60). Exit status 0 when nothing was found.
"""

import argparse
import collections
import contextlib
import functools
import multiprocessing
import os
import plistlib
import random
import sys
import time

import checker
import scenarios
import scratch
from bench import templates_of

NAMES = ("One", "Two", "Three")
FOLDERS = ("Office", "Home")


def dictionary_command(choice):
    name, other = choice.sample(NAMES, 2)
    folder, far = choice.sample(FOLDERS, 2)
    return choice.choice([
        scenarios.subscribe(name, folder, "Fleet:" + name, "application", *scenarios.ICON),
        ["move", f"{folder}/{name}", f"{far}/{other}"],
        ["remove", f"{folder}/{name}"],
        ["remove-all", "--resource", "Fleet:" + name, "--store", "Fleet"],
        ["create-folder", f"{folder}/Inner"],
        ["rename-folder", f"{folder}/Inner", f"{folder}/Renamed"],
        ["list"],
    ])


def bundle_command(choice):
    name, other = choice.sample(NAMES, 2)
    folder, far = choice.sample(FOLDERS, 2)
    subscribe = scenarios.subscribe(name, folder, "Fleet:" + name, "application", *scenarios.ICON,
                                    "--file-type", "Kind:.zzn:New document")
    return choice.choice([
        subscribe, subscribe,
        ["move", f"{folder}/{name}.app", f"{far}/{other}.app"],
        ["remove", f"{folder}/{name}.app"],
        ["create-folder", f"{folder}/Inner"],
        ["rename-folder", f"{folder}/Inner", f"{far}/Renamed"],
        ["remove-folder", f"{folder}/Inner"],
        ["list"],
    ])


def upgrade_command(choice):
    return ["upgrade", *scenarios.ICON]


def work(machine, model, command, number, deadline, results):
    """Runs one command, and more until the deadline; counts how they ended."""
    choice = random.Random(number)
    endings = collections.Counter()
    while not endings or time.monotonic() < deadline:
        arguments = command(choice)
        status, _, errors = machine.run(["--model", model, *arguments])
        endings[status] += 1
        if status not in (0, 1):
            results.put(([f"{arguments} ended with {status}: {errors.decode(errors='replace')}"], endings))
            return
    results.put(([], endings))


def content_at(path):
    """The bytes of a file, or None where it is gone meanwhile."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except (FileNotFoundError, NotADirectoryError):
        return None


class StoreWatch:
    """Reads the store again and again: it is always there, and every version of it is sound."""

    def __init__(self, machine):
        self.machine = machine
        self.versions = set()
        self.reads = 0

    def look(self):
        self.reads += 1
        content = content_at(self.machine.store)
        if content is None:
            return ["the store is gone"]
        if content in self.versions:
            return []
        self.versions.add(content)
        try:
            entries, folders = checker.entries_of(content)
        except Exception as error:  # As in the checker.
            return [f"a version of the store is damaged ({len(content)} bytes): {error!r}"]
        return [f"the entry {path} is not whole" for path, entry in entries.items()
                if not {"cloneName", "Korvan Server Unique Application Name", "Store Name"} <= entry.keys()]

    def final(self):
        return self.look()

    def figures(self):
        return f"{self.reads} reads, {len(self.versions)} versions"


class FolderWatch:
    """Reads every file in the applications folder again and again."""

    def __init__(self, machine):
        self.machine = machine
        self.reads = 0
        self.versions = set()

    def look(self):
        complaints = []
        for folder, folders, files in os.walk(self.machine.applications):
            # A copy that is on its way is nobody's yet, and one of these is no stub.
            folders[:] = [name for name in folders if not checker.LEFTOVER.fullmatch(name) and name != "My Own.app"]
            for name in files:
                path = os.path.join(folder, name)
                content = None if checker.LEFTOVER.fullmatch(name) else content_at(path)
                if content is None:
                    continue
                self.reads += 1
                self.versions.add((name, content))
                complaints += [] if self.is_whole(name, content) else [f"{path} is not whole: {content[:100]}"]
        return complaints

    @staticmethod
    @functools.lru_cache(maxsize=None)
    def is_whole(name, content):
        if name.endswith(".plist"):
            return checker.readable(("f", 0, content), name)
        if name.endswith(".icns"):
            return checker.is_whole_icon(content)
        return len(content) > 0

    def final(self):
        return self.look()

    def figures(self):
        return f"{self.reads} reads, {len(self.versions)} versions of files"


class StubWatch:
    """Looks at stubs that are being upgraded: each is the complete old one, a complete new one, or in the Trash."""

    def __init__(self, machine, templates):
        self.machine = machine
        self.templates = templates
        snapshot = scratch.snapshot(machine.root)
        self.old = {stub: checker.below(snapshot, stub) for stub in checker.stubs_in(snapshot)
                    if checker.below(snapshot, stub + "/Contents/Resources/of version 0.9")}
        self.looks = 0
        self.seen = collections.Counter()

    def look(self):
        complaints = []
        for stub in self.old:
            self.looks += 1
            kind = self.kind_at(os.path.join(self.machine.root, stub), self.old[stub])
            self.seen[kind.partition(":")[0]] += 1
            if kind == "gone":
                complaints += self.complaints_about_gone(stub)
            elif kind not in ("old", "new"):
                complaints.append(f"{stub} is neither the complete old nor a complete new one: {kind}")
        return complaints

    def kind_at(self, path, old):
        """What is at a path. It is looked at through one descriptor, so that whatever takes its place meanwhile is
        not mixed with it; in the Trash it stays what it is."""
        try:
            descriptor = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
        except FileNotFoundError:
            return "gone"
        try:
            found = scratch.snapshot(f"/proc/self/fd/{descriptor}")
        finally:
            os.close(descriptor)
        wanted = {inner: entry for inner, entry in old.items() if inner}
        if found == wanted:
            return "old"
        for template in self.templates:
            whole = {inner for inner in template if inner} | {checker.ALIAS}
            if found.keys() == whole and all(checker.readable(entry, inner) for inner, entry in found.items()):
                return "new"
        return "mixed: " + checker.difference(found, wanted)

    def complaints_about_gone(self, stub):
        """What is gone from its place is in the Trash, or has come back to its place meanwhile."""
        if self.is_in_trash(stub):
            return []
        with contextlib.suppress(FileNotFoundError):
            os.stat(os.path.join(self.machine.root, stub))
            return []
        return [] if self.is_in_trash(stub) else [f"{stub} is lost"]

    def is_in_trash(self, stub):
        """Whether the complete old one is there, with information that brings it back."""
        files = os.path.join(self.machine.trash, "files")
        for name in os.listdir(files) if os.path.isdir(files) else []:
            information = content_at(os.path.join(self.machine.trash, "info", name + ".trashinfo"))
            told = checker.told_path(information and ("f", 0o600, information))
            if told == f"{self.machine.root}/{stub}" and \
                    self.kind_at(os.path.join(files, name), self.old[stub]) == "old":
                return True
        return False

    def final(self):
        """After the last client: all are new, and all old ones are in the Trash."""
        complaints = []
        for stub, old in self.old.items():
            kind = self.kind_at(os.path.join(self.machine.root, stub), old)
            if kind != "new":
                complaints.append(f"{stub} is in the end {kind}")
            if not self.is_in_trash(stub):
                complaints.append(f"the old {stub} is not in the Trash")
        return complaints

    def figures(self):
        return f"{self.looks} looks: " + ", ".join(f"{kind} {count}" for kind, count in sorted(self.seen.items()))


def old_stubs(machine, model):
    """Six old stubs, so that some clients come too late for each of them."""
    scenarios.outdated(machine, model)
    for number in range(4):
        name = f"More {number}"
        machine.require("--model", model, *scenarios.subscribe(name, "Office", "Fleet:" + name))
        scenarios.age(os.path.join(machine.applications, "Office", name + ".app"))


def others(snapshot):
    """What no client may change: all but its own places."""
    return {path: entry for path, entry in snapshot.items()
            if not path.startswith((checker.APPLICATIONS, checker.TRASH, "home/Library/Application Support"))
            and not (path.startswith(checker.DESKTOP)
                     and (entry[0] == "d" or path.rpartition("/")[2].startswith("moxsubscribe-")))
            and path != "home/.local/share/mime"}


def left_over(snapshot):
    """What is left on its way somewhere, and what the desktop is told in part."""
    _, leftovers = checker.split_leftovers(snapshot)
    complaints = [f"left over: {path}" for path in sorted(leftovers)]
    for path, entry in snapshot.items():
        ours = path.startswith(checker.DESKTOP) and path.rpartition("/")[2].startswith("moxsubscribe-")
        if ours and not checker.is_whole_in_desktop(entry, path):
            complaints.append(f"{path} is not whole")
    return complaints


def race(machine, count, model, command, watch, seconds):
    """Clients at work at the same time, each on one command at least, until all are done; the complaints and how the
    commands ended."""
    results = multiprocessing.Queue()
    deadline = time.monotonic() + seconds
    clients = [multiprocessing.Process(target=work, args=(machine, model, command, number, deadline, results))
               for number in range(count)]
    for each in clients:
        each.start()
    complaints, endings = [], collections.Counter()
    while any(each.is_alive() for each in clients):
        complaints += watch.look()
    for each in clients:
        found, ended = results.get(timeout=scratch.LONGEST_RUN)
        complaints += found
        endings += ended
        each.join()
    return complaints, endings


def complaints_about_end(machine, model, commands, before, watch):
    """One more client, alone, finds and does everything; nothing is left over, and nothing of others was changed."""
    complaints = []
    for arguments in commands:
        status, _, errors = machine.run(["--model", model, *arguments])
        if status != 0:
            complaints.append(f"{arguments} in the end: {status}, {errors.decode(errors='replace')}")
    after = scratch.snapshot(machine.root)
    return complaints + left_over(after) + watch.final() + \
        [f"{path} of others was changed" for path in checker.differing(others(before), others(after))]


def trial(client, count, model, prepare, command, watch_of, seconds):
    """One trial; the figures and the complaints."""
    with scratch.folder() as root:
        machine = scratch.Machine(client, root)
        prepare(machine, model)
        before = scratch.snapshot(root)
        watch = watch_of(machine)
        end = time.monotonic() + seconds
        complaints, endings, rounds = [], collections.Counter(), 0
        # What is upgraded once is not upgraded again: these rounds are as short as a command.
        is_upgrade = command is upgrade_command
        while not rounds or (is_upgrade and time.monotonic() < end and not complaints):
            scratch.restore(root, before, scratch.snapshot(root))
            found, ended = race(machine, count, model, command, watch, 0 if is_upgrade else seconds)
            last = [["upgrade"], ["list"]] if is_upgrade else [["list"], ["folders"]]
            complaints += found + complaints_about_end(machine, model, last, before, watch)
            endings += ended
            rounds += 1
    figures = f"{rounds} rounds, {sum(endings.values())} commands ({endings[0]} done, {endings[1]} failed), " + \
        watch.figures()
    return figures, complaints


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("client")
    parser.add_argument("--time", type=int, default=60)
    arguments = parser.parse_args()
    client = os.path.abspath(arguments.client)
    trials = [("one store", "dictionary", scenarios.furnished, dictionary_command, StoreWatch),
              ("one applications folder", "bundle", scenarios.furnished, bundle_command, FolderWatch),
              ("upgrades of the same stubs", "bundle", old_stubs, upgrade_command,
               lambda machine: StubWatch(machine, templates_of(client)))]
    bad = False
    for name, model, prepare, command, watch_of in trials:
        for count in (2, 8):
            figures, complaints = trial(client, count, model, prepare, command, watch_of,
                                        arguments.time / (2 * len(trials)))
            print(f"{name}, {count} clients: {figures}", flush=True)
            for complaint in complaints[:20]:
                print(f"{name}, {count} clients: {complaint}", file=sys.stderr)
            bad = bad or bool(complaints)
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
