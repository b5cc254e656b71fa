"""Imports and repairs under faults: a failing call, a full disk, a kill at any moment, a source that changes.

usage: test_store_faults.py TOOL [unittest's own arguments]
"""

import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import injection
from store_checker import Root, files_below, manifest_of

TOOL = sys.argv.pop(1) if len(sys.argv) > 1 else ""

# The calls by which an operation changes the disk: it is killed at each, and each is made to fail.
CHANGING = ("openat", "write", "fsync", "mkdirat", "renameat", "renameat2", "unlinkat", "flock")
ERRORS = ("EIO", "ENOSPC")

# The calls by which it looks at its source and at the root.
LOOKING = ("read", "newfstatat", "fstat", "getdents64", "openat")


def archive():
    content = b"pixels"
    record = struct.pack("<64sHH", b"textures", 0, 1) + struct.pack("<128sII", b"a.dds", 6 + 68 + 136, len(content))
    return b"QOMB\x01\x00" + record + content


class StoreFaults(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="store-faults-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.source = self.folder / "game"
        for path, content in {"textures_1.dat": archive(), "dir/Işık/gölge.dat": b"shadow", "dir/big.bin": b"x" * 300000,
                              "readme.txt": b"read me"}.items():
            (self.source / path).parent.mkdir(parents=True, exist_ok=True)
            (self.source / path).write_bytes(content)
        self.root = self.folder / "store"
        self.import_command = [TOOL, "import", str(self.source), str(self.root)]
        self.repair_command = [TOOL, "repair", str(self.source), str(self.root)]
        self.verify_command = [TOOL, "verify", str(self.root)]
        self.expected = manifest_of(self.source)

    # Set-ups ---------------------------------------------------------------------------------------------------

    def forget_root(self):
        shutil.rmtree(self.root, ignore_errors=True)

    def damaged_store(self):
        """A finished store with one file changed, one missing and one in a directory that is gone."""
        self.forget_root()
        self.assertEqual(injection.run(self.import_command).code, 0)
        (self.root / "assets/readme.txt").write_bytes(b"damaged")
        (self.root / "assets/textures_1.dat").unlink()
        shutil.rmtree(self.root / "assets/dir")
        self.damage = files_below(self.root / "assets")

    def points(self, command, prepare, calls=CHANGING):
        """Every call of a plain run of `command` that touches the installation root."""
        prepare()
        found = [point for point in injection.recorded(command, str(self.root)) if point[0] in calls]
        self.assertTrue(found)
        return found

    def ordinal(self, command, call, pattern):
        """The ordinal of the first `call` of a plain run of `command` whose line matches `pattern`."""
        for name, when, line in injection.recorded(command, str(self.folder)):
            if name == call and re.search(pattern, line):
                return when
        self.fail(f"no {call} that matches {pattern}")

    # Looks -----------------------------------------------------------------------------------------------------

    def assert_no_store(self, where):
        look = Root(self.root)
        self.assertEqual((look.has_manifest, look.has_assets, look.stages, look.strangers), (False, False, [], []), where)

    def assert_whole_store(self, where):
        look = Root(self.root)
        self.assertEqual(look.manifest, self.expected, where)
        self.assertEqual(sorted(look.files), sorted(self.expected), where)
        self.assertTrue(all(look.proves(path) for path in look.files), where)

    def assert_import_refused(self, outcome, message):
        self.assertEqual(outcome.errors, [message], outcome.stderr)
        self.assert_no_store(message)

    # Imports ---------------------------------------------------------------------------------------------------

    def test_import_killed_at_any_call_leaves_a_state_that_has_a_way_on(self):
        kills = 0
        for call, when, line in self.points(self.import_command, self.forget_root):
            with self.subTest(line):
                self.forget_root()
                outcome = injection.injected(self.import_command, call, when, "signal=SIGKILL")
                self.assertTrue(outcome.killed)
                kills += 1
                look = Root(self.root)
                self.assertEqual(look.strangers, [])
                if look.has_assets:
                    self.assert_whole_store(line)
                elif look.has_manifest:
                    self.assertEqual(look.manifest, self.expected)
                    self.assertEqual(injection.run(self.repair_command).code, 0)
                else:
                    self.assertEqual(injection.run(self.import_command).code, 0)
                self.assert_whole_store(line)
                self.assertEqual(injection.run(self.verify_command).code, 0)
        print(f"import: {kills} kills")

    def test_import_with_any_failing_call_makes_a_store_or_says_why_not(self):
        faults = 0
        for call, when, line in self.points(self.import_command, self.forget_root):
            for error in ERRORS:
                for span in self.spans(call, when):
                    where = f"{error} at {span}: {line}"
                    with self.subTest(where):
                        self.forget_root()
                        outcome = injection.injected(self.import_command, call, span, f"error={error}")
                        faults += 1
                        self.look_after_failing_import(outcome, call, span, line)
        print(f"import: {faults} faults")

    @staticmethod
    def spans(call, when):
        """Once, and from then on."""
        if call == "write" and "VOK_SANITIZED" in os.environ:
            # A sanitizer's runtime writes into pipes of its own while an exception passes, and where that fails it
            # ends the program as if all were well.
            return (f"{when}",)
        return (f"{when}", f"{when}+")

    def look_after_failing_import(self, outcome, call, span, line):
        if outcome.code == 0:
            # Only the removal of what is not needed any more may fail without a word.
            self.assertIn(call, ("unlinkat", "openat"))
            self.assertIn(".asset-stage-", line)
            self.assert_whole_store(line)
            return
        self.assertEqual(outcome.code, 1)
        if not (call == "write" and span.endswith("+")):  # there the report could not be written either
            self.assertEqual(len(outcome.errors), 1)
        look = Root(self.root)
        self.assertFalse(look.has_assets and not look.has_manifest)
        if call != "unlinkat" and not (call == "openat" and span.endswith("+")):
            self.assert_no_store(line)

    def test_import_never_takes_a_failed_look_for_an_answer(self):
        """A listing that breaks off, a file or a status that cannot be read: nothing may be left out for it."""
        faults = 0
        self.forget_root()
        for call, when, line in injection.recorded(self.import_command, str(self.folder)):
            # Making the root only asks whether that is needed.
            asks_for_root = call == "newfstatat" and str(self.source) not in line and "AT_FDCWD" in line
            if call not in LOOKING or ".asset-stage-" in line or "/proc/" in line or asks_for_root:
                continue
            with self.subTest(line):
                self.forget_root()
                outcome = injection.injected(self.import_command, call, when, "error=EIO")
                faults += 1
                self.assertEqual((outcome.code, len(outcome.errors)), (1, 1))
                self.assert_no_store(line)
        print(f"import: {faults} failed looks")

    def test_messages_of_failing_calls(self):
        rows = (
            ("mkdirat", r"\.asset-stage-[0-9a-f]{32}\"", "error=ENOSPC", "Cannot create asset staging directory"),
            ("write", r"readme\.txt", "error=ENOSPC", "Cannot write asset readme.txt"),
            ("write", r"readme\.txt", "retval=0", "Cannot write asset readme.txt"),
            ("read", r"store/\.asset-stage|game/readme\.txt", "error=EIO", "Cannot read asset readme.txt"),
            ("fsync", r"readme\.txt", "error=EIO", "Cannot sync copied asset readme.txt"),
            ("fsync", r"assets/dir/[^/]*>", "error=EIO", "Cannot sync copied asset dir/Işık"),
            ("write", r"asset-manifest\.json", "error=ENOSPC", "Cannot write asset manifest"),
            ("write", r"asset-manifest\.json", "retval=0", "Cannot write asset manifest"),
            ("fsync", r"asset-manifest\.json", "error=EIO", "Cannot sync asset manifest"),
            ("renameat2", r"asset-manifest\.json", "error=EIO", "Cannot commit asset manifest"),
            ("renameat2", r"\"assets\"", "error=EIO", "Cannot atomically commit imported assets"),
            ("lseek", r"textures_1\.dat", "error=ESPIPE", "Cannot inspect original asset archive"),
        )
        for call, pattern, what, message in rows:
            with self.subTest(call=call, message=message):
                self.forget_root()
                when = self.ordinal(self.import_command, call, pattern)
                self.forget_root()
                outcome = injection.injected(self.import_command, call, when, what)
                self.assert_import_refused(outcome, message)

    def test_messages_of_failing_queries_of_an_open_file(self):
        self.forget_root()
        queries = [(call, when) for call, when, line in injection.recorded(self.import_command, str(self.source))
                   if call in ("fstat", "newfstatat") and re.search(r"\(\d+<[^>]*readme\.txt>", line)]
        messages = (f"Unsafe or unreadable file {self.source}/readme.txt", "Unsafe file readme.txt",
                    "Asset changed while reading: readme.txt")
        self.assertEqual(len(queries), 2 * len(messages))  # by the scan, and by the copy
        for (call, when), message in zip(queries, 2 * messages):
            with self.subTest(when=when, message=message):
                self.forget_root()
                self.assert_import_refused(injection.injected(self.import_command, call, when, "error=EIO"), message)

    def test_a_rename_that_cannot_be_flushed_is_taken_back(self):
        flushes = []
        self.forget_root()
        for call, when, line in injection.recorded(self.import_command, str(self.root)):
            if call == "fsync" and f"<{self.root}>" in line:
                flushes.append(when)
        # The root is flushed after each of the two renames.
        for when, message in zip(flushes[-2:], ("Cannot commit asset manifest",
                                                "Cannot atomically commit imported assets")):
            self.forget_root()
            outcome = injection.injected(self.import_command, "fsync", when, "error=EIO")
            self.assert_import_refused(outcome, message)

    def test_a_tree_that_cannot_be_taken_back_keeps_its_manifest(self):
        self.forget_root()
        flush = [when for call, when, line in injection.recorded(self.import_command, str(self.root))
                 if call == "fsync" and f"<{self.root}>" in line][-1]
        self.forget_root()
        outcome = injection.injected_all(self.import_command, ("fsync", flush, "error=EIO"),
                                         ("renameat2", 3, "error=EIO"))
        self.assertEqual(outcome.errors, ["Cannot atomically commit imported assets"])
        self.assert_whole_store("a tree without a manifest would have no way out")

    def test_every_name_is_flushed_before_what_relies_on_it(self):
        """A commit is durable only when the directories that hold the new names are flushed: the staged ones before it,
        the root after it, and the folders above a root that had to be made."""
        self.root = self.folder / "made/on/the/way"
        calls = injection.recorded([TOOL, "import", str(self.source), str(self.root)], str(self.folder))
        order = [(call, re.sub(r"\.asset-stage-[0-9a-f]{32}", "STAGE", line)) for call, _, line in calls]

        def position(call, pattern):
            found = [at for at, (name, line) in enumerate(order) if name == call and re.search(pattern, line)]
            self.assertTrue(found, f"no {call} of {pattern}")
            return found[0]

        root = re.escape(str(self.root))
        first = position("renameat2", "asset-manifest")
        second = position("renameat2", '"assets"')
        for directory in ("assets/dir/[^/>]+", "assets/dir", "assets"):
            self.assertLess(position("fsync", f"<{root}/STAGE/{directory}>"), first)
        roots = [at for at, (name, line) in enumerate(order) if name == "fsync" and f"<{self.root}>" in line]
        self.assertTrue(any(first < at < second for at in roots))
        self.assertTrue(any(second < at for at in roots))
        for parent in list(self.root.parents)[:4]:
            position("fsync", f"<{re.escape(str(parent))}>")

    def test_repaired_names_are_flushed(self):
        self.damaged_store()
        shutil.rmtree(self.root / "assets")
        order = [(call, line) for call, _, line in injection.recorded(self.repair_command, str(self.root))]
        last_rename = max(at for at, (call, _) in enumerate(order) if call == "renameat")
        for directory in ("/assets/dir/[^/>]+", "/assets/dir", "/assets", ""):
            pattern = f"<{re.escape(str(self.root))}{directory}>"
            flushes = [at for at, (call, line) in enumerate(order) if call == "fsync" and re.search(pattern, line)]
            self.assertTrue(flushes, directory)
            if directory == "/assets":
                self.assertGreater(flushes[-1], last_rename)

    def test_the_lock_is_held_to_the_end(self):
        """Another program asks for the lock while the operation is held up at its last steps."""
        self.assertEqual(injection.run(self.import_command).code, 0)
        last_look = injection.recorded(self.verify_command, str(self.root / "assets"))[-1]
        self.assert_locked_during(self.verify_command, last_look, self.lock_is_listed)
        self.damaged_store()
        last_look = injection.recorded(self.repair_command, str(self.root / "assets"))[-1]
        self.damaged_store()
        whole = lambda: (self.root / "assets/readme.txt").read_bytes() == b"read me"
        self.assert_locked_during(self.repair_command, last_look, whole)
        self.forget_root()
        second_rename = ("renameat2", 2, "")
        self.assert_locked_during(self.import_command, second_rename, lambda: Root(self.root).has_manifest)

    def lock_is_listed(self):
        """Asks the system's list, since asking for the lock would keep the operation from getting it."""
        inode = (self.root / ".asset-import.lock").stat().st_ino
        return f":{inode} " in pathlib.Path("/proc/locks").read_text(encoding="ascii")

    def lock_is_taken(self):
        return subprocess.run(["flock", "-n", str(self.root / ".asset-import.lock"), "true"], check=False).returncode != 0

    def assert_locked_during(self, command, point, arrived):
        call, when, _ = point
        worker = threading.Thread(target=injection.injected, args=(command, call, when, "delay_enter=3000000"))
        worker.start()
        while not arrived():
            self.assertTrue(worker.is_alive(), "never came to the point where it is held up")
            time.sleep(0.01)
        for _ in range(20):
            self.assertTrue(self.lock_is_taken(), command)
            self.assertTrue(worker.is_alive())
            time.sleep(0.05)
        worker.join()

    def test_a_deadline_that_passes_after_the_first_rename_removes_the_manifest(self):
        command = [*self.import_command, "--deadline-ms", "4000"]
        outcome = injection.injected(command, "renameat2", 1, "delay_exit=5000000")
        self.assert_import_refused(outcome, "Asset import deadline expired")

    def test_a_source_that_changes_between_scan_and_copy_makes_no_store(self):
        command = ["strace", "-f", "-qq", "-o", os.devnull, "-e", "trace=mkdirat",
                   "-e", "inject=mkdirat:delay_exit=3000000:when=" + str(self.stage_ordinal()), *self.import_command]
        self.forget_root()
        outcome = []
        worker = threading.Thread(target=lambda: outcome.append(injection.run(command)))
        worker.start()
        while not (self.root.is_dir() and Root(self.root).stages):
            time.sleep(0.01)
        (self.source / "readme.txt").write_bytes(b"read ME")
        worker.join()
        self.assert_import_refused(outcome[0], "Selected source differs from trusted manifest: readme.txt")

    def stage_ordinal(self):
        return self.ordinal(self.import_command, "mkdirat", r"\.asset-stage-[0-9a-f]{32}\"")

    def test_a_file_system_without_exclusive_rename_gets_its_store_too(self):
        for error in ("EINVAL", "ENOSYS"):
            self.forget_root()
            outcome = injection.injected(self.import_command, "renameat2", "1+", f"error={error}")
            self.assertEqual(outcome.code, 0, outcome.errors)
            self.assert_whole_store(error)
            self.assertEqual(Root(self.root).stages, [])

    def test_a_file_system_without_second_names_as_well_gets_its_store_and_never_replaces(self):
        faults = (("renameat2", "1+", "error=EINVAL"), ("linkat", "1+", "error=EPERM"))
        self.forget_root()
        outcome = injection.injected_all(self.import_command, *faults)
        self.assertEqual(outcome.code, 0, outcome.errors)
        self.assert_whole_store("neither exclusive rename nor links")

    def test_on_such_a_file_system_a_kill_or_fault_leaves_a_way_on(self):
        def command(extra):
            return ["strace", "-f", "-qq", "-o", os.devnull, "-e", "trace=renameat2,linkat,mkdirat,renameat,unlinkat",
                    "-e", "inject=renameat2:error=EINVAL", *extra, *self.import_command]

        for call, when in (("linkat", 1), ("unlinkat", 1), ("renameat", 1)):
            for what in ("signal=SIGKILL", "error=EIO"):
                self.forget_root()
                outcome = injection.run(command(["-e", f"inject={call}:{what}:when={when}"]))
                look = Root(self.root)
                where = f"{what} at {call}"
                self.assertFalse(look.has_assets and not look.has_manifest, where)
                if not outcome.killed:
                    self.assertEqual(outcome.code, 1, where)
                    self.assert_no_store(where)
                following = self.repair_command if look.has_manifest else self.import_command
                self.assertEqual(injection.run(following).code, 0, where)
                self.assert_whole_store(where)

    # Verification ----------------------------------------------------------------------------------------------

    def test_a_manifest_that_cannot_be_read_is_told(self):
        self.assertEqual(injection.run(self.import_command).code, 0)
        queries = [(call, when) for call, when, line in injection.recorded(self.verify_command, str(self.root))
                   if call in ("fstat", "newfstatat") and re.search(r"\(\d+<[^>]*asset-manifest\.json>", line)]
        outcome = injection.injected(self.verify_command, *queries[-1], "error=EIO")
        self.assertEqual(outcome.errors, ["Invalid asset manifest size"])
        when = self.ordinal(self.verify_command, "read", r"asset-manifest\.json")
        for what in ("error=EIO", "retval=10"):
            outcome = injection.injected(self.verify_command, "read", when, what)
            self.assertEqual(outcome.errors, ["Cannot read manifest"])

    # Repairs ---------------------------------------------------------------------------------------------------

    def look_after_broken_repair(self, where):
        """Every file is right or as it was before, nothing else appeared, and the manifest is untouched."""
        look = Root(self.root)
        self.assertEqual(look.manifest, self.expected, where)
        self.assertEqual(look.strangers, [], where)
        for path, content in look.files.items():
            self.assertTrue(look.proves(path) or content == self.damage.get(path), f"{path}: {where}")
        return look

    def test_repair_killed_at_any_call_can_be_taken_up_again(self):
        kills = 0
        for call, when, line in self.points(self.repair_command, self.damaged_store):
            with self.subTest(line):
                self.damaged_store()
                outcome = injection.injected(self.repair_command, call, when, "signal=SIGKILL")
                self.assertTrue(outcome.killed)
                kills += 1
                self.look_after_broken_repair(line)
                self.assertEqual(injection.run(self.repair_command).code, 0)
                self.assert_whole_store(line)
        print(f"repair: {kills} kills")

    def test_repair_with_any_failing_call_says_so_and_can_be_taken_up_again(self):
        faults = 0
        for call, when, line in self.points(self.repair_command, self.damaged_store):
            for error in ERRORS:
                with self.subTest(f"{error}: {line}"):
                    self.damaged_store()
                    outcome = injection.injected(self.repair_command, call, when, f"error={error}")
                    faults += 1
                    look = self.look_after_broken_repair(line)
                    if outcome.code == 0:
                        self.assertIn(call, ("unlinkat", "openat"))
                        self.assert_whole_store(line)
                    else:
                        self.assertEqual((outcome.code, len(outcome.errors)), (1, 1))
                        if call != "unlinkat":
                            self.assertEqual(look.stages, [])
                    self.assertEqual(injection.run(self.repair_command).code, 0)
                    self.assert_whole_store(line)
        print(f"repair: {faults} faults")

    def test_messages_of_a_failing_repair(self):
        rows = (
            ("mkdirat", r"\.asset-stage-[0-9a-f]{32}\"", "error=ENOSPC", "Cannot create asset staging directory"),
            ("renameat", r"readme\.txt", "error=EIO", "Cannot commit repaired asset readme.txt"),
            ("fsync", r"store/assets/dir/[^/]*>", "error=EIO", "Cannot commit repaired asset dir/Işık"),
        )
        for call, pattern, what, message in rows:
            with self.subTest(call=call, message=message):
                self.damaged_store()
                when = self.ordinal(self.repair_command, call, pattern)
                self.damaged_store()
                self.assertEqual(injection.injected(self.repair_command, call, when, what).errors, [message])


if __name__ == "__main__":
    if not os.access(TOOL, os.X_OK):
        sys.exit(__doc__)
    unittest.main(verbosity=2)
