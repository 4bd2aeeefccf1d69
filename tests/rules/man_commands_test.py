"""That man/zlkcam.1 tells the commands and options that zlkcam has, and no other ones.

    man_commands_test.py ZLKCAM
"""

import pathlib
import re
import subprocess
import sys
import unittest

PAGE = (pathlib.Path(__file__).resolve().parents[2] / "man" / "zlkcam.1").read_text()
ZLKCAM = sys.argv.pop(1)
OPTION = re.compile(r"(?<![\w-])--([a-z][a-z-]*)")


def help_of(*command):
    return subprocess.run([ZLKCAM, *command, "--help"], check=True, capture_output=True,
                          text=True).stdout


def listed(text, heading):
    """The first word of each line below a heading of the help."""
    block = re.search(rf"^{heading}:\n((?:  .*\n)*)", text, re.MULTILINE)
    return re.findall(r"^  (\w\S*)", block[1], re.MULTILINE) if block else []


def plain(text):
    """A line of the page without its macro and its marks."""
    text = re.sub(r"^\.[A-Z]+ ", "", text)
    return re.sub(r"\\f[A-Z]|\"| (?=\")", "", text).replace("\\-", "-")


COMMANDS = listed(help_of(), "Subcommands")
OPTIONS = {}
for name in COMMANDS:
    texts = [help_of(name)] + [help_of(name, below) for below in listed(help_of(name), "Subcommands")]
    # What stands in front of the words that explain it.
    heads = [re.split(r"\s{2,}", line.strip())[0] for text in texts
             for line in text.splitlines() if line.startswith("  -")]
    OPTIONS[name] = {word for head in heads for word in OPTION.findall(head)} - {"help"}

SECTION = PAGE[PAGE.index(".SH COMMANDS"):]
SECTION = SECTION[:SECTION.index("\n.SH ")]
HEADS = [plain(line) for line in re.findall(r"^\.TP\n(.*)$", SECTION, re.MULTILINE)]


class ManPage(unittest.TestCase):
    def test_names_each_command_once(self):
        named = [word for head in HEADS for word in re.findall(r"[a-z]+", re.sub(
            r"\[.*?\]|--\S+", " ", head)) if word in COMMANDS]
        self.assertCountEqual(set(named), COMMANDS)

    def test_gives_a_command_no_option_that_it_has_not(self):
        for head in HEADS:
            commands = [word for word in COMMANDS if re.search(rf"(^|, |\s){word}\b", head)]
            for option in OPTION.findall(head):
                for command in commands:
                    self.assertIn(option, OPTIONS[command], f"{command}: {head}")

    def test_tells_each_option_that_there_is(self):
        told = set(OPTION.findall(PAGE.replace("\\-", "-")))
        known = set().union(*OPTIONS.values()) | {"json", "help"}
        self.assertEqual(known - told, set(), "are missing")
        self.assertEqual(told - known, set(), "don't exist")


if __name__ == "__main__":
    unittest.main()
