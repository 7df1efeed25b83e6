"""What desktops and software catalogues read about the program is valid, and true of it."""

import configparser
import re
import unittest
import xml.etree.ElementTree

from surroundings import IDENTIFIER, PACKAGING, PROGRAM, PackagingTest

SVG = "{http://www.w3.org/2000/svg}"
PROGRAM_METAINFO = PACKAGING / f"{IDENTIFIER}.metainfo.xml"
PLUGIN_METAINFO = PACKAGING / f"{IDENTIFIER}.lv2.metainfo.xml"


class MetadataTest(PackagingTest):
    @staticmethod
    def desktop_entry():
        file = configparser.ConfigParser(interpolation=None)
        file.optionxform = str
        file.read(PACKAGING / f"{IDENTIFIER}.desktop", encoding="utf-8")
        return file["Desktop Entry"]

    @staticmethod
    def component(path):
        return xml.etree.ElementTree.parse(path).getroot()

    def test_the_desktop_entry_is_valid(self):
        done = self.run_tool(["desktop-file-validate", str(PACKAGING / f"{IDENTIFIER}.desktop")],
                             package="desktop-file-utils")

        self.assertEqual(done.stdout + done.stderr, "")

    def test_the_desktop_entry_starts_this_program(self):
        entry = self.desktop_entry()

        self.assertEqual(entry["Exec"].split()[0], PROGRAM.name)
        self.assertEqual(entry["TryExec"], PROGRAM.name)
        self.assertEqual(entry["X-NSM-Exec"], PROGRAM.name)

    def test_the_metainfo_is_valid_down_to_its_finer_points(self):
        words = ["appstreamcli", "validate", "--no-net", "--pedantic", "--explain"]
        for path in (PROGRAM_METAINFO, PLUGIN_METAINFO):
            done = self.run_tool([*words, str(path)], package="appstream")

            self.assertNotRegex(done.stdout, r"(?m)^ *[EWIP]: ")

    def test_the_metainfo_belongs_to_the_desktop_entry_and_the_icon(self):
        component = self.component(PROGRAM_METAINFO)

        self.assertEqual(component.findtext("id"), IDENTIFIER)
        self.assertEqual(component.findtext("launchable"), f"{IDENTIFIER}.desktop")
        self.assertEqual(component.findtext("provides/binary"), PROGRAM.name)
        self.assertEqual(component.findtext("icon"), self.desktop_entry()["Icon"])
        self.assertEqual(self.component(PLUGIN_METAINFO).findtext("extends"), IDENTIFIER)
        self.assertTrue((PACKAGING / f"{self.desktop_entry()['Icon']}.svg").exists())

    def test_the_newest_release_told_of_is_the_program_s_version(self):
        version = self.run_tool([str(PROGRAM), "--version"]).stdout.split()[1]
        changelog = (PACKAGING / "debian/changelog").read_text(encoding="utf-8")

        self.assertEqual(re.match(r"morv \((.*?)\)", changelog)[1], version)
        for path in (PROGRAM_METAINFO, PLUGIN_METAINFO):
            self.assertEqual(self.component(path).find("releases/release").get("version"), version)

    def test_the_icon_is_square_and_fetches_nothing(self):
        root = self.component(PACKAGING / f"{IDENTIFIER}.svg")

        self.assertEqual(root.tag, SVG + "svg")
        self.assertEqual(root.get("width"), root.get("height"))
        self.assertEqual(root.get("viewBox"), f"0 0 {root.get('width')} {root.get('height')}")
        for element in root.iter():
            self.assertNotIn(element.tag, {SVG + "image", SVG + "script", SVG + "text"})


if __name__ == "__main__":
    unittest.main()
