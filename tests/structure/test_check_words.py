import unittest

import check_words
from made_up_tree import MadeUpTree


class CheckWords(MadeUpTree):
    def faults(self):
        return check_words.faults(self.root)

    def test_finds_every_word_anywhere(self):
        for word in check_words.MARKS + check_words.SKIPS + ["not yet imple" + "mented", "not imple" + "mented"]:
            for path in ["src/a.cpp", "README.md", "script/run", ".ci/run", "docs/decisions/0001-a.md"]:
                with self.subTest(word=word, path=path):
                    self.start_over()
                    self.write(path, f"first line\n// {word}: later\n")
                    self.assertEqual(self.faults(), [f"{path}:2: {word}"])

    def test_finds_what_a_broken_merge_leaves(self):
        self.write("a.txt", "<" * 7 + " ours\na\n=======\nb\n" + ">" * 7 + " theirs\n")
        self.assertEqual(self.faults(), ["a.txt:1: " + "<" * 7, "a.txt:5: " + ">" * 7])

    def test_leaves_longer_words_and_lower_case_alone(self):
        self.write("a.txt", "mktemp /tmp/a." + "X" * 6 + "\nto" + "do lists\nMETHO" + "DO\n")
        self.assertEqual(self.faults(), [])

    def test_looks_at_the_projects_own_text_only(self):
        word = check_words.MARKS[0]
        self.write("a.txt", "fine\n")
        self.write("build/a.txt", word)
        self.write(".git/a.txt", word)
        self.write("image.png", b"\x89PNG\0 " + word.encode())
        self.write("latin.bin", b"\xff " + word.encode())
        self.assertEqual(self.faults(), [])

    def test_finds_an_empty_tree(self):
        self.assertEqual(self.faults(), [f"{self.root}: no text found"])


if __name__ == "__main__":
    unittest.main()
