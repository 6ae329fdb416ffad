#!/usr/bin/env python3
"""That what watches clients at work finds what is lost or damaged, shown on files that are damaged by hand."""

import os
import shutil
import tempfile
import types
import unittest

import checker
import concurrency
import scratch
from checker_tests import STUB, information, machine, store, stub

OLD = {**stub("1.0"), "Contents/Resources/of version 0.9": ("f", 0o644, b"x")}


class WatchTest(unittest.TestCase):
    """A machine of which only the files are there."""

    def setUp(self):
        self.root = tempfile.mkdtemp(dir=scratch.parent_of_scratch(), prefix="mox-outside-")
        self.addCleanup(shutil.rmtree, self.root)
        at = lambda path: os.path.join(self.root, path)
        self.machine = types.SimpleNamespace(root=self.root, store=at(checker.STORE), trash=at(checker.TRASH),
                                             applications=at(checker.APPLICATIONS))

    def put(self, snapshot):
        shutil.rmtree(self.root)
        os.mkdir(self.root)
        for path in list(snapshot):
            for depth in range(1, path.count("/") + 1):
                snapshot.setdefault("/".join(path.split("/")[:depth]), ("d", 0o755))
        scratch.restore(self.root, snapshot, {})


class StoreWatchTests(WatchTest):
    def look(self, *content):
        self.put({checker.STORE: ("f", 0o600, *content)} if content else {})
        return concurrency.StoreWatch(self.machine).look()

    def test_a_store_is_there_whole_and_has_whole_entries(self):
        whole = store("A")[2].replace(b"<key>cloneName</key>", b"<key>Korvan Server Unique Application Name</key>"
                                      b"<string>n</string><key>Store Name</key><string>s</string><key>cloneName</key>")
        self.assertEqual(self.look(whole), [])
        self.assertTrue(self.look(whole[:-30]))
        self.assertTrue(self.look(b""))
        self.assertTrue(self.look(store("A")[2]))
        self.assertTrue(self.look())


class FolderWatchTests(WatchTest):
    def look(self, files):
        self.put(machine((STUB, files)))
        return concurrency.FolderWatch(self.machine).look()

    def test_each_file_of_a_stub_is_whole(self):
        self.assertEqual(self.look(stub("1.0")), [])
        for path in (checker.ALIAS, checker.INFORMATION, "Contents/Resources/DockApplication.icns"):
            entry = stub("1.0")[path]
            self.assertTrue(self.look({**stub("1.0"), path: (*entry[:2], entry[2][:-3])}), path)
            self.assertTrue(self.look({**stub("1.0"), path: (*entry[:2], b"")}), path)


class StubWatchTests(WatchTest):
    """The template is a stub without its alias."""

    def setUp(self):
        super().setUp()
        self.put(machine((STUB, OLD)))
        self.watch = concurrency.StubWatch(self.machine, [checker.below(
            machine((STUB, {path: entry for path, entry in stub("2.0").items() if path != checker.ALIAS})), STUB)])
        # The root of the old one has its own mode.
        self.assertEqual(list(self.watch.old), [STUB])

    def in_trash(self, files):
        told = information(os.path.join(self.root, STUB).encode())
        return (checker.TRASH + "/files/Writer.app", files), (checker.TRASH + "/info/Writer.app.trashinfo", told)

    def look(self, *placed):
        self.put(machine(*placed))
        return self.watch.look()

    def test_a_stub_is_the_old_one_a_new_one_or_in_the_trash(self):
        self.assertEqual(self.look((STUB, OLD)), [])
        self.assertEqual(self.look((STUB, stub("2.0"))), [])
        self.assertEqual(self.look(*self.in_trash(OLD)), [])

    def test_anything_else_is_a_loss(self):
        cut = {path: entry for path, entry in stub("2.0").items() if path != checker.ALIAS}
        self.assertTrue(self.look((STUB, cut)))
        self.assertTrue(self.look((STUB, {**OLD, checker.INFORMATION: ("f", 0o644, b"")})))
        self.assertTrue(self.look())
        self.assertTrue(self.look(*self.in_trash(cut)))
        self.assertTrue(self.look(self.in_trash(OLD)[0]))

    def test_in_the_end_all_are_new_and_the_old_ones_in_the_trash(self):
        self.look((STUB, stub("2.0")), *self.in_trash(OLD))
        self.assertEqual(self.watch.final(), [])
        for placed in ([(STUB, stub("2.0"))], [(STUB, OLD)], list(self.in_trash(OLD))):
            self.look(*placed)
            self.assertTrue(self.watch.final())


if __name__ == "__main__":
    unittest.main()
