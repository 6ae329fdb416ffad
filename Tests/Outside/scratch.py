"""A scratch folder that stands for a machine: a home, a system's data, temporary folders and things of others.

The client runs in it with nothing but this folder in its environment, so that whatever it changes is found by
comparing the folder with what it held before.
"""

import contextlib
import os
import shutil
import signal
import stat
import subprocess
import sys
import tempfile

# How long the client may take before it counts as hanging.
LONGEST_RUN = 30


def parent_of_scratch():
    """The RAM disk where there is one: fsync would take most of the time elsewhere."""
    return "/dev/shm" if os.access("/dev/shm", os.W_OK) else tempfile.gettempdir()


@contextlib.contextmanager
def folder():
    """A new folder, which is removed in the end with all that is mounted in it."""
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    root = tempfile.mkdtemp(dir=parent_of_scratch(), prefix="mox-outside-")
    try:
        yield root
    finally:
        with open("/proc/self/mounts") as mounts:
            places = [line.split(" ")[1] for line in mounts]
        for place in reversed(places):
            if place.startswith(root + "/"):
                subprocess.run(["umount", place], check=False)
        shutil.rmtree(root)


def snapshot(root):
    """What a folder holds: by path below it ("home/x") ("d", mode), ("l", target) or ("f", mode, content)."""
    found = {}
    pending = [""]
    while pending:
        folder = pending.pop()
        with os.scandir(os.path.join(root, folder)) as entries:
            for entry in entries:
                path = os.path.join(folder, entry.name)
                status = entry.stat(follow_symlinks=False)
                mode = stat.S_IMODE(status.st_mode)
                if stat.S_ISDIR(status.st_mode):
                    found[path] = ("d", mode)
                    pending.append(path)
                elif stat.S_ISLNK(status.st_mode):
                    found[path] = ("l", os.readlink(entry.path))
                elif stat.S_ISREG(status.st_mode):
                    with open(entry.path, "rb") as file:
                        found[path] = ("f", mode, file.read())
                else:
                    found[path] = ("other", status.st_mode)
    return found


def restore(root, wanted, present):
    """Makes a folder that holds `present` hold `wanted` again, files of the same content untouched."""
    for path in sorted(present, reverse=True):
        if wanted.get(path) == present[path]:
            continue
        if path in wanted and wanted[path][0] == "d" == present[path][0]:
            os.chmod(os.path.join(root, path), wanted[path][1])
        elif present[path][0] == "d":
            os.rmdir(os.path.join(root, path))
        else:
            os.unlink(os.path.join(root, path))
    for path in sorted(wanted):
        entry = wanted[path]
        if present.get(path) == entry or (entry[0] == "d" and present.get(path, "?")[0] == "d"):
            continue
        here = os.path.join(root, path)
        if entry[0] == "d":
            os.mkdir(here)
            os.chmod(here, entry[1])
        elif entry[0] == "l":
            os.symlink(entry[1], here)
        else:
            with open(here, "wb") as file:
                file.write(entry[2])
            os.chmod(here, entry[1])


def client_in(folder, client):
    """The path of a copy of an installed client, in a folder: on the file system of the machines, where the system
    copies files by itself."""
    prefix = os.path.dirname(os.path.dirname(os.path.abspath(client)))
    for part in ("bin", "lib", "libexec", "share"):
        shutil.copytree(os.path.join(prefix, part), os.path.join(folder, "prefix", part), symlinks=True)
    return os.path.join(folder, "prefix/bin", os.path.basename(client))


def write(path, content=b"", mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)
    os.chmod(path, mode)


class Machine:
    """The scratch folder and how the client is run in it."""

    def __init__(self, client, root):
        self.client = client
        self.root = root
        self.home = os.path.join(root, "home")
        self.applications = os.path.join(self.home, "Applications")
        self.store = os.path.join(self.home, "Library/Application Support/Korvan Ostrel/Subscriptions.plist")
        self.trash = os.path.join(self.home, ".local/share/Trash")
        self.temporary = os.path.join(root, "tmp")

    def furnish(self):
        """Makes what is there before the client is: things of others, which must never change."""
        for folder in ("home/Library", "tmp", "programs", "system/etc", "elsewhere"):
            os.makedirs(os.path.join(self.root, folder))
        true = shutil.which("true")
        for program in ("update-mime-database", "update-desktop-database", "gtk-update-icon-cache"):
            os.symlink(true, os.path.join(self.root, "programs", program))
        inside = lambda *names: os.path.join(self.root, *names)
        write(inside("system/share/mime/globs2"),
              b"50:text/plain:*.txt\n50:application/vnd.oasis.opendocument.text:*.odt\n")
        write(inside("elsewhere/precious.txt"), b"of somebody else\n")
        write(inside("elsewhere/deeper/kept"), b"\0\1\2", 0o400)
        write(inside("tmp/of another program"), b"x")
        write(inside("home/Documents/letter.txt"), b"Dear reader,\n", 0o640)
        os.symlink("letter.txt", inside("home/Documents/latest"))
        os.symlink("/nowhere/at all", inside("home/Documents/dangling"))
        write(inside("home/.config/mimeapps.list"), b"[Default Applications]\ntext/plain=editor.desktop\n", 0o600)
        write(inside("home/Library/Preferences/other.plist"), b"<plist/>")
        write(inside("home/.local/share/applications/editor.desktop"),
              b"[Desktop Entry]\nType=Application\nName=Editor\nExec=editor %f\nMimeType=text/plain;\n")
        os.makedirs(inside("home/.local/share/icons/hicolor"))

    def use_distant_temporary_folder(self):
        """Gives it a temporary folder on a file system of its own."""
        self.temporary = os.path.join(self.root, "far")
        os.mkdir(self.temporary)
        subprocess.run(["mount", "-t", "tmpfs", "none", self.temporary], check=True)

    def environment(self):
        return {"HOME": self.home, "TMPDIR": self.temporary, "PATH": os.path.join(self.root, "programs"),
                "XDG_DATA_HOME": os.path.join(self.home, ".local/share"),
                "XDG_DATA_DIRS": os.path.join(self.root, "system/share"),
                "XDG_CONFIG_HOME": os.path.join(self.home, ".config"),
                "XDG_CONFIG_DIRS": os.path.join(self.root, "system/etc"),
                "LANG": "C", "TZ": "UTC"}

    def run(self, arguments, prefix=(), environment=(), timeout=LONGEST_RUN):
        """Runs the client; its exit status (negative for a signal, None when it hangs), output and errors."""
        process = subprocess.Popen([*prefix, self.client, *arguments], stdin=subprocess.DEVNULL, cwd=self.root,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True,
                                   env={**self.environment(), **dict(environment)})
        try:
            output, errors = process.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            process.communicate()
            return None, b"", b""
        return process.returncode, output, errors

    def require(self, *arguments):
        status, _, errors = self.run(arguments)
        if status != 0:
            raise RuntimeError(f"preparation: {arguments} ended with {status}: {errors.decode(errors='replace')}")
