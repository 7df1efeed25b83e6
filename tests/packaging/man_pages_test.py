"""The manual pages are well formed and tell of exactly the options that the program has."""

import re
import unittest

from surroundings import PACKAGING, PROGRAM, PackagingTest

PAGES = sorted((PACKAGING / "man").glob("*.[1-8]"))


def options_of_help(text):
    """The options that have a line of their own."""
    return set(re.findall(r"(?m)^ +--([a-z][a-z-]*)", text))


def options_of_page(text):
    """The options that have an item of their own."""
    return set(re.findall(r"(?m)^\.It Fl -([a-z][a-z-]*)", text))


class ManPagesTest(PackagingTest):
    def help_of(self, *words):
        return self.run_tool([str(PROGRAM), *words, "--help"]).stdout

    def commands(self):
        return re.findall(r"(?m)^  ([a-z][a-z-]*)  ", self.help_of())

    @staticmethod
    def main_page():
        return (PACKAGING / "man/morv.1").read_text(encoding="utf-8")

    def part_of(self, command):
        """What the pages say of a command: its own page, or else its section."""
        own = PACKAGING / f"man/morv-{command}.1"
        if own.exists():
            return own.read_text(encoding="utf-8")
        section = re.search(rf"(?ms)^\.Ss {re.escape(command)}$(.*?)(?=^\.S[sh] )", self.main_page())
        self.assertIsNotNone(section, f"morv.1 has no section on '{command}'")
        return section[1]

    def test_mandoc_has_nothing_to_say(self):
        for page in PAGES:
            done = self.run_tool(["mandoc", "-Tlint", str(page)], package="mandoc", may_fail=True)

            # It looks for other pages among the installed ones only; the next test knows where ours are.
            remarks = [line for line in done.stdout.splitlines() if "referenced manual not found: Xr morv" not in line]
            self.assertEqual(remarks, [])

    def test_references_lead_to_pages_of_ours(self):
        names = {page.name for page in PAGES}
        for page in PAGES:
            for name, section in re.findall(r"(?m)^\.Xr (\S+) (\d)", page.read_text(encoding="utf-8")):
                self.assertIn(f"{name}.{section}", names)

    def test_each_command_is_told_of(self):
        commands = self.commands()

        self.assertIn("render", commands)
        for command in commands:
            self.assertRegex(self.main_page(), rf"(?m)^\.Ss {command}$")

    def test_general_options_are_those_of_the_program(self):
        general = re.search(r"(?ms)^\.Sh OPTIONS$(.*?)^\.Sh ", self.main_page())[1]

        self.assertEqual(options_of_page(general), options_of_help(self.help_of()))

    def test_options_of_each_command_are_those_of_the_program(self):
        for command in self.commands():
            with self.subTest(command=command):
                told = options_of_page(self.part_of(command))

                self.assertTrue(told)
                self.assertEqual(told, options_of_help(self.help_of(command)))

    def test_exit_codes_are_those_of_the_program(self):
        codes = {int(code) for code in re.findall(r"\b(\d+) [a-z]", self.help_of().partition("Exit codes:")[2])}
        told = re.search(r"(?ms)^\.Sh EXIT STATUS$(.*?)^\.Sh ", self.main_page())[1]
        told = {int(code) for line in re.findall(r"(?m)^\.It (.*)", told) for code in re.findall(r"\d+", line)}

        self.assertTrue(codes)
        self.assertLessEqual(codes, told)


if __name__ == "__main__":
    unittest.main()
