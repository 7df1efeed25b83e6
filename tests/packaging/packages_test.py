"""The Debian packages are built, are clean, and work where they are unpacked."""

import pathlib
import unittest

from surroundings import SOURCE, PackagingTest, clean_environment, files_below

PACKAGES = ("morv", "morv-data", "morv-lv2")


class PackagesTest(PackagingTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        listed = cls.run_tool([str(SOURCE / "scripts/package")]).stdout.split()
        cls.packages = {pathlib.Path(path).name.split("_")[0]: SOURCE / path for path in listed}
        for name, path in cls.packages.items():
            cls.run_tool(["dpkg-deb", "-x", str(path), str(cls.folder / name)], package="dpkg")
            cls.run_tool(["dpkg-deb", "-x", str(path), str(cls.folder / "all")], package="dpkg")

    def field(self, package, name):
        return self.run_tool(["dpkg-deb", "-f", str(self.packages[package]), name], package="dpkg").stdout.strip()

    def test_there_are_three(self):
        self.assertEqual(tuple(sorted(self.packages)), PACKAGES)

    def test_lintian_finds_no_errors_and_no_warnings(self):
        words = ["lintian", "--fail-on", "error,warning", "--allow-root"]

        self.run_tool([*words, *map(str, self.packages.values())], package="lintian")

    def test_they_name_what_they_need_and_what_they_are(self):
        version = self.field("morv", "Version")

        self.assertIn(f"morv-data (= {version})", self.field("morv", "Depends"))
        self.assertIn("libc6", self.field("morv", "Depends"))
        self.assertIn("libsndfile1", self.field("morv", "Depends"))
        self.assertEqual(self.field("morv", "Recommends"), "jackd2 | pipewire-jack")
        self.assertIn("libplist3", self.field("morv-lv2", "Depends"))
        self.assertNotIn("morv", self.field("morv-lv2", "Depends"))
        self.assertEqual(self.field("morv-lv2", "Provides"), "lv2-plugin")
        self.assertEqual(self.field("morv-data", "Architecture"), "all")
        self.assertEqual(self.field("morv-data", "Depends"), "")
        for name in PACKAGES:
            self.assertEqual(self.field(name, "Section"), "sound")

    def test_no_two_hold_the_same_file(self):
        held = [files_below(self.folder / name) for name in PACKAGES]

        self.assertEqual(sum(map(len, held)), len(set().union(*held)))

    def test_each_has_its_documents(self):
        for name in PACKAGES:
            documents = files_below(self.folder / name / "usr/share/doc" / name)

            self.assertLessEqual({"copyright", "changelog.gz"}, documents)

    def test_the_bundles_lie_where_hosts_look(self):
        bundles = {path.name for path in (self.folder / "morv-lv2/usr/lib/lv2").iterdir()}

        self.assertEqual(bundles, {"morv.lv2", "morv-presets.lv2", "morv-effects.lv2"})

    def test_the_unpacked_program_finds_library_and_presets(self):
        program = self.folder / "all/usr/bin/morv"

        listed = self.run_tool([str(program), "presets", "list"], env=clean_environment(self.folder)).stdout

        self.assertIn(f"{self.folder}/all/usr/share/morv/Factory Presets/", listed)

    def test_removing_them_leaves_nothing(self):
        root = self.folder / "root"
        (root / "var/lib/dpkg/info").mkdir(parents=True)
        (root / "var/lib/dpkg/updates").mkdir()
        (root / "var/lib/dpkg/status").touch()
        # What they depend on is not in this root, and whoever runs the tests need not be the superuser.
        dpkg = ["dpkg", f"--root={root}", "--force-depends,not-root,script-chrootless"]

        self.run_tool([*dpkg, "--install", *map(str, self.packages.values())], package="dpkg")
        installed = files_below(root / "usr")
        self.run_tool([*dpkg, "--purge", *PACKAGES], package="dpkg")

        self.assertEqual(installed, files_below(self.folder / "all/usr"))
        self.assertFalse((root / "usr").exists())


if __name__ == "__main__":
    unittest.main()
