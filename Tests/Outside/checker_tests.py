#!/usr/bin/env python3
"""That the checker finds what is lost or damaged, shown on snapshots that are damaged by hand."""

import plistlib
import types
import unittest

import checker

APPLICATIONS, TRASH = checker.APPLICATIONS, checker.TRASH
STUB = APPLICATIONS + "/Office/Writer.app"


def scenario(**qualities):
    return types.SimpleNamespace(**{"atomic": False, "upgrades": False, "walks": False, "tolerant": False, **qualities})


def store(*names):
    entries = {name: {"cloneName": name} for name in names}
    root = {"Folders": {"/": {"Folders": {}, "Subscriptions": entries}}, "Subscriptions": {}}
    return ("f", 0o600, plistlib.dumps(root))


def stub(version, alias="a"):
    return {"": ("d", 0o755), "Contents": ("d", 0o755), "Contents/Resources": ("d", 0o755),
            "Contents/Info.plist": ("f", 0o644, plistlib.dumps({"KorvanVersionString": version})),
            "Contents/Resources/Korvalias.plist": ("f", 0o644, plistlib.dumps({"alias": alias, "by": version})),
            "Contents/Resources/DockApplication.icns": ("f", 0o644, b"icns\0\0\0\x08")}


def machine(*placed):
    """A snapshot with an applications folder and what is placed in it: pairs of a path and the files there."""
    snapshot = {APPLICATIONS: ("d", 0o755), APPLICATIONS + "/Office": ("d", 0o755),
                "home/letter.txt": ("f", 0o644, b"Dear reader")}
    for path, files in placed:
        snapshot.update({path + ("/" + inner if inner else ""): entry for inner, entry in files.items()})
    return snapshot


def information(path):
    return {"": ("f", 0o600, b"[Trash Info]\nPath=" + path + b"\nDeletionDate=2024-01-02T03:04:05\n")}


def without(snapshot, path):
    return {each: entry for each, entry in snapshot.items() if each != path and not each.startswith(path + "/")}


class StoreTests(unittest.TestCase):
    def setUp(self):
        self.before = {**machine(), checker.STORE: store("A")}
        self.between = {**machine(), checker.STORE: store("A", "B")}
        self.after = {**machine(), checker.STORE: store("A", "B", "C")}
        states = [snapshot[checker.STORE] for snapshot in (self.before, self.between, self.after)]
        self.judge = checker.Judge(scenario(), "/m", self.before, self.after, [], states)

    def complaints(self, snapshot, ending="killed", **more):
        return self.judge.judge(snapshot, ending, more.get("faulty", ""))[0]

    def test_each_version_that_was_saved_is_right(self):
        for snapshot in (self.before, self.between, self.after):
            self.assertEqual(self.complaints(snapshot), [])

    def test_a_store_that_is_short_mixed_or_gone_is_found(self):
        content = self.after[checker.STORE][2]
        for damaged in (content[:-1], b"", content[:80] + b"\0" * (len(content) - 80), content + b"\n"):
            self.assertTrue(self.complaints({**self.before, checker.STORE: ("f", 0o600, damaged)}))
        self.assertTrue(self.complaints(without(self.before, checker.STORE)))
        self.assertTrue(self.complaints({**self.before, checker.STORE: ("f", 0o644, content)}))

    def test_success_with_the_old_store_is_found(self):
        self.assertTrue(self.complaints(self.between, "done"))
        self.assertTrue(self.complaints(self.before, "done", faulty="writing"))
        self.assertEqual(self.complaints(self.after, "done"), [])

    def test_a_change_elsewhere_is_found(self):
        self.assertTrue(self.complaints({**self.after, "home/letter.txt": ("f", 0o644, b"Dear")}))
        self.assertTrue(self.complaints(without(self.after, "home/letter.txt")))
        self.assertTrue(self.complaints({**self.after, "home/new": ("f", 0o644, b"")}))

    def test_a_left_over_counts_where_the_client_may_write_and_nowhere_else(self):
        name = ".mox-0123456789abcdef0123456789abcdef"
        support = checker.STORE.rpartition("/")[0]
        complaints, leftovers = self.judge.judge({**self.before, f"{support}/{name}": ("f", 0o600, b"x")}, "killed", "")
        self.assertEqual((complaints, leftovers), ([], {f"{support}/{name}"}))
        self.assertTrue(self.complaints({**self.before, f"home/{name}": ("f", 0o600, b"x")}))

    def test_versions_between_that_have_something_of_their_own_are_found(self):
        states = lambda *stores: checker.complaints_about_states(stores)
        self.assertEqual(states(store("A"), store("A", "B"), store("A", "B", "C")), [])
        self.assertTrue(states(store("A"), store("A", "X"), store("A", "B")))
        self.assertTrue(states(store("A"), store("B"), store("A", "B")))
        self.assertTrue(states(store("A"), ("f", 0o600, b"<plist>"), store("A", "B")))


