"""Judges what a client left behind: from the files alone, with nothing of the framework.

Everything here works on snapshots (scratch.snapshot): of before, of after an undisturbed run, and of what is to be
judged. A judgement is a list of complaints; an empty one means that nothing was lost or damaged.
"""

import hashlib
import plistlib
import re
import urllib.parse
import xml.etree.ElementTree

STORE = "home/Library/Application Support/Korvan Ostrel/Subscriptions.plist"
APPLICATIONS = "home/Applications"
DESKTOP = ("home/.local/share/applications/", "home/.local/share/icons/", "home/.local/share/mime/")
TRASH = "home/.local/share/Trash"
ALIAS = "Contents/Resources/Korvalias.plist"
INFORMATION = "Contents/Info.plist"

# What a crash may leave: files and folders on their way to a place, under names that nobody else uses.
LEFTOVER = re.compile(r"\.mox-[0-9a-f]{32}|\.mox-moxsubscribe-[0-9a-f]{32}\.(desktop|png|xml)")
TEMPORARY = re.compile(r"korvan\.tmp\.[0-9a-v]{6}")
TEMPORARY_FOLDERS = ("tmp", "far")


def below(snapshot, folder):
    """What is in a folder, by paths from there; None when the folder is not there."""
    if folder not in snapshot:
        return None
    start = folder + "/"
    inside = {path[len(start):]: entry for path, entry in snapshot.items() if path.startswith(start)}
    inside[""] = snapshot[folder]
    return inside


def split_leftovers(snapshot):
    """The snapshot without left-overs, and the left-overs' paths. One elsewhere than where the client may write
    is none, so that it is found to be a change."""
    kept, leftovers = {}, set()
    for path, entry in snapshot.items():
        names = path.split("/")
        place = None
        for depth, name in enumerate(names):
            folder = "/".join(names[:depth])
            if LEFTOVER.fullmatch(name) and folder.startswith(
                    (APPLICATIONS, "home/Library/Application Support/Korvan Ostrel", "home/.local/share",
                     *TEMPORARY_FOLDERS)):
                place = "/".join(names[:depth + 1])
            elif TEMPORARY.fullmatch(name) and folder in TEMPORARY_FOLDERS:
                place = "/".join(names[:depth + 1])
            if place:
                break
        if place:
            leftovers.add(place)
        else:
            kept[path] = entry
    return kept, leftovers


def listing(snapshot, model, root):
    """The subscriptions' paths that a list has to tell, sorted."""
    if model == "bundle":
        return sorted(f"{root}/{path}" for path in stubs_in(snapshot))
    # The top folder is called "/", so that every path begins with three of them.
    return sorted(path[2:] for path in entries_of(snapshot[STORE][2])[0]) if STORE in snapshot else []


def stubs_in(snapshot):
    """The paths of all stubs: packages with a launch alias that are not in another package. One that is reached
    through a link is none here."""
    found = []
    for path in snapshot:
        if not path.startswith(APPLICATIONS + "/") or not path.endswith("/" + ALIAS):
            continue
        names = path[:-len(ALIAS) - 1].split("/")
        inner = names[len(APPLICATIONS.split("/")):]
        if names[-1].endswith(".app") and not any(name.endswith(".app") or LEFTOVER.fullmatch(name)
                                                  for name in inner[:-1]):
            found.append("/".join(names))
    return found


def entries_of(store):
    """The entries by path, and the paths of all folders, of a store's bytes. Raises for a damaged one."""
    entries, folders = {}, set()
    pending = [("", plistlib.loads(store))]
    while pending:
        path, node = pending.pop()
        for name, entry in node["Subscriptions"].items():
            entries[path + "/" + name] = entry
        for name, child in node["Folders"].items():
            inner = path + "/" + name
            folders.add(inner)
            pending.append((inner, child))
    return entries, folders


def readable(entry, path):
    """Whether a property list or text is whole, as a reader of its own sees it."""
    if not path.endswith(".plist") or entry[0] != "f":
        return True
    try:
        return isinstance(plistlib.loads(entry[2]), dict)
    except Exception:  # plistlib raises whatever its parser does.
        return False


def is_whole_icon(content):
    return content[:4] == b"icns" and int.from_bytes(content[4:8], "big") == len(content)


def without_types(content):
    information = plistlib.loads(content)
    information.pop("CFBundleDocumentTypes", None)
    return information


