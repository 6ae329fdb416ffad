"""One command on one machine, and how it is disturbed."""

import collections
import itertools
import os
import re
import shutil
import subprocess
import sys

import checker
import scratch

SKIPPED = 77
STRACE = shutil.which("strace")

Fault = collections.namedtuple("Fault", "call number kind")


class Bench:
    """One scenario on its machine: what there is before, after, and after the same command again.

    `root` is the machine's folder, which is made; `log` a file outside of it, for what strace tells; `library` the
    one that is made of short_write.c, or nothing where writes are not shortened.
    """

    def __init__(self, client, root, log, scenario, library=None):
        os.makedirs(root)
        self.scenario = scenario
        self.library = library
        self.machine = scratch.Machine(client, root)
        self.log = log
        scenario.prepare(self.machine)
        self.before = scratch.snapshot(root)
        self.machine.require(*scenario.command)
        self.after = scratch.snapshot(root)
        self.status_of_again, _, _ = self.machine.run(scenario.command)
        self.again = scratch.snapshot(root)
        self.judge = checker.Judge(scenario, root, self.before, self.after, templates_of(client), self.states())
        if self.judge.core_before == self.judge.core_after:
            raise RuntimeError(f"{scenario.name}: the command changes nothing")
        self.core_of_again = self.judge.core(self.again)

    def reset(self):
        scratch.restore(self.machine.root, self.before, scratch.snapshot(self.machine.root))

    def states(self):
        """The versions of the store, from the one before to the one after, all that are saved between included."""
        states = [self.before.get(checker.STORE)]
        if self.scenario.model == "dictionary":
            fired = True
            for number in itertools.count(1):
                if not fired:
                    break
                self.reset()
                fired, _ = self.run(Fault("renameat", number, "KILL"))
                states.append(scratch.snapshot(self.machine.root).get(checker.STORE))
        complaints = checker.complaints_about_states(states)
        if states[-1] != self.after.get(checker.STORE):
            complaints.append("the last version that was saved is not the result")
        if complaints:
            raise RuntimeError(f"{self.scenario.name}: {complaints}")
        return states

    def run(self, fault):
        """Runs the command with one fault: "KILL", "TERM", "short", or the name of an error, with a "+" behind it for
        this call and all later ones of its kind. Whether the fault happened, and the result."""
        if os.path.exists(self.log):
            os.unlink(self.log)
        if fault.kind == "short":
            result = self.machine.run(self.scenario.command, environment={
                "LD_PRELOAD": self.library, "SHORT_WRITE_AT": str(fault.number), "SHORT_WRITE_LOG": self.log})
            return os.path.exists(self.log), result
        is_signal = fault.kind in ("KILL", "TERM")
        effect = "signal=" + fault.kind if is_signal else "error=" + fault.kind.rstrip("+")
        when = f"{fault.number}+" if fault.kind.endswith("+") else str(fault.number)
        # The filter makes runs quicker, but takes away the stop at which a signal is sent.
        quick = [] if is_signal else ["--seccomp-bpf"]
        result = self.machine.run(self.scenario.command, prefix=[
            STRACE, "-f", "-q", *quick, "-o", self.log, "-e", "trace=" + fault.call,
            "-e", f"inject={fault.call}:{effect}:when={when}"])
        with open(self.log, errors="replace") as log:
            text = log.read()
        return "(INJECTED)" in text or "killed by SIGKILL" in text or "--- SIGTERM" in text, result

    def calls(self):
        """The calls of the undisturbed command, as kind and number, from the loader's last one on."""
        self.reset()
        self.machine.run(self.scenario.command, prefix=[STRACE, "-f", "-qqq", "-o", self.log])
        calls, is_loaded, counts, first = [], False, collections.Counter(), None
        with open(self.log, errors="replace") as log:
            for line in log:
                match = re.match(r"(\d+) +(\w+)\(", line)
                if not match:
                    continue
                first = first or match[1]
                if match[1] != first:
                    continue
                call = match[2]
                counts[call] += 1
                if is_loaded:
                    calls.append((call + " of a new file" if "O_CREAT" in line else call, counts[call]))
                # The loader's last call gives back its list of libraries.
                is_loaded = is_loaded or call == "munmap"
        return calls


def templates_of(client):
    """The files of the client's templates, by paths in them."""
    contents = os.path.dirname(os.path.dirname(os.path.realpath(client)))
    templates = scratch.snapshot(os.path.join(contents, "Helpers"))
    return [checker.below(templates, path) for path in templates if "/" not in path]


def why_not():
    """The reason why nothing can be tried here, or None."""
    if not STRACE:
        return "strace is not installed"
    if not shutil.which("cc"):
        return "there is no C compiler"
    probe = subprocess.run([STRACE, "-f", "-qqq", "--seccomp-bpf", "-o", "/dev/null", "-e", "trace=close",
                            "-e", "inject=close:error=EIO:when=60000", "true"], capture_output=True)
    if probe.returncode != 0:
        return "strace may not trace here: " + probe.stderr.decode(errors="replace").strip()
    return None


def enter_mounts_of_its_own():
    """Starts this program again where it may mount; whether it may, once that was tried."""
    tried = "OUTSIDE_TESTS_MOUNTS"
    if tried in os.environ:
        return os.environ.pop(tried) == "own"
    unshare = ["unshare", "--mount", *([] if os.geteuid() == 0 else ["--map-root-user"])]
    probe = "mount -t tmpfs none /mnt"
    can = shutil.which("unshare") and subprocess.run([*unshare, "sh", "-c", probe], capture_output=True).returncode == 0
    os.environ[tried] = "own" if can else "shared"
    if can:
        os.execvp("unshare", [*unshare, sys.executable, *sys.argv])
    del os.environ[tried]
    return False