class UpgradeTests(unittest.TestCase):
    def setUp(self):
        self.before = machine((STUB, stub("0.9")))
        trash = [(folder, {"": ("d", 0o700)}) for folder in (TRASH, TRASH + "/files", TRASH + "/info")]
        self.old_in_trash = [*trash, (TRASH + "/files/Writer.app", stub("0.9")),
                             (TRASH + "/info/Writer.app.trashinfo", information(b"/m/" + STUB.encode()))]
        self.after = machine((STUB, stub("1.0")), *self.old_in_trash)
        self.judge = checker.Judge(scenario(upgrades=True), "/m", self.before, self.after, [stub("1.0", "t")], [None])

    def complaints(self, snapshot, ending="killed", faulty="", persistent=False):
        return self.judge.judge(snapshot, ending, faulty, persistent)[0]

    def test_old_new_and_nothing_with_the_old_one_in_the_Trash_are_right(self):
        for snapshot in (self.before, self.after, without(self.after, STUB)):
            self.assertEqual(self.complaints(snapshot), [])

    def test_a_partial_or_mixed_stub_in_the_place_is_found(self):
        for path in self.after:
            if path.startswith(STUB + "/"):
                self.assertTrue(self.complaints(without(self.after, path)), path)
        for inner, entry in stub("0.9").items():
            if entry != stub("1.0")[inner]:
                self.assertTrue(self.complaints({**self.after, f"{STUB}/{inner}": entry}))

    def test_a_new_stub_without_the_old_one_in_the_Trash_is_found(self):
        for lost in ("files/Writer.app", "files/Writer.app/Contents/Info.plist", "info/Writer.app.trashinfo"):
            self.assertTrue(self.complaints(without(self.after, f"{TRASH}/{lost}")))
            self.assertTrue(self.complaints(without(without(self.after, STUB), f"{TRASH}/{lost}")))

    def test_information_that_is_damaged_or_of_another_path_is_found(self):
        path = TRASH + "/info/Writer.app.trashinfo"
        for content in (b"", b"[Trash Info]\n", information(b"/m/elsewhere")[""][2]):
            self.assertTrue(self.complaints({**self.after, path: ("f", 0o600, content)}))

    def test_nothing_in_the_place_after_one_failure_is_found(self):
        nothing = without(self.after, STUB)
        self.assertTrue(self.complaints(nothing, "failed", "writing"))
        self.assertEqual(self.complaints(nothing, "failed", "writing", persistent=True), [])

    def test_success_with_the_old_stub_is_found(self):
        self.assertTrue(self.complaints(self.before, "done", "writing"))

    def test_an_icon_that_was_not_stored_is_no_complaint_after_a_failure_alone(self):
        icon = f"{STUB}/Contents/Resources/DockApplication.icns"
        self.judge.templates = [{**stub("1.0"), "Contents/Resources/DockApplication.icns": ("f", 0o644, b"template")}]
        seen = {**self.after, icon: ("f", 0o644, b"template")}
        self.assertEqual(self.complaints(seen, "done", "writing"), [])
        self.assertTrue(self.complaints(seen, "done"))
        self.assertTrue(self.complaints({**self.after, icon: ("f", 0o644, b"")}, "done", "writing"))