class Judge:
    """Judges the results of one command on one machine."""

    def __init__(self, scenario, root, before, after, templates, store_states):
        self.scenario = scenario
        self.root = root
        self.before = before
        self.after = after
        self.templates = templates
        self.store_states = store_states
        # Whether the power was cut. New pictures and packages of types are left to the system to write, so that they
        # may be gone or damaged then; the next registration of the stub mends them.
        self.is_power_cut = False
        self.stubs = sorted(set(stubs_in(before)) | set(stubs_in(after)))
        self.old = {stub: below(before, stub) for stub in self.stubs}
        self.new = {stub: below(after, stub) for stub in self.stubs}
        self.touched = [stub for stub in self.stubs if self.old[stub] != self.new[stub]]
        self.entries_of_touched = {entry_name(f"{root}/{stub}") for stub in self.touched}
        self.core_before = self.core(before)
        self.core_after = self.core(after)

    @staticmethod
    def core(snapshot):
        """What the command is for: the store and the applications folder."""
        kept, _ = split_leftovers(snapshot)
        return {path: entry for path, entry in kept.items()
                if path == STORE or path.startswith(APPLICATIONS)}

    def is_touched(self, path):
        """Whether a path is in a stub that the command is about, or what the desktop knows of it."""
        return any(path == stub or path.startswith(stub + "/") for stub in self.touched) or \
            (path.startswith(DESKTOP) and name_in_desktop(path) in self.entries_of_touched)

    def judge(self, seen, ending, faulty, persistent=False):
        """`ending`: "done" (exit status 0), "failed" or "killed". `faulty`: "reading" or "writing" when
        calls failed, so that what is allowed to be left out may be missing. Returns the complaints and the
        left-overs."""
        kept, leftovers = split_leftovers(seen)
        kept, strays = self.split_strays(kept)
        leftovers |= strays
        complaints = self.other_files(kept, faulty) + self.store(kept, ending)
        if self.scenario.atomic:
            complaints += self.whole_folder(kept, ending)
        for stub in self.stubs:
            complaints += self.stub(kept, stub, ending, faulty, persistent)
        if self.scenario.upgrades:
            complaints += self.trash(kept, ending)
        if ending == "done" and not self.scenario.tolerant and not (self.scenario.walks and faulty == "reading"):
            complaints += self.finished(kept, faulty)
        return complaints, leftovers

    def split_strays(self, seen):
        """The snapshot without the desktop's entries for stubs in temporary places, and those entries' paths. The
        desktop does not show them once their stub is gone, and the next client removes them."""
        places = tuple(f"{self.root}/{folder}/korvan.tmp." for folder in TEMPORARY_FOLDERS)
        names = set()
        for path, entry in seen.items():
            if not path.startswith(DESKTOP[0]) or path in self.before or entry[0] != "f":
                continue
            bundle = re.search(rb"^X-MOXSubscribe-Bundle=(.*)$", entry[2], re.MULTILINE)
            bundle = bundle[1].decode() if bundle else ""
            if bundle.startswith(places) and path == DESKTOP[0] + entry_name(bundle) + ".desktop":
                names.add(entry_name(bundle))
        strays = {path for path in seen if path.startswith(DESKTOP) and name_in_desktop(path) in names}
        return {path: entry for path, entry in seen.items() if path not in strays}, strays

    def other_files(self, seen, faulty):
        """Each file and folder that is no part of a stub, and that is not the store, is old or new. What the desktop
        knows of a stub that the command is about may also be missing; after a failure it may tell of a stub whose
        icon or texts could not be read, but is whole."""
        complaints = []
        inside_stubs = tuple(stub + "/" for stub in self.stubs)
        if self.scenario.upgrades:
            inside_stubs += (TRASH + "/files/", TRASH + "/info/")
        for path in self.before.keys() | self.after.keys() | seen.keys():
            if path == STORE or path in self.stubs or path.startswith(inside_stubs):
                continue
            entry = seen.get(path)
            if path.startswith(DESKTOP) and self.is_touched(path) and (
                    entry is None or (faulty and is_whole_in_desktop(entry, path)) or
                    (self.is_power_cut and path.endswith((".png", ".xml")))):
                continue
            if entry not in (self.before.get(path), self.after.get(path)):
                complaints.append(f"{path} is neither as before nor as after: {describe(entry)}")
        return complaints

    def store(self, seen, ending):
        """The store is byte for byte one of the versions that were saved."""
        entry = seen.get(STORE)
        if entry in self.store_states:
            return []
        if entry is None:
            return ["the store is gone"]
        if not self.scenario.tolerant or ending == "killed":
            return [f"the store is none of the versions that were saved: {describe(entry)}"]
        return self.between(entry)

    def between(self, entry):
        """The store holds nothing but entries and folders of before or after, and all that are in both."""
        try:
            entries, folders = entries_of(entry[2])
        except Exception as error:  # As in readable().
            return [f"the store is damaged: {error!r}"]
        old_entries, old_folders = entries_of(self.store_states[0][2])
        new_entries, new_folders = entries_of(self.store_states[-1][2])
        without_icon = lambda value: {key: each for key, each in (value or {}).items() if key != "Icon"}
        complaints = [f"the entry {path} is neither the old nor the new one"
                      for path in old_entries.keys() | new_entries.keys() | entries.keys()
                      if entries.get(path) not in (old_entries.get(path), new_entries.get(path))
                      and without_icon(entries.get(path)) != without_icon(new_entries.get(path))]
        if not old_folders & new_folders <= folders <= old_folders | new_folders:
            complaints.append("the store's folders are none of those of before or after")
        return complaints

    def whole_folder(self, seen, ending):
        part = lambda snapshot: {path: entry for path, entry in snapshot.items() if path.startswith(APPLICATIONS)}
        if part(seen) in (part(self.before), part(self.after)):
            return []
        return ["the applications folder is neither as before nor as after"]

    def stub(self, seen, stub, ending, faulty, persistent):
        old, new, here = self.old[stub], self.new[stub], below(seen, stub)
        if here == old or here == new:
            if self.scenario.upgrades and here != old and old != new:
                return self.in_trash(seen, stub)
            return []
        if here is not None:
            complaints = [f"{stub}/{path} is damaged: {describe(entry)}"
                          for path, entry in here.items() if not readable(entry, path)]
            if complaints:
                return complaints
        if self.scenario.upgrades:
            if here is None:
                complaints = self.in_trash(seen, stub)
                if ending != "killed" and not persistent:
                    complaints.append(f"{stub} is gone after one failure")
                return complaints
            if faulty and self.is_tolerable(here, old, new, faulty):
                return self.in_trash(seen, stub)
            return [f"{stub} is neither the complete old nor the complete new one: {difference(here, new)}"]
        if new is None:
            # A removal that was cut short: what is left is untouched.
            if here is not None and all(old.get(path) == entry for path, entry in here.items()):
                return []
            return [f"{stub} was changed instead of removed: {difference(here, old)}"]
        if here is None:
            return [f"{stub} is gone"]
        # Written in place, file by file: each is the template's, the old or the new one, none is missing.
        if here.keys() not in (new.keys(), new.keys() - {ALIAS}):
            return [f"{stub} is incomplete: {sorted(new.keys() ^ here.keys())}"]
        if faulty and self.is_tolerable(here, old, new, faulty):
            return []
        return [f"{stub}/{path} is neither the old nor the new one: {describe(entry)}"
                for path, entry in here.items()
                if entry not in (new.get(path), (old or {}).get(path), *(t.get(path) for t in self.templates))]

    def has_whole_stubs(self, seen):
        """Whether each stub is complete, old or new, or gone."""
        kept, _ = split_leftovers(seen)
        return all(below(kept, stub) in (None, self.old[stub], self.new[stub]) for stub in self.stubs)

    def is_tolerable(self, here, old, new, faulty):
        """Whether a stub differs from the new one at most in what could not be stored or read, which is no failure:
        an icon, texts, and the types of documents."""
        if here is None or new is None or here.keys() != new.keys():
            return False
        for path, entry in here.items():
            others = [(old or {}).get(path), *(template.get(path) for template in self.templates)]
            if entry == new[path]:
                continue
            if entry[:2] != new[path][:2]:
                return False
            if path.endswith(".icns"):
                is_right = entry in others or is_whole_icon(entry[2])
            elif path.endswith(".strings"):
                # Texts are only ever added to those of the template.
                is_right = any(other and entry[2].startswith(other[2]) for other in others)
            else:
                is_right = path == INFORMATION and faulty == "reading" and \
                    without_types(entry[2]) == without_types(new[path][2])
            if not is_right:
                return False
        return True

    def in_trash(self, seen, stub):
        """The complete old stub is in the Trash, with information that tells its old path."""
        name = stub.rsplit("/", 1)[1]
        for path in seen:
            if path.rpartition("/")[0] != TRASH + "/files" or below(seen, path) != self.old[stub]:
                continue
            told = told_path(seen.get(TRASH + "/info/" + path.rpartition("/")[2] + ".trashinfo"))
            if told == f"{self.root}/{stub}":
                return []
            return [f"the Trash tells of {name} that it was {told}"]
        return [f"{stub} is not the old one, and that one is not in the Trash"]

    def trash(self, seen, ending):
        """What was in the Trash stays, and all that is new in it is an old stub with its information."""
        complaints = [f"{path} in the Trash was changed"
                      for path, entry in self.before.items()
                      if path.startswith(TRASH + "/") and seen.get(path) != entry]
        for path in seen:
            folder, _, name = path.rpartition("/")
            if path in self.before:
                continue
            if folder == TRASH + "/files":
                if below(seen, path) not in self.old.values():
                    complaints.append(f"{path} is no complete old stub")
                if not told_path(seen.get(f"{TRASH}/info/{name}.trashinfo")):
                    complaints.append(f"{path} has no valid information")
            elif folder == TRASH + "/info" and ending == "done":
                if f"{TRASH}/files/{name.removesuffix('.trashinfo')}" not in seen:
                    complaints.append(f"{path} tells of nothing, though the command succeeded")
        return complaints

    def finished(self, seen, faulty):
        """A command that tells of success did all that it is for."""
        here, wanted = self.core(seen), self.core_after
        if here == wanted:
            return []
        if faulty:
            tolerable = {path for stub in self.stubs for path in self.inside(stub)
                         if self.is_tolerable(below(seen, stub), self.old[stub], self.new[stub], faulty)}
            if all(path in tolerable for path in differing(here, wanted)):
                return []
        return [f"success was told, but this is not on the disk: {difference(here, wanted)}"]

    def inside(self, stub):
        return [f"{stub}/{path}" for path in (self.new[stub] or {}) if path]


