"""The demo plays to its end over a sample game, and ends with a failure where the launcher does not do its part.

usage: test_demo.py DEMO SAMPLE-GAME-PROGRAM
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

PICTURES = [
    "01-install-page.png",
    "02-settings-1.png",
    "03-settings-2.png",
    "04-choose-game.png",
    "05-import-runs.png",
    "06-login-page.png",
    "07-damage-found.png",
    "08-damage-in-diagnostics.png",
    "09-repair-in-diagnostics.png",
    "10-server-dialog.png",
    "11-registered.png",
    "12-wrong-password.png",
    "13-play-page.png",
]


class Demo(unittest.TestCase):
    program = sample_game = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.game = pathlib.Path(folder.name) / "game"
        self.pictures = pathlib.Path(folder.name) / "pictures"

    def play(self):
        return subprocess.run([self.program, self.game, self.pictures], capture_output=True, text=True, timeout=240)

    def test_plays_to_its_end_and_keeps_a_picture_of_each_step(self):
        subprocess.run([self.sample_game, "--size", "1MiB", self.game], check=True, stdout=subprocess.DEVNULL)
        played = self.play()
        self.assertEqual((played.returncode, played.stderr), (0, ""))
        self.assertEqual(sorted(path.name for path in self.pictures.glob("*.png")), PICTURES)
        pictures = [(self.pictures / name).read_bytes() for name in PICTURES]
        self.assertTrue(all(picture.startswith(b"\x89PNG") for picture in pictures))
        self.assertEqual(len(set(pictures)), len(pictures), "two steps look the same")
        lines = [line for line in played.stdout.splitlines() if not line.startswith(" ")]
        self.assertEqual([line.split(".")[0] for line in lines], [str(number + 1) for number in range(len(lines))])

    def test_fails_where_there_is_no_game_to_import(self):
        self.game.mkdir()
        (self.game / "readme.txt").write_text("no game\n")
        played = self.play()
        self.assertEqual(played.returncode, 1)
        self.assertIn("the import leads to the login page; the launcher says: ", played.stderr)


if __name__ == "__main__":
    Demo.program, Demo.sample_game = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