class StubTests(unittest.TestCase):
    def test_a_new_stub_is_absent_or_has_every_file_whole(self):
        template = without(stub("1.0"), checker.ALIAS)
        judge = checker.Judge(scenario(), "/m", machine(), machine((STUB, stub("1.0", "new"))), [template], [None])
        complaints = lambda files: judge.judge(machine((STUB, files)), "killed", "")[0]
        self.assertEqual(judge.judge(machine(), "killed", "")[0], [])
        self.assertEqual(complaints(template), [])
        self.assertEqual(complaints(stub("1.0", "new")), [])
        self.assertTrue(complaints(without(template, "Contents/Info.plist")))
        self.assertTrue(complaints({**stub("1.0", "new"), checker.ALIAS: ("f", 0o644, b"<plist")}))
        self.assertTrue(complaints({**template, "Contents/stray": ("f", 0o644, b"")}))

    def test_a_removal_that_was_cut_short_leaves_what_is_left_untouched(self):
        judge = checker.Judge(scenario(), "/m", machine((STUB, stub("1.0"))), machine(), [], [None])
        complaints = lambda files, ending="killed": judge.judge(machine((STUB, files)), ending, "")[0]
        self.assertEqual(complaints(without(stub("1.0"), checker.ALIAS)), [])
        self.assertTrue(complaints({**stub("1.0"), "Contents/Info.plist": ("f", 0o644, b"")}))
        self.assertTrue(complaints(stub("1.0"), "done"))

    def test_a_move_is_done_or_not_with_nothing_between(self):
        other = APPLICATIONS + "/Office/Other.app"
        judge = checker.Judge(scenario(atomic=True), "/m", machine((STUB, stub("1.0"))), machine((other, stub("1.0"))),
                              [], [None])
        complaints = lambda *placed: judge.judge(machine(*placed), "killed", "")[0]
        self.assertEqual(complaints((STUB, stub("1.0"))), [])
        self.assertEqual(complaints((other, stub("1.0"))), [])
        self.assertTrue(complaints())
        self.assertTrue(complaints((STUB, stub("1.0")), (other, stub("1.0"))))

    def test_what_the_desktop_knows_of_others_stays(self):
        entry = checker.DESKTOP[0] + checker.entry_name("/m/" + STUB) + ".desktop"
        other = checker.DESKTOP[0] + checker.entry_name("/m/other") + ".desktop"
        before = {**machine((STUB, stub("0.9"))), entry: ("f", 0o644, b"old"), other: ("f", 0o644, b"other")}
        after = {**before, **machine((STUB, stub("1.0")))}
        judge = checker.Judge(scenario(), "/m", before, after, [stub("1.0")], [None])
        self.assertEqual(judge.judge(without(after, entry), "killed", "")[0], [])
        self.assertTrue(judge.judge(without(after, other), "killed", "")[0])
        self.assertTrue(judge.judge({**after, entry: ("f", 0o644, b"[Desktop")}, "killed", "writing")[0])


class ListingTests(unittest.TestCase):
    def test_stubs_in_packages_and_in_left_over_copies_are_not_listed(self):
        inner = (STUB + "/Contents/Inner.app", stub("1.0"))
        copy = (APPLICATIONS + "/.mox-0123456789abcdef0123456789abcdef/Copy.app", stub("1.0"))
        package = (APPLICATIONS + "/Mine.app", without(stub("1.0"), checker.ALIAS))
        seen = machine((STUB, stub("1.0")), inner, copy, package)
        self.assertEqual(checker.listing(seen, "bundle", "/m"), ["/m/" + STUB])

    def test_entries_of_a_store_are_listed_by_their_folders(self):
        self.assertEqual(checker.listing({checker.STORE: store("A", "B")}, "dictionary", "/m"), ["/A", "/B"])


if __name__ == "__main__":
    unittest.main()