def entry_name(path):
    """The name under which the desktop knows the stub at a path."""
    return "moxsubscribe-" + hashlib.sha256(path.encode()).hexdigest()[:32]


def name_in_desktop(path):
    return path.rpartition("/")[2].rpartition(".")[0]


def is_whole_in_desktop(entry, path):
    """Whether a file of the desktop is all there: an entry of the right stub, a picture or a package of types."""
    if entry[0] != "f":
        return False
    content = entry[2]
    if path.endswith(".png"):
        return content.startswith(b"\x89PNG\r\n\x1a\n") and content.endswith(b"IEND\xaeB`\x82")
    if path.endswith(".xml"):
        try:
            return xml.etree.ElementTree.fromstring(content) is not None
        except xml.etree.ElementTree.ParseError:
            return False
    bundle = re.search(r"^X-MOXSubscribe-Bundle=(.*)$", content.decode(), re.MULTILINE)
    return bool(bundle) and content.startswith(b"[Desktop Entry]\n") and content.endswith(b"\n") and \
        entry_name(bundle[1]) == name_in_desktop(path)


def differing(one, other):
    return sorted(path for path in one.keys() | other.keys() if one.get(path) != other.get(path))


def difference(one, other):
    paths = differing(one or {}, other or {})
    return ", ".join(paths[:4]) + (f" and {len(paths) - 4} more" if len(paths) > 4 else "")


