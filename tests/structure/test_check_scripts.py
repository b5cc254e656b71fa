import unittest

import check_scripts
from made_up_tree import MadeUpTree

SOUND = """#!/usr/bin/env bash
set -euo pipefail
case ${1:-} in
    --help) echo "usage: script/good" ;;
    *) echo "unknown argument $1" >&2 && exit 2 ;;
esac
"""


class CheckScripts(MadeUpTree):
    def found_in(self, content, executable=True):
        self.write("script/good", content).chmod(0o755 if executable else 0o644)
        return check_scripts.faults(self.root)

    def test_is_content_with_a_sound_script(self):
        self.write("script/packages", "build g++\n")
        self.assertEqual(self.found_in(SOUND), [])

    def test_finds_a_script_that_cannot_be_run(self):
        self.assertEqual(self.found_in(SOUND, executable=False), ["script/good: is not executable"])

    def test_finds_a_script_that_goes_on_after_a_failure(self):
        self.assertEqual(
            self.found_in(SOUND.replace("set -euo pipefail", "set -eu")),
            ["script/good: does not say set -euo pipefail"],
        )

    def test_finds_help_that_does_not_help(self):
        for wrong in [
            SOUND.replace("usage: script/good", "usage: other"),
            SOUND.replace('"usage: script/good"', '"usage: script/good"; exit 3'),
            SOUND.replace('"usage: script/good"', '"usage: script/good"; echo noise >&2'),
        ]:
            with self.subTest(wrong=wrong):
                self.assertEqual(self.found_in(wrong), ["script/good: --help does not explain it"])

    def test_finds_an_unknown_argument_that_is_swallowed(self):
        fault = ["script/good: does not refuse an unknown argument with exit code 2"]
        self.assertEqual(self.found_in(SOUND.replace("exit 2", "exit 1")), fault)
        self.assertEqual(self.found_in(SOUND.replace("unknown argument $1", "what")), fault)

    def test_finds_what_shellcheck_finds_in_scripts_and_what_they_share(self):
        self.write("script/lib/shared.sh", "# shellcheck shell=bash\necho $HOME\n")
        found = self.found_in(SOUND + "never_called() { echo $1; }\n")
        self.assertEqual(len(found), 2, found)
        self.assertIn("script/good", found[0])
        self.assertIn("script/lib/shared.sh", found[1])
        self.assertTrue(all("[SC2086]" in line for line in found))

    def test_finds_a_tree_without_scripts(self):
        self.assertEqual(check_scripts.faults(self.root), [f"{self.root.resolve()}: no scripts found"])


if __name__ == "__main__":
    unittest.main()
