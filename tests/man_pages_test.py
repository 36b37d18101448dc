"""The man pages say what --help says, and every command has one: man_pages_test.py PAGES PANEL PLCSIM."""
import pathlib
import re
import subprocess
import sys
import unittest

PAGES, PANEL, PLCSIM = (pathlib.Path(path) for path in sys.argv[1:4])


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def squeezed(text):
    return " ".join(text.split())


def shown(page):
    """The page as a reader has it before them, in one line."""
    lines = output("mandoc", "-T", "ascii", "-O", "width=400", page)
    return squeezed(re.sub(".\b", "", lines))


def pieces(help_text):
    """The option or name, and what is said of it, of each line; headings are the page's own."""
    for line in help_text.splitlines():
        if re.fullmatch(r"(Options|Positionals|Subcommands):|Usage: .*|", line):
            continue
        yield from (squeezed(piece) for piece in re.split(r"(?<=\S)\s{2,}", line))


def commands():
    """What each page is of: the words that ask for its help."""
    listed = output(PANEL, "--help").split("Subcommands:")[1]
    found = {f"panel-{name}": (PANEL, name) for name in re.findall(r"^  (\S+)", listed, re.M)}
    return {"panel": (PANEL,), "plcsim": (PLCSIM,), **found}


class ManPages(unittest.TestCase):
    def test_there_is_one_for_each_command_and_no_other(self):
        pages = {page.name for page in PAGES.glob("*.1.gz")}
        self.assertEqual(pages, {f"{name}.1.gz" for name in commands()})

    def test_each_says_all_that_the_help_says(self):
        for name, command in commands().items():
            page = shown(PAGES / f"{name}.1.gz")
            for piece in pieces(output(*command, "--help")):
                with self.subTest(page=name, piece=piece):
                    self.assertIn(piece, page)

    def test_each_names_no_option_that_the_help_does_not(self):
        for name, command in commands().items():
            options = shown(PAGES / f"{name}.1.gz").split(" OPTIONS ")[1].split(" EXAMPLES ")[0]
            known = set(re.findall(r"--[a-z][a-z-]*", output(*command, "--help")))
            self.assertEqual(set(re.findall(r"--[a-z][a-z-]*", options)) - known, set(), name)

    def test_each_is_titled_with_its_name_and_well_formed(self):
        for name in commands():
            page = PAGES / f"{name}.1.gz"
            with self.subTest(page=name):
                self.assertTrue(shown(page).startswith(f"{name.upper()}(1)"), shown(page)[:60])
                output("mandoc", "-T", "lint", "-W", "error", page)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
