import unittest

import check_layers
from made_up_tree import MadeUpTree


class CheckLayers(MadeUpTree):
    def found_with(self, *files):
        """What is found in a sound tree once each (path, text) of `files` stands in it."""
        self.start_over()
        self.write("src/formats/bytes.h", "#pragma once\n")
        self.write("src/assets/store.h", '#include "formats/bytes.h"\n')
        self.write("src/host/files.h", "#include <QString>\n")
        self.write("src/panel/panel.h", '#include "host/files.h"\n')
        self.write("src/transport/fetch.h", "#include <vector>\n")
        self.write("src/app/launcher.h", '#include "panel/panel.h"\n#include "assets/store.h"\n')
        self.assertEqual(check_layers.faults(self.root), [])
        for path, text in files:
            self.write(path, text)
        return check_layers.faults(self.root)

    def test_finds_each_wrong_arrow(self):
        for path, included, arrow in [
            ("formats/a.cpp", "assets/store.h", "formats to assets"),
            ("formats/a.cpp", "app/launcher.h", "formats to launcher"),
            ("assets/a.cpp", "host/files.h", "assets to host"),
            ("assets/a.cpp", "panel/panel.h", "assets to panel"),
            ("assets/a.cpp", "transport/fetch.h", "assets to launcher"),
            ("host/a.cpp", "formats/bytes.h", "host to formats"),
            ("host/a.cpp", "panel/panel.h", "host to panel"),
            ("panel/a.cpp", "assets/store.h", "panel to assets"),
            ("panel/a.cpp", "app/launcher.h", "panel to launcher"),
        ]:
            with self.subTest(path=path, included=included):
                found = self.found_with((f"src/{path}", f'#include "{included}"'))
                self.assertEqual(found, [f"{path}:1: #include {included} goes from {arrow}"])

    def test_finds_a_wrong_arrow_in_angle_brackets(self):
        self.assertEqual(
            self.found_with(("src/host/a.cpp", "#  include <assets/store.h>")),
            ["host/a.cpp:1: #include assets/store.h goes from host to assets"],
        )

    def test_lets_the_window_know_every_room(self):
        lines = ["formats/bytes.h", "assets/store.h", "host/files.h", "panel/panel.h", "transport/fetch.h"]
        text = "\n".join(f'#include "{line}"' for line in lines)
        for path in ["app/main.cpp", "client/play.cpp", "accounts/a.cpp", "assets/launcher_asset_tasks.cpp"]:
            with self.subTest(path=path):
                self.assertEqual(self.found_with((f"src/{path}", text)), [])

    def test_finds_what_nobody_includes(self):
        for included in ["client/launcher_play.cpp", "client/launcher_play.h", "client/rules.cpp"]:
            with self.subTest(included=included):
                found = self.found_with((f"src/{included}", ""), ("src/app/main.cpp", f'#include "{included}"'))
                self.assertEqual(found, [f"app/main.cpp:1: #include {included} is a file that nobody includes"])

    def test_finds_includes_that_do_not_name_their_folder(self):
        self.assertEqual(
            self.found_with(("src/formats/a.cpp", '#include "bytes.h"')),
            ["formats/a.cpp:1: #include bytes.h names no folder"],
        )
        self.assertEqual(
            self.found_with(("src/formats/a.cpp", '#include "../host/files.h"')),
            ["formats/a.cpp:1: #include ../host/files.h is no file of src/"],
        )

    def test_allows_moc_output_and_library_headers(self):
        self.assertEqual(self.found_with(("src/app/a.cpp", '#include "a.moc"\n#include <sys/stat.h>')), [])

    def test_finds_a_folder_without_a_place(self):
        self.assertEqual(
            self.found_with(("src/util/a.h", "")), ["util/a.h: its folder has no place among the arrows"]
        )

    def test_finds_platform_tests_outside_the_halves(self):
        for line, name in [
            ("#ifdef Q_OS_WIN", "Q_OS_WIN"),
            ("# if defined(_WIN32) && 1", "_WIN32"),
            ("#elif defined(__linux__)", "__linux__"),
            ("#ifndef __APPLE__", "__APPLE__"),
        ]:
            with self.subTest(line=line):
                found = self.found_with(("src/assets/a.cpp", line))
                self.assertEqual(found, [f"assets/a.cpp:1: {name} outside a platform half"])

    def test_allows_platform_tests_in_the_halves(self):
        halves = [("src/assets/lock_win.cpp", "#ifdef _WIN32"), ("src/assets/lock_posix.cpp", "#ifdef __linux__")]
        self.assertEqual(self.found_with(*halves), [])

    def test_finds_a_half_without_its_twin(self):
        self.assertEqual(
            self.found_with(("src/assets/lock_posix.cpp", "")),
            ["assets/lock_posix.cpp: has no twin assets/lock_win.cpp"],
        )

    def test_finds_an_empty_tree(self):
        self.assertEqual(check_layers.faults(self.root), [f"{self.root / 'src'}: no sources found"])


if __name__ == "__main__":
    unittest.main()