def describe(entry):
    if entry is None:
        return "missing"
    return f"{len(entry[2])} bytes, mode {entry[1]:o}" if entry[0] == "f" else str(entry[:2])


def told_path(information):
    """The path that a file of information in a Trash tells; None when it is not valid."""
    if information is None or information[0] != "f":
        return None
    match = re.fullmatch(rb"\[Trash Info\]\nPath=([^\n]+)\nDeletionDate=\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\n",
                         information[2])
    return urllib.parse.unquote(match[1].decode("ascii")) if match else None


def complaints_about_states(states):
    """Whether the versions that an undisturbed command saves are themselves sound: each is whole, and has nothing
    but entries and folders that the first or the last one has."""
    present = [state for state in states if state is not None]
    if not present:
        return []
    try:
        contents = [entries_of(state[2]) for state in present]
    except Exception as error:  # As in readable().
        return [f"a version that was saved is damaged: {error!r}"]
    (old_entries, old_folders), (new_entries, new_folders) = contents[0], contents[-1]
    complaints = []
    for entries, folders in contents[1:-1]:
        for path, entry in entries.items():
            if entry not in (old_entries.get(path), new_entries.get(path)):
                complaints.append(f"a version between has an entry {path} of its own")
        if not folders <= old_folders | new_folders:
            complaints.append("a version between has folders of its own")
        if not old_entries.keys() & new_entries.keys() <= entries.keys():
            complaints.append("a version between lacks entries")
    return complaints
