"""The installed tree works where it lies, is complete in its parts, and goes away again."""

import array
import os
import pathlib
import re
import shutil
import sys
import unittest
import wave

from surroundings import BUILD, EFFECTS, LV2_FOLDER, PLUGIN, SOURCE, PackagingTest, clean_environment, files_below

COMPONENTS = ("program", "lv2", "data", "doc")
FACTORY_PRESETS = len(list((SOURCE / "resources/Factory Presets").glob("*.aupreset")))

# Loads a plug-in as a host does, tells its URI and which of our libraries came with it.
LOAD_PLUGIN = """
import ctypes, sys
class Descriptor(ctypes.Structure):
    _fields_ = [("uri", ctypes.c_char_p)]
plugin = ctypes.CDLL(sys.argv[1])
plugin.lv2_descriptor.restype = ctypes.POINTER(Descriptor)
print(plugin.lv2_descriptor(0).contents.uri.decode())
print(*sorted({line.split(maxsplit=5)[5].strip() for line in open("/proc/self/maps") if "MORVFramework" in line}))
"""


class InstalledTreeTest(PackagingTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        if os.path.isabs(LV2_FOLDER):
            raise AssertionError(f"plug-ins would go to {LV2_FOLDER}, away from the prefix: unset MORV_LV2_INSTALL_DIR")
        cls.keep_lists_of_installed_files()
        cls.prefix = cls.folder / "prefix"
        cls.install(cls.prefix)
        cls.environment = clean_environment(cls.folder)

    @classmethod
    def keep_lists_of_installed_files(cls):
        """What was installed from this build folder before the tests can still be uninstalled after them."""
        kept = cls.folder / "kept"
        kept.mkdir()
        for path in cls.lists_of_installed_files():
            shutil.move(path, kept / path.name)

        def restore():
            for path in cls.lists_of_installed_files():
                path.unlink()
            for path in kept.iterdir():
                shutil.move(path, BUILD / path.name)

        cls.addClassCleanup(restore)

    @staticmethod
    def lists_of_installed_files():
        return [*BUILD.glob("install_manifest*.txt"), *BUILD.glob("install_folders.txt")]

    @classmethod
    def install(cls, prefix, *options, destdir=""):
        cls.run_tool(["cmake", "--install", str(BUILD), "--prefix", str(prefix), *options],
                     env={**os.environ, "DESTDIR": str(destdir)})

    @classmethod
    def uninstall(cls, destdir=""):
        cls.run_tool(["cmake", "-D", f"BUILD_FOLDER={BUILD}", "-P", str(SOURCE / "packaging/Uninstall.cmake")],
                     env={**os.environ, "DESTDIR": str(destdir)})

    def morv(self, prefix, *words):
        return self.run_tool([str(prefix / "bin/morv"), *words], env=self.environment, cwd=self.folder).stdout

    def preset_files(self, prefix):
        lines = self.morv(prefix, "presets", "list").splitlines()[1:]
        return [line.split("\t")[4] for line in lines]

    def elf_files(self):
        for name in sorted(files_below(self.prefix)):
            path = self.prefix / name
            if not path.is_symlink() and path.read_bytes()[:4] == b"\x7fELF":
                yield path

    def test_the_program_renders_for_a_fresh_user(self):
        examples = self.prefix / "share/doc/morv/examples"

        self.morv(self.prefix, "render", "--midi", str(examples / "demo.mid"), "--automation",
                  str(examples / "demo.csv"), "--preset", "Cellar Door", "--seconds", "4", "--format", "s16",
                  "--out", "demo.wav")

        with wave.open(str(self.folder / "demo.wav")) as file:
            samples = array.array("h", file.readframes(file.getnframes()))
            self.assertGreaterEqual(file.getnframes(), 4 * file.getframerate())
        self.assertGreater(max(samples), 1000)
        self.assertEqual(list((self.folder / "home").iterdir()), [])

    def test_the_program_finds_the_presets_installed_with_it(self):
        files = self.preset_files(self.prefix)

        self.assertEqual(len(files), FACTORY_PRESETS)
        for file in files:
            self.assertTrue(file.startswith(f"{self.prefix}/share/morv/Factory Presets/"), file)

    def test_a_tree_that_was_moved_works_as_before(self):
        moved = self.folder / "moved"
        shutil.copytree(self.prefix, moved, symlinks=True)
        self.addCleanup(shutil.rmtree, moved)

        files = self.preset_files(moved)

        self.assertEqual(len(files), FACTORY_PRESETS)
        for file in files:
            self.assertTrue(file.startswith(f"{moved}/share/morv/"), file)

    def test_hosts_are_shown_the_plug_in_and_its_presets(self):
        environment = {**self.environment, "LV2_PATH": str(self.prefix / LV2_FOLDER)}

        listed = self.run_tool(["lv2ls"], package="lilv-utils", env=environment)
        told = self.run_tool(["lv2info", PLUGIN], package="lilv-utils", env=environment)

        self.assertEqual(sorted(listed.stdout.split()), sorted([PLUGIN, *EFFECTS]))
        self.assertEqual(listed.stderr + told.stderr, "")
        self.assertIn(f"file://{self.prefix}/{LV2_FOLDER}/morv.lv2/morv.so", told.stdout)
        presets = told.stdout.partition("Presets:")[2].partition("Port 0:")[0].split("\n")
        self.assertEqual(len([line for line in presets if line.strip()]), FACTORY_PRESETS)

    def test_the_bundle_alone_loads_with_its_own_library(self):
        bundle = self.folder / "elsewhere/morv.lv2"
        shutil.copytree(self.prefix / LV2_FOLDER / "morv.lv2", bundle, symlinks=True)

        words = [sys.executable, "-c", LOAD_PLUGIN, str(bundle / "morv.so")]
        uri, libraries = self.run_tool(words, env=self.environment).stdout.splitlines()

        self.assertEqual(uri, PLUGIN)
        self.assertRegex(libraries, f"^{re.escape(str(bundle))}/libMORVFramework[^ ]*$")

    def test_the_effects_bundle_alone_loads_without_our_library(self):
        bundle = self.folder / "elsewhere/morv-effects.lv2"
        shutil.copytree(self.prefix / LV2_FOLDER / "morv-effects.lv2", bundle, symlinks=True)

        words = [sys.executable, "-c", LOAD_PLUGIN, str(bundle / "morv-effects.so")]
        uri, libraries = self.run_tool(words, env=self.environment).stdout.split("\n")[:2]

        self.assertIn(uri, EFFECTS)
        self.assertEqual(libraries, "")

    def test_libraries_are_looked_for_at_relative_paths_only(self):
        found = {}
        for path in self.elf_files():
            dynamic = self.run_tool(["readelf", "-d", str(path)], package="binutils").stdout
            found[path.name] = re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", dynamic)

        library = next(name for name in found if name.startswith("libMORVFramework.so."))
        self.assertEqual(set(found), {"morv", "morv.so", "morv-effects.so", library})
        self.assertRegex(found["morv"][0], r"^\$ORIGIN/\.\./lib[^:]*$")
        self.assertEqual(found["morv.so"], ["$ORIGIN"])
        self.assertEqual(found["morv-effects.so"], [])
        self.assertEqual(found[library], [])

    def test_nothing_installed_names_the_folders_of_the_build(self):
        for name in files_below(self.prefix):
            content = (self.prefix / name).read_bytes()
            self.assertNotIn(str(SOURCE).encode() + b"/", content, name)
            self.assertNotIn(str(BUILD).encode() + b"/", content, name)

    def test_the_components_are_apart_and_make_up_the_whole(self):
        parts = {}
        for component in COMPONENTS:
            self.install(self.folder / component, "--component", component)
            parts[component] = files_below(self.folder / component)

        self.assertEqual(set().union(*parts.values()), files_below(self.prefix))
        self.assertEqual(sum(map(len, parts.values())), len(files_below(self.prefix)))
        self.assertIn("bin/morv", parts["program"])
        self.assertIn("share/morv/Categories.plist", parts["data"])
        self.assertTrue(all(name.startswith("share/doc/morv/") for name in parts["doc"]))
        for name in parts["lv2"]:
            self.assertRegex(name, rf"^({re.escape(LV2_FOLDER)}/morv(-presets|-effects)?\.lv2/|share/metainfo/)")

    def test_a_staged_installation_holds_the_same_files(self):
        stage = self.folder / "stage"

        self.install("/usr", destdir=stage)

        self.assertEqual(files_below(stage / "usr"), files_below(self.prefix))

    def test_uninstalling_leaves_nothing(self):
        for lists in self.lists_of_installed_files():
            lists.unlink()
        prefix = self.folder / "passing/prefix"
        self.install(prefix)
        self.assertTrue(files_below(prefix))

        self.uninstall()

        self.assertFalse((self.folder / "passing").exists())
        self.assertEqual(self.lists_of_installed_files(), [])

    def test_uninstalling_leaves_what_belongs_to_others(self):
        for lists in self.lists_of_installed_files():
            lists.unlink()
        prefix = self.folder / "shared"
        (prefix / "share/applications").mkdir(parents=True)
        self.install(prefix)
        (prefix / LV2_FOLDER / "other.lv2").mkdir()

        self.uninstall()

        left = sorted(str(path.relative_to(prefix)) for path in prefix.rglob("*"))
        others = pathlib.PurePath(LV2_FOLDER, "other.lv2")
        expected = {str(others), "share", "share/applications", *map(str, others.parents)} - {"."}
        self.assertEqual(left, sorted(expected))

    def test_uninstalling_without_an_installation_is_refused(self):
        for lists in self.lists_of_installed_files():
            lists.unlink()

        with self.assertRaisesRegex(AssertionError, r"nothing\s+was\s+installed\s+from\s+it"):
            self.uninstall()


if __name__ == "__main__":
    unittest.main()
